#include "framework/files.h"

#include <system_error>

namespace zendro::framework {

namespace fs = std::filesystem;

namespace {

// The system would take the part before a NUL for the whole path.
bool holds_nul(const fs::path& path) {
  return path.native().find(fs::path::value_type{}) != fs::path::string_type::npos;
}

}  // namespace

fs::path path_from_utf8(std::string_view text) {
  return fs::path(std::u8string(text.begin(), text.end()));
}

std::string path_to_utf8(const fs::path& path) {
  const std::u8string text = path.u8string();
  return std::string(text.begin(), text.end());
}

bool read_file(const fs::path& path, std::string& out, std::uint64_t limit, IoError& error) {
  out.clear();
  const auto stream = open_file(path, error);
  if (!stream) return false;
  // The size is a hint only: the file may grow or shrink while it is read.
  const std::int64_t size = stream->size();
  const bool plausible = size >= 0 && static_cast<std::uint64_t>(size) <= limit;
  return read_all(*stream, out, plausible ? static_cast<std::size_t>(size) : 0, limit, error,
                  path_to_utf8(path));
}

bool create_folders(const fs::path& path, IoError& error) {
  if (path.empty()) return true;
  std::error_code code;
  if (holds_nul(path)) {
    code = std::make_error_code(std::errc::invalid_argument);
  } else {
    fs::create_directories(path, code);
    std::error_code ignored;
    if (fs::is_directory(path, ignored)) return true;
    if (!code) code = std::make_error_code(std::errc::not_a_directory);
  }
  error.text = path_to_utf8(path) + ": " + code.message();
  return false;
}

bool file_exists(const fs::path& path) {
  std::error_code ignored;
  return !holds_nul(path) && fs::is_regular_file(path, ignored);
}

}  // namespace zendro::framework
