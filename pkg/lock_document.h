// Lock documents: what is installed, with all digests, so that another machine gets exactly that.
//
//   {"zendro_lock": 1, "type": "xsd",
//    "packages": {"<identity>": {"<member>": "<SHA-256>", ...}, ...}}
#pragma once

#include <string>
#include <string_view>

#include "pkg/core_context.h"
#include "pkg/package_list.h"

namespace zendro::pkg {

/// The lock document of a list of installed packages, one package a line. Throws metadata_error.
std::string lock_document(std::string_view type, const pkgs_available_t& installed);

/// Installs exactly the packages of the lock document at `path`: of what they reference nothing
/// beyond it, and newer patch levels neither. Refuses the whole before anything is changed where
/// the lists give another digest for a member, know a package not, or where a newer patch level
/// stands in a package's place. Other packages that are installed stay.
bool install_locked(core_context& context, std::string_view path);

}  // namespace zendro::pkg
