// What every reader of JSON documents has in common: what it accepts. Internal to framework/text.
#pragma once

#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <system_error>

#include <boost/json/basic_parser_impl.hpp>

#include "framework/text/json.h"

namespace zendro::framework {

inline constexpr std::size_t kMaxDepth = 32;

// The library's own conversion of a number is up to one unit in the last place off, and gives
// infinity, which could not be written as JSON again, for what is too large. A document is one
// buffer, so that the text of a number comes in one piece. False for a number out of range.
inline bool read_double(json::string_view text, double approximate, double& number) {
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  if (result.ec != std::errc::result_out_of_range) return true;
  number = std::copysign(0.0, text[0] == '-' ? -1.0 : 1.0);  // closer to 0 than to any other
  return std::abs(approximate) <= 1;
}

// Accepts every document with numbers in range and keeps nothing of it but the number of values.
struct JsonChecker {
  static constexpr std::size_t max_object_size = json::object::max_size();
  static constexpr std::size_t max_array_size = json::array::max_size();
  static constexpr std::size_t max_key_size = json::string::max_size();
  static constexpr std::size_t max_string_size = json::string::max_size();

  std::size_t values = 0;

  bool on_document_begin(json::error_code&) { return true; }
  bool on_document_end(json::error_code&) { return true; }
  bool on_object_begin(json::error_code&) { return true; }
  bool on_object_end(std::size_t, json::error_code&) { return count(); }
  bool on_array_begin(json::error_code&) { return true; }
  bool on_array_end(std::size_t, json::error_code&) { return count(); }
  bool on_key_part(json::string_view, std::size_t, json::error_code&) { return true; }
  bool on_key(json::string_view, std::size_t, json::error_code&) { return true; }
  bool on_string_part(json::string_view, std::size_t, json::error_code&) { return true; }
  bool on_string(json::string_view, std::size_t, json::error_code&) { return count(); }
  bool on_number_part(json::string_view, json::error_code&) { return true; }
  bool on_int64(std::int64_t, json::string_view, json::error_code&) { return count(); }
  bool on_uint64(std::uint64_t, json::string_view, json::error_code&) { return count(); }
  bool on_double(double approximate, json::string_view text, json::error_code& error) {
    double number = 0;
    if (read_double(text, approximate, number)) return count();
    error = json::error::exponent_overflow;
    return false;
  }
  bool on_bool(bool, json::error_code&) { return count(); }
  bool on_null(json::error_code&) { return count(); }
  bool on_comment_part(json::string_view, json::error_code&) { return true; }
  bool on_comment(json::string_view, json::error_code&) { return true; }

 private:
  bool count() {
    ++values;
    return true;
  }
};

// Runs a parser over one whole document.
template <typename Handler>
tl::expected<void, std::string> parse_whole(json::basic_parser<Handler>& parser,
                                            std::string_view text) {
  json::error_code code;
  const std::size_t used = parser.write_some(false, text.data(), text.size(), code);
  if (!code && used < text.size()) code = json::error::extra_data;
  if (!code) return {};
  const std::string cause = code == json::error::too_deep
                                ? "nested deeper than " + std::to_string(kMaxDepth)
                                : code.message();
  return tl::unexpected(cause + " at byte " + std::to_string(used));
}

inline json::parse_options json_options() {
  json::parse_options options;
  options.max_depth = kMaxDepth;
  return options;
}

}  // namespace zendro::framework
