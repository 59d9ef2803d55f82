#include "pkg/list_files.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "pkg/list_origin.h"
#include "pkg/replace_file.h"

namespace zendro::pkg {
namespace {

// More are counted.
constexpr std::size_t kMostNamed = 100;

// The text as far as it could be a key, in whole characters of UTF-8.
std::string_view begin_of(std::string_view text) {
  if (text.size() <= kLongestKey) return text;
  std::size_t end = kLongestKey;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0u) == 0x80) --end;
  return text.substr(0, end);
}

std::optional<pkgs_available_t> load(core_context& context, const std::string& name) {
  const std::string path = context.cache_file(name);
  read_list_t list = read_list(context.cache_folder(), name);
  if (!list) {
    context.fail(msg::Code::invalid_pkg_information, {context.pkgtype(), path_argument(path)},
                 list.error());
    return std::nullopt;
  }
  warn_refused(context, *list, path, path);
  return std::move(*list);
}

// The text is complete before the file is opened, so that a list is never half of an old one and
// half of a new one because serialising failed.
bool write(core_context& context, const pkgs_available_t& list, const std::string& name) {
  const std::string text = list.serialise();
  return replace_file(context.cache_folder(), name, text, context.reporter()) ==
         replace_outcome::replaced;
}

}  // namespace

read_list_t parse_list(std::string text) {
  try {
    auto document = framework::LazyDocument::parse(std::move(text), kMostEntries);
    if (!document) return tl::unexpected("not JSON: " + document.error());
    return pkgs_available_t(std::move(*document));
  } catch (const framework::JsonError& error) {
    return tl::unexpected<std::string>(error.what());
  }
}

read_list_t read_list(root_folder& root, std::string_view name) {
  const borrowed_folder folder = root.open();
  if (!folder) {
    return tl::unexpected(folder.error().is_absent() ? root.path() + ": the folder does not exist"
                                                     : folder.error().cause().text);
  }
  framework::Result<std::string> text = (*folder)->read_file(name, kListLimit);
  if (!text) return tl::unexpected(text.error().text);
  return parse_list(std::move(*text));
}

std::optional<pkgs_available_t> load_available(core_context& context) {
  std::optional<pkgs_available_t> list = load(context, context.available_name());
  if (!list) forget_list_origin(context);
  return list;
}

std::optional<pkgs_available_t> load_installed(core_context& context) {
  const std::lock_guard lock(context.global_lock());
  // Only a list that is known to be missing is empty. Anything else that cannot be looked at is an
  // error, or the next write would replace a list that is merely out of reach.
  const borrowed_folder folder = context.cache_folder().open();
  const bool is_missing =
      folder ? (*folder)->kind_of(context.installed_name()) == framework::EntryKind::absent
             : folder.error().is_absent();
  return is_missing ? pkgs_available_t() : load(context, context.installed_name());
}

bool fail_metadata(core_context& context, const std::string& path, const metadata_error& error) {
  return context.fail(msg::Code::invalid_pkg_information, {context.pkgtype(), path_argument(path)},
                      error.what());
}

void warn_metadata(core_context& context, const metadata_error& error,
                   std::string_view consequence) {
  context.warn(msg::Code::invalid_pkg_information,
               {context.pkgtype(), path_argument(context.installed_path())},
               std::string(error.what()).append(" ").append(consequence));
}

void warn_refused(core_context& context, const pkgs_available_t& list, const std::string& path,
                  const std::string& shown_path) {
  const std::vector<std::string_view>& refused = list.refused();
  const auto warn = [&](const std::string& text) {
    if (!context.note_once(path + '\n' + text)) return;
    context.warn(msg::Code::invalid_pkg_information, {context.pkgtype(), path_argument(shown_path)},
                 text);
  };
  for (std::size_t i = 0; i < std::min(refused.size(), kMostNamed); ++i) {
    warn(std::string(begin_of(refused[i])) + ": is left out, since it is no package version");
  }
  if (refused.size() > kMostNamed) {
    warn(std::to_string(refused.size() - kMostNamed) + " more are left out for the same reason.");
  }
}

bool write_available(core_context& context, const pkgs_available_t& list) {
  if (write(context, list, context.available_name())) return true;
  return context.fail(msg::Code::write_pkg_information,
                      {context.pkgtype(), path_argument(context.available_path())});
}

bool write_installed(core_context& context, const pkgs_available_t& list) {
  if (write(context, list, context.installed_name())) return true;
  return context.fail(msg::Code::update_pkgs_installed, {context.pkgtypes()});
}

}  // namespace zendro::pkg
