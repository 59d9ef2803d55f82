#include "pkg/cache.h"

#include <memory>
#include <utility>

#include "app/options/options.h"
#include "framework/system/guarded.h"
#include "msg/shown.h"
#include "pkg/install.h"
#include "pkg/list_files.h"
#include "pkg/local_files.h"
#include "pkg/lock_document.h"
#include "pkg/meta_filter.h"
#include "pkg/package_file.h"
#include "pkg/package_file_writer.h"
#include "pkg/pkg_io.h"
#include "pkg/store.h"
#include "pkg/uninstall.h"

namespace zendro::pkg {
namespace {

// Stays in the cache root; its name is no list's and no catalog's.
constexpr std::string_view kLockFile = "operation.lock";
constexpr std::string_view kNoLock =
    ". Nothing was changed, since another operation could be at work at the same time. Remove what "
    "stands in the way there, or see to it that it may be written, and try again.";

merged_view_t read_view(core_context& context) {
  std::optional<pkgs_available_t> available = pkg::load_available(context);
  std::optional<pkgs_available_t> installed = pkg::load_installed(context);
  return {available ? std::move(*available) : pkgs_available_t(),
          installed ? std::move(*installed) : pkgs_available_t()};
}

msg::Message failure_message(std::string_view text) {
  return msg::Message{{}, {}, msg::Severity::error, msg::shown(text)};
}

}  // namespace

pkg_cache_t::pkg_cache_t(std::string_view type, const json::object& options)
    : type_(type), options_(options) {
  app::set_type(options_, type);
}

template <typename Result, typename Body>
Result pkg_cache_t::attempt(Result failed, const Body& body) {
  Result result = std::move(failed);
  framework::guarded(
      [&] {
        core_context context(type_, options_, outlets_, global_lock_);
        result = body(context);
      },
      [this](std::string_view failure) {
        if (outlets_.messages) outlets_.messages(failure_message(failure));
      });
  return result;
}

template <typename Result, typename Body>
Result pkg_cache_t::run(cache_use use, Result failed, const Body& body) {
  return attempt(failed, [&](core_context& context) -> Result {
    if (!context.has_folders()) {
      context.fail(msg::Code::not_initialized, {context.pkgtype()});
      return std::move(failed);
    }
    return in_turn<Result>(context, use, [&]() -> Result {
      try {
        return body(context);
      } catch (const metadata_error& error) {
        fail_metadata(context, context.available_path(), error);
        return std::move(failed);
      }
    });
  });
}

// An operation that only reads goes on without the lock: where none can be had, as on a medium that
// is read-only, there are the lists to be shown all the same.
template <typename Result, typename Body>
Result pkg_cache_t::in_turn(core_context& context, cache_use use, const Body& body) {
  root_folder& root = context.cache_folder();
  const borrowed_folder folder = use == cache_use::creates ? root.create() : root.open();
  framework::TakenLock turn = folder ? turn_.take(**folder, kLockFile, outlets_.waits)
                                     : tl::unexpected(framework::NoLock{folder.error().cause()});
  if (folder && !turn && turn.error().was_stopped()) return Result();
  context.progress().begin(0);
  if (turn || use == cache_use::reads) return body();
  if (framework::IoError& error = turn.error().cause) {
    error.text += kNoLock;
    context.reporter().report(error);
  } else {
    context.fail(msg::Code::not_initialized, {context.pkgtype()});
  }
  return Result();
}

bool pkg_cache_t::is_initialised() {
  return attempt(false, [](core_context& context) { return context.is_initialised(); });
}

std::optional<pkgs_available_t> pkg_cache_t::load_available() {
  return run(cache_use::reads, std::optional<pkgs_available_t>(),
             [](core_context& context) { return pkg::load_available(context); });
}

std::optional<pkgs_available_t> pkg_cache_t::load_installed() {
  return run(cache_use::reads, std::optional<pkgs_available_t>(),
             [](core_context& context) { return pkg::load_installed(context); });
}

merged_view_t pkg_cache_t::load_view() {
  return attempt(merged_view_t(), [this](core_context& context) {
    if (!context.is_initialised()) return merged_view_t();
    return in_turn<merged_view_t>(context, cache_use::reads, [&] { return read_view(context); });
  });
}

std::optional<merged_view_t> pkg_cache_t::load_view_at_once() {
  std::optional<merged_view_t> view;
  attempt(false, [&view](core_context& context) {
    if (!context.is_initialised()) {
      view.emplace();
      return true;
    }
    const borrowed_folder folder = context.cache_folder().open();
    const framework::TakenLock turn =
        folder ? operation_turn::take_at_once(**folder, kLockFile)
               : tl::unexpected(framework::NoLock{folder.error().cause()});
    if (turn || !turn.error().was_stopped()) view = read_view(context);
    return view.has_value();
  });
  return view;
}

bool pkg_cache_t::apply(std::span<const filter_action> pairs, int action) {
  const std::vector<std::string> filters = filters_of(pairs, action);
  if (filters.empty()) return true;
  if (action == kActionInstall) return install(filters);
  if (action == kActionUninstall) return uninstall(filters);
  return false;
}

bool pkg_cache_t::apply_changes(std::span<const filter_action> pairs) {
  return run(cache_use::writes, false, [&](core_context& context) {
    std::vector<std::string> staying;
    if (!context.is_initialised()) {
      return context.fail(msg::Code::not_initialized, {context.pkgtype()});
    }
    if (!plan_changes(context, pairs, staying)) return false;
    const std::vector<std::string> uninstalls = filters_of(pairs, kActionUninstall);
    if (!uninstalls.empty()) {
      json::object options = options_;
      app::set_keep_references(options, true);
      app::set_uninstall_keep(options, staying);
      core_context exactly(type_, options, outlets_, global_lock_);
      if (!pkg::uninstall(exactly, uninstalls)) return false;
    }
    const std::vector<std::string> installs = filters_of(pairs, kActionInstall);
    if (!installs.empty() && !pkg::install(context, installs)) return false;
    log_local_files(context);
    return true;
  });
}

bool pkg_cache_t::install(const std::vector<std::string>& filters) {
  return run(cache_use::writes, false,
             [&](core_context& context) { return pkg::install(context, filters); });
}

bool pkg_cache_t::uninstall(const std::vector<std::string>& filters) {
  return run(cache_use::writes, false,
             [&](core_context& context) { return pkg::uninstall(context, filters); });
}

bool pkg_cache_t::update_store_information(bool force, bool always) {
  return run(force ? cache_use::creates : cache_use::writes, false, [&](core_context& context) {
    return pkg::update_store_information(context, force, always);
  });
}

bool pkg_cache_t::update_from_archive(std::string_view path) {
  return run(cache_use::creates, false,
             [&](core_context& context) { return pkg::update_from_archive(context, path); });
}

bool pkg_cache_t::install_locked(std::string_view path) {
  return run(cache_use::writes, false,
             [&](core_context& context) { return pkg::install_locked(context, path); });
}

bool pkg_cache_t::write_package_file(const std::vector<std::string>& filters,
                                     std::string_view path) {
  return run(cache_use::reads, false, [&](core_context& context) {
    const unpacked_place place(path);
    json::object options = options_;
    options[app::option::install_root] = place.install_root();
    core_context staged(type_, options, outlets_, global_lock_);
    return pkg::write_package_file(context, staged, filters, path);
  });
}

std::optional<std::string> pkg_cache_t::file_of(std::string_view package_url) {
  return run(cache_use::reads, std::optional<std::string>(), [&](core_context& context) {
    const std::optional<pkgs_available_t> installed = pkg::load_installed(context);
    return installed ? pkg::file_of(context, installed->packages(), package_url) : std::nullopt;
  });
}

std::optional<verification_t> pkg_cache_t::verify(const std::vector<std::string>& filters,
                                                  bool repairs) {
  using Found = std::optional<verification_t>;
  const cache_use use = repairs ? cache_use::writes : cache_use::reads;
  return run(use, Found(), [&](core_context& context) -> Found {
    const std::optional<pkgs_available_t> installed = pkg::load_installed(context);
    if (!installed) return std::nullopt;
    Found found = pkg::verify(context, *installed, select_installed(*installed, filters));
    if (!found || !repairs || !is_damaged(*found)) return found;
    found->is_repaired = repair(context, *installed, *found);
    return found;
  });
}

std::optional<std::vector<std::string>> pkg_cache_t::read_package_file(std::string_view path) {
  return run(cache_use::writes, std::optional<std::vector<std::string>>(),
             [&](core_context& context) { return pkg::read_package_file(context, path); });
}

}  // namespace zendro::pkg
