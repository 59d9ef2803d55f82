// What the fuzz targets share: taking an input apart, and ending a run with a finding.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <vector>

namespace zendro::fuzz {

/// Ends the run as a finding unless `holds`.
inline void require(bool holds, const char* law) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", law);
  std::abort();
}

inline std::string_view text_of(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

/// The parts of an input between `separator`, `limit` at most; what is beyond them is left out.
inline std::vector<std::string_view> split(std::string_view input, char separator,
                                           std::size_t limit) {
  std::vector<std::string_view> parts;
  while (parts.size() < limit) {
    const std::size_t end = input.find(separator);
    parts.push_back(input.substr(0, end));
    if (end == std::string_view::npos) break;
    input.remove_prefix(end + 1);
  }
  return parts;
}

}  // namespace zendro::fuzz
