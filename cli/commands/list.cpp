#include "pkg/meta_filter.h"

#include "cli/commands/commands.h"
#include "console/exit_status.h"
#include "console/table.h"

namespace zendro::cli {
namespace {

std::string title_of(const pkg::meta_t& meta) {
  try {
    return shown(meta.title());
  } catch (const framework::JsonError&) {
    return {};
  }
}

std::string version_text(const pkg::name_semver_t& identity) {
  return pkg::to_string(identity).substr(identity.name.size() + 1);
}

// The rows that are asked for, and how each is shown.
class Listing {
 public:
  Listing(const Arguments& arguments, pkg::merged_view_t view)
      : listed_(arguments.listed),
        filter_({arguments.text, arguments.command == "search"}),
        view_(std::move(view)) {
    for (const pkg::version_view_t& version : view_.versions) {
      if (is_listed(version)) rows_.push_back(&version);
    }
  }

  void write(Output& output) const {
    if (output.is_json()) {
      json::array packages;
      for (const pkg::version_view_t* version : rows_) packages.push_back(object_of(*version));
      output.result("packages", std::move(packages));
      return;
    }
    std::vector<std::vector<std::string>> rows;
    for (const pkg::version_view_t* version : rows_) {
      rows.push_back({shown(version->identity.name), version_text(version->identity),
                      state_of(*version), title_of(version->meta)});
    }
    if (rows.empty()) return;
    console::write_table(output,
                         {filled(msg::Code::label_name), filled(msg::Code::label_version),
                          filled(Text::label_state), filled(msg::Code::label_title)},
                         rows);
  }

 private:
  [[nodiscard]] bool is_listed(const pkg::version_view_t& version) const {
    switch (listed_) {
      case Listed::installed:
        if (!version.installed) return false;
        break;
      case Listed::available:
        if (!version.available) return false;
        break;
      case Listed::upgradeable:
        if (patch_of(version) == nullptr) return false;
        break;
      case Listed::all:
        break;
    }
    return filter_.matches(version.identity, version.meta);
  }

  [[nodiscard]] const pkg::package_t* patch_of(const pkg::version_view_t& version) const {
    if (!version.installed) return nullptr;
    const pkg::package_t* package = pkg::find_exact(view_.installed.packages(), version.identity);
    return pkg::patch_for(*package, view_.available, view_.installed);
  }

  [[nodiscard]] std::string state_of(const pkg::version_view_t& version) const {
    std::string state;
    const auto add = [&state](const std::string& text) {
      state += (state.empty() ? "" : ", ") + text;
    };
    if (version.installed) add(filled(msg::Code::label_installed));
    if (version.deprecated) add(filled(Text::state_deprecated));
    if (const pkg::package_t* patch = patch_of(version)) {
      add(filled(Text::state_upgrade, {named(L"version", version_text(patch->identity))}));
    }
    return state;
  }

  [[nodiscard]] json::object object_of(const pkg::version_view_t& version) const {
    json::object object = {{"package", pkg::to_string(version.identity)},
                           {"name", version.identity.name},
                           {"version", version_text(version.identity)},
                           {"title", title_of(version.meta)},
                           {"installed", version.installed},
                           {"available", version.available},
                           {"deprecated", version.deprecated}};
    if (const pkg::package_t* patch = patch_of(version)) {
      object["patch"] = version_text(patch->identity);
    }
    return object;
  }

  Listed listed_;
  pkg::meta_filter filter_;
  pkg::merged_view_t view_;
  std::vector<const pkg::version_view_t*> rows_;
};

}  // namespace

int list(Session& session) {
  pkg::pkg_cache_t& cache = session.cache();
  const Listed listed = session.arguments().listed;
  // Only what is shown is read: lists of a store are long.
  std::optional<pkg::pkgs_available_t> available;
  if (listed == Listed::installed) {
    available = pkg::pkgs_available_t();
  } else if (!cache.is_initialised()) {
    session.output().error(Text::no_catalogs, {named(L"path", session.cache_root())});
    return console::kFailed;
  } else {
    available = cache.load_available();
  }
  auto installed = available ? cache.load_installed() : std::nullopt;
  if (!installed) return session.status_of(false);
  Listing(session.arguments(), {std::move(*available), std::move(*installed)})
      .write(session.output());
  return session.status_of(true);
}

}  // namespace zendro::cli
