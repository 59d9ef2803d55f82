#include "app/options/package_types.h"

#include <algorithm>
#include <array>
#include <utility>

namespace zendro::app {
namespace {

constexpr std::array kTypes = {
    PackageType{"xbrl", L"XBRL Taxonomy", L"XBRL Taxonomies", 22, ".zendro_taxonomies", ".cache",
                "SharedBetweenVersions/plintor.exe", "Plintor"},
    PackageType{"xsd", L"XML Schema", L"XML Schemas", 23, ".zendro_xmlschemas", ".xsd_cache",
                "SharedBetweenVersions/korvane.exe", ""},
};

std::span<const PackageType>& table() {
  static std::span<const PackageType> types = kTypes;
  return types;
}

template <typename Predicate>
const PackageType& first_with(const Predicate& predicate) {
  static constexpr PackageType kNone;
  const auto found = std::find_if(table().begin(), table().end(), predicate);
  return found == table().end() ? kNone : *found;
}

}  // namespace

std::span<const PackageType> package_types() { return table(); }

const PackageType& package_type(std::string_view word) {
  return first_with([word](const PackageType& type) { return type.word == word; });
}

const PackageType& type_of_program(std::string_view argv0) {
  const auto is_named = [argv0](const PackageType& type) {
    return !type.program_word.empty() && argv0.find(type.program_word) != std::string_view::npos;
  };
  const PackageType& named = first_with(is_named);
  if (!named.word.empty()) return named;
  return first_with([](const PackageType& type) { return type.program_word.empty(); });
}

std::span<const PackageType> replace_package_types(std::span<const PackageType> types) {
  return std::exchange(table(), types);
}

}  // namespace zendro::app
