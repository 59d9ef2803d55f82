#include "framework/text/json.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <functional>
#include <system_error>
#include <utility>
#include <vector>

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

// Accepts every document with numbers in range and keeps nothing of it but the number of values.
struct Checker {
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

// Notes the members of the document's object on the way: names come with their places, and each
// value ends before the next name.
class MemberFinder : public Checker {
 public:
  void set_text(std::string_view text, std::size_t most_members) {
    text_ = text;
    most_ = most_members;
  }
  CheckedJson take() {
    // The object itself was counted last.
    end_member(text_.data() + text_.find_last_not_of(kBlanks), values - 1);
    return {values, std::move(members_)};
  }

  bool on_object_begin(json::error_code&) { return begin_container(); }
  bool on_object_end(std::size_t size, json::error_code& error) {
    --depth_;
    return Checker::on_object_end(size, error);
  }
  bool on_array_begin(json::error_code&) { return begin_container(); }
  bool on_array_end(std::size_t size, json::error_code& error) {
    --depth_;
    return Checker::on_array_end(size, error);
  }
  bool on_key(json::string_view name, std::size_t size, json::error_code&) {
    if (depth_ != 1) return true;
    if (members_.size() >= most_ || name.size() != size || !is_in_text(name.data())) {
      most_ = 0;
      members_ = {};
      return true;
    }
    end_member(name.data() - 1, values);
    members_.push_back({{name.data(), name.size()}, {}, values});
    return true;
  }

 private:
  bool begin_container() {
    ++depth_;
    return true;
  }
  // Whether the name has no escapes: without them it stands elsewhere.
  [[nodiscard]] bool is_in_text(const char* name) const {
    const std::less<const char*> before;
    return !before(name, text_.data()) && before(name, text_.data() + text_.size());
  }
  // The last member ends in front of this place, which the next one's name or the end of the object
  // takes. `counted`: the values up to there.
  void end_member(const char* end, std::size_t counted) {
    if (members_.empty()) return;
    JsonMember& member = members_.back();
    const char* name_end = member.name.data() + member.name.size() + 1;
    std::string_view text(name_end, static_cast<std::size_t>(end - name_end));
    text.remove_prefix(text.find_first_not_of(kBlanksAndColon));
    member.text = text.substr(0, text.find_last_not_of(kBlanksAndComma) + 1);
    member.values = counted - member.values - 1;
  }

  static constexpr std::string_view kBlanks = " \t\r\n";
  static constexpr std::string_view kBlanksAndColon = " \t\r\n:";
  static constexpr std::string_view kBlanksAndComma = " \t\r\n,";

  std::string_view text_;
  std::size_t most_ = 0;
  std::size_t depth_ = 0;
  std::vector<JsonMember> members_;  // `values` of the last one: those counted before it
};

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
class ValueBuilder : public Checker {
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

// Runs a parser over one whole document.
template <typename Handler>
tl::expected<void, std::string> run(json::basic_parser<Handler>& parser, std::string_view text) {
  json::error_code code;
  const std::size_t used = parser.write_some(false, text.data(), text.size(), code);
  if (!code && used < text.size()) code = json::error::extra_data;
  if (!code) return {};
  const std::string cause = code == json::error::too_deep
                                ? "nested deeper than " + std::to_string(kMaxDepth)
                                : code.message();
  return tl::unexpected(cause + " at byte " + std::to_string(used));
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

tl::expected<CheckedJson, std::string> check_json(std::string_view text, std::size_t most_members) {
  json::basic_parser<MemberFinder> parser(parse_options());
  parser.handler().set_text(text, most_members);
  return run(parser, text).map([&parser] { return parser.handler().take(); });
}

ParsedJson parse_json(std::string_view text, json::storage_ptr storage) {
  try {
    json::basic_parser<ValueBuilder> parser(parse_options());
    parser.handler().set_storage(std::move(storage));
    return run(parser, text).map([&parser] { return parser.handler().take(); });
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
