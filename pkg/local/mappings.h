// Mappings of prefixes of URIs, joined so that one step leads to the end.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zendro::pkg::local {

struct mapping_t {
  std::string_view from;
  std::string_view to;
};

struct joined_mapping_t {
  std::string from;
  std::string to;
};

/// Follows each mapping through the others; the longest prefix wins, and of one prefix the first
/// mapping. What comes back to where it was, or is not at its end after 32 steps, is left out. The
/// longest prefixes come first.
std::vector<joined_mapping_t> join_mappings(std::span<const mapping_t> mappings);

}  // namespace zendro::pkg::local
