// The two package types that the program serves.
#pragma once

#include <string_view>

namespace zendro::app {

enum class PackageType { xbrl = 0, xsd = 1 };

/// "xbrl" or "xsd": the value of the option "pkg.type".
constexpr std::string_view type_name(PackageType type) {
  return type == PackageType::xbrl ? "xbrl" : "xsd";
}

/// The type that the program serves when started under this first element of the argument vector:
/// taxonomies where it contains "Plintor" (in this case, anywhere in the path), else schemas.
constexpr PackageType type_of_program(std::string_view argv0) {
  return argv0.find("Plintor") != std::string_view::npos ? PackageType::xbrl : PackageType::xsd;
}

}  // namespace zendro::app
