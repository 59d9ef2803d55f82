// The files of a package, unpacked into memory as a client unpacks them, and the names that lead to
// them.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "framework/io/io.h"
#include "pkg/package_list.h"

#include "store/check/finding.h"
#include "store/check/loaded_store.h"
#include "store/scan/document_links.h"

namespace zendro::store {

/// Texts by texts.
using NameMap = std::map<std::string, std::string, std::less<>>;

struct PackageContents {
  std::string identity;
  NameMap files;  ///< bytes by path; an archive is a folder of its name
  std::map<std::string, LinkedDocument, std::less<>> documents;  ///< of schemas and linkbases
  // What leads to paths. Locations that end with "/" are prefixes and lead to folders.
  NameMap locations;
  NameMap namespaces;
  NameMap public_ids;
  NameMap mappings;      ///< prefixes of URIs to others
  std::size_t size = 0;  ///< bytes of the files
  Findings findings;     ///< about members that are not there, are not proven or are refused

  /// The file at a path, which in an archive may be written percent-encoded; files.end() if none.
  [[nodiscard]] NameMap::const_iterator find_file(std::string_view path) const;
  [[nodiscard]] bool has_folder(std::string_view path) const;
};

/// Reads the members of a package. What a client refuses is a finding, and then not there.
PackageContents read_contents(const pkg::package_t& package, const ReadMember& read_member);

/// The URL of a file: the same for each spelling of it.
std::string document_url(std::string_view identity, std::string_view path);
/// The same from a package URL in any spelling; any other text stays as it is.
std::string normalised_url(std::string_view url);

/// A path as whoever made the package knows it: in its archive.
std::string_view shown_path(std::string_view path);

}  // namespace zendro::store
