// Streams over bytes in memory.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "framework/io/io.h"

namespace zendro::framework {

/// A stream over `bytes`, which it shares; `label` names it in error texts.
std::shared_ptr<IOImpl_base> make_memory_stream(std::shared_ptr<const std::string> bytes,
                                                std::string label);

/// Opens the registered in-memory file with the URL `url` (see MemoryFile). Thread-safe.
OpenedStream open_memory_file(std::string_view url);

}  // namespace zendro::framework
