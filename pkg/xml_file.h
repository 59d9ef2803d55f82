// Writing the XML files of the cache root.
#pragma once

#include <string_view>

#include <pugixml.hpp>

#include "pkg/reporter.h"

namespace zendro::pkg {

/// Replaces the file at `path` by the document, in place, under the cache-write lock. Missing
/// folders are created. Reports "create_folder", "create_file" or "write_file", each naming the
/// folder of the file, when `reporter` is given.
bool write_xml_file(const pugi::xml_document& document, std::string_view path,
                    reporter_t* reporter);

}  // namespace zendro::pkg
