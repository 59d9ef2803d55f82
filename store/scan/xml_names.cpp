#include "store/scan/xml_names.h"

#include <string>

namespace zendro::store {

std::string_view local_name(const pugi::xml_node& node) {
  const std::string_view name = node.name();
  const auto colon = name.find(':');
  return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

std::string_view namespace_of(const pugi::xml_node& element) {
  const std::string_view name = element.name();
  const auto colon = name.find(':');
  const std::string attribute =
      colon == std::string_view::npos ? "xmlns" : "xmlns:" + std::string(name.substr(0, colon));
  for (pugi::xml_node node = element; node; node = node.parent()) {
    if (const pugi::xml_attribute bound = node.attribute(attribute.c_str())) return bound.value();
  }
  return {};
}

pugi::xml_node child_element(const pugi::xml_node& parent, std::string_view name) {
  for (const pugi::xml_node& child : parent.children()) {
    if (local_name(child) == name) return child;
  }
  return {};
}

}  // namespace zendro::store
