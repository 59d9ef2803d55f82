#include "framework/folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "framework/files.h"
#include "tests/temp_folder.h"

namespace zendro::framework {
namespace {

namespace fs = std::filesystem;
using testing::StartsWith;
using tests::TempFolder;

TEST(PlainNameTest, AcceptsWhatEveryPlatformCanStore) {
  for (const std::string& name :
       {std::string("a"), std::string("xbrl-2.1.0"), std::string(".hidden"),
        std::string("..."
                    "x"),
        std::string(" x"), std::string("%2F"), std::string("caf\u00E9 \U0001F600"),
        std::string("CONsole"), std::string("COM10"), std::string("COM0"), std::string("LPT"),
        std::string("a.CON"), std::string(255, 'x')}) {
    EXPECT_TRUE(is_plain_name(name)) << name;
  }
}

TEST(PlainNameTest, RefusesWhatAnyPlatformWouldReadOtherwise) {
  for (const std::string& name : {std::string(),
                                  std::string("."),
                                  std::string(".."),
                                  std::string("..."),
                                  std::string("a/b"),
                                  std::string("a\\b"),
                                  std::string("C:"),
                                  std::string("a:b"),
                                  std::string("a*"),
                                  std::string("a?"),
                                  std::string("\"a\""),
                                  std::string("<a"),
                                  std::string("a>"),
                                  std::string("a|b"),
                                  std::string("a\0b", 3),
                                  std::string("a\nb"),
                                  std::string("a\x7F"),
                                  std::string("a\u0085"),
                                  std::string("a."),
                                  std::string("a "),
                                  std::string("con"),
                                  std::string("NUL.txt"),
                                  std::string("Aux .x.y"),
                                  std::string("prn..x"),
                                  std::string("COM1"),
                                  std::string("lpt9.zip"),
                                  std::string("COM\u00B9.x"),
                                  std::string("conin$"),
                                  std::string("\xC0\xAF"),
                                  std::string("a\xED\xA0\x80"),
                                  std::string("a\xE2\x82"),
                                  std::string(256, 'x')}) {
    EXPECT_FALSE(is_plain_name(name)) << name;
  }
}

class FolderTest : public testing::Test {
 protected:
  void SetUp() override {
    fs::create_directories(temp_ / "outside/sub");
    fs::create_directory(temp_ / "inside");
    put("outside/file", "precious");
    folder_ = Folder::open(temp_ / "inside", error_);
    ASSERT_TRUE(folder_) << error_.text;
  }

  void put(const std::string& name, std::string_view bytes) {
    ASSERT_EQ(write_file(temp_ / name, bytes, error_), WriteOutcome::written) << error_.text;
  }
  std::string get(const std::string& name) {
    std::string bytes;
    EXPECT_TRUE(read_file(temp_ / name, bytes, 1000, error_)) << error_.text;
    return bytes;
  }
  bool create(const std::string& name, std::string_view bytes) {
    const auto file = folder_->create_file(name, error_);
    if (!file) return false;
    EXPECT_EQ(file->write(bytes.data(), bytes.size()), static_cast<std::int64_t>(bytes.size()));
    file->close();
    return !file->error();
  }

