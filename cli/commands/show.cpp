#include <algorithm>
#include <map>

#include "pkg/meta_filter.h"
#include "pkg/package_folder.h"

#include "cli/commands/commands.h"
#include "cli/findings.h"
#include "console/exit_status.h"

namespace zendro::cli {
namespace {

std::string view(json::string_view text) { return {text.data(), text.size()}; }

// The newest version that the text chooses: of what is installed, else of what there is.
const pkg::version_view_t* choose(const pkg::merged_view_t& view, const std::string& text) {
  const pkg::name_semver_t key = pkg::parse_identity(text);
  const pkg::version_view_t* chosen = nullptr;
  for (const pkg::version_view_t& version : view.versions) {
    const bool fits =
        version.identity.name == key.name && pkg::matches(key.version, version.identity.version);
    if (fits && (chosen == nullptr || (version.installed && !chosen->installed))) {
      chosen = &version;
    }
  }
  return chosen;
}

json::array texts_of(const std::vector<std::string_view>& texts) {
  json::array array;
  for (const std::string_view text : texts) array.emplace_back(text);
  return array;
}

json::array keys_of(const json::object* map) {
  json::array array;
  if (map == nullptr) return array;
  for (const json::key_value_pair& entry : *map) array.emplace_back(entry.key());
  return array;
}

// The versions whose references this version fulfils.
json::array referrers_of(const pkg::merged_view_t& view, const pkg::name_semver_t& identity) {
  json::array referrers;
  for (const pkg::version_view_t& version : view.versions) {
    const auto names_it = [&](std::string_view text) {
      const pkg::name_semver_t key = pkg::parse_identity(text);
      return key.name == identity.name && pkg::matches(key.version, identity.version);
    };
    try {
      const auto references = version.meta.references();
      if (std::any_of(references.begin(), references.end(), names_it)) {
        referrers.emplace_back(pkg::to_string(version.identity));
      }
    } catch (const framework::JsonError&) {  // NOLINT(bugprone-empty-catch): references nothing
    }
  }
  return referrers;
}

json::array files_of(Session& session, const pkg::version_view_t& version) {
  std::map<std::string, std::string> states;
  if (version.installed) {
    const auto found = session.cache().verify({pkg::to_string(version.identity)}, false);
    for (const auto& finding : found ? found->findings : std::vector<pkg::member_finding_t>()) {
      if (finding.package == version.identity) states[finding.member] = state_name(finding.state);
    }
  }
  json::array files;
  const json::object* members = version.meta.files();
  if (members == nullptr) return files;
  for (const json::key_value_pair& member : *members) {
    json::object file = {{"file", member.key()}, {"sha256", member.value()}};
    const auto state = states.find(view(member.key()));
    if (version.installed)
      file["state"] = state == states.end() ? std::string("whole") : state->second;
    files.push_back(std::move(file));
  }
  return files;
}

json::object describe(Session& session, const pkg::merged_view_t& all,
                      const pkg::version_view_t& version) {
  json::array versions;
  for (const pkg::version_view_t& other : all.versions) {
    if (other.identity.name != version.identity.name) continue;
    versions.push_back(json::object{{"package", pkg::to_string(other.identity)},
                                    {"installed", other.installed},
                                    {"available", other.available},
                                    {"deprecated", other.deprecated}});
  }
  const pkg::meta_t& meta = version.meta;
  return {{"package", pkg::to_string(version.identity)},
          {"title", meta.title()},
          {"description", meta.description()},
          {"publisher", meta.publisher()},
          {"homepage", meta.homepage()},
          {"versions", std::move(versions)},
          {"references", texts_of(meta.references())},
          {"referenced_by", referrers_of(all, version.identity)},
          {"conflicts", texts_of(meta.conflicting_pkgs())},
          {"locations", keys_of(meta.catalogs())},
          {"namespaces", keys_of(meta.namespace_catalog())},
          {"files", files_of(session, version)}};
}

std::string line_of(const json::value& value) {
  if (value.is_string()) return shown(view(value.get_string()));
  const json::object& map = value.as_object();
  if (const json::value* file = map.if_contains("file")) {
    const json::value* state = map.if_contains("state");
    const std::string digest = map.at("sha256").is_string() ? line_of(map.at("sha256")) : "";
    return line_of(*file) + "  sha256:" + digest + (state ? "  " + line_of(*state) : "");
  }
  std::string line = line_of(map.at("package"));
  if (map.at("installed").as_bool()) line += "  " + filled(msg::Code::label_installed);
  if (map.at("deprecated").as_bool()) line += "  " + filled(Text::state_deprecated);
  return line;
}

void write(Output& output, const json::object& package) {
  const auto section = [&](const std::string& label, const char* member) {
    const json::value& value = package.at(member);
    if (value.is_string()) {
      if (!value.get_string().empty()) output.line(label + ": " + line_of(value));
      return;
    }
    if (value.get_array().empty()) return;
    output.line(label + ":");
    for (const json::value& one : value.get_array()) output.line("  " + line_of(one));
  };
  output.heading(line_of(package.at("package")));
  section(filled(msg::Code::label_title), "title");
  section(filled(msg::Code::label_description), "description");
  section(filled(msg::Code::label_publisher), "publisher");
  section(filled(Text::label_homepage), "homepage");
  section(filled(Text::label_versions), "versions");
  section(filled(msg::Code::label_references), "references");
  section(filled(Text::label_referenced_by), "referenced_by");
  section(filled(msg::Code::label_conflicts), "conflicts");
  section(filled(Text::label_locations), "locations");
  section(filled(Text::label_namespaces), "namespaces");
  section(filled(Text::label_files), "files");
}

}  // namespace

int show(Session& session) {
  Output& output = session.output();
  const pkg::merged_view_t all = session.cache().load_view();
  const pkg::version_view_t* version = choose(all, session.arguments().text);
  if (version == nullptr) {
    output.error(Text::not_found, {named(L"text", session.arguments().text)});
    return session.status_of(false);
  }
  const json::object package = describe(session, all, *version);
  if (output.is_json()) {
    for (const json::key_value_pair& member : package) output.result(member.key(), member.value());
  } else {
    write(output, package);
  }
  return session.status_of(true);
}

}  // namespace zendro::cli
