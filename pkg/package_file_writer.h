// Making package files, for machines without network.
#pragma once

#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "pkg/core_context.h"
#include "pkg/package_list.h"

namespace zendro::pkg {

/// A folder beside a file that is being made, for what goes into it; removed at the end.
class unpacked_place {
 public:
  /// `file` is in UTF-8. Throws where the folder cannot be made, or is there already.
  explicit unpacked_place(std::string_view file);
  ~unpacked_place();
  unpacked_place(const unpacked_place&) = delete;
  unpacked_place& operator=(const unpacked_place&) = delete;

  /// Absolute, with a separator at its end.
  [[nodiscard]] std::string install_root() const;

 private:
  std::filesystem::path path_;
};

/// Writes packages of a list, sorted by identity, as a package file that provides some of them.
/// `file_of` gives the file with the bytes of a member. Replaces a file only once the new one is
/// whole.
framework::Result<void> write_package_archive(
    std::string_view path, const std::vector<const package_t*>& packages,
    const pkgs_available_t& list, const std::set<name_semver_t>& provides,
    const std::function<std::string(const package_t& package, std::string_view member)>& file_of);

/// Writes what the filters choose, with everything that it references, as a package file that
/// provides what was chosen. Members are downloaded with proof to the install root of `staged`.
/// Replaces a file only once the new one is whole. False after a reported failure.
bool write_package_file(core_context& context, core_context& staged,
                        const std::vector<std::string>& filters, std::string_view path);

}  // namespace zendro::pkg
