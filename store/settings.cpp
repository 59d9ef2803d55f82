#include "store/settings.h"

#include "app/options/package_types.h"
#include "framework/system/files.h"
#include "framework/system/folder.h"

#include "store/scan/builtin.h"
#include "store/whole_file.h"

namespace zendro::store {
namespace {

using framework::IoError;

std::string take_text(json::object& values, std::string_view key) {
  const json::value* value = values.if_contains(key);
  if (value == nullptr) return {};
  std::string text(framework::as_string(*value));
  values.stable_erase(key);
  return text;
}

// Why the settings cannot be used; empty if they can.
std::string fault_of(const Settings& settings, const JsonFile& file) {
  const auto at = [&](std::string_view key) { return file.place({key}) + ": "; };
  if (app::package_type(settings.type).word.empty()) {
    return at("type") + "write \"type\": \"xsd\" or \"type\": \"xbrl\"";
  }
  if (!framework::is_plain_name(settings.member) || !settings.member.ends_with(".zip")) {
    return at("member") + "write the plain name of an archive: \"member\": \"" +
           default_settings(settings.type).member + "\"";
  }
  if (!settings.url.empty() && !is_store_url(settings.url)) {
    return at("url") + "write the address where the store is served, with a slash at its end: " +
           "\"url\": \"https://store.example/xsd/\"";
  }
  if (settings.build_number < 0) return at("build_number") + "write 0 or more";
  return {};
}

}  // namespace

Settings default_settings(const std::string& type) {
  Settings settings;
  settings.type = type;
  settings.member = type == "xbrl" ? "taxonomy.zip" : "schemas.zip";
  return settings;
}

bool is_store_url(std::string_view url) {
  const bool is_web = url.starts_with("https://") || url.starts_with("http://");
  return is_web && url.ends_with('/');
}

framework::Result<Settings> read_settings(const std::filesystem::path& store) {
  const std::filesystem::path path = store / kSettingsName;
  if (framework::is_missing(path)) {
    return tl::unexpected(IoError{framework::path_to_utf8(path) +
                                  ": is not there; make a store with \"zendro-store init\""});
  }
  framework::Result<JsonFile> file = read_json_file(path);
  if (!file) return tl::unexpected(file.error());
  Settings settings;
  settings.others = file->values;
  const char* key = "";
  try {
    settings.type = take_text(settings.others, key = "type");
    settings.member = take_text(settings.others, key = "member");
    settings.url = take_text(settings.others, key = "url");
    settings.built = take_text(settings.others, key = "built");
    if (const json::value* number = settings.others.if_contains(key = "build_number")) {
      settings.build_number = framework::to_int64(*number);
      settings.others.stable_erase(key);
    }
    if (const json::value* retired = settings.others.if_contains(key = "retired")) {
      for (const json::key_value_pair& each : framework::as_map(*retired)) {
        settings.retired[each.key()] = framework::as_string(each.value());
      }
      settings.others.stable_erase(key);
    }
    if (const json::value* builtin = settings.others.if_contains(key = "builtin")) {
      BuiltinNames().add(*builtin);  // which are texts
      settings.builtin = framework::as_array(*builtin);
      settings.others.stable_erase(key);
    }
  } catch (const framework::JsonError& error) {
    return tl::unexpected(IoError{file->place({key}) + ": " + error.what()});
  }
  if (settings.member.empty()) settings.member = default_settings(settings.type).member;
  if (std::string fault = fault_of(settings, *file); !fault.empty()) {
    return tl::unexpected(IoError{std::move(fault)});
  }
  return settings;
}

framework::Result<void> write_settings(const Settings& settings,
                                       const std::filesystem::path& store) {
  json::object values = {{"type", settings.type},
                         {"member", settings.member},
                         {"url", settings.url},
                         {"build_number", settings.build_number}};
  if (!settings.built.empty()) values["built"] = settings.built;
  if (!settings.retired.empty()) {
    json::object& retired = values["retired"].emplace_object();
    for (const auto& [path, digest] : settings.retired) retired[path] = digest;
  }
  if (!settings.builtin.empty()) values["builtin"] = settings.builtin;
  for (const json::key_value_pair& member : settings.others) {
    values.emplace(member.key(), member.value());
  }
  return write_whole_file(store / kSettingsName, readable_json(values));
}

}  // namespace zendro::store
