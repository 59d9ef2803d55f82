#include "pkg/cache_write_lock.h"

namespace zendro::pkg {

std::recursive_mutex& cache_write_lock() {
  static std::recursive_mutex mutex;
  return mutex;
}

}  // namespace zendro::pkg
