// Checks what a manager has left on disk against what should be installed, from the documented file
// formats alone.
#pragma once

#include <filesystem>
#include <set>
#include <string>

namespace zendro::demo {

/// Compares the folder `packages` (the install root) with the identities that should be installed
/// of a type: the installed list holds these and no others; every member is there with its digest,
/// and no other package folder is; each location, namespace, public identifier and mapping of an
/// installed package stands in its catalog and leads to an installed package; the catalogs name
/// nothing else. Returns the faults, one a line. Throws std::runtime_error where a file cannot be
/// read.
std::string check_installation(const std::filesystem::path& packages, const std::string& type,
                               const std::set<std::string>& identities);

}  // namespace zendro::demo
