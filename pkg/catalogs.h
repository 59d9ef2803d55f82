// The three catalog files of a cache root, written from what is installed.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "pkg/core_context.h"
#include "pkg/package_list.h"

namespace zendro::pkg {

/// Throws metadata_error where what the package supplies to the catalogs has a wrong type.
void check_catalog_entries(const package_t& package);

/// A step from a text towards a file, as the catalogs make it.
struct catalog_step_t {
  std::string catalog;  ///< its file name
  std::string element;  ///< that of the entry in it
  std::string key;
  std::string target;
};
/// Where a location, namespace or public identifier leads through the catalogs of these packages:
/// the steps, of which the last one's target is a package URL where a package supplies the text.
std::vector<catalog_step_t> trace_in_catalogs(const pkgs_available_t& installed,
                                              std::string_view text);

/// Loads the list of installed packages and writes "namespace-mapping-catalog.xml", "catalog.xml"
/// and "remapping.xml", in this order. The first that cannot be written ends the update. Failures
/// are reported by whoever met them. A package whose entries have a wrong type is left out, with a
/// warning. Last, the files for other programs follow, see local_files.h.
bool update_catalogs(core_context& context);
/// The same for a list of installed packages that is at hand.
bool write_catalogs(core_context& context, const pkgs_available_t& installed);

}  // namespace zendro::pkg
