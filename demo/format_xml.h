// The text of XML documents that are built with pugixml.
#pragma once

#include <string>

#include <pugixml.hpp>

namespace zendro::demo {

/// Serialises a document as UTF-8: its declaration, where it has one, then one element a line,
/// indented by two blanks.
std::string format_xml(const pugi::xml_document& document);

}  // namespace zendro::demo
