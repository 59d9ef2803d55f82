// All bytes of a file, read as the program reads them.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "framework/system/files.h"
#include "tests/cause.h"

namespace zendro::tests {

constexpr std::uint64_t kNoLimit = UINT64_MAX;

/// A test failure where the file cannot be read.
inline std::string contents(const std::filesystem::path& path) {
  const auto bytes = framework::read_file(path, kNoLimit);
  EXPECT_EQ(cause_of(bytes), "");
  return bytes.value_or("");
}

}  // namespace zendro::tests
