// The maps of a package's metadata, entry by entry.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include "framework/text/plain_strings.h"
#include "pkg/meta.h"

namespace zendro::pkg {

enum class map_order {
  of_list,
  any,  ///< by the bytes of the keys where that is known, else that of the list
};

/// Reads each map in the text of the list where it can be read there as it stands, as nearly all
/// can, and else from the parsed values: to parse all metadata takes several times as long. Views
/// the list as meta_t does.
class meta_maps_t {
 public:
  meta_maps_t(const meta_t& meta, map_order order)
      : meta_(meta), members_(meta.map().plain_members()), order_(order) {}

  // Each calls `visit` with the keys and values of a map; a missing map is empty. Throws
  // framework::JsonError when the map or a value is of the wrong type.

  /// Member paths, and their digests as texts.
  template <typename Visit>
  void for_each_file(const Visit& visit) const {
    for_each("files", framework::as_string, visit);
  }
  /// Locations and member paths.
  template <typename Visit>
  void for_each_location(const Visit& visit) const {
    for_each("catalogs", framework::as_string, visit);
  }
  /// Namespaces or public identifiers, each with a namespace_entry_t.
  template <typename Visit>
  void for_each_namespace(const Visit& visit) const {
    for_each("namespace_catalog", read_namespace_entry, visit);
  }
  /// Prefixes of URIs, and what takes their place.
  template <typename Visit>
  void for_each_mapping(const Visit& visit) const {
    for_each("uri_mappings", framework::as_string, visit);
  }

 private:
  // The map, where it can be read as it stands.
  [[nodiscard]] std::optional<framework::PlainStrings> plain_map(std::string_view name) const;

  template <typename Value, typename Visit>
  void for_each(std::string_view name, Value (*read)(const json::value&),
                const Visit& visit) const {
    if (const std::optional<framework::PlainStrings> plain = plain_map(name)) {
      for (std::size_t i = 0; i < plain->members.size(); ++i) {
        const auto& [key, text] = plain->members[order_ == map_order::any ? plain->by_name[i] : i];
        visit(key, Value{text});
      }
    } else if (const json::object* parsed = meta_.map(name)) {
      for (const json::key_value_pair& entry : *parsed) {
        visit(std::string_view(entry.key().data(), entry.key().size()), read(entry.value()));
      }
    }
  }

  meta_t meta_;
  std::optional<std::vector<framework::JsonMember>> members_;
  map_order order_;
};

}  // namespace zendro::pkg
