// The lock under which files of a cache root are written.
#pragma once

#include <mutex>

namespace zendro::pkg {

/// One per process and recursive: a holder may call another writer that takes it again.
std::recursive_mutex& cache_write_lock();

}  // namespace zendro::pkg
