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
using tests::cause_of;
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
  EXPECT_EQ("", create("a (b); c=d, e.zip", "a longer text"));
  EXPECT_EQ("", create("a (b); c=d, e.zip", "shorter"));
  EXPECT_EQ(get("inside/a (b); c=d, e.zip"), "shorter");
  EXPECT_TRUE(folder_->create_folder("sub"));
  EXPECT_TRUE(folder_->create_folder("sub"));
  auto sub = folder_->open_folder("sub");
  ASSERT_TRUE(sub) << cause_of(sub);
  EXPECT_EQ((*sub)->path(), temp_ / "inside/sub");
  EXPECT_TRUE((*sub)->create_file("deep"));
  EXPECT_THAT(with_slashes(cause_of((*sub)->open_file("missing"))),
              StartsWith(with_slashes((temp_ / "inside/sub/missing").string()) + ": "));

  EXPECT_EQ("", create("first name", "a new text"));
  EXPECT_EQ(cause_of(folder_->rename_file("first name", "a (b); c=d, e.zip")), "");
  EXPECT_EQ(get("inside/a (b); c=d, e.zip"), "a new text");
  EXPECT_FALSE(fs::exists(temp_ / "inside/first name"));
  EXPECT_FALSE(folder_->rename_file("first name", "x")) << "missing";
  EXPECT_FALSE(folder_->rename_file("a (b); c=d, e.zip", "sub")) << "a folder has the name";
  EXPECT_FALSE(folder_->rename_file("sub", "x")) << "a folder";

  EXPECT_FALSE(folder_->create_folder("a (b); c=d, e.zip"));
  EXPECT_FALSE(folder_->remove_folder("sub")) << "not empty";
  EXPECT_FALSE(folder_->remove_folder("a (b); c=d, e.zip")) << "a file";
  EXPECT_FALSE(folder_->remove_file("sub")) << "a folder";
  EXPECT_FALSE(folder_->create_file("sub")) << "a folder";
  EXPECT_TRUE((*sub)->remove_file("deep"));
  sub->reset();
  EXPECT_TRUE(folder_->remove_folder("sub"));
  EXPECT_TRUE(folder_->remove_file("a (b); c=d, e.zip"));
  EXPECT_TRUE(fs::is_empty(temp_ / "inside"));
}

TEST_F(FolderTest, NeverFollowsALinkToAFolder) {
  if (!tests::make_folder_link(temp_ / "outside", temp_ / "inside/link")) {
    GTEST_SKIP() << "Wine 8 makes no junctions";
  }
  const auto entries = folder_->list();
  ASSERT_TRUE(entries) << cause_of(entries);
  ASSERT_EQ(entries->size(), 1U);
  EXPECT_EQ(entries->front().kind, EntryKind::other);
  EXPECT_EQ(folder_->kind_of("link"), EntryKind::other);
  EXPECT_FALSE(folder_->open_file("link"));
  EXPECT_THAT(cause_of(folder_->open_folder("link")), testing::EndsWith("link: is a link"));
  EXPECT_FALSE(folder_->create_folder("link"));
  EXPECT_FALSE(folder_->remove_folder("link"));
  EXPECT_EQ(cause_of(folder_->remove_file("link")), "");
  EXPECT_EQ(folder_->kind_of("link"), EntryKind::absent);
  EXPECT_EQ(get("outside/file"), "precious");
  EXPECT_TRUE(fs::is_directory(temp_ / "outside/sub"));
}

TEST_F(FolderTest, StaysWithItsFolderWhenAnotherTakesThePath) {
  fs::rename(temp_ / "inside", temp_ / "moved");
  fs::rename(temp_ / "outside", temp_ / "inside");
  EXPECT_EQ("", create("file", "downloaded"));
  EXPECT_TRUE(folder_->create_folder("sub2"));
  EXPECT_FALSE(folder_->remove_folder("sub"));
  EXPECT_EQ(get("inside/file"), "precious");
  EXPECT_FALSE(fs::exists(temp_ / "inside/sub2"));
  EXPECT_EQ(get("moved/file"), "downloaded");
}

// Every way of writing makes a file of the folder's own in the place of what is not one.
TEST_F(FolderTest, WritesFilesOfItsOwnOnly) {
  const auto append = [&](const std::string& name, const char* line) {
    const auto file = folder_->append_file(name);
    if (file) {
      EXPECT_EQ((*file)->write(line, 4), 4);
    }
    return cause_of(file);
  };
  fs::create_directory(temp_ / "inside/sub");
  EXPECT_EQ(folder_->stamp_of("file"), 0U);
  for (const char* way : {"create", "write", "append"}) {
    SCOPED_TRACE(way);
    const auto write = [&](const std::string& name) {
      if (way == std::string("create")) return create(name, "new\n");
      if (way == std::string("append")) return append(name, "new\n");
      return cause_of(folder_->write_file(name, "new\n"));
    };
    EXPECT_THAT(write("sub"), StartsWith((temp_ / "inside" / fs::path("sub")).string() + ": "));
    for (const tests::Plant& plant : tests::plants(temp_ / "outside")) {
      fs::remove(temp_ / "inside/file");
      if (!plant.put(temp_ / "inside/file")) continue;
      const std::uint64_t stamp = folder_->stamp_of("file");
      EXPECT_FALSE(folder_->open_lock("file")) << plant.name;
      EXPECT_EQ(write("file"), "") << plant.name;
      EXPECT_EQ(get("inside/file"), "new\n") << plant.name;
      EXPECT_NE(folder_->stamp_of("file"), stamp) << plant.name;
      EXPECT_EQ(write("file"), "");
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
    EXPECT_FALSE(folder_->open_file(name)) << name;
    EXPECT_FALSE(folder_->create_file(name)) << name;
    EXPECT_FALSE(folder_->open_folder(name)) << name;
    EXPECT_FALSE(folder_->create_folder(name)) << name;
    EXPECT_FALSE(folder_->rename_file("x", name)) << name;
    EXPECT_FALSE(folder_->rename_file(name, "x")) << name;
    EXPECT_FALSE(folder_->remove_file(name)) << name;
    EXPECT_FALSE(folder_->remove_folder(name)) << name;
  }
  EXPECT_EQ(get("inside/x"), "keep");
  EXPECT_THAT(cause_of(Folder::open(temp_ / "inside/x")),
              StartsWith((temp_ / "inside/x").string() + ": "));
}

TEST_F(FolderTest, ListsByNameWithKinds) {
  for (int i = 0; i < 3000; ++i) ASSERT_EQ("", create("f" + std::to_string(i), ""));
  ASSERT_TRUE(folder_->create_folder("sub"));
  for (int round = 0; round < 2; ++round) {
    const auto entries = folder_->list();
    ASSERT_TRUE(entries) << cause_of(entries);
    ASSERT_EQ(entries->size(), 3001U);
    EXPECT_TRUE(std::is_sorted(entries->begin(), entries->end(),
                               [](const auto& a, const auto& b) { return a.name < b.name; }));
    for (const auto& entry : *entries) {
      EXPECT_EQ(entry.kind, entry.name == "sub" ? EntryKind::folder : EntryKind::file)
          << entry.name;
    }
  }
}

}  // namespace
}  // namespace zendro::framework
