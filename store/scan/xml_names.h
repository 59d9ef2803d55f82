// Names of elements, whatever prefixes a document binds.
#pragma once

#include <string_view>

#include <pugixml.hpp>

namespace zendro::store {

inline constexpr std::string_view kSchemaNamespace = "http://www.w3.org/2001/XMLSchema";
inline constexpr std::string_view kLinkbaseNamespace = "http://www.xbrl.org/2003/linkbase";

/// The name without its prefix.
std::string_view local_name(const pugi::xml_node& node);
/// The namespace that the prefix of an element is bound to, on it or above it.
std::string_view namespace_of(const pugi::xml_node& element);
/// The first child element with this local name; null where there is none.
pugi::xml_node child_element(const pugi::xml_node& parent, std::string_view name);

}  // namespace zendro::store
