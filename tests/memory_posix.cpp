#include <fstream>
#include <string>

#include "tests/memory.h"

// Part of AddressSanitizer, which keeps freed memory resident for a while but knows what is alive.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes() __attribute__((weak));

namespace zendro::tests {

std::size_t memory_in_use() {
  if (__sanitizer_get_current_allocated_bytes != nullptr) {
    return __sanitizer_get_current_allocated_bytes();
  }
  std::ifstream status("/proc/self/status");
  std::string word;
  std::size_t kib = 0;
  while (status >> word) {
    if (word == "VmRSS:") status >> kib;
  }
  return kib * 1024;
}

}  // namespace zendro::tests
