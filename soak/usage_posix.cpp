#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <malloc.h>

#include "soak/usage.h"

namespace zendro::soak {
namespace {

constexpr std::int64_t kKib = 1024;

std::int64_t of_status(const std::string& name) {
  std::ifstream status("/proc/self/status");
  std::string word;
  std::int64_t value = 0;
  while (status >> word) {
    if (word == name + ":") status >> value;
  }
  return value;
}

std::int64_t open_files() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                       std::filesystem::directory_iterator());
}

}  // namespace

std::vector<Figure> usage() {
  const struct mallinfo2 heap = mallinfo2();
  return {{"heap KiB", static_cast<std::int64_t>(heap.uordblks + heap.hblkhd) / kKib, 256},
          {"resident KiB", of_status("VmRSS"), 4096},
          {"files", open_files(), 2},
          {"threads", of_status("Threads"), 2}};
}

}  // namespace zendro::soak
