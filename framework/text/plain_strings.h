// Objects of strings, read in the text of a JSON document (RFC 8259) as they stand.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

namespace zendro::framework {

struct PlainString {
  std::string_view name;
  std::string_view text;
};

struct PlainStrings {
  std::vector<PlainString> members;  ///< in their order
  std::vector<std::size_t> by_name;  ///< their indices, in the order of the names' bytes
};

/// The members of an object of a valid document. Nothing where they cannot be read without
/// decoding: where a value is no string, anything is written with escapes, or a name is repeated.
/// Takes n log n whatever the names.
std::optional<PlainStrings> plain_strings(std::string_view object);

}  // namespace zendro::framework
