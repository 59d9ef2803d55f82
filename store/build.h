// Making the tree of files that a store publishes.
//
//   <tree>/pkgs-available.json.zip           the list
//   <tree>/pkgs-available.json.zip.sha256    its digest, as sha256sum writes it
//   <tree>/<type>/<identity>/<member>        one archive for each package version
//   <tree>/api/<type>-manager/v1/bootstrap   where the store is, for managers
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <stop_token>

#include "store/description.h"

namespace zendro::store {

struct BuiltTree {
  std::int64_t build_number = 0;
  bool is_changed = false;       ///< the list is another one
  std::size_t packages = 0;      ///< deprecated ones included
  std::size_t packed = 0;        ///< the rest was there already and is proved to be the same
  std::size_t left_behind = 0;   ///< members that were published and are in no list now; they stay
  bool is_unsigned_now = false;  ///< there was a signature of the list that was replaced
};

/// What a build says while it goes on; called from several threads.
struct BuildEvents {
  std::function<void(const std::string& warning)> warn;
  std::function<void(std::size_t done, std::size_t all)> progress;
};

/// Builds the tree of a store: members first, then the list, then its digest. Members are the same
/// bytes whenever and wherever they are made. A member that was published keeps its bytes: where
/// the files of its package have changed, the build fails and tells what to do. The build number
/// grows only if the list has changed. Nothing in the tree changes if a description is at fault.
tl::expected<BuiltTree, Faults> build_tree(const std::filesystem::path& store,
                                           const std::filesystem::path& tree,
                                           const BuildEvents& events, const std::stop_token& stop);

}  // namespace zendro::store
