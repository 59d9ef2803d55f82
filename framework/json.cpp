#include "framework/json.h"

#include <charconv>
#include <cmath>
#include <system_error>

#include <boost/json/basic_parser_impl.hpp>
#include <boost/json/src.hpp>

namespace zendro::framework {
namespace {

constexpr std::size_t kMaxDepth = 32;

// The library's own conversion of a number is up to one unit in the last place off, and gives
// infinity, which could not be written as JSON again, for what is too large. A document is one
// buffer, so that the text of a number comes in one piece. False for a number out of range.
bool read_double(json::string_view text, double approximate, double& number) {
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  if (result.ec != std::errc::result_out_of_range) return true;
  number = std::copysign(0.0, text[0] == '-' ? -1.0 : 1.0);  // closer to 0 than to any other
  return std::abs(approximate) <= 1;
}

// Accepts every document with numbers in range and keeps nothing of it.
struct Checker {
  static constexpr std::size_t max_object_size = json::object::max_size();
  static constexpr std::size_t max_array_size = json::array::max_size();
  static constexpr std::size_t max_key_size = json::string::max_size();
  static constexpr std::size_t max_string_size = json::string::max_size();

  bool on_document_begin(json::error_code&) { return true; }
  bool on_document_end(json::error_code&) { return true; }
  bool on_object_begin(json::error_code&) { return true; }
  bool on_object_end(std::size_t, json::error_code&) { return true; }
  bool on_array_begin(json::error_code&) { return true; }
  bool on_array_end(std::size_t, json::error_code&) { return true; }
  bool on_key_part(json::string_view, std::size_t, json::error_code&) { return true; }
  bool on_key(json::string_view, std::size_t, json::error_code&) { return true; }
  bool on_string_part(json::string_view, std::size_t, json::error_code&) { return true; }
  bool on_string(json::string_view, std::size_t, json::error_code&) { return true; }
  bool on_number_part(json::string_view, json::error_code&) { return true; }
  bool on_int64(std::int64_t, json::string_view, json::error_code&) { return true; }
  bool on_uint64(std::uint64_t, json::string_view, json::error_code&) { return true; }
  bool on_double(double approximate, json::string_view text, json::error_code& error) {
    double number = 0;
    if (read_double(text, approximate, number)) return true;
    error = json::error::exponent_overflow;
    return false;
  }
  bool on_bool(bool, json::error_code&) { return true; }
  bool on_null(json::error_code&) { return true; }
  bool on_comment_part(json::string_view, json::error_code&) { return true; }
  bool on_comment(json::string_view, json::error_code&) { return true; }
};

// Builds values like the library's own parser, but keeps numbers, -0 among them.
struct ValueBuilder : Checker {
  json::value_stack stack;

  bool on_object_end(std::size_t size, json::error_code&) {
    stack.push_object(size);
    return true;
  }
  bool on_array_end(std::size_t size, json::error_code&) {
    stack.push_array(size);
    return true;
  }
  bool on_key_part(json::string_view text, std::size_t, json::error_code&) {
    stack.push_chars(text);
    return true;
  }
  bool on_key(json::string_view text, std::size_t, json::error_code&) {
    stack.push_key(text);
    return true;
  }
  bool on_string_part(json::string_view text, std::size_t, json::error_code&) {
    stack.push_chars(text);
    return true;
  }
  bool on_string(json::string_view text, std::size_t, json::error_code&) {
    stack.push_string(text);
    return true;
  }
  bool on_int64(std::int64_t number, json::string_view text, json::error_code&) {
    if (number == 0 && text[0] == '-') {
      stack.push_double(-0.0);
    } else {
      stack.push_int64(number);
    }
    return true;
  }
  bool on_uint64(std::uint64_t number, json::string_view, json::error_code&) {
    stack.push_uint64(number);
    return true;
  }
  bool on_double(double approximate, json::string_view text, json::error_code& error) {
    double number = 0;
    if (!read_double(text, approximate, number)) {
      error = json::error::exponent_overflow;
      return false;
    }
    stack.push_double(number);
    return true;
  }
  bool on_bool(bool value, json::error_code&) {
    stack.push_bool(value);
    return true;
  }
  bool on_null(json::error_code&) {
    stack.push_null();
    return true;
  }
};

// Runs a parser over one whole document.
template <typename Handler>
bool run(json::basic_parser<Handler>& parser, std::string_view text, std::string& error) {
  json::error_code code;
  const std::size_t used = parser.write_some(false, text.data(), text.size(), code);
  if (!code && used < text.size()) code = json::error::extra_data;
  if (code) error = code.message() + " at byte " + std::to_string(used);
  return !code;
}

json::parse_options parse_options() {
  json::parse_options options;
  options.max_depth = kMaxDepth;
  return options;
}

template <typename Result>
const Result& cast(const Result* pointer, const char* failure) {
  if (pointer == nullptr) throw JsonError(failure);
  return *pointer;
}

}  // namespace

bool check_json(std::string_view text, std::string& error) {
  json::basic_parser<Checker> parser(parse_options());
  return run(parser, text, error);
}

bool parse_json(std::string_view text, json::value& out, std::string& error) {
  try {
    json::basic_parser<ValueBuilder> parser(parse_options());
    parser.handler().stack.reset(out.storage());
    if (!run(parser, text, error)) return false;
    out = parser.handler().stack.release();
    return true;
  } catch (const std::exception& exception) {
    error = exception.what();
    return false;
  }
}

const json::object& as_map(const json::value& value) {
  return cast(value.if_object(), "Cannot cast value to JSON map!");
}

const json::array& as_array(const json::value& value) {
  return cast(value.if_array(), "Cannot cast value to JSON array!");
}

std::int64_t as_integer(const json::value& value) {
  return cast(value.if_int64(), "Cannot cast value to JSON integer!");
}

std::string_view as_string(const json::value& value) {
  const json::string& text = cast(value.if_string(), "Cannot cast value to JSON string!");
  return {text.data(), text.size()};
}

bool to_bool(const json::value& value) {
  if (value.is_null()) return false;
  return cast(value.if_bool(), "Cannot convert JSON value to bool!");
}

std::int64_t to_int64(const json::value& value) {
  if (value.is_null()) return 0;
  if (value.is_number() && !value.is_int64()) {
    throw JsonError("Cannot convert JSON value to int64_t");
  }
  return as_integer(value);
}

void JsonWriter::append(const json::object& value) {
  serializer_.reset(&value);
  drain();
}

void JsonWriter::append(std::string_view text) {
  serializer_.reset(json::string_view(text.data(), text.size()));
  drain();
}

void JsonWriter::drain() {
  char block[4096];
  while (!serializer_.done()) {
    const json::string_view part = serializer_.read(block);
    out_.append(part.data(), part.size());
  }
}

}  // namespace zendro::framework
