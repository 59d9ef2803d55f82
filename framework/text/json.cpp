#include "framework/text/json.h"

#include <algorithm>
#include <utility>
#include <vector>

#include <boost/json/src.hpp>

#include "framework/text/json_checker.h"

namespace zendro::framework {
namespace {

// Makes an object of members in document order. The library finds a member by a hash of its name
// that everybody knows, and names can be chosen to have one hash: as many as share a place in its
// table are looked at one after the other. So an object stays only while no place has many.
class ObjectBuilder {
 public:
  ObjectBuilder(std::size_t size, const json::storage_ptr& storage) : object_(storage) {
    object_.reserve(size);
  }

  // Of several members with one name the last value counts, at the place of the first.
  void add(std::string_view name, json::value&& value) {
    const auto [member, is_new] =
        object_.insert_or_assign(json::string_view(name.data(), name.size()), std::move(value));
    if (is_new && has_table() && is_crowded(*member) && !spread()) {
      throw JsonError("too many names of an object have the same hash");
    }
  }

  json::object take() { return std::move(object_); }

 private:
  // With names that nobody chose, hardly a place of any table has more than ten.
  static constexpr int kMostInOnePlace = 32;

  // A small object is searched without a table.
  [[nodiscard]] bool has_table() const {
    return object_.capacity() > json::detail::small_object_size_;
  }
  // Whether too many members stand behind this one in its place of the table.
  [[nodiscard]] bool is_crowded(const json::key_value_pair& member) const {
    using json::detail::access;
    int count = 1;
    for (auto next = access::next(member); next != static_cast<access::index_t>(-1);
         next = access::next(object_.begin()[next])) {
      if (++count > kMostInOnePlace) return true;
    }
    return false;
  }

  // Another size of the table spreads by other bits of the hash; tried once.
  bool spread() {
    if (std::exchange(has_grown_, true)) return false;
    object_.reserve(object_.capacity() + object_.capacity() / 2 + 1);
    return std::none_of(object_.begin(), object_.end(),
                        [this](const auto& member) { return is_crowded(member); });
  }

  json::object object_;
  bool has_grown_ = false;
};

// Builds values like the library's own parser, but keeps numbers, -0 among them, and takes time in
// proportion to the text.
class ValueBuilder : public JsonChecker {
 public:
  void set_storage(json::storage_ptr storage) { storage_ = std::move(storage); }
  json::value take() { return std::move(values_.back()); }

  bool on_object_end(std::size_t size, json::error_code&) {
    const std::size_t first = values_.size() - size;
    const std::size_t first_name = name_ends_.size() - size;
    std::size_t name = first_name == 0 ? 0 : name_ends_[first_name - 1];
    const std::size_t names_begin = name;
    ObjectBuilder object(size, storage_);
    for (std::size_t i = 0; i < size; ++i) {
      const std::size_t end = name_ends_[first_name + i];
      object.add(std::string_view(names_).substr(name, end - name), std::move(values_[first + i]));
      name = end;
    }
    names_.resize(names_begin);
    name_ends_.resize(first_name);
    return replace(first, object.take());
  }
  bool on_array_end(std::size_t size, json::error_code&) {
    const std::size_t first = values_.size() - size;
    json::array array(storage_);
    array.reserve(size);
    for (std::size_t i = first; i < values_.size(); ++i) array.push_back(std::move(values_[i]));
    return replace(first, std::move(array));
  }
  bool on_key_part(json::string_view text, std::size_t, json::error_code&) {
    names_.append(text.data(), text.size());
    return true;
  }
  bool on_key(json::string_view text, std::size_t, json::error_code&) {
    names_.append(text.data(), text.size());
    name_ends_.push_back(names_.size());
    return true;
  }
  bool on_string_part(json::string_view text, std::size_t, json::error_code&) {
    string_.append(text.data(), text.size());
    return true;
  }
  bool on_string(json::string_view text, std::size_t, json::error_code&) {
    if (string_.empty()) return add(text);
    string_.append(text.data(), text.size());
    add(json::string_view(string_.data(), string_.size()));
    string_.clear();
    return true;
  }
  bool on_int64(std::int64_t number, json::string_view text, json::error_code&) {
    return number == 0 && text[0] == '-' ? add(-0.0) : add(number);
  }
  bool on_uint64(std::uint64_t number, json::string_view, json::error_code&) { return add(number); }
  bool on_double(double approximate, json::string_view text, json::error_code& error) {
    double number = 0;
    if (read_double(text, approximate, number)) return add(number);
    error = json::error::exponent_overflow;
    return false;
  }
  bool on_bool(bool value, json::error_code&) { return add(value); }
  bool on_null(json::error_code&) { return add(nullptr); }

 private:
  template <typename Value>
  bool add(Value&& value) {
    values_.emplace_back(std::forward<Value>(value), storage_);
    return true;
  }
  // Puts a value in the place of what it has been made of.
  template <typename Value>
  bool replace(std::size_t first, Value&& value) {
    values_.resize(first);
    return add(std::forward<Value>(value));
  }

  json::storage_ptr storage_;
  std::vector<json::value> values_;     // whose container has not ended
  std::string names_;                   // of the members among them, one behind the other
  std::vector<std::size_t> name_ends_;  // in names_
  std::string string_;                  // what has come of one
};

template <typename Result>
const Result& cast(const Result* pointer, const char* failure) {
  if (pointer == nullptr) throw JsonError(failure);
  return *pointer;
}

}  // namespace

ParsedJson parse_json(std::string_view text, json::storage_ptr storage) {
  try {
    json::basic_parser<ValueBuilder> parser(json_options());
    parser.handler().set_storage(std::move(storage));
    return parse_whole(parser, text).map([&parser] { return parser.handler().take(); });
  } catch (const std::exception& exception) {
    return tl::unexpected<std::string>(exception.what());
  }
}

const json::object& as_map(const json::value& value) { return cast(value.if_object(), kNoMap); }

const json::array& as_array(const json::value& value) { return cast(value.if_array(), kNoArray); }

std::int64_t as_integer(const json::value& value) { return cast(value.if_int64(), kNoInteger); }

std::string_view as_string(const json::value& value) {
  const json::string& text = cast(value.if_string(), kNoString);
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
