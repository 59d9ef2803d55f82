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

#include "framework/io/io.h"
#include "framework/text/json.h"
#include "framework/text/lazy_json.h"
#include "pkg/meta.h"
#include "pkg/name_semver.h"

namespace zendro::pkg {

/// What a list document may hold, so that a list in memory, everything in it parsed, takes less
/// than 2 GiB and 4 times the largest text.
inline constexpr std::uint64_t kListLimit = 512ull << 20;  ///< bytes
inline constexpr std::size_t kMostValues = 10'000'000;     ///< JSON values, at all depths
/// Members, and members of "_DEPRECATED": a million versions beside these two and "_META".
inline constexpr std::size_t kMostEntries = 1'000'002;
inline constexpr std::size_t kMostEntryValues = 250'000;  ///< JSON values inside one of them
inline constexpr std::size_t kMostReferences = 10'000;    ///< of a version; as many conflicts
inline constexpr std::size_t kLongestKey = 255;           ///< bytes of an identity

/// Throws JsonError, with both numbers and `what` is counted, where a document holds more than it
/// may.
void require_at_most(std::size_t most, std::size_t count, std::string_view what);

struct package_t {
  name_semver_t identity;
  std::string_view key;  ///< the identity as the document writes it
  meta_t meta;
};

/// A package's metadata has a member of the wrong type. The text is the identity and the cause.
class metadata_error : public framework::JsonError {
 public:
  metadata_error(const name_semver_t& identity, const framework::JsonError& cause)
      : JsonError(to_string(identity) + ": " + cause.what()) {}
};

/// Reads a package's metadata through `read`; what is of the wrong type throws metadata_error.
/// Where that leaves an operation, the list of available packages is said to be at fault: whoever
/// reads another list catches it.
template <typename Read>
auto read_metadata(const package_t& package, const Read& read) {
  try {
    return read(package.meta);
  } catch (const framework::JsonError& error) {
    throw metadata_error(package.identity, error);
  }
}

/// Entries sorted by identity, each identity once.
using package_map = std::vector<package_t>;

/// The entry with exactly this identity, or null.
const package_t* find_exact(const package_map& packages, const name_semver_t& identity);
/// The entry with exactly the key's identity, else the newest one of its name that it matches; null
/// if there is none. O(log n).
const package_t* find_best(const package_map& packages, const name_semver_t& key);

/// Whether a package version can have this key in a list: an identity of a name and three numbers,
/// not longer than kLongestKey, without a NUL, and without the end of a package file's name.
bool is_version_key(std::string_view key);

/// Whether a deprecated package is there only because it was installed when it vanished from the
/// store, see pkgs_available_t::keep_vanished().
bool has_vanished(const package_t& package);

class pkgs_available_t {
 public:
  /// An empty list.
  pkgs_available_t() = default;
  /// Views a package-list document; throws JsonError when it has not the shape of one or holds more
  /// than a list may. The top level members named in `not_packages` are passed over.
  explicit pkgs_available_t(std::shared_ptr<framework::LazyDocument> document,
                            std::span<const std::string_view> not_packages = {});

  [[nodiscard]] const package_map& packages() const { return packages_; }
  [[nodiscard]] const package_map& deprecated() const { return deprecated_; }
  /// The keys that no version can have, see is_version_key(). Their entries are no packages, but
  /// stay in the document.
  [[nodiscard]] const std::vector<std::string_view>& refused() const { return refused_; }
  /// "build_number" of "_META", null counting as 0; nothing where either is missing.
  [[nodiscard]] std::optional<std::int64_t> build_number() const { return build_number_; }

  /// The entry with exactly this identity, a deprecated one if there is no other; null if none.
  [[nodiscard]] const package_t* find_entry(const name_semver_t& identity) const;

  /// Adds packages of another list, whose document is kept alive; an identity that the list holds
  /// already is left as it is. `packages` is sorted by identity.
  void add(std::span<const package_t* const> packages, const pkgs_available_t& source);
  /// Keeps packages that have vanished from the store among the deprecated ones, marked as such.
  /// One that is added again later is taken out.
  void keep_vanished(std::span<const package_t* const> packages);
  /// Removes the identities (sorted).
  void remove(std::span<const name_semver_t> identities);

  /// The document: members in their order with added packages at their place in the order of
  /// identities, one a line, not indented, UTF-8.
  [[nodiscard]] std::string serialise() const;

 private:
  using document_entry = framework::LazyDocument::Member;

  struct source_t {
    framework::LazyDocument& document;
    std::vector<document_entry> members;
    std::size_t count;  ///< of all its members
    std::span<const std::string_view> not_packages;
  };

  bool read_in_order(const source_t& source);
  bool read(const source_t& source, bool is_order_needed);
  void read_deprecated(const source_t& source, const document_entry& entry);
  bool add_package(const document_entry& entry, const framework::LazyObject& map,
                   package_map& packages);
  void set_deprecated(std::string text);

  std::vector<std::shared_ptr<const framework::LazyDocument>> documents_;
  std::vector<document_entry> members_;  ///< all top level members in document order
  package_map packages_;
  package_map deprecated_;
  std::vector<std::string_view> refused_;
  std::optional<std::int64_t> build_number_;
};

}  // namespace zendro::pkg
