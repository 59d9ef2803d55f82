// The package types that the core serves in this process.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace zendro::pkg {

/// Starts at 5381; each byte makes h = h * 33 + byte, wrapping at 32 bits.
struct type_name_hash {
  std::size_t operator()(std::string_view name) const;
};

using active_type_set = std::unordered_set<std::string, type_name_hash>;

/// A set holding `names`, made for 8 buckets, with a load factor of at most 1.0.
active_type_set make_active_type_set(std::initializer_list<std::string_view> names);

/// Makes the known types among `names` the active ones of the process. Called once at start-up,
/// before other threads exist.
void register_active_types(const active_type_set& names);

/// Whether a type word ("xsd", "xbrl") is active.
bool is_active_type(std::string_view type);

}  // namespace zendro::pkg
