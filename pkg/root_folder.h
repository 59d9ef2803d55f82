// The cache root and the install root. Everything below them is read and written through these
// folders.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "pkg/opened_folder.h"

namespace zendro::pkg {

/// A folder that the options name, for one operation: the way to it is walked once.
///
/// Other users may write below the base folder, so from there on no link is followed. That folder
/// itself is trusted, and so is a root elsewhere, which an administrator has chosen: links on the
/// way to them are theirs.
class root_folder {
 public:
  root_folder() = default;
  /// `path` is absolute, or empty where none is known. `holder` is another root that is trusted
  /// like the base folder; a root that lies in neither is reached by its path.
  explicit root_folder(std::string_view path, std::string_view holder = {});

  /// Opens the folder. What was found, also that there is nothing, holds until create(). Absent
  /// also where the path is not known.
  borrowed_folder open();
  /// Opens the folder, made with its parents where it is missing; so it is never absent.
  borrowed_folder create();
  /// The full path without a separator at its end.
  [[nodiscard]] std::string path() const;

 private:
  std::filesystem::path path_;
  std::filesystem::path holder_;
  std::optional<opened_folder> opened_;  ///< once it has been looked for
};

}  // namespace zendro::pkg
