// The places where XML schemas (W3C XML Schema 1.0) and linkbases (XBRL 2.1) name other documents.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zendro::store {

struct DocumentLink {
  enum class Kind {
    import,   ///< of a schema with another namespace
    include,  ///< or a redefinition: of a schema with the same one
    locator,  ///< an XLink of XBRL 2.1
  };
  Kind kind = Kind::import;
  std::string location;       ///< as written, without its fragment; may be empty for an import
  std::string xml_namespace;  ///< that an import names
  int line = 0;               ///< of the element, from 1
  std::size_t offset = 0;     ///< of the element's name in the document
};

struct LinkedDocument {
  bool is_schema = false;     ///< else a linkbase
  std::string xml_namespace;  ///< target namespace of a schema
  std::vector<DocumentLink> links;
};

/// Reads a schema or a linkbase. Nothing for any other document, for what is not well-formed, and
/// for encodings of which ASCII is no part.
std::optional<LinkedDocument> scan_links(std::string_view bytes);

/// The text of a document whose imports and includes name what `locate` gives for them; where that
/// is nothing, no location. Its lines stay where they are.
std::string with_locations(
    std::string_view bytes, const LinkedDocument& document,
    const std::function<std::optional<std::string>(const DocumentLink&)>& locate);

}  // namespace zendro::store
