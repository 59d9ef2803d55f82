// Loading and writing the package lists of a cache root.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "pkg/core_context.h"
#include "pkg/package_list.h"

namespace zendro::pkg {

/// Parses a package-list document. Nothing, with the cause, when it is not one.
std::optional<pkgs_available_t> parse_list(std::string text, std::string& cause);
/// Reads a package-list document from a file. Nothing, with the cause, when it cannot be read.
std::optional<pkgs_available_t> read_list(const std::string& path, std::string& cause);

/// Each reports "invalid_pkg_information" and returns nothing when its list cannot be read.
std::optional<pkgs_available_t> load_available(core_context_t& context);
/// Takes the cache's global lock while it reads. A list that does not exist yet is empty.
std::optional<pkgs_available_t> load_installed(core_context_t& context);

/// Reports "invalid_pkg_information" for a package of the list at `path` whose metadata has a
/// member of the wrong type; the hint names the package. Returns false.
bool fail_metadata(core_context_t& context, const std::string& path, const package_t& package,
                   const framework::JsonError& error);

/// Replaces a list in place: "write_pkg_information" for the available one when that fails,
/// "update_pkgs_installed" for the installed one, with what the I/O layer said before it.
bool write_available(core_context_t& context, const pkgs_available_t& list);
bool write_installed(core_context_t& context, const pkgs_available_t& list);

}  // namespace zendro::pkg
