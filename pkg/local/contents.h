// Which files and folders have been made, so that no two names meet on any file system.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

#include <tl/expected.hpp>

namespace zendro::pkg::local {

/// Paths relative to one folder, with "/" between components.
class contents_t {
 public:
  /// Nothing, or why not.
  using noted = tl::expected<void, std::string>;

  /// Notes a file, or a folder, with the folders above it. Fails where something else stands there,
  /// or in the place of such a folder: a file, or a name that differs in case only, and for a file
  /// that is noted twice.
  noted add_file(std::string_view path) { return add(path, true); }
  noted add_folder(std::string_view path) { return add(path, false); }

  [[nodiscard]] bool has_file(std::string_view path) const;
  /// How many files and folders are noted.
  [[nodiscard]] std::size_t size() const { return entries_.size(); }

 private:
  struct entry_t {
    std::string path;
    bool is_file;
  };

  noted add(std::string_view path, bool is_file);

  std::map<std::string, entry_t, std::less<>> entries_;  ///< by path in a form without case
};

}  // namespace zendro::pkg::local
