#include <windows.h>

#include "tests/memory.h"
// Needs the types of windows.h.
#include <psapi.h>

namespace zendro::tests {

std::size_t memory_in_use() {
  PROCESS_MEMORY_COUNTERS counters{};
  return K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters) == 0
             ? 0
             : counters.WorkingSetSize;
}

}  // namespace zendro::tests
