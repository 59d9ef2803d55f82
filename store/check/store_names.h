// Which package of a store has which name, found out from the list alone.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "pkg/package_list.h"

namespace zendro::store {

/// Locations, namespaces, public identifiers and mapped prefixes. Views the list.
class StoreNames {
 public:
  enum class Kind { location, name_space, public_id, mapping };

  /// Deprecated versions are left out, as they are not installed any more.
  explicit StoreNames(const pkg::pkgs_available_t& list);

  /// A reference to a package that has a file for the name, as location, namespace or public
  /// identifier: "name-1.2"; empty where none has.
  [[nodiscard]] std::string supplier_of(std::string_view name) const;

  /// The packages that claim a name which packages of other names claim, too; null for any other.
  [[nodiscard]] const std::vector<const pkg::package_t*>* contested(Kind kind,
                                                                    std::string_view name) const;
  /// Calls `use` with each of these.
  void for_each_contested(
      const std::function<void(Kind, std::string_view, const std::vector<const pkg::package_t*>&)>&
          use) const;

 private:
  using Claims = std::map<std::string_view, std::vector<const pkg::package_t*>>;

  void add(const pkg::package_t& package);
  static bool is_contested(const std::vector<const pkg::package_t*>& claimants);

  std::map<Kind, Claims> claims_;
};

}  // namespace zendro::store
