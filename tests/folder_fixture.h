// An open folder beside another one that must stay as it is: what the tests of folders share.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "framework/system/files.h"
#include "framework/system/folder.h"
#include "tests/temp_folder.h"

namespace zendro::tests {

class FolderTest : public testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directories(temp_ / "outside/sub");
    std::filesystem::create_directory(temp_ / "inside");
    put("outside/file", "precious");
    folder_ = framework::Folder::open(temp_ / "inside", error_);
    ASSERT_TRUE(folder_) << error_.text;
  }

  void put(const std::string& name, std::string_view bytes) {
    ASSERT_EQ(framework::write_file(temp_ / name, bytes, error_), framework::WriteOutcome::written)
        << error_.text;
  }
  std::string get(const std::string& name) {
    std::string bytes;
    EXPECT_TRUE(framework::read_file(temp_ / name, bytes, 1000, error_)) << error_.text;
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
  framework::IoError error_;
  std::unique_ptr<framework::Folder> folder_;
};

}  // namespace zendro::tests