  TempFolder temp_;
  IoError error_;
  std::unique_ptr<Folder> folder_;
};

TEST_F(FolderTest, CreatesReadsAndRemovesInItself) {
  EXPECT_TRUE(create("a:*?.zip", "a longer text"));
  EXPECT_TRUE(create("a:*?.zip", "shorter"));
  EXPECT_EQ(get("inside/a:*?.zip"), "shorter");
  EXPECT_TRUE(folder_->create_folder("sub", error_));
  EXPECT_TRUE(folder_->create_folder("sub", error_));
  const auto sub = folder_->open_folder("sub", error_);
  ASSERT_TRUE(sub) << error_.text;
  EXPECT_EQ(sub->path(), temp_ / "inside/sub");
  EXPECT_TRUE(sub->create_file("deep", error_));
  EXPECT_FALSE(sub->open_file("missing", error_));
  EXPECT_THAT(error_.text, StartsWith((temp_ / "inside/sub/missing").string() + ": "));

  EXPECT_FALSE(folder_->create_folder("a:*?.zip", error_));
  EXPECT_FALSE(folder_->remove_folder("sub", error_)) << "not empty";
  EXPECT_FALSE(folder_->remove_folder("a:*?.zip", error_)) << "a file";
  EXPECT_FALSE(folder_->remove_file("sub", error_)) << "a folder";
  EXPECT_FALSE(folder_->create_file("sub", error_)) << "a folder";
  EXPECT_TRUE(sub->remove_file("deep", error_));
  EXPECT_TRUE(folder_->remove_folder("sub", error_));
  EXPECT_TRUE(folder_->remove_file("a:*?.zip", error_));
  EXPECT_TRUE(fs::is_empty(temp_ / "inside"));
}

TEST_F(FolderTest, NeverFollowsALink) {
  fs::create_symlink(temp_ / "outside/file", temp_ / "inside/file_link");
  fs::create_symlink(temp_ / "outside/new", temp_ / "inside/dangling");
  fs::create_directory_symlink(temp_ / "outside", temp_ / "inside/folder_link");
  for (const char* name : {"file_link", "dangling", "folder_link"}) {
    EXPECT_EQ(folder_->kind_of(name), EntryKind::other) << name;
    EXPECT_FALSE(folder_->open_file(name, error_)) << name;
    EXPECT_FALSE(folder_->create_file(name, error_)) << name;
    EXPECT_FALSE(folder_->open_folder(name, error_)) << name;
    EXPECT_FALSE(folder_->create_folder(name, error_)) << name;
    EXPECT_TRUE(folder_->remove_file(name, error_)) << error_.text;
    EXPECT_EQ(folder_->kind_of(name), EntryKind::absent) << name;
  }
  EXPECT_EQ(get("outside/file"), "precious");
  EXPECT_TRUE(fs::is_directory(temp_ / "outside/sub"));
  EXPECT_FALSE(fs::exists(temp_ / "outside/new"));
}

TEST_F(FolderTest, AHardLinkKeepsItsOtherNameUntouched) {
  fs::create_hard_link(temp_ / "outside/file", temp_ / "inside/member");
  EXPECT_TRUE(create("member", "downloaded"));
  EXPECT_EQ(get("outside/file"), "precious");
  EXPECT_EQ(get("inside/member"), "downloaded");
}

TEST_F(FolderTest, StaysWithItsFolderWhenAnotherTakesThePath) {
  fs::rename(temp_ / "inside", temp_ / "moved");
  fs::create_directory_symlink(temp_ / "outside", temp_ / "inside");
  EXPECT_TRUE(create("file", "downloaded"));
  EXPECT_TRUE(folder_->create_folder("sub2", error_));
  EXPECT_FALSE(folder_->remove_folder("sub", error_));
  EXPECT_EQ(get("outside/file"), "precious");
  EXPECT_FALSE(fs::exists(temp_ / "outside/sub2"));
  EXPECT_EQ(get("moved/file"), "downloaded");
}

TEST_F(FolderTest, RefusesNamesThatAreNoSingleComponent) {
  put("inside/x", "keep");
  for (const std::string& name : {std::string(), std::string("."), std::string(".."),
                                  std::string("../outside"), std::string("../outside/file"),
                                  std::string("/etc"), std::string("x/"), std::string("x\0y", 3)}) {
    EXPECT_EQ(folder_->kind_of(name), EntryKind::other) << name;
    EXPECT_FALSE(folder_->open_file(name, error_)) << name;
    EXPECT_FALSE(folder_->create_file(name, error_)) << name;
    EXPECT_FALSE(folder_->open_folder(name, error_)) << name;
    EXPECT_FALSE(folder_->create_folder(name, error_)) << name;
    EXPECT_FALSE(folder_->remove_file(name, error_)) << name;
    EXPECT_FALSE(folder_->remove_folder(name, error_)) << name;
  }
  EXPECT_EQ(get("inside/x"), "keep");
  EXPECT_FALSE(Folder::open(temp_ / "inside/x", error_));
  EXPECT_THAT(error_.text, StartsWith((temp_ / "inside/x").string() + ": "));
}

TEST_F(FolderTest, ListsByNameWithKindsAndNeverWaitsForAPipe) {
  for (int i = 0; i < 3000; ++i) ASSERT_TRUE(create("f" + std::to_string(i), ""));
  ASSERT_TRUE(folder_->create_folder("sub", error_));
  ASSERT_EQ(mkfifo((temp_ / "inside/pipe").c_str(), 0666), 0);
  fs::create_directory_symlink(temp_ / "outside", temp_ / "inside/link");
  EXPECT_FALSE(folder_->open_file("pipe", error_));
  EXPECT_FALSE(folder_->create_file("pipe", error_));

  std::vector<Folder::Entry> entries;
  for (int round = 0; round < 2; ++round) {
    ASSERT_TRUE(folder_->list(entries, error_)) << error_.text;
    ASSERT_EQ(entries.size(), 3003U);
    EXPECT_TRUE(std::is_sorted(entries.begin(), entries.end(),
                               [](const auto& a, const auto& b) { return a.name < b.name; }));
    for (const auto& entry : entries) {
      const EntryKind expected = entry.name == "sub" ? EntryKind::folder
                                 : entry.name.size() == 4 && entry.name[0] != 'f' ? EntryKind::other
                                                                                  : EntryKind::file;
      EXPECT_EQ(entry.kind, expected) << entry.name;
    }
  }
}

}  // namespace
}  // namespace zendro::framework
