// A stream over an open file of the operating system (POSIX).
#pragma once

#include <memory>
#include <string>

#include "framework/descriptor_posix.h"
#include "framework/io.h"

namespace zendro::framework {

enum class FileAccess { read, write };

/// Takes over an open regular file. Nothing is buffered here: what write() returned for has been
/// handed to the system, and flush() waits until it is on the storage.
std::shared_ptr<IOImpl_base> make_file_stream(Descriptor file, FileAccess access,
                                              std::string label);

}  // namespace zendro::framework
