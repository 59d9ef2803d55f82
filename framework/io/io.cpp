#include "framework/io/io.h"

#include <algorithm>
#include <array>
#include <new>
#include <stdexcept>

namespace zendro::framework {

Result<std::string> read_all(IOImpl_base& stream, std::size_t initial_capacity, std::uint64_t limit,
                             std::string_view label) {
  const auto failed = [label](const std::string& cause) {
    return tl::unexpected(IoError{label.empty() ? cause : std::string(label) + ": " + cause});
  };
  try {
    // A size is a hint only: what is read may come to more or less than was said.
    const std::int64_t size = stream.size();
    const bool plausible = size >= 0 && static_cast<std::uint64_t>(size) <= limit;
    std::string bytes;
    bytes.reserve(std::max(initial_capacity, plausible ? static_cast<std::size_t>(size) : 0));
    std::array<char, kIoBlock> block;
    std::uint64_t total = 0;
    for (;;) {
      const std::int64_t count = stream.read(block.data(), block.size());
      if (count == 0) return bytes;
      if (count < 0) {
        return stream.error() ? tl::unexpected(stream.error()) : failed("cannot be read");
      }
      total += static_cast<std::uint64_t>(count);
      if (total > limit) return failed("holds more than " + std::to_string(limit) + " bytes");
      bytes.append(block.data(), static_cast<std::size_t>(count));
    }
  } catch (const std::bad_alloc&) {
    return failed("does not fit into memory");
  } catch (const std::length_error&) {
    return failed("does not fit into memory");
  }
}

}  // namespace zendro::framework
