// Texts of digest headers, and digests of bytes that come in pieces.
#include "framework/io/digest.h"

#include <algorithm>
#include <cctype>
#include <string>

#include "fuzz/input.h"

namespace zendro::fuzz {
namespace {

void run(std::string_view input) {
  const bool well_formed =
      input.size() == 64 && std::all_of(input.begin(), input.end(),
                                        [](unsigned char c) { return std::isxdigit(c) != 0; });
  const auto parsed = framework::parse_sha256(input);
  require(parsed.has_value() == well_formed, "64 hexadecimal digits and nothing else are a digest");
  if (parsed) {
    std::string lower(input);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    require(framework::to_hex(*parsed) == lower, "a digest is written as it was read");
  }

  // Pieces as long as the bytes say.
  const framework::Sha256Digest whole = framework::sha256(input);
  framework::Sha256 pieces;
  for (std::string_view rest = input; !rest.empty();) {
    const std::size_t length = std::min(rest.size(), static_cast<std::size_t>(rest[0] & 0x7F));
    pieces.update(rest.data(), length);
    rest.remove_prefix(std::max<std::size_t>(length, 1));
    if (length == 0) pieces.update(rest.data() - 1, 1);
  }
  require(pieces.finish() == whole, "a digest does not depend on how the bytes arrive");
  require(framework::parse_sha256(framework::to_hex(whole)) == whole, "parse(to_hex(x)) == x");
}

}  // namespace
}  // namespace zendro::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  zendro::fuzz::run(zendro::fuzz::text_of(data, size));
  return 0;
}
