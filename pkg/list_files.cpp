#include "pkg/list_files.h"

#include <filesystem>
#include <utility>

#include "framework/files.h"
#include "pkg/cache_write_lock.h"

namespace zendro::pkg {
namespace {

std::optional<pkgs_available_t> load(core_context_t& context, const std::string& path) {
  std::string cause;
  std::optional<pkgs_available_t> list = read_list(path, cause);
  if (!list) {
    context.fail(msg::Code::invalid_pkg_information, {context.pkgtype(), path_argument(path)},
                 cause);
  }
  return list;
}

// The text is complete before the file is opened, so that a list is never half of an old one and
// half of a new one because serialising failed.
bool write(core_context_t& context, const pkgs_available_t& list, const std::string& path) {
  const std::string text = list.serialise();
  const std::lock_guard lock(cache_write_lock());
  const std::filesystem::path target = framework::path_from_utf8(path);
  framework::IoError error;
  const bool written =
      framework::create_folders(target.parent_path(), error) &&
      framework::write_file(target, text, error) == framework::WriteOutcome::written;
  context.reporter().report(error);
  return written;
}

}  // namespace

std::optional<pkgs_available_t> parse_list(std::string text, std::string& cause) {
  try {
    if (auto document = framework::LazyDocument::parse(std::move(text), cause)) {
      return pkgs_available_t(std::move(document));
    }
  } catch (const framework::JsonError& error) {
    cause = error.what();
  }
  return std::nullopt;
}

std::optional<pkgs_available_t> read_list(const std::string& path, std::string& cause) {
  std::string text;
  framework::IoError error;
  if (!framework::read_file(framework::path_from_utf8(path), text, kListLimit, error)) {
    cause = error.text;
    return std::nullopt;
  }
  return parse_list(std::move(text), cause);
}

std::optional<pkgs_available_t> load_available(core_context_t& context) {
  return load(context, context.available_path());
}

std::optional<pkgs_available_t> load_installed(core_context_t& context) {
  const std::lock_guard lock(context.global_lock());
  // Only a list that is known to be missing is empty. Anything else that cannot be looked at is an
  // error, or the next write would replace a list that is merely out of reach.
  if (framework::is_missing(framework::path_from_utf8(context.installed_path()))) {
    return pkgs_available_t();
  }
  return load(context, context.installed_path());
}

bool fail_metadata(core_context_t& context, const std::string& path, const package_t& package,
                   const framework::JsonError& error) {
  return context.fail(msg::Code::invalid_pkg_information, {context.pkgtype(), path_argument(path)},
                      to_string(package.identity) + ": " + error.what());
}

bool write_available(core_context_t& context, const pkgs_available_t& list) {
  if (write(context, list, context.available_path())) return true;
  return context.fail(msg::Code::write_pkg_information,
                      {context.pkgtype(), path_argument(context.available_path())});
}

bool write_installed(core_context_t& context, const pkgs_available_t& list) {
  if (write(context, list, context.installed_path())) return true;
  return context.fail(msg::Code::update_pkgs_installed, {context.pkgtypes()});
}

}  // namespace zendro::pkg
