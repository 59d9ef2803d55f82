// Everything that is checked of a store.
#pragma once

#include <cstddef>
#include <stop_token>

#include "store/check/finding.h"
#include "store/check/loaded_store.h"

namespace zendro::store {

struct StoreCheck {
  Findings findings;  ///< in package order, of a package errors first
  std::size_t packages = 0;
  std::size_t documents = 0;  ///< schemas, linkbases and document type definitions
};

/// Checks the list, its members and all documents in them, on all processors. With `stop` it ends
/// early, and knows only what it has found until then.
StoreCheck check_store(const LoadedStore& store, const std::stop_token& stop = {});

}  // namespace zendro::store
