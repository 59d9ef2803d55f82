#include "framework/io/io.h"

#include <algorithm>
#include <array>
#include <new>
#include <stdexcept>

namespace zendro::framework {

bool read_all(IOImpl_base& stream, std::string& out, std::size_t initial_capacity,
              std::uint64_t limit, IoError& error, std::string_view label) {
  const auto fail = [&error, label](std::string_view cause) {
    error.text =
        label.empty() ? std::string(cause) : std::string(label) + ": " + std::string(cause);
    return false;
  };
  try {
    // A size is a hint only: what is read may come to more or less than was said.
    const std::int64_t size = stream.size();
    const bool plausible = size >= 0 && static_cast<std::uint64_t>(size) <= limit;
    out.reserve(out.size() +
                std::max(initial_capacity, plausible ? static_cast<std::size_t>(size) : 0));
    std::array<char, kIoBlock> block;
    std::uint64_t total = 0;
    for (;;) {
      const std::int64_t count = stream.read(block.data(), block.size());
      if (count == 0) return true;
      if (count < 0) {
        if (!stream.error()) return fail("cannot be read");
        error = stream.error();
        return false;
      }
      total += static_cast<std::uint64_t>(count);
      if (total > limit) return fail("holds more than " + std::to_string(limit) + " bytes");
      out.append(block.data(), static_cast<std::size_t>(count));
    }
  } catch (const std::bad_alloc&) {
    return fail("does not fit into memory");
  } catch (const std::length_error&) {
    return fail("does not fit into memory");
  }
}

}  // namespace zendro::framework
