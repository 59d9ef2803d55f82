// Brings a published tree to an object store.
#pragma once

#include <cstdint>
#include <stop_token>

#include "framework/io/io.h"
#include "pkg/progress.h"

#include "store/publish/object_store.h"
#include "store/tree_on_disk.h"

namespace zendro::store {

struct PublishOutcome {
  std::uint64_t present = 0;  ///< members that are there already
  std::uint64_t stored = 0;   ///< members that were not
  bool is_list_new = false;
};

/// Stores the members that are missing, then the list, its signature and the bootstrap document,
/// each where it has changed. What is there already is known by the digest in its metadata, which
/// was put there with it. Nothing is stored where a member would get other bytes than it has, or
/// the list that is there is newer; and the list stays where a member cannot be stored.
framework::Result<PublishOutcome> publish(const PublishedTree& tree, ObjectStore& store,
                                          const pkg::progress_sink& progress = {},
                                          const std::stop_token& stop = {});

}  // namespace zendro::store
