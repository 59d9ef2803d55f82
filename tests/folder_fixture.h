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
#include "tests/cause.h"
#include "tests/temp_folder.h"

namespace zendro::tests {

class FolderTest : public testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directories(temp_ / "outside/sub");
    std::filesystem::create_directory(temp_ / "inside");
    put("outside/file", "precious");
    auto folder = framework::Folder::open(temp_ / "inside");
    ASSERT_TRUE(folder) << folder.error().text;
    folder_ = std::move(*folder);
  }

  void put(const std::string& name, std::string_view bytes) {
    ASSERT_EQ(cause_of(framework::write_file(temp_ / name, bytes)), "");
  }
  std::string get(const std::string& name) {
    const auto bytes = framework::read_file(temp_ / name, 1000);
    EXPECT_EQ(cause_of(bytes), "");
    return bytes.value_or("");
  }
  // Why the file cannot be created; empty where it has been.
  std::string create(const std::string& name, std::string_view bytes) {
    const auto file = folder_->create_file(name);
    if (!file) return file.error().text;
    EXPECT_EQ((*file)->write(bytes.data(), bytes.size()), static_cast<std::int64_t>(bytes.size()));
    (*file)->close();
    return (*file)->error().text;
  }

  TempFolder temp_;
  std::unique_ptr<framework::Folder> folder_;
};

}  // namespace zendro::tests
