#include "framework/system/folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "framework/system/files.h"
#include "tests/folder_fixture.h"
#include "tests/links.h"

namespace zendro::framework {
namespace {

namespace fs = std::filesystem;
using testing::StartsWith;
using tests::FolderTest;
using tests::with_slashes;

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

TEST_F(FolderTest, CreatesReadsAndRemovesInItself) {
  EXPECT_TRUE(create("a (b); c=d, e.zip", "a longer text"));
  EXPECT_TRUE(create("a (b); c=d, e.zip", "shorter"));
  EXPECT_EQ(get("inside/a (b); c=d, e.zip"), "shorter");
  EXPECT_TRUE(folder_->create_folder("sub", error_));
  EXPECT_TRUE(folder_->create_folder("sub", error_));
  auto sub = folder_->open_folder("sub", error_);
  ASSERT_TRUE(sub) << error_.text;
  EXPECT_EQ(sub->path(), temp_ / "inside/sub");
  EXPECT_TRUE(sub->create_file("deep", error_));
  EXPECT_FALSE(sub->open_file("missing", error_));
  EXPECT_THAT(with_slashes(error_.text),
              StartsWith(with_slashes((temp_ / "inside/sub/missing").string()) + ": "));

  EXPECT_TRUE(create("first name", "a new text"));
  EXPECT_TRUE(folder_->rename_file("first name", "a (b); c=d, e.zip", error_)) << error_.text;
  EXPECT_EQ(get("inside/a (b); c=d, e.zip"), "a new text");
  EXPECT_FALSE(fs::exists(temp_ / "inside/first name"));
  EXPECT_FALSE(folder_->rename_file("first name", "x", error_)) << "missing";
  EXPECT_FALSE(folder_->rename_file("a (b); c=d, e.zip", "sub", error_)) << "a folder has the name";
  EXPECT_FALSE(folder_->rename_file("sub", "x", error_)) << "a folder";

  EXPECT_FALSE(folder_->create_folder("a (b); c=d, e.zip", error_));
  EXPECT_FALSE(folder_->remove_folder("sub", error_)) << "not empty";
  EXPECT_FALSE(folder_->remove_folder("a (b); c=d, e.zip", error_)) << "a file";
  EXPECT_FALSE(folder_->remove_file("sub", error_)) << "a folder";
  EXPECT_FALSE(folder_->create_file("sub", error_)) << "a folder";
  EXPECT_TRUE(sub->remove_file("deep", error_));
  sub.reset();
  EXPECT_TRUE(folder_->remove_folder("sub", error_));
  EXPECT_TRUE(folder_->remove_file("a (b); c=d, e.zip", error_));
  EXPECT_TRUE(fs::is_empty(temp_ / "inside"));
}

TEST_F(FolderTest, NeverFollowsALinkToAFolder) {
  if (!tests::make_folder_link(temp_ / "outside", temp_ / "inside/link")) {
    GTEST_SKIP() << "Wine 8 makes no junctions";
  }
  std::vector<Folder::Entry> entries;
  ASSERT_TRUE(folder_->list(entries, error_)) << error_.text;
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0].kind, EntryKind::other);
  EXPECT_EQ(folder_->kind_of("link"), EntryKind::other);
  EXPECT_FALSE(folder_->open_file("link", error_));
  EXPECT_FALSE(folder_->open_folder("link", error_));
  EXPECT_THAT(error_.text, testing::EndsWith("link: is a link"));
  EXPECT_FALSE(folder_->create_folder("link", error_));
  EXPECT_FALSE(folder_->remove_folder("link", error_));
  EXPECT_TRUE(folder_->remove_file("link", error_)) << error_.text;
  EXPECT_EQ(folder_->kind_of("link"), EntryKind::absent);
  EXPECT_EQ(get("outside/file"), "precious");
  EXPECT_TRUE(fs::is_directory(temp_ / "outside/sub"));
}

