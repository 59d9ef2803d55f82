// Text of XML 1.0 documents.
#pragma once

#include <string>
#include <string_view>

namespace zendro::framework {

/// Appends the value of an attribute, as it stands between double quotes, to a document in UTF-8.
/// Whatever the value, the document stays well-formed, and reading it gives the value again, except
/// for what no document can hold, not even escaped: control characters other than tab, line feed
/// and carriage return, the non-characters U+FFFE and U+FFFF, and bytes that are not UTF-8 are
/// percent-encoded. Such a character is no part of a URI either, so tools that normalise URIs find
/// the entry again (OASIS XML Catalogs 1.1, section 6.3).
void append_attribute_value(std::string& xml, std::string_view utf8);

}  // namespace zendro::framework
