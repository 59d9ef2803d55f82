// All bytes of a file, read as the program reads them.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "framework/system/files.h"

namespace zendro::tests {

constexpr std::uint64_t kNoLimit = UINT64_MAX;

/// A test failure where the file cannot be read.
inline std::string contents(const std::filesystem::path& path) {
  std::string bytes;
  framework::IoError error;
  EXPECT_TRUE(framework::read_file(path, bytes, kNoLimit, error)) << error.text;
  return bytes;
}

}  // namespace zendro::tests
