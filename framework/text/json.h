// JSON (RFC 8259) reading and writing over Boost.JSON, with typed access.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <boost/json.hpp>
#include <tl/expected.hpp>

namespace zendro::framework {

namespace json = boost::json;

/// A value is not of the type that the reader needs. The text says which conversion failed.
class JsonError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A document, or why a text is none.
using ParsedJson = tl::expected<json::value, std::string>;

/// Parses one JSON document; `storage` holds all that it needs: give it a monotonic_resource for
/// large ones. Never throws; it fails for anything that is not JSON, is nested deeper than 32,
/// holds invalid UTF-8 or a number beyond a double's range, and for an object whose names were
/// chosen to make finding them slow.
///
/// Kept are the order of members (of several with one name, the last value), the text of strings,
/// and numbers: exactly, where they are integers of 64 bits, and as the nearest double otherwise
/// (larger integers, fractions, exponents, and -0, which no integer type tells from 0). JsonWriter
/// writes the shortest digits that give the same double again.
ParsedJson parse_json(std::string_view text, json::storage_ptr storage = {});

/// A member of an object, as the document writes it.
struct JsonMember {
  std::string_view name;   ///< what stands between its quotes
  std::string_view text;   ///< of the value
  std::size_t values = 0;  ///< inside the value, at all depths
  bool operator==(const JsonMember&) const = default;
};

struct CheckedJson {
  /// All of them, the document itself and those that a later one of the same name replaces
  /// included.
  std::size_t values = 0;
  /// Those of the document's object; none where it is no object, holds more than were asked for, or
  /// writes one of their names with escapes.
  std::vector<JsonMember> members;
};

/// Takes a fraction of the time of parse_json(), and fails where that would, save for chosen names.
/// A long text whose lines end between members is checked by two threads. At most `most_members`
/// are given.
tl::expected<CheckedJson, std::string> check_json(std::string_view text,
                                                  std::size_t most_members = 0);

inline constexpr const char* kNoMap = "Cannot cast value to JSON map!";
inline constexpr const char* kNoArray = "Cannot cast value to JSON array!";
inline constexpr const char* kNoInteger = "Cannot cast value to JSON integer!";
inline constexpr const char* kNoString = "Cannot cast value to JSON string!";

/// Typed reading. Each throws JsonError with the text given.
const json::object& as_map(const json::value& value);   // kNoMap
const json::array& as_array(const json::value& value);  // kNoArray
std::int64_t as_integer(const json::value& value);      // kNoInteger
std::string_view as_string(const json::value& value);   // kNoString
/// null is false.
bool to_bool(const json::value& value);  // "Cannot convert JSON value to bool!"
/// null is 0; a number that is no 64-bit integer throws "Cannot convert JSON value to int64_t", any
/// other value kNoInteger.
std::int64_t to_int64(const json::value& value);

/// Appends JSON texts to a string. One writer serves many values.
class JsonWriter {
 public:
  explicit JsonWriter(std::string& out) : out_(out) {}
  void append(const json::object& value);
  void append(std::string_view text);
  /// What is JSON already.
  void append_json(std::string_view json) { out_ += json; }

 private:
  void drain();

  std::string& out_;
  json::serializer serializer_;
};

}  // namespace zendro::framework
