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
using tests::cause_of;
using tests::contents;
using tests::kNoLimit;
using tests::lock_at;
using tests::TempFolder;
using tests::was_not_opened;

TEST(FilesTest, WritesReplacesAndReadsWithinLimits) {
  const TempFolder folder;
  const fs::path path = path_from_utf8((folder / "caf\u00E9 %7C.json").string());
  EXPECT_FALSE(file_exists(path));

  const std::string big(3 * kIoBlock + 17, 'x');
  ASSERT_EQ(cause_of(write_file(path, big)), "");
  EXPECT_TRUE(file_exists(path));
  EXPECT_EQ(contents(path), big);
  ASSERT_EQ(cause_of(write_file(path, "short")), "");

  EXPECT_EQ(read_file(path, 5), "short");
  EXPECT_EQ(cause_of(read_file(path, 4)), path_to_utf8(path) + ": holds more than 4 bytes");
}

TEST(FilesTest, RefusesWhatIsNoRegularFile) {
  const TempFolder folder;
  fs::create_directory(folder / "sub");
  const fs::path nul = folder / std::string("file\0.txt", 9);
  ASSERT_EQ(cause_of(write_file(folder / "file", "keep")), "");
  for (const fs::path& path : {folder / "sub", nul, folder / "no/where"}) {
    EXPECT_THAT(cause_of(read_file(path, kNoLimit)), StartsWith(path.string() + ": "));
    const WriteResult written = write_file(path, "new");
    EXPECT_TRUE(was_not_opened(written)) << path;
    EXPECT_THAT(cause_of(written), StartsWith(path.string() + ": "));
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
  const auto created = create_file(folder / "f");
  ASSERT_TRUE(created) << cause_of(created);
  const auto& out = *created;
  EXPECT_EQ(out->write("0123456789", 10), 10);
  out->flush();
  out->close();
  out->close();
  EXPECT_FALSE(out->error());
  EXPECT_EQ(out->write("x", 1), -1);
  EXPECT_TRUE(out->error());

  const auto opened = open_file(folder / "f");
  ASSERT_TRUE(opened) << cause_of(opened);
  const auto& in = *opened;
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
  EXPECT_EQ(cause_of(create_folders(folder / "a/b/c/")), "");
  EXPECT_EQ(cause_of(create_folders(folder / "a/b")), "");
  EXPECT_EQ(cause_of(create_folders("")), "");
  EXPECT_TRUE(fs::is_directory(folder / "a/b/c"));
  ASSERT_EQ(cause_of(write_file(folder / "a/file", "keep")), "");
  for (const std::string& blocked : {std::string("a/file"), std::string("a/file/"),
                                     std::string("a/file/d"), std::string("new\0x", 5)}) {
    EXPECT_THAT(cause_of(create_folders(folder / blocked)),
                StartsWith((folder / blocked).string() + ": "));
  }
  EXPECT_EQ(contents(folder / "a/file"), "keep");
  EXPECT_FALSE(fs::exists(folder / "new"));
}

TEST(LockFileTest, LetsOneThreadInAtATime) {
  const TempFolder folder;
  const fs::path path = folder / "lock";
  auto held = lock_at(path);
  ASSERT_TRUE(held) << cause_of(held);
  std::atomic<int> inside = 0;
  std::atomic<int> passed = 0;
  const auto contend = [&] {
    const auto lock = lock_at(path);
    EXPECT_TRUE(lock) << cause_of(lock);
    EXPECT_EQ(++inside, 1);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    --inside;
    ++passed;
  };
  std::thread first(contend);
  std::thread second(contend);
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_EQ(passed, 0);
  held->reset();
  first.join();
  second.join();
  EXPECT_EQ(passed, 2);
  EXPECT_TRUE(file_exists(path));
}

TEST(LockFileTest, TellsAfterASecondWhoHoldsItAndLetsGoOfTheWait) {
  const TempFolder folder;
  const fs::path path = folder / "lock";
  auto held = lock_at(path, "a longer note of an earlier holder");
  ASSERT_TRUE(held) << cause_of(held);
  held->reset();
  EXPECT_EQ(read_file(path, 100), "") << "a note is that of the holder";
  held = lock_at(path, "held by me");
  ASSERT_TRUE(held) << cause_of(held);

  std::stop_source stop;
  std::vector<std::string> notes;
  const auto began = std::chrono::steady_clock::now();
  const LockWait wait{stop.get_token(), [&](std::string_view note) {
                        notes.emplace_back(note);
                        stop.request_stop();
                      }};
  const auto stopped = lock_at(path, "mine", wait);
  ASSERT_FALSE(stopped);
  EXPECT_TRUE(stopped.error().was_stopped()) << "no failure";
  EXPECT_EQ(notes, std::vector<std::string>{"held by me"});
  EXPECT_GE(std::chrono::steady_clock::now() - began, LockFile::kLongWait);
  EXPECT_FALSE(lock_at(path, "mine", wait)) << "one attempt";
  held->reset();
  EXPECT_TRUE(lock_at(path, "mine", wait)) << "one attempt";
  EXPECT_EQ(notes.size(), 1u);
}

TEST(LockFileTest, ReportsWhatCannotBeLocked) {
  const TempFolder folder;
  EXPECT_THAT(cause_of(lock_at(folder.path())), StartsWith(folder.path().string() + ": "));
}

}  // namespace
}  // namespace zendro::framework
