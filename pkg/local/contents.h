// Which files and folders have been made, so that no two names meet on any file system.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

namespace zendro::pkg::local {

/// Paths relative to one folder, with "/" between components.
class contents_t {
 public:
  /// Notes a file, or a folder, with the folders above it. False, with the cause, where something
  /// else stands there, or in the place of such a folder: a file, or a name that differs in case
  /// only, and for a file that is noted twice.
  bool add_file(std::string_view path, std::string& cause) { return add(path, true, cause); }
  bool add_folder(std::string_view path, std::string& cause) { return add(path, false, cause); }

  [[nodiscard]] bool has_file(std::string_view path) const;
  /// How many files and folders are noted.
  [[nodiscard]] std::size_t size() const { return entries_.size(); }

 private:
  struct entry_t {
    std::string path;
    bool is_file;
  };

  bool add(std::string_view path, bool is_file, std::string& cause);

  std::map<std::string, entry_t, std::less<>> entries_;  ///< by path in a form without case
};

}  // namespace zendro::pkg::local
