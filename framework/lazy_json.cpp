#include "framework/lazy_json.h"

#include <array>
#include <cstring>
#include <unordered_map>
#include <utility>

namespace zendro::framework {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";
// What most metadata needs as values.
constexpr std::size_t kScratchSize = 32768;

// In the text of a valid document: the place behind the string that begins at `begin`.
std::size_t end_of_string(std::string_view text, std::size_t begin) {
  std::size_t from = begin + 1;
  while (true) {
    const std::size_t quote = text.find('"', from);
    std::size_t first = quote;
    while (text[first - 1] == '\\') --first;  // stops at the quote that begins the string
    if ((quote - first) % 2 == 0) return quote + 1;
    from = quote + 1;
  }
}

// The same for any value.
std::size_t end_of_value(std::string_view text, std::size_t begin) {
  std::size_t depth = 0;
  for (std::size_t at = begin; at < text.size();) {
    switch (text[at]) {
      case '"':
        at = end_of_string(text, at);
        if (depth == 0) return at;
        continue;
      case '{':
      case '[':
        ++depth;
        break;
      case '}':
      case ']':
        if (depth == 0) return at;  // of what the value is in
        if (--depth == 0) return at + 1;
        break;
      case ',':
      case ' ':
      case '\t':
      case '\r':
      case '\n':
        if (depth == 0) return at;
        break;
      default:
        break;
    }
    ++at;
  }
  return text.size();
}

// Calls `visit` with the name of each member, as it is written between its quotes, and the text of
// its value.
template <typename Visit>
void for_each_member(std::string_view object, const Visit& visit) {
  std::size_t at = object.find_first_not_of(kBlanks, 1);
  while (object[at] == '"') {
    const std::size_t name_end = end_of_string(object, at);
    const std::string_view name = object.substr(at + 1, name_end - at - 2);
    const std::size_t colon = object.find(':', name_end);
    const std::size_t value = object.find_first_not_of(kBlanks, colon + 1);
    const std::size_t value_end = end_of_value(object, value);
    visit(name, object.substr(value, value_end - value));
    at = object.find_first_not_of(kBlanks, value_end);
    if (object[at] == ',') at = object.find_first_not_of(kBlanks, at + 1);
  }
}

bool has_escape(std::string_view text) { return text.find('\\') != std::string_view::npos; }

// The values of text that has been checked.
void parse_checked(std::string_view text, json::value& out) {
  std::string error;
  if (!parse_json(text, out, error)) throw JsonError(error);
}

void require_object(std::string_view text) {
  if (!text.starts_with('{')) (void)as_map(json::value());
}

}  // namespace

const json::object& LazyObject::values() const {
  if (const json::object* values = values_.load(std::memory_order_acquire)) return *values;
  const std::lock_guard lock(document_.lock_);
  if (const json::object* values = values_.load(std::memory_order_relaxed)) return *values;
  json::value& value = document_.values_.emplace_back(json::storage_ptr(&document_.arena_));
  parse_checked(text_, value);
  values_.store(&value.get_object(), std::memory_order_release);
  return value.get_object();
}

std::string_view LazyObject::string(std::string_view name) const {
  const auto parsed = [&]() -> std::string_view {
    const json::value* value = values().if_contains(name);
    return value == nullptr ? std::string_view() : as_string(*value);
  };
  if (values_.load(std::memory_order_acquire) != nullptr) return parsed();
  bool is_plain = true;
  std::string_view found;
  for_each_member(text_, [&](std::string_view member, std::string_view value) {
    is_plain = is_plain && !has_escape(member);
    if (member == name) found = value;
  });
  if (!is_plain || has_escape(found)) return parsed();
  if (found.empty()) return {};
  if (!found.starts_with('"')) return as_string(json::value());
  return found.substr(1, found.size() - 2);
}

void LazyObject::append_to(JsonWriter& writer) const {
  if (const json::object* values = values_.load(std::memory_order_acquire)) {
    writer.append(*values);
    return;
  }
  std::array<unsigned char, kScratchSize> scratch;  // NOLINT: filled by whoever takes from it
  json::monotonic_resource arena(scratch.data(), scratch.size());
  json::value value(nullptr, &arena);
  parse_checked(text_, value);
  writer.append(value.get_object());
}

std::shared_ptr<LazyDocument> LazyDocument::parse(std::string text, std::string& error) {
  if (!check_json(text, error)) return nullptr;
  auto document = std::make_shared<LazyDocument>();
  document->text_ = std::move(text);
  return document;
}

std::string_view LazyDocument::root() const {
  const std::size_t begin = text_.find_first_not_of(kBlanks);
  const std::size_t end = text_.find_last_not_of(kBlanks);
  return std::string_view(text_).substr(begin, end - begin + 1);
}

std::vector<LazyDocument::Member> LazyDocument::members(std::string_view object) {
  require_object(object);
  std::vector<Member> members;
  for_each_member(object, [&](std::string_view name, std::string_view value) {
    if (has_escape(name)) {
      json::value plain;
      parse_checked(std::string_view(name.data() - 1, name.size() + 2), plain);
      name = names_.emplace_back(as_string(plain));
    }
    members.push_back({name, value});
  });

  std::unordered_map<std::string_view, std::size_t> places;
  places.reserve(members.size());
  std::size_t kept = 0;
  for (const Member& member : members) {
    const auto [place, is_new] = places.try_emplace(member.name, kept);
    if (is_new) {
      members[kept++] = member;
    } else {
      members[place->second].text = member.text;
    }
  }
  members.resize(kept);
  return members;
}

const LazyObject& LazyDocument::object(std::string_view text) {
  require_object(text);
  return objects_.emplace_back(text, *this);
}

}  // namespace zendro::framework
