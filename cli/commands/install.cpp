// What changes which packages are installed.
#include <algorithm>

#include "app/options/options.h"
#include "app/options/package_types.h"
#include "pkg/meta_filter.h"

#include "cli/commands/commands.h"
#include "console/exit_status.h"

namespace zendro::cli {
namespace {

// A package file is taken over before there can be a plan of it.
bool can_be_dry(Session& session) {
  const Arguments& arguments = session.arguments();
  const std::string_view extension = app::package_type(arguments.type).file_extension;
  const auto file =
      std::find_if(arguments.filters.begin(), arguments.filters.end(),
                   [&](const std::string& filter) { return filter.ends_with(extension); });
  if (!arguments.dry_run || file == arguments.filters.end()) return true;
  session.output().error(Text::dry_run_file, {named(L"path", *file)});
  return false;
}

}  // namespace

int install(Session& session) {
  if (!can_be_dry(session)) return console::kUsage;
  const Arguments& arguments = session.arguments();
  return session.change([&](pkg::pkg_cache_t& cache) {
    return arguments.file.empty() ? cache.install(arguments.filters)
                                  : cache.install_locked(arguments.file);
  });
}

int uninstall(Session& session) {
  if (!can_be_dry(session)) return console::kUsage;
  return session.change(
      [&](pkg::pkg_cache_t& cache) { return cache.uninstall(session.arguments().filters); });
}

int upgrade(Session& session) {
  const std::vector<std::string>& filters = session.arguments().filters;
  const auto available = session.cache().load_available();
  const auto installed = available ? session.cache().load_installed() : std::nullopt;
  if (!installed) return session.status_of(false);
  std::vector<std::string> patches;
  for (const pkg::package_t* package : pkg::select_installed(*installed, filters)) {
    if (const pkg::package_t* patch = pkg::patch_for(*package, *available, *installed)) {
      patches.push_back(pkg::to_string(patch->identity));
    }
  }
  if (patches.empty()) {
    session.output().log(filled(msg::Code::log_no_upgrades));
    return session.status_of(true);
  }
  return session.change([&](pkg::pkg_cache_t& cache) { return cache.install(patches); });
}

}  // namespace zendro::cli
