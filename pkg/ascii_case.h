// Letters of ASCII without regard to case.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace zendro::pkg {

/// `text` with A to Z as a to z; other bytes stay.
inline std::string ascii_lower(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return lower;
}

}  // namespace zendro::pkg
