// Reading of XML document type definitions, modules and entity sets (XML 1.0, section 4.2.2).
#pragma once

#include <optional>

#include "store/scan/document.h"
#include "store/source_files.h"

namespace zendro::store {

/// What a file with the extension .dtd, .mod or .ent says; nothing for any other kind of file. Its
/// demands are the external entities that it declares with a system identifier, those of ignored
/// sections included.
std::optional<Document> scan_dtd(const SourceFile& file);

/// Normalises the white space of a public identifier (XML 1.0, section 4.2.2).
std::string normalise_public_id(std::string_view text);

/// The owner that a formal public identifier names, such as "W3C" (ISO 8879, section 10.2.1).
std::string owner_of_public_id(std::string_view public_id);

}  // namespace zendro::store
