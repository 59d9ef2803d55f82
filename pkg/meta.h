// The metadata of one package version: a view of its JSON map.
#pragma once

#include <string_view>
#include <utility>
#include <vector>

#include "framework/text/json.h"
#include "framework/text/lazy_json.h"

namespace zendro::pkg {

namespace json = boost::json;

/// What an entry of the member "namespace_catalog" says.
struct namespace_entry_t {
  std::string_view member_path;
  bool is_public = false;  ///< its key is a public identifier
};
/// Reads the value of such an entry: a member path, or a map that may mark a public identifier.
/// Throws framework::JsonError for any other.
namespace_entry_t read_namespace_entry(const json::value& value);

/// Views the map; the list that it was read with keeps it alive. A missing member reads as empty;
/// a member of the wrong type throws framework::JsonError.
class meta_t {
 public:
  explicit meta_t(const framework::LazyObject& map) : map_(&map) {}

  [[nodiscard]] const framework::LazyObject& map() const { return *map_; }

  [[nodiscard]] std::string_view name() const;            // "_name"
  [[nodiscard]] std::string_view type() const;            // "_type"
  [[nodiscard]] std::string_view pkg_installdir() const;  // "_pkg_installdir"
  [[nodiscard]] std::string_view title() const;
  [[nodiscard]] std::string_view description() const;
  [[nodiscard]] std::string_view homepage() const;
  /// Member "publisher", else the host of "homepage".
  [[nodiscard]] std::string_view publisher() const;

  /// Member path to digest text, in the map's own order; null where there is none.
  [[nodiscard]] const json::object* files() const;
  [[nodiscard]] const json::object* catalogs() const;
  [[nodiscard]] const json::object* namespace_catalog() const;
  [[nodiscard]] const json::object* uri_mappings() const;
  /// Any member that is a map; null where there is none.
  [[nodiscard]] const json::object* map(std::string_view key) const;

  /// Sorted by bytes, without duplicates.
  [[nodiscard]] std::vector<std::string_view> references() const;
  [[nodiscard]] std::vector<std::string_view> conflicting_pkgs() const;

  /// Throws framework::JsonError when any of these members, or a digest, is of the wrong type.
  void check() const;

 private:
  [[nodiscard]] std::vector<std::string_view> texts(std::string_view key) const;

  const framework::LazyObject* map_;
};

}  // namespace zendro::pkg
