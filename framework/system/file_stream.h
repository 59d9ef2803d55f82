// A stream over an open file of the operating system.
#pragma once

#include <memory>
#include <string>

#include "framework/io/io.h"
#include "framework/system/system_file.h"

namespace zendro::framework {

enum class FileAccess { read, write };

/// Takes over an open file. Nothing is buffered; flush() waits until it is on the storage. `label`
/// names it in error texts.
std::shared_ptr<IOImpl_base> make_file_stream(SystemFile file, FileAccess access,
                                              std::string label);

}  // namespace zendro::framework
