#include "pkg/local/mappings.h"

#include <algorithm>
#include <map>
#include <optional>

namespace zendro::pkg::local {
namespace {

using table_t = std::map<std::string_view, std::string_view>;

// The mapping with the longest prefix of a text.
table_t::const_iterator longest_prefix(const table_t& table, std::string_view text) {
  while (true) {
    auto next = table.upper_bound(text);
    if (next == table.begin()) return table.end();
    --next;
    const std::string_view key = next->first;
    if (text.starts_with(key)) return next;
    // No prefix is longer than what the text has in common with the key before it.
    const auto common = std::mismatch(text.begin(), text.end(), key.begin(), key.end()).first;
    text = text.substr(0, static_cast<std::size_t>(common - text.begin()));
  }
}

std::optional<std::string> end_of(const table_t& table, std::string_view from) {
  constexpr int kMostSteps = 32;
  constexpr std::size_t kLongest = 64 << 10;
  std::string text(from);
  for (int step = 0; step <= kMostSteps && text.size() <= kLongest; ++step) {
    const auto mapping = longest_prefix(table, text);
    if (mapping == table.end()) return text;
    text = std::string(mapping->second) + text.substr(mapping->first.size());
  }
  return std::nullopt;
}

}  // namespace

std::vector<joined_mapping_t> join_mappings(std::span<const mapping_t> mappings) {
  table_t table;
  for (const auto& [from, to] : mappings) {
    if (!from.empty()) table.try_emplace(from, to);
  }
  std::vector<joined_mapping_t> joined;
  for (const auto& [from, to] : table) {
    if (std::optional<std::string> end = end_of(table, from)) {
      joined.push_back({std::string(from), std::move(*end)});
    }
  }
  std::stable_sort(joined.begin(), joined.end(),
                   [](const auto& a, const auto& b) { return a.from.size() > b.from.size(); });
  return joined;
}

}  // namespace zendro::pkg::local
