// A package manager's folders inside a folder whose other contents must stay as they are.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>

#include "framework/text/json.h"
#include "tests/temp_folder.h"

namespace zendro::fuzz {

/// One for each process: what is below the temporary folder, read by path relative to it.
class WatchedFolder {
 public:
  WatchedFolder();

  /// Empties the install root but for what is watched there: the folders of the other package type,
  /// and links that lead outside.
  void reset();
  /// A finding unless everything outside is as it was and the cache has no files but its own.
  void check() const;

  /// The options of a manager of schema packages with the usual folders; its store is at
  /// tests::kStoreAddress.
  [[nodiscard]] const boost::json::object& options() const { return options_; }
  /// A file of the cache root, and a place for files of the target's own.
  [[nodiscard]] std::filesystem::path cache_file(const std::string& name) const;
  [[nodiscard]] std::filesystem::path own_file(const std::string& name) const;
  /// What the install root holds: relative path to contents; "" for a folder, "-> target" for a
  /// link.
  [[nodiscard]] std::map<std::string, std::string> contents() const;

 private:
  tests::TempFolder folder_;
  std::filesystem::path root_ = folder_ / "base" / "Zendro" / "pkgs";
  boost::json::object options_;
  std::map<std::string, std::string> outside_;
};

void write_bytes(const std::filesystem::path& path, std::string_view bytes);
std::string read_bytes(const std::filesystem::path& path);

}  // namespace zendro::fuzz
