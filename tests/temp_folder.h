// A folder of its own for one test, removed with all that it holds at the end.
#pragma once

#include <algorithm>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <string>

namespace zendro::tests {

class TempFolder {
 public:
  TempFolder() {
    std::random_device random;
    for (int attempt = 0; attempt < 100; ++attempt) {
      path_ = std::filesystem::temp_directory_path() / ("zendro-test-" + std::to_string(random()));
      if (std::filesystem::create_directory(path_)) return;
    }
    throw std::runtime_error("no temporary folder");
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }
  std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

/// A text with "/" where the system's paths have their separators.
inline std::string with_slashes(std::string text) {
  std::replace(text.begin(), text.end(),
               static_cast<char>(std::filesystem::path::preferred_separator), '/');
  return text;
}

}  // namespace zendro::tests
