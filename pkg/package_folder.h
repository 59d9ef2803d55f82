// Where the members of a package are, and the guard that keeps every access inside that folder.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "framework/folder.h"
#include "framework/io.h"
#include "pkg/core_context.h"
#include "pkg/meta.h"

namespace zendro::pkg {

/// The folder of one package below the install root: `<install root><type>/<installdir>/`.
class package_folder_t {
 public:
  /// The folder that the metadata names. The context outlives it.
  package_folder_t(core_context_t& context, const meta_t& meta);

  /// The full path with its trailing separator, as shown in messages.
  [[nodiscard]] const std::string& path() const { return path_; }
  /// The same text for every spelling of the same folder.
  [[nodiscard]] std::string key() const;
  /// The full path of a member's local file.
  [[nodiscard]] std::string member_path(std::string_view member) const;

  // What follows refuses a folder whose "_type" and "_pkg_installdir" are not each one plain name,
  // whose "_type" is that of another package type, that is a cache root, holds one or lies in one,
  // or that a link stands in the way of.

  /// Whether nothing of that holds. `cause` tells what does.
  [[nodiscard]] bool is_safe(std::string& cause) const;

  /// Opens the folder if it exists: null without an error when it does not.
  [[nodiscard]] std::unique_ptr<framework::Folder> open(framework::IoError& error) const;
  /// Creates the folder with its parents and opens it; null, with the cause, on failure.
  [[nodiscard]] std::unique_ptr<framework::Folder> create(framework::IoError& error) const;

  /// Deletes the folder with all that is in it, without following a link. Each deletion, and each
  /// thing that was not there, is logged. False, with the cause, as soon as something cannot be
  /// deleted.
  bool remove(core_context_t& context, framework::IoError& error) const;

 private:
  [[nodiscard]] bool is_own(framework::IoError& error) const;

  type_folders_t& folders_;
  const std::string& own_type_;  ///< that of the operation
  std::string type_;
  std::string name_;
  std::string path_;
};

}  // namespace zendro::pkg
