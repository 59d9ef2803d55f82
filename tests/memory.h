// The memory that the running test has in use.
#pragma once

#include <cstddef>

namespace zendro::tests {

/// In bytes; 0 where the system does not tell.
std::size_t memory_in_use();

}  // namespace zendro::tests
