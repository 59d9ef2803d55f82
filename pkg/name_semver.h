// Package identities: a name and a version of three numbers, each of which a query may leave out.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <tuple>

namespace zendro::pkg {

/// A version part that is not given; it matches any value.
inline constexpr std::uint16_t kAnyPart = 0xFFFF;

struct semver_t {
  std::uint16_t major = kAnyPart;
  std::uint16_t minor = kAnyPart;
  std::uint16_t patch = kAnyPart;
  bool operator==(const semver_t&) const = default;
};

/// The version of which no part is given.
inline constexpr semver_t kNoVersion{};

struct name_semver_t {
  std::string name;  ///< UTF-8, compared byte by byte
  semver_t version;

  bool operator==(const name_semver_t&) const = default;
  /// Names ascending by bytes; within a name the newest version first, a part that is not given
  /// before every number.
  bool operator<(const name_semver_t& other) const;
};

/// Reads up to three numbers, each followed by any one character; what comes after is ignored.
/// Numbers wrap at 16 bits.
semver_t parse_version(std::string_view text);
/// Splits at the last "-" when a version follows it; otherwise the whole text is the name.
name_semver_t parse_identity(std::string_view text);
/// Whether each given part of `pattern` equals that of `candidate`; the names are not compared.
bool matches(const semver_t& pattern, const semver_t& candidate);
constexpr bool is_no_version(const semver_t& version) { return version == kNoVersion; }

/// The name, then "-" and the given parts joined by "."; parses back to the same identity.
std::string to_string(const name_semver_t& identity);

}  // namespace zendro::pkg
