// Makes small XBRL 2.1 taxonomies from a description: the entry-point schema, a label linkbase for
// each language, the presentation linkbase, and the two documents of an XBRL taxonomy package.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "pkg/name_semver.h"

#include "store/source_files.h"

namespace zendro::demo {

/// The folder of a generated taxonomy's package documents, ending with "/".
std::string taxonomy_meta_folder(const pkg::name_semver_t& identity);

/// The files of one version, sorted by path. A description is a JSON map with "title",
/// "description", "publisher", "homepage", "base" (URL folder), "prefix", "imports" (array of maps
/// with "prefix" and "namespace") and "concepts": a tree of maps with "name", "label" (language to
/// text), "type", "period", "balance", "abstract", "since" (first version that has it), "use" (a
/// concept of an import, instead of all others) and "children". Namespace and location of a version
/// are `base`major.minor, so that they stay the same for all its patch levels.
/// Throws std::runtime_error for a description that cannot be used.
std::vector<store::SourceFile> generate_taxonomy(const std::filesystem::path& description,
                                                 const pkg::name_semver_t& identity);

}  // namespace zendro::demo
