// Reading of XML schemas (W3C XML Schema 1.0) and of XBRL 2.1 linkbases.
#pragma once

#include <optional>

#include "store/scan/document.h"
#include "store/source_files.h"

namespace zendro::store {

/// What a schema or linkbase says; nothing for any other kind of file. Throws std::runtime_error
/// for an .xsd file that is no well-formed schema.
std::optional<Document> scan_schema(const SourceFile& file);

}  // namespace zendro::store
