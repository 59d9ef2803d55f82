// Where the members of a package are, and the guard that keeps every access inside that folder.
#pragma once

#include <string>
#include <string_view>

#include "framework/io/io.h"
#include "pkg/core_context.h"
#include "pkg/meta.h"
#include "pkg/opened_folder.h"

namespace zendro::pkg {

/// The folder of one package below the install root: `<install root><type>/<installdir>/`.
class package_folder {
 public:
  /// The folder that the metadata names. The context outlives it.
  package_folder(core_context& context, const meta_t& meta);

  /// The full path with its trailing separator, as shown in messages.
  [[nodiscard]] const std::string& path() const { return path_; }
  // The names that the metadata gives, as it gives them.
  [[nodiscard]] const std::string& type() const { return type_; }
  [[nodiscard]] const std::string& name() const { return name_; }
  /// Whether packages of several managers may live under its type.
  [[nodiscard]] bool is_shared() const;
  /// The same text for every spelling of the same folder.
  [[nodiscard]] std::string key() const;
  /// The full path of a member's local file.
  [[nodiscard]] std::string member_path(std::string_view member) const;

  // Metadata comes from outside, so everything below refuses a folder that may be somebody else's:
  // - "_type" or "_pkg_installdir" is more than one plain name, or could be a second name of
  //   another folder (a short name of Windows),
  // - "_type" is another package type, or the lock of the install root,
  // - the folder is a cache root, holds one or lies in one,
  // - a link stands on the way to it.

  /// Fails where the folder is refused for one of these reasons, be it there or not.
  [[nodiscard]] framework::Result<void> check() const;

  /// The same as far as names tell: no package's folder is looked at.
  [[nodiscard]] framework::Result<void> check_names() const;

  [[nodiscard]] opened_folder open() const;
  /// Opens the folder, made with its parents where it is missing; so it is never absent.
  [[nodiscard]] opened_folder create() const;

  /// Deletes the folder with all that is in it, without following a link. Each deletion, and each
  /// thing that was not there, is logged. Ends as soon as something cannot be deleted.
  [[nodiscard]] framework::Result<void> remove(core_context& context) const;

 private:
  type_folders& folders_;
  const std::string& own_type_;  ///< that of the operation
  std::string type_;
  std::string name_;
  std::string path_;
};

}  // namespace zendro::pkg
