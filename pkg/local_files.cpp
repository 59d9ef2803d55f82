#include "pkg/local_files.h"

#include <memory>
#include <mutex>
#include <string_view>
#include <utility>
#include <vector>

#include "app/options/options.h"
#include "framework/system/files.h"
#include "framework/system/folder.h"
#include "framework/system/guarded.h"
#include "framework/system/removal.h"
#include "pkg/cache_write_lock.h"
#include "pkg/list_files.h"
#include "pkg/local/build.h"
#include "pkg/local/update.h"
#include "pkg/meta_maps.h"
#include "pkg/opened_folder.h"
#include "pkg/package_folder.h"
#include "pkg/percent_encoding.h"

namespace zendro::pkg {
namespace {

using framework::Folder;
using framework::IoError;

constexpr std::string_view kLocalFolder = "local";

bool is_wanted(const core_context& context) {
  return framework::to_bool(app::get_local_files(&context.options()));
}

std::string local_path(const core_context& context) {
  return context.cache_file(kLocalFolder) + framework::kPathSeparator;
}

// A failure that concerns no single package.
void warn_of_trouble(core_context& context, const IoError& error) {
  context.warn(msg::Code::update_cache_catalog, {context.pkgtype()}, error.text);
}

void warn_left_out(core_context& context, const std::string& identity, std::string_view cause) {
  context.warn(
      msg::Code::local_files_left_out,
      {context.pkgtype(), text_argument(L"pkg", identity), path_argument(local_path(context))},
      cause);
}

void collect_members(const meta_maps_t& maps, local::package_t& out) {
  maps.for_each_file([&out](std::string_view path, std::string_view text) {
    const auto digest = framework::parse_sha256(text);
    if (!digest) throw framework::JsonError(std::string(path) + ": has no digest");
    out.members.push_back({path, local_member_name(path), *digest});
  });
}

void collect_keys(const meta_maps_t& maps, local::package_t& out) {
  maps.for_each_location([&out](std::string_view key, std::string_view member) {
    out.keys.push_back(
        {key.ends_with('/') ? local::key_kind::prefix : local::key_kind::location, key, member});
  });
  maps.for_each_namespace([&out](std::string_view key, const namespace_entry_t& entry) {
    out.keys.push_back({entry.is_public ? local::key_kind::public_id : local::key_kind::name_space,
                        key, entry.member_path});
  });
}

local::package_t describe(const package_t& package, const meta_maps_t& maps) {
  local::package_t out{to_string(package.identity), {}, {}, {}};
  collect_members(maps, out);
  collect_keys(maps, out);
  return out;
}

// Opens the folder with the files of a package.
std::function<framework::Result<std::unique_ptr<Folder>>()> opener(core_context& context,
                                                                   const package_t& package) {
  return [&context, &package]() -> framework::Result<std::unique_ptr<Folder>> {
    const package_folder place(context, package.meta);
    opened_folder folder = place.open();
    if (folder) return std::move(*folder);
    if (!folder.error().is_absent()) return tl::unexpected(folder.error().cause());
    return tl::unexpected(IoError{place.path() + ": the folder does not exist"});
  };
}

void make_local_files(core_context& context, const Folder& root,
                      std::span<const package_t* const> packages) {
  opened_folder folder = create_in(root, kLocalFolder);
  if (!folder && root.kind_of(kLocalFolder) != framework::EntryKind::folder) {
    // Something else stands in its place.
    if (framework::remove_all(root, kLocalFolder, local::kMostLevels)) {
      folder = create_in(root, kLocalFolder);
    }
  }
  if (!folder) return warn_of_trouble(context, folder.error().cause());
  std::vector<local::package_t> described_packages;
  std::vector<local::mapping_t> mappings;
  for (const package_t* package : packages) {
    try {
      const meta_maps_t maps(package->meta, map_order::of_list);
      local::package_t& described = described_packages.emplace_back(describe(*package, maps));
      described.open = opener(context, *package);
      maps.for_each_mapping([&mappings](std::string_view from, std::string_view to) {
        mappings.push_back({from, to});
      });
    } catch (const framework::JsonError& error) {
      warn_metadata(context, metadata_error(package->identity, error),
                    "Other programs do not find its files.");
    }
  }
  local::update(**folder, described_packages, mappings,
                {[&context](const std::string& identity, const std::string& cause) {
                   warn_left_out(context, identity, cause);
                 },
                 [&context](const IoError& error) { warn_of_trouble(context, error); }});
}

}  // namespace

local::package_t describe(const package_t& package) {
  return describe(package, meta_maps_t(package.meta, map_order::of_list));
}

void update_local_files(core_context& context, std::span<const package_t* const> packages) {
  const auto work = [&] {
    const std::lock_guard lock(cache_write_lock());
    const borrowed_folder root = context.cache_folder().create();
    if (!root) return warn_of_trouble(context, root.error().cause());
    if (is_wanted(context)) return make_local_files(context, **root, packages);
    const auto removed = framework::remove_all(**root, kLocalFolder, local::kMostLevels);
    if (!removed) warn_of_trouble(context, removed.error());
  };
  framework::guarded(work,
                     [&](const std::string& failure) { warn_of_trouble(context, {failure}); });
}

void log_local_files(core_context& context) {
  framework::guarded(
      [&context] {
        if (!is_wanted(context)) return;
        context.log(msg::Code::log_local_files, msg::kLevelProgress,
                    {context.pkgtypes(), path_argument(local_path(context))});
      },
      [](const std::string&) {});
}

}  // namespace zendro::pkg
