#include "pkg/name_semver.h"

#include <optional>
#include <utility>

namespace zendro::pkg {
namespace {

// Reads the digits at the start of `text` and removes them; nothing if there are none.
std::optional<std::uint16_t> take_number(std::string_view& text) {
  std::uint16_t value = 0;
  std::size_t digits = 0;
  while (digits < text.size() && text[digits] >= '0' && text[digits] <= '9') {
    // Wraps modulo 65536: 70000 reads as 4464.
    value = static_cast<std::uint16_t>(value * 10 + (text[digits] - '0'));
    ++digits;
  }
  if (digits == 0) return std::nullopt;
  text.remove_prefix(digits);
  return value;
}

}  // namespace

semver_t parse_version(std::string_view text) {
  semver_t version;
  for (std::uint16_t semver_t::*part : {&semver_t::major, &semver_t::minor, &semver_t::patch}) {
    const std::optional<std::uint16_t> number = take_number(text);
    // A number that wraps to the value for "not given" is not given, and no part after it is.
    if (!number || *number == kAnyPart) break;
    version.*part = *number;
    // Whatever stands between two numbers is one character.
    if (!text.empty()) text.remove_prefix(1);
  }
  return version;
}

name_semver_t parse_identity(std::string_view text) {
  const std::size_t hyphen = text.rfind('-');
  if (hyphen != std::string_view::npos) {
    const semver_t version = parse_version(text.substr(hyphen + 1));
    if (!is_no_version(version)) return {std::string(text.substr(0, hyphen)), version};
  }
  return {std::string(text), kNoVersion};
}

bool matches(const semver_t& pattern, const semver_t& candidate) {
  const auto part_matches = [](std::uint16_t wanted, std::uint16_t actual) {
    return wanted == kAnyPart || wanted == actual;
  };
  return part_matches(pattern.major, candidate.major) &&
         part_matches(pattern.minor, candidate.minor) &&
         part_matches(pattern.patch, candidate.patch);
}

bool name_semver_t::operator<(const name_semver_t& other) const {
  // std::string compares its characters as unsigned bytes.
  if (const int names = name.compare(other.name); names != 0) return names < 0;
  return std::tie(other.version.major, other.version.minor, other.version.patch) <
         std::tie(version.major, version.minor, version.patch);
}

std::string to_string(const name_semver_t& identity) {
  std::string text = identity.name;
  if (is_no_version(identity.version)) return text;
  text += '-';
  text += std::to_string(identity.version.major);
  for (const std::uint16_t part : {identity.version.minor, identity.version.patch}) {
    if (part == kAnyPart) break;
    text += '.';
    text += std::to_string(part);
  }
  return text;
}

}  // namespace zendro::pkg