TEST_F(FolderTest, StaysWithItsFolderWhenAnotherTakesThePath) {
  fs::rename(temp_ / "inside", temp_ / "moved");
  fs::rename(temp_ / "outside", temp_ / "inside");
  EXPECT_TRUE(create("file", "downloaded"));
  EXPECT_TRUE(folder_->create_folder("sub2", error_));
  EXPECT_FALSE(folder_->remove_folder("sub", error_));
  EXPECT_EQ(get("inside/file"), "precious");
  EXPECT_FALSE(fs::exists(temp_ / "inside/sub2"));
  EXPECT_EQ(get("moved/file"), "downloaded");
}

// Every way of writing makes a file of the folder's own in the place of what is not one.
TEST_F(FolderTest, WritesFilesOfItsOwnOnly) {
  const auto append = [&](const std::string& name, const char* line) {
    const auto file = folder_->append_file(name, error_);
    return file && file->write(line, 4) == 4;
  };
  fs::create_directory(temp_ / "inside/sub");
  EXPECT_EQ(folder_->stamp_of("file"), 0U);
  for (const char* way : {"create", "write", "append"}) {
    SCOPED_TRACE(way);
    const auto write = [&](const std::string& name) {
      if (way == std::string("create")) return create(name, "new\n");
      if (way == std::string("append")) return append(name, "new\n");
      return folder_->write_file(name, "new\n", error_) == WriteOutcome::written;
    };
    EXPECT_FALSE(write("sub"));
    EXPECT_THAT(error_.text, StartsWith((temp_ / "inside" / fs::path("sub")).string() + ": "));
    for (const tests::Plant& plant : tests::plants(temp_ / "outside")) {
      fs::remove(temp_ / "inside/file");
      if (!plant.put(temp_ / "inside/file")) continue;
      const std::uint64_t stamp = folder_->stamp_of("file");
      SystemFile lock = folder_->open_lock("file", error_);
      EXPECT_FALSE(lock) << plant.name;
      EXPECT_TRUE(write("file")) << plant.name << ": " << error_.text;
      EXPECT_EQ(get("inside/file"), "new\n") << plant.name;
      EXPECT_NE(folder_->stamp_of("file"), stamp) << plant.name;
      EXPECT_TRUE(write("file")) << error_.text;
      EXPECT_EQ(get("inside/file"), way == std::string("append") ? "new\nnew\n" : "new\n");
    }
  }
  EXPECT_EQ(get("outside/file"), "precious");
  EXPECT_FALSE(fs::exists(temp_ / "outside/missing"));
  EXPECT_TRUE(fs::is_empty(temp_ / "outside/sub"));
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
    EXPECT_FALSE(folder_->rename_file("x", name, error_)) << name;
    EXPECT_FALSE(folder_->rename_file(name, "x", error_)) << name;
    EXPECT_FALSE(folder_->remove_file(name, error_)) << name;
    EXPECT_FALSE(folder_->remove_folder(name, error_)) << name;
  }
  EXPECT_EQ(get("inside/x"), "keep");
  EXPECT_FALSE(Folder::open(temp_ / "inside/x", error_));
  EXPECT_THAT(error_.text, StartsWith((temp_ / "inside/x").string() + ": "));
}

TEST_F(FolderTest, ListsByNameWithKinds) {
  for (int i = 0; i < 3000; ++i) ASSERT_TRUE(create("f" + std::to_string(i), ""));
  ASSERT_TRUE(folder_->create_folder("sub", error_));
  std::vector<Folder::Entry> entries;
  for (int round = 0; round < 2; ++round) {
    ASSERT_TRUE(folder_->list(entries, error_)) << error_.text;
    ASSERT_EQ(entries.size(), 3001U);
    EXPECT_TRUE(std::is_sorted(entries.begin(), entries.end(),
                               [](const auto& a, const auto& b) { return a.name < b.name; }));
    for (const auto& entry : entries) {
      EXPECT_EQ(entry.kind, entry.name == "sub" ? EntryKind::folder : EntryKind::file)
          << entry.name;
    }
  }
}

}  // namespace
}  // namespace zendro::framework
