// The remote-I/O log of an operation.
#pragma once

#include <memory>
#include <string_view>

#include "pkg/core_context.h"

namespace zendro::pkg {

/// Opens `<cache root>logs/io_<operation>.log` to be extended; null when the log is off or has no
/// place. The file is made; where it cannot be, the first time in an operation "create_file" is a
/// warning. An operation named after a package keeps every character that a file name may hold on
/// every platform; others are percent-encoded, so that the file is always one of that folder.
/// Throws framework::JsonError when the option is neither null nor a bool.
std::shared_ptr<framework::IOImpl_base> open_remote_io_log(core_context& context,
                                                           std::string_view operation);

}  // namespace zendro::pkg
