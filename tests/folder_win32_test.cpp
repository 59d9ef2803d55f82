// Folders of Windows: names that it treats specially, files that others hold.
#include <windows.h>

#include "framework/system/handle_win32.h"
#include "tests/folder_fixture.h"
#include "tests/read_only_win32.h"

namespace zendro::framework {
namespace {

namespace fs = std::filesystem;
using testing::StartsWith;
using tests::cause_of;
using tests::FolderTest;

TEST_F(FolderTest, MakesNoNameThatWindowsReadsOtherwise) {
  put("inside/file", "keep");
  for (const char* name : {"NUL", "con.zip", "COM1", "file.", "file ", "file:stream", "file::$DATA",
                           "a*", "a?b", "a\\b", "C:", "a\xFF"}) {
    EXPECT_THAT(create(name, "x"), StartsWith((temp_ / "inside").string() + ": '")) << name;
    EXPECT_FALSE(folder_->create_folder(name)) << name;
    EXPECT_FALSE(folder_->open_file(name)) << name;
    EXPECT_NE(folder_->kind_of(name), EntryKind::file) << name;
  }
  EXPECT_EQ(get("inside/file"), "keep");
  const auto entries = folder_->list();
  ASSERT_TRUE(entries) << cause_of(entries);
  EXPECT_EQ(entries->size(), 1U);
}

TEST_F(FolderTest, ANameIsTheSameInEveryCase) {
  EXPECT_EQ(create("Member.zip", "first"), "");
  EXPECT_EQ(folder_->kind_of("MEMBER.ZIP"), EntryKind::file);
  EXPECT_EQ(create("member.ZIP", "second"), "");
  const auto entries = folder_->list();
  ASSERT_TRUE(entries) << cause_of(entries);
  ASSERT_EQ(entries->size(), 1U);
  EXPECT_EQ(entries->front().name, "Member.zip");
  EXPECT_EQ(get("inside/Member.zip"), "second");
}

TEST_F(FolderTest, WhatIsHeldStaysAndIsNamed) {
  put("inside/file", "keep");
  const fs::path path = temp_ / "inside/file";
  const std::string label = (temp_ / "inside" / fs::path("file")).string();
  {
    const Handle held(
        CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(held);
    EXPECT_EQ(folder_->kind_of("file"), EntryKind::file);
    EXPECT_THAT(create("file", "new"), StartsWith(label + ": "));
    EXPECT_FALSE(folder_->open_file("file"));
    EXPECT_THAT(cause_of(folder_->remove_file("file")), StartsWith(label + ": "));
  }
  EXPECT_EQ(get("inside/file"), "keep");
  EXPECT_EQ(cause_of(folder_->remove_file("file")), "");
}

TEST_F(FolderTest, WhatIsReadOnlyStaysAndIsNamed) {
  put("inside/file", "keep");
  const fs::path path = temp_ / "inside/file";
  const std::string label = (temp_ / "inside" / fs::path("file")).string();
  SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_READONLY);
  if (tests::writes_read_only_files(path)) GTEST_SKIP() << "Wine lets root write such files";
  EXPECT_EQ(create("file", "new"), label + ": is marked as read-only");
  EXPECT_EQ(cause_of(folder_->remove_file("file")), label + ": is marked as read-only");
  SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
  EXPECT_EQ(get("inside/file"), "keep");
  EXPECT_EQ(cause_of(folder_->remove_file("file")), "");
}

}  // namespace
}  // namespace zendro::framework
