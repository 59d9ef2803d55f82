// What every XML or XBRL tool brings along, so that no package has to.
#pragma once

#include <set>
#include <string>
#include <string_view>

#include "framework/text/json.h"

namespace zendro::store {

/// Namespaces and locations; one that ends with "/" stands for all that begin with it. The usual
/// ones are those of XML 1.0, XML Schema 1.0, XLink, XBRL 2.1 with its dimensions, and the registry
/// of roles; the makers of a store may add others.
class BuiltinNames {
 public:
  BuiltinNames();

  /// Adds the texts of a JSON array; throws framework::JsonError for anything else.
  void add(const framework::json::value& names);
  [[nodiscard]] bool contains(std::string_view name) const;

 private:
  std::set<std::string, std::less<>> names_;
};

}  // namespace zendro::store
