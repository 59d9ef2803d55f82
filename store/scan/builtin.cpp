#include "store/scan/builtin.h"

#include <algorithm>

namespace zendro::store {

BuiltinNames::BuiltinNames()
    : names_{"http://www.w3.org/XML/1998/namespace",
             "http://www.w3.org/2001/XMLSchema",
             "http://www.w3.org/2001/XMLSchema-instance",
             "http://www.w3.org/2001/xml.xsd",
             "http://www.w3.org/1999/xlink",
             "http://www.xbrl.org/2003/",
             "http://www.xbrl.org/2005/",
             "http://xbrl.org/2005/",
             "http://www.xbrl.org/lrr/"} {}

void BuiltinNames::add(const framework::json::value& names) {
  for (const auto& name : framework::as_array(names)) names_.emplace(framework::as_string(name));
}

bool BuiltinNames::contains(std::string_view name) const {
  if (name.empty()) return false;
  return std::any_of(names_.begin(), names_.end(), [name](const std::string& one) {
    return name == one || (one.ends_with('/') && name.starts_with(one));
  });
}

}  // namespace zendro::store
