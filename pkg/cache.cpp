#include "pkg/cache.h"

#include <exception>
#include <memory>
#include <utility>

#include "app/options.h"
#include "framework/files.h"
#include "framework/lock_file.h"
#include "msg/utf.h"
#include "pkg/install.h"
#include "pkg/list_files.h"
#include "pkg/package_file.h"
#include "pkg/store.h"
#include "pkg/uninstall.h"

namespace zendro::pkg {
namespace {

// Stays in the cache root; its name is no list's and no catalog's.
constexpr std::string_view kLockFile = "operation.lock";

// A cache root that does not exist or cannot be written has no lock; what then cannot be written is
// reported by the step that tries to.
std::unique_ptr<framework::LockFile> lock_cache(const core_context_t& context) {
  framework::IoError no_lock;
  if (context.cache_root().empty()) return nullptr;
  return framework::LockFile::acquire(framework::path_from_utf8(context.cache_file(kLockFile)),
                                      no_lock);
}

void create_cache_root(const core_context_t& context) {
  framework::IoError reported_when_written;
  if (context.cache_root().empty()) return;
  framework::create_folders(framework::path_from_utf8(context.cache_root()), reported_when_written);
}

msg::Message failure_message(std::string_view text) {
  return msg::Message{{}, {}, msg::Severity::error, msg::to_wide(text)};
}

}  // namespace

pkg_cache_t::pkg_cache_t(std::string_view type, const json::object& options)
    : type_(type), options_(options) {
  app::set_type(options_, type);
}

template <typename Result, typename Body>
Result pkg_cache_t::guarded(Result failed, const Body& body) {
  std::string failure = "Unknown failure";
  try {
    core_context_t context(type_, options_, outlets_, global_lock_);
    return body(context);
  } catch (const std::exception& exception) {
    failure = exception.what();
  } catch (...) {  // NOLINT(bugprone-empty-catch): the text above tells all that is known
  }
  if (outlets_.messages) outlets_.messages(failure_message(failure));
  return failed;
}

template <typename Result, typename Body>
Result pkg_cache_t::run(Result failed, const Body& body) {
  return guarded(std::move(failed), [&body](core_context_t& context) -> Result {
    const auto lock = lock_cache(context);
    return body(context);
  });
}

bool pkg_cache_t::is_initialised() {
  return guarded(false, [](core_context_t& context) { return context.is_initialised(); });
}

std::optional<pkgs_available_t> pkg_cache_t::load_available() {
  return run(std::optional<pkgs_available_t>(),
             [](core_context_t& context) { return pkg::load_available(context); });
}

std::optional<pkgs_available_t> pkg_cache_t::load_installed() {
  return run(std::optional<pkgs_available_t>(),
             [](core_context_t& context) { return pkg::load_installed(context); });
}

merged_view_t pkg_cache_t::load_view() {
  return run(merged_view_t(), [](core_context_t& context) {
    if (!context.is_initialised()) return merged_view_t();
    std::optional<pkgs_available_t> available = pkg::load_available(context);
    std::optional<pkgs_available_t> installed = pkg::load_installed(context);
    return merged_view_t(available ? std::move(*available) : pkgs_available_t(),
                         installed ? std::move(*installed) : pkgs_available_t());
  });
}

bool pkg_cache_t::apply(std::span<const filter_action_t> pairs, int action) {
  std::vector<std::string> filters;
  for (const auto& [filter, code] : pairs) {
    if (code == action) filters.push_back(filter);
  }
  if (filters.empty()) return true;
  if (action == kActionInstall) return install(filters);
  if (action == kActionUninstall) return uninstall(filters);
  return false;
}

bool pkg_cache_t::install(const std::vector<std::string>& filters) {
  return run(false, [&](core_context_t& context) { return pkg::install(context, filters); });
}

bool pkg_cache_t::uninstall(const std::vector<std::string>& filters) {
  return run(false, [&](core_context_t& context) { return pkg::uninstall(context, filters); });
}

bool pkg_cache_t::update_store_information(bool force) {
  return guarded(false, [force](core_context_t& context) {
    if (force) create_cache_root(context);
    const auto lock = lock_cache(context);
    return pkg::update_store_information(context, force);
  });
}

std::optional<std::vector<std::string>> pkg_cache_t::read_package_file(std::string_view path) {
  return run(std::optional<std::vector<std::string>>(),
             [&](core_context_t& context) { return pkg::read_package_file(context, path); });
}

}  // namespace zendro::pkg
