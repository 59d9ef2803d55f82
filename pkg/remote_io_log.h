// Where the remote-I/O log of an operation goes.
#pragma once

#include <filesystem>
#include <string_view>

#include "pkg/core_context.h"

namespace zendro::pkg {

/// `<cache root>logs/io_<operation>.log`, or an empty path when the log is off. An operation named
/// after a package keeps every character that a file name may hold on every platform; others are
/// percent-encoded, so that the file is always one of that folder. Throws framework::JsonError when
/// the option is neither null nor a bool.
std::filesystem::path remote_io_log_path(const core_context_t& context, std::string_view operation);

}  // namespace zendro::pkg
