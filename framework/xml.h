// XML 1.0 documents over pugixml.
#pragma once

#include <string>
#include <string_view>

#include <pugixml.hpp>

namespace zendro::framework {

/// Serialises a document as UTF-8: its declaration, where it has one, then one element a line,
/// indented by two blanks.
std::string format_xml(const pugi::xml_document& document);

/// Percent-encodes what no XML 1.0 document can hold, not even escaped: control characters other
/// than tab, line feed and carriage return, the non-characters U+FFFE and U+FFFF, and bytes that
/// are not UTF-8. Such a character is no part of a URI either, so tools that normalise URIs find
/// the entry again (OASIS XML Catalogs 1.1, section 6.3).
std::string xml_safe(std::string_view utf8);

}  // namespace zendro::framework
