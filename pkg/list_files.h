// Loading and writing the package lists of a cache root.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <tl/expected.hpp>

#include "pkg/core_context.h"
#include "pkg/package_list.h"

namespace zendro::pkg {

/// A list, or why there is none.
using read_list_t = tl::expected<pkgs_available_t, std::string>;

/// Parses a package-list document.
read_list_t parse_list(std::string text);
/// Reads a package-list document from a file of a cache root.
read_list_t read_list(root_folder& root, std::string_view name);

/// Each reports "invalid_pkg_information" and returns nothing when its list cannot be read.
std::optional<pkgs_available_t> load_available(core_context& context);
/// Takes the cache's global lock while it reads. A list that does not exist yet is empty.
std::optional<pkgs_available_t> load_installed(core_context& context);

/// Reports "invalid_pkg_information" for a package of the list, or package file, at `path`; the
/// hint names the package. Returns false.
bool fail_metadata(core_context& context, const std::string& path, const metadata_error& error);
/// The same as a warning, about an installed package that must not stand in the way of others.
/// `consequence` is a sentence that says what is done without its metadata.
void warn_metadata(core_context& context, const metadata_error& error,
                   std::string_view consequence);

/// Names what pkgs_available_t::refused() has of the list at `path` as warnings
/// "invalid_pkg_information" with `shown_path`, once as long as the cache object lives.
void warn_refused(core_context& context, const pkgs_available_t& list, const std::string& path,
                  const std::string& shown_path);

/// Replaces a list in place: "write_pkg_information" for the available one when that fails,
/// "update_pkgs_installed" for the installed one, with what the I/O layer said before it.
bool write_available(core_context& context, const pkgs_available_t& list);
bool write_installed(core_context& context, const pkgs_available_t& list);

}  // namespace zendro::pkg
