#include "pkg/meta.h"

#include <algorithm>

#include "framework/text/url_parts.h"

namespace zendro::pkg {

const json::object* meta_t::map(std::string_view key) const {
  const json::value* value = map_->values().if_contains(key);
  return value == nullptr ? nullptr : &framework::as_map(*value);
}

std::vector<std::string_view> meta_t::texts(std::string_view key) const {
  std::vector<std::string_view> out;
  const json::value* value = map_->values().if_contains(key);
  if (value == nullptr) return out;
  const json::array& array = framework::as_array(*value);
  out.reserve(array.size());
  for (const json::value& entry : array) out.push_back(framework::as_string(entry));
  std::sort(out.begin(), out.end());
  out.erase(std::unique(out.begin(), out.end()), out.end());
  return out;
}

std::string_view meta_t::name() const { return map_->string("_name"); }
std::string_view meta_t::type() const { return map_->string("_type"); }
std::string_view meta_t::pkg_installdir() const { return map_->string("_pkg_installdir"); }
std::string_view meta_t::title() const { return map_->string("title"); }
std::string_view meta_t::description() const { return map_->string("description"); }
std::string_view meta_t::homepage() const { return map_->string("homepage"); }

std::string_view meta_t::publisher() const {
  if (const std::string_view publisher = map_->string("publisher"); !publisher.empty())
    return publisher;
  if (homepage().find("://") == std::string_view::npos) return {};
  return framework::split_address(homepage()).host;
}

const json::object* meta_t::files() const { return map("files"); }
const json::object* meta_t::catalogs() const { return map("catalogs"); }
const json::object* meta_t::namespace_catalog() const { return map("namespace_catalog"); }
const json::object* meta_t::uri_mappings() const { return map("uri_mappings"); }

std::vector<std::string_view> meta_t::references() const { return texts("references"); }
std::vector<std::string_view> meta_t::conflicting_pkgs() const { return texts("conflicting_pkgs"); }

void meta_t::check() const {
  for (const char* text :
       {"_name", "_type", "_pkg_installdir", "title", "description", "homepage", "publisher"}) {
    (void)map_->string(text);
  }
  for (const char* key : {"files", "catalogs", "namespace_catalog", "uri_mappings"}) (void)map(key);
  for (const char* key : {"references", "conflicting_pkgs"}) (void)texts(key);
  if (const json::object* members = files()) {
    for (const json::key_value_pair& member : *members) framework::as_string(member.value());
  }
}

namespace_entry_t read_namespace_entry(const json::value& value) {
  const json::object* details = value.if_object();
  if (details == nullptr) return {framework::as_string(value)};
  // A path that is missing has the wrong type.
  static const json::value none;
  const json::value* path = details->if_contains("path");
  const json::value* flag = details->if_contains("public");
  return {framework::as_string(path == nullptr ? none : *path),
          flag != nullptr && framework::to_bool(*flag)};
}

}  // namespace zendro::pkg
