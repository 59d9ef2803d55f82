#include "framework/system/files.h"

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <system_error>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "framework/system/system_error.h"
#include "tests/lock_at.h"
#include "tests/temp_folder.h"
#include "tests/whole_file.h"

namespace zendro::framework {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::StartsWith;
using tests::contents;
using tests::kNoLimit;
using tests::lock_at;
using tests::TempFolder;

TEST(FilesTest, WritesReplacesAndReadsWithinLimits) {
  const TempFolder folder;
  const fs::path path = path_from_utf8((folder / "caf\u00E9 %7C.json").string());
  IoError error;
  EXPECT_FALSE(file_exists(path));

  const std::string big(3 * kIoBlock + 17, 'x');
  ASSERT_EQ(write_file(path, big, error), WriteOutcome::written) << error.text;
  EXPECT_TRUE(file_exists(path));
  EXPECT_EQ(contents(path), big);
  ASSERT_EQ(write_file(path, "short", error), WriteOutcome::written);
  EXPECT_FALSE(error);

  std::string bytes = "stale";
  EXPECT_TRUE(read_file(path, bytes, 5, error));
  EXPECT_EQ(bytes, "short");
  EXPECT_FALSE(read_file(path, bytes, 4, error));
  EXPECT_EQ(error.text, path_to_utf8(path) + ": holds more than 4 bytes");
}

TEST(FilesTest, RefusesWhatIsNoRegularFile) {
  const TempFolder folder;
  fs::create_directory(folder / "sub");
  const fs::path nul = folder / std::string("file\0.txt", 9);
  IoError ignored;
  ASSERT_EQ(write_file(folder / "file", "keep", ignored), WriteOutcome::written);
  for (const fs::path& path : {folder / "sub", nul, folder / "no/where"}) {
    std::string bytes;
    IoError error;
    EXPECT_FALSE(read_file(path, bytes, kNoLimit, error)) << path;
    EXPECT_THAT(error.text, StartsWith(path.string() + ": "));
    error = {};
    EXPECT_EQ(write_file(path, "new", error), WriteOutcome::not_opened) << path;
    EXPECT_THAT(error.text, StartsWith(path.string() + ": "));
    EXPECT_FALSE(file_exists(path)) << path;
  }
  EXPECT_EQ(contents(folder / "file"), "keep");
  EXPECT_TRUE(is_missing(folder / "no/where"));
  EXPECT_FALSE(is_missing(folder / "sub"));
}

// Two spellings of one folder are found to be the same, also beyond what exists.
TEST(FilesTest, ResolvesPathsAsFarAsTheyExist) {
  const TempFolder folder;
  fs::create_directories(folder / "Real/inner");
  const fs::path real = resolved_path(folder / "Real");
  EXPECT_TRUE(fs::equivalent(real, folder / "Real"));
  EXPECT_EQ(resolved_path(folder / "Real/inner/../new/file"), real / "new" / "file");
}

TEST(FilesTest, StreamsMoveRefuseAndClose) {
  const TempFolder folder;
  IoError error;
  auto out = create_file(folder / "f", error);
  ASSERT_TRUE(out) << error.text;
  EXPECT_EQ(out->write("0123456789", 10), 10);
  out->flush();
  out->close();
  out->close();
  EXPECT_FALSE(out->error());
  EXPECT_EQ(out->write("x", 1), -1);
  EXPECT_TRUE(out->error());

  auto in = open_file(folder / "f", error);
  ASSERT_TRUE(in) << error.text;
  char buffer[4] = {};
  EXPECT_EQ(in->size(), 10);
  EXPECT_EQ(in->seek(-3, SeekOrigin::end), 7);
  EXPECT_EQ(in->read(buffer, 4), 3);
  EXPECT_EQ(in->read(buffer, 4), 0);
  EXPECT_EQ(in->seek(2, SeekOrigin::begin), 2);
  EXPECT_EQ(in->seek(1, SeekOrigin::current), 3);
  EXPECT_EQ(in->read(buffer, 1), 1);
  EXPECT_EQ(buffer[0], '3');
  EXPECT_EQ(in->write("x", 1), -1);
  const std::string first = in->error().text;
  EXPECT_THAT(first, HasSubstr("reading only"));
  EXPECT_EQ(in->seek(-1, SeekOrigin::begin), -1);
  EXPECT_EQ(in->error().text, first);
  EXPECT_EQ(contents(folder / "f"), "0123456789");
}

TEST(SystemErrorTest, TextsTellWhatFailedAndTheSystemsCause) {
  const int code = std::make_error_code(std::errc::no_such_file_or_directory).value();
  const std::error_code missing(code, std::system_category());
  EXPECT_EQ(exception_text(std::system_error(missing, "The thing")),
            "The thing: " + system_cause(code));
  EXPECT_EQ(exception_text(std::system_error(missing)), system_cause(code));
  const std::system_error portable(std::make_error_code(std::errc::timed_out), "The thing");
  EXPECT_EQ(exception_text(portable), portable.what());
  EXPECT_EQ(exception_text(std::runtime_error("No \u00E9")), "No \u00E9");
}

TEST(FilesTest, CreatesFoldersWithTheirParents) {
  const TempFolder folder;
  IoError error;
  EXPECT_TRUE(create_folders(folder / "a/b/c/", error)) << error.text;
  EXPECT_TRUE(create_folders(folder / "a/b", error)) << error.text;
  EXPECT_TRUE(create_folders("", error)) << error.text;
  EXPECT_TRUE(fs::is_directory(folder / "a/b/c"));
  ASSERT_EQ(write_file(folder / "a/file", "keep", error), WriteOutcome::written);
  for (const std::string& blocked : {std::string("a/file"), std::string("a/file/"),
                                     std::string("a/file/d"), std::string("new\0x", 5)}) {
    error = {};
    EXPECT_FALSE(create_folders(folder / blocked, error)) << blocked;
    EXPECT_THAT(error.text, StartsWith((folder / blocked).string() + ": "));
  }
  EXPECT_EQ(contents(folder / "a/file"), "keep");
  EXPECT_FALSE(fs::exists(folder / "new"));
}

TEST(LockFileTest, LetsOneThreadInAtATime) {
  const TempFolder folder;
  const fs::path path = folder / "lock";
  IoError held_error;
  auto held = lock_at(path, held_error);
  ASSERT_TRUE(held) << held_error.text;
  std::atomic<int> inside = 0;
  std::atomic<int> passed = 0;
  const auto contend = [&] {
    IoError error;
    const auto lock = lock_at(path, error);
    EXPECT_TRUE(lock) << error.text;
    EXPECT_EQ(++inside, 1);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    --inside;
    ++passed;
  };
  std::thread first(contend);
  std::thread second(contend);
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_EQ(passed, 0);
  held.reset();
  first.join();
  second.join();
  EXPECT_EQ(passed, 2);
  EXPECT_TRUE(file_exists(path));
}

TEST(LockFileTest, TellsAfterASecondWhoHoldsItAndLetsGoOfTheWait) {
  const TempFolder folder;
  const fs::path path = folder / "lock";
  IoError error;
  auto held = lock_at(path, error, "a longer note of an earlier holder");
  held.reset();
  std::string text;
  ASSERT_TRUE(read_file(path, text, 100, error));
  EXPECT_EQ(text, "") << "a note is that of the holder";
  held = lock_at(path, error, "held by me");
  ASSERT_TRUE(held) << error.text;

  std::stop_source stop;
  std::vector<std::string> notes;
  const auto began = std::chrono::steady_clock::now();
  const LockWait wait{stop.get_token(), [&](std::string_view note) {
                        notes.emplace_back(note);
                        stop.request_stop();
                      }};
  EXPECT_FALSE(lock_at(path, error, "mine", wait));
  EXPECT_EQ(error.text, "") << "no failure";
  EXPECT_EQ(notes, std::vector<std::string>{"held by me"});
  EXPECT_GE(std::chrono::steady_clock::now() - began, LockFile::kLongWait);
  EXPECT_FALSE(lock_at(path, error, "mine", wait)) << "one attempt";
  held.reset();
  EXPECT_TRUE(lock_at(path, error, "mine", wait)) << "one attempt";
  EXPECT_EQ(notes.size(), 1u);
}

TEST(LockFileTest, ReportsWhatCannotBeLocked) {
  const TempFolder folder;
  IoError error;
  EXPECT_FALSE(lock_at(folder.path(), error));
  EXPECT_THAT(error.text, StartsWith(folder.path().string() + ": "));
}

}  // namespace
}  // namespace zendro::framework
