// Unpacked packages that several checks look at, kept as long as there is room.
#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <memory>
#include <mutex>

#include "store/check/package_contents.h"

namespace zendro::store {

/// Thread-safe. Two threads that want the same package read it once.
class ContentsCache {
 public:
  explicit ContentsCache(const LoadedStore& store);

  /// A package of the store's list.
  std::shared_ptr<const PackageContents> get(const pkg::package_t& package);

 private:
  struct Slot {
    std::mutex mutex;
    std::weak_ptr<const PackageContents> contents;
  };

  void keep(std::shared_ptr<const PackageContents> contents);

  const LoadedStore& store_;
  std::map<const pkg::package_t*, Slot> slots_;              ///< all made beforehand
  std::mutex mutex_;                                         ///< of what follows
  std::deque<std::shared_ptr<const PackageContents>> kept_;  ///< the last ones that were read
  std::size_t size_ = 0;                                     ///< their bytes
};

}  // namespace zendro::store
