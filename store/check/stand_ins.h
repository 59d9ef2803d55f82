// Schemas of the namespaces that every tool brings along and that other schemas build upon, made
// for compiling: they have the names, but do not say all that the namespaces' own schemas say.
#pragma once

#include <string_view>

namespace zendro::store {

/// The URL of the stand-in for a namespace; empty where there is none.
std::string_view stand_in_for(std::string_view xml_namespace);
/// The schema at such a URL; without data() for any other.
std::string_view stand_in_at(std::string_view url);

}  // namespace zendro::store
