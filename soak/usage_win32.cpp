#include <algorithm>
#include <cstddef>

#include <windows.h>
#include <malloc.h>
#include <winternl.h>

#include "soak/usage.h"
// Needs the types of windows.h.
#include <psapi.h>

namespace zendro::soak {
namespace {

constexpr std::int64_t kKib = 1024;

// What the program and the libraries that are part of it have allocated. The system's libraries
// have heaps of their own, which are part of the private memory; those of Wine 8 keep some 1,600
// bytes of every round (the hint of an edit control among them).
std::int64_t heap_in_use() {
  const auto heap = reinterpret_cast<HANDLE>(_get_heap_handle());
  if (!HeapLock(heap)) return 0;
  std::int64_t bytes = 0;
  PROCESS_HEAP_ENTRY entry = {};
  while (HeapWalk(heap, &entry)) {
    if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) bytes += entry.cbData;
  }
  HeapUnlock(heap);
  return bytes;
}

struct Process {
  std::int64_t handles = 0;
  std::int64_t threads = 0;
};

// Wine tells the handles of a process in the list of all only.
Process this_process() {
  std::vector<std::byte> list(1 << 20);
  if (NtQuerySystemInformation(SystemProcessInformation, list.data(),
                               static_cast<ULONG>(list.size()), nullptr) != 0) {
    return {};
  }
  const std::byte* at = list.data();
  for (;;) {
    const auto& entry = *reinterpret_cast<const SYSTEM_PROCESS_INFORMATION*>(at);
    if (reinterpret_cast<ULONG_PTR>(entry.UniqueProcessId) == GetCurrentProcessId()) {
      return {entry.HandleCount, entry.NumberOfThreads};
    }
    if (entry.NextEntryOffset == 0) return {};
    at += entry.NextEntryOffset;
  }
}

// Wine does not count them when it is asked; but it keeps their table where 64-bit Windows does.
std::int64_t gdi_objects() {
  if (const DWORD count = GetGuiResources(GetCurrentProcess(), GR_GDIOBJECTS)) return count;
  struct Entry {
    std::uint64_t object;
    std::uint32_t owner;
    std::uint16_t unique;
    std::uint8_t type;  // 0: free
    std::uint8_t flags;
    std::uint64_t user;
  };
  constexpr std::size_t kTableOfProcess = 0xF8;
  constexpr std::size_t kEntries = 0x4000;
  PROCESS_BASIC_INFORMATION process = {};
  if (NtQueryInformationProcess(GetCurrentProcess(), ProcessBasicInformation, &process,
                                sizeof process, nullptr) != 0) {
    return 0;
  }
  const auto* block = reinterpret_cast<const std::byte*>(process.PebBaseAddress);
  const auto* table = *reinterpret_cast<const Entry* const*>(block + kTableOfProcess);
  if (table == nullptr) return 0;
  return std::count_if(table, table + kEntries, [](const Entry& entry) { return entry.type != 0; });
}

BOOL CALLBACK count_window(HWND, LPARAM count) {
  ++*reinterpret_cast<std::int64_t*>(count);
  return TRUE;
}

BOOL CALLBACK count_with_children(HWND window, LPARAM count) {
  EnumChildWindows(window, count_window, count);
  return count_window(window, count);
}

// Those of the thread that calls.
std::int64_t windows() {
  std::int64_t count = 0;
  EnumThreadWindows(GetCurrentThreadId(), count_with_children, reinterpret_cast<LPARAM>(&count));
  return count;
}

}  // namespace

std::vector<Figure> usage() {
  const HANDLE self = GetCurrentProcess();
  PROCESS_MEMORY_COUNTERS memory = {};
  K32GetProcessMemoryInfo(self, &memory, sizeof memory);
  const Process process = this_process();
  std::vector<Figure> figures = {
      {"heap KiB", heap_in_use() / kKib, 256},
      {"resident KiB", static_cast<std::int64_t>(memory.WorkingSetSize) / kKib, 8192},
      {"private KiB", static_cast<std::int64_t>(memory.PagefileUsage) / kKib, 8192},
      {"handles", process.handles, 4},
      {"threads", process.threads, 2},
      {"GDI objects", gdi_objects(), 4},
      {"USER objects", GetGuiResources(self, GR_USEROBJECTS), 4},
      {"windows", windows(), 0}};
  std::erase_if(figures, [](const Figure& figure) { return figure.value == 0; });
  return figures;
}

}  // namespace zendro::soak
