// Versions of one package name that share a folder.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "pkg/package_list.h"

namespace zendro::pkg {

/// Finds out which versions cannot stand side by side: those that have one folder and give a member
/// of one local name different digests. Reads the members only of versions that share a folder.
class shared_folders {
 public:
  /// Takes one more version, which outlives this. The one taken before that it cannot stand beside;
  /// null where there is none. One whose metadata cannot be read is in nobody's way.
  const package_t* add(const package_t& package);

 private:
  struct folder_t {
    std::vector<const package_t*> packages;
    std::size_t read = 0;  ///< how many of them are in `members`
    /// By comparable local name: the digest, and the first one that gives it.
    std::map<std::string, std::pair<std::string, const package_t*>> members;
  };

  static const package_t* read_members(folder_t& folder, const package_t& package);

  std::map<std::string, folder_t> folders_;
};

}  // namespace zendro::pkg
