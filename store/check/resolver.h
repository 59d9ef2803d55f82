// Finding documents as an XML tool does in whose catalogs a package and what it references stand.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "store/check/package_contents.h"

namespace zendro::store {

class Resolver {
 public:
  struct Target {
    const PackageContents* package;
    std::string_view path;
    std::string_view bytes;
  };

  /// The package that is looked at, and then those that are installed with it.
  explicit Resolver(std::vector<std::shared_ptr<const PackageContents>> packages)
      : packages_(std::move(packages)) {}

  [[nodiscard]] const PackageContents& own() const { return *packages_.front(); }

  /// Follows locations, prefixes and mappings to the file that a URI leads to.
  [[nodiscard]] std::optional<Target> find_uri(std::string_view uri) const;
  [[nodiscard]] std::optional<Target> find_public_id(std::string_view public_id) const;
  [[nodiscard]] std::optional<Target> find_namespace(std::string_view xml_namespace) const;
  /// What a place in a document leads to: the location that it gives, or else the namespace.
  [[nodiscard]] std::optional<Target> find_link(const Target& document,
                                                const DocumentLink& link) const;
  /// Whether a location begins with the prefix, or a prefix of locations covers it.
  [[nodiscard]] bool has_location_below(std::string_view prefix) const;

 private:
  [[nodiscard]] static std::optional<Target> target(const PackageContents& package,
                                                    std::string_view path);
  [[nodiscard]] std::optional<Target> find_exactly(std::string_view uri) const;
  [[nodiscard]] std::optional<Target> find_below_prefix(std::string_view uri) const;
  [[nodiscard]] std::optional<Target> find_file(std::string_view uri) const;
  [[nodiscard]] std::optional<std::string> map(std::string_view uri) const;

  std::vector<std::shared_ptr<const PackageContents>> packages_;
};

}  // namespace zendro::store
