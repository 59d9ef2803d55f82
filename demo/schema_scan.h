// Reading of XML schemas (W3C XML Schema 1.0) and of XBRL 2.1 linkbases.
#pragma once

#include <optional>

#include "demo/document.h"
#include "demo/source_files.h"

namespace zendro::demo {

/// What a schema or linkbase says; nothing for any other kind of file. Throws std::runtime_error
/// for an .xsd file that is no well-formed schema.
std::optional<Document> scan_schema(const SourceFile& file);

}  // namespace zendro::demo
