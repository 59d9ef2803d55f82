// Package lists in memory, and the documents that they are read from and written to.
//
// A list shares its document with whoever takes entries from it; entries are never copied one by
// one, and parsed when they are first read.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "framework/io.h"
#include "framework/json.h"
#include "framework/lazy_json.h"
#include "pkg/meta.h"
#include "pkg/name_semver.h"

namespace zendro::pkg {

/// The largest list document that is read, in bytes.
inline constexpr std::uint64_t kListLimit = 1ull << 30;

struct package_t {
  name_semver_t identity;
  std::string_view key;  ///< the identity as the document writes it
  meta_t meta;
};

/// Reads a package's metadata through `read`. A framework::JsonError is thrown on with the identity
/// in front of its text, so that whoever reads it knows which package is meant.
template <typename Read>
auto read_metadata(const package_t& package, const Read& read) {
  try {
    return read(package.meta);
  } catch (const framework::JsonError& error) {
    throw framework::JsonError(to_string(package.identity) + ": " + error.what());
  }
}

/// Entries sorted by identity, each identity once.
using package_map_t = std::vector<package_t>;

/// The entry with exactly this identity, or null.
const package_t* find_exact(const package_map_t& packages, const name_semver_t& identity);
/// The entry with exactly the key's identity, else the newest one of its name that it matches; null
/// if there is none. O(log n).
const package_t* find_best(const package_map_t& packages, const name_semver_t& key);

class pkgs_available_t {
 public:
  /// An empty list.
  pkgs_available_t() = default;
  /// Views a package-list document; throws JsonError when it has not the shape of one. The top
  /// level members named in `not_packages` are passed over.
  explicit pkgs_available_t(std::shared_ptr<framework::LazyDocument> document,
                            std::span<const std::string_view> not_packages = {});

  [[nodiscard]] const package_map_t& packages() const { return packages_; }
  [[nodiscard]] const package_map_t& deprecated() const { return deprecated_; }
  /// "build_number" of "_META", null counting as 0; nothing where either is missing.
  [[nodiscard]] std::optional<std::int64_t> build_number() const { return build_number_; }

  /// The entry with exactly this identity, a deprecated one if there is no other; null if none.
  [[nodiscard]] const package_t* find_entry(const name_semver_t& identity) const;

  /// Adds packages of another list, whose document is kept alive; an identity that the list holds
  /// already is left as it is. `packages` is sorted by identity.
  void add(std::span<const package_t* const> packages, const pkgs_available_t& source);
  /// Removes the identities (sorted).
  void remove(std::span<const name_semver_t> identities);

  /// The document: members in their order with added packages at their place in the order of
  /// identities, one a line, not indented, UTF-8.
  [[nodiscard]] std::string serialise() const;

 private:
  struct member_t {
    std::string_view key;
    const framework::LazyObject* map;
    bool is_package;  ///< false for "_META" and "_DEPRECATED"
  };

  std::vector<std::shared_ptr<const framework::LazyDocument>> documents_;
  std::vector<member_t> members_;  ///< all top level members in document order
  package_map_t packages_;
  package_map_t deprecated_;
  std::optional<std::int64_t> build_number_;
};

}  // namespace zendro::pkg
