#include "cli/commands/commands.h"

namespace zendro::cli {

int update(Session& session) {
  return session.change(
      [](pkg::pkg_cache_t& cache) { return cache.update_store_information(true); });
}

}  // namespace zendro::cli
