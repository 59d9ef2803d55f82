// Reading members of zip archives through libzip.
#pragma once

#include <memory>
#include <string_view>

#include "framework/io.h"

namespace zendro::framework {

/// Opens the member `name` of the zip archive that `archive` (seekable, read from its beginning)
/// holds; a name that the archive does not hold is tried once more percent-decoded. The stream
/// unpacks as it is read; a wrong CRC shows as a failed read at the end, so what was read counts
/// only once 0 has been returned. Null, with the cause in `error`, on failure; `label` names the
/// archive in error texts.
std::shared_ptr<IOImpl_base> open_zip_member(std::shared_ptr<IOImpl_base> archive,
                                             std::string_view name, std::string_view label,
                                             IoError& error);

}  // namespace zendro::framework
