#include "cli/commands/commands.h"

namespace zendro::cli {

int update(Session& session) {
  const std::string& archive = session.arguments().file;
  const bool always = session.arguments().force;
  return session.change([&](pkg::pkg_cache_t& cache) {
    return archive.empty() ? cache.update_store_information(true, always)
                           : cache.update_from_archive(archive);
  });
}

}  // namespace zendro::cli
