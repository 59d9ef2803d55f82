// Writing the XML files of the cache root.
#pragma once

#include <string_view>

#include "pkg/reporter.h"

namespace zendro::pkg {

/// Replaces the file at `path` by the text of a document, in place, under the cache-write lock.
/// Missing folders are created. Reports "create_folder", "create_file" or "write_file", each naming
/// the folder of the file, when `reporter` is given.
bool write_xml_file(std::string_view xml, std::string_view path, reporter_t* reporter);

}  // namespace zendro::pkg
