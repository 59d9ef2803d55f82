#include "pkg/active_types.h"

#include <algorithm>

#include "app/options/package_types.h"

namespace zendro::pkg {
namespace {

constexpr std::size_t kInitialBuckets = 8;

std::vector<std::string_view>& active_types() {
  static std::vector<std::string_view> types;
  return types;
}

}  // namespace

std::size_t type_name_hash::operator()(std::string_view name) const {
  std::uint32_t hash = 5381;
  for (const char c : name) hash = hash * 33 + static_cast<std::uint8_t>(c);
  return hash;
}

active_type_set make_active_type_set(std::initializer_list<std::string_view> names) {
  active_type_set set(kInitialBuckets);
  for (const std::string_view name : names) set.emplace(name);
  return set;
}

void register_active_types(const active_type_set& names) {
  active_types().clear();
  for (const app::PackageType& type : app::package_types()) {
    if (names.contains(std::string(type.word))) active_types().push_back(type.word);
  }
}

bool is_active_type(std::string_view type) {
  return std::find(active_types().begin(), active_types().end(), type) != active_types().end();
}

}  // namespace zendro::pkg
