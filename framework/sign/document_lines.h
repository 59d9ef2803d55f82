// The lines of minisign's documents.
#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>

namespace zendro::framework {

inline constexpr std::string_view kUntrustedComment = "untrusted comment: ";
inline constexpr std::string_view kTrustedComment = "trusted comment: ";

/// Ed25519 over the bytes themselves, and over their BLAKE2b-512.
inline constexpr std::string_view kPlainAlgorithm = "Ed";
inline constexpr std::string_view kHashedAlgorithm = "ED";

/// Takes the next line off `text`, without its line end of any system.
inline std::string_view take_line(std::string_view& text) {
  const std::size_t end = text.find('\n');
  std::string_view line = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  while (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

/// Takes the next bytes off `bytes`, which has enough of them, into an array of theirs.
template <typename Array>
void take_bytes(std::string_view& bytes, Array& array) {
  std::memcpy(array.data(), bytes.data(), array.size());
  bytes.remove_prefix(array.size());
}

template <typename Array>
std::string_view bytes_of(const Array& array) {
  return {reinterpret_cast<const char*>(array.data()), array.size()};
}

}  // namespace zendro::framework
