// Finding the packages of a list that reference a package, the way an uninstall looks for them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "pkg/references.h"

namespace zendro::pkg {

/// Which packages of a list reference a package: by a text whose name occurs in the package's name,
/// without regard to case, and whose version matches. A search costs by the length of the name and
/// by what it finds, not by the length of the list, whatever the names are.
class referrer_index {
 public:
  referrer_index(const package_map& packages, const metadata_texts& texts);

  /// The texts that reference a package, by number, each once, whatever their case. Many packages
  /// may share a text.
  [[nodiscard]] std::vector<std::size_t> texts_for(const name_semver_t& identity) const;
  /// The packages with this text among their references: places in the list, in no order, a place
  /// perhaps more than once. A package that its own text references counts as any other.
  [[nodiscard]] std::vector<list_position> packages_with(std::size_t text) const;

 private:
  struct reference_t {
    std::string name;  ///< in lower case
    semver_t version;
    std::size_t first;  ///< of its packages
    std::size_t end;
  };
  struct name_t {
    std::string_view text;
    std::size_t first;   ///< of its references
    std::size_t prefix;  ///< the longest other name that this one begins with
  };

  void find_names();
  void append(std::size_t name, const semver_t& version, std::vector<std::size_t>& texts) const;

  std::vector<list_position> packages_;  ///< of the references, one behind the other
  std::vector<reference_t> references_;  ///< by name and version
  std::vector<name_t> names_;            ///< of the references, each once
};

}  // namespace zendro::pkg
