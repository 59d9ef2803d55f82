// Checks a store as a client sees it, from nothing but the files that it serves.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

namespace zendro::demo {

struct StoreCheck {
  std::size_t packages = 0;   ///< in the list and in the package file, deprecated ones included
  std::size_t locations = 0;  ///< location entries that lead to a file or folder
  std::size_t names = 0;      ///< namespaces and public identifiers that do
  std::string faults;         ///< one a line; empty for a good store
};

/// Checks the list's digest, every member's digest, that every location, namespace and public
/// identifier leads into a member, that mappings lead to a location of their package, that
/// references and conflicts match a package, and that identities, names and folders agree.
/// `package_file` may be empty. Throws std::runtime_error for a store that cannot be read.
StoreCheck check_store(const std::filesystem::path& folder, const std::string& type,
                       const std::string& package_file);

}  // namespace zendro::demo
