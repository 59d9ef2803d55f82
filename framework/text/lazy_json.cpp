#include "framework/text/lazy_json.h"

#include <algorithm>
#include <array>
#include <functional>
#include <new>
#include <optional>
#include <type_traits>
#include <utility>

#include <boost/sort/spreadsort/integer_sort.hpp>

namespace zendro::framework {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";
constexpr std::string_view kClosing = "]}";
// Names of members lie far apart in a long text: so many are asked for ahead, which halves the time
// of a pass over them.
constexpr std::size_t kAskedForAhead = 16;
// Enough memory for the values of most objects, so that these need no allocation.
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

// The place behind the value that begins at `begin`; `inside` becomes the number of values inside
// it.
std::size_t end_of_value(std::string_view text, std::size_t begin, std::size_t& inside) {
  std::size_t depth = 0;
  inside = 0;
  for (std::size_t at = begin; at < text.size();) {
    switch (text[at]) {
      case '"':
        at = end_of_string(text, at);
        if (depth == 0) return at;
        continue;
      case '{':
      case '[':
        ++depth;
        if (kClosing.find(text[text.find_first_not_of(kBlanks, at + 1)]) == std::string_view::npos)
          ++inside;
        break;
      case '}':
      case ']':
        if (depth == 0) return at;  // of what the value is in
        if (--depth == 0) return at + 1;
        break;
      case ',':
        if (depth == 0) return at;
        ++inside;
        break;
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

// Calls `visit` with the name of each member, as it is written between its quotes, the text of its
// value, and the number of values inside that.
template <typename Visit>
void for_each_member(std::string_view object, const Visit& visit) {
  std::size_t at = object.find_first_not_of(kBlanks, 1);
  while (object[at] == '"') {
    const std::size_t name_end = end_of_string(object, at);
    const std::string_view name = object.substr(at + 1, name_end - at - 2);
    const std::size_t colon = object.find(':', name_end);
    const std::size_t value = object.find_first_not_of(kBlanks, colon + 1);
    std::size_t inside = 0;
    const std::size_t value_end = end_of_value(object, value, inside);
    visit(name, object.substr(value, value_end - value), inside);
    at = object.find_first_not_of(kBlanks, value_end);
    if (object[at] == ',') at = object.find_first_not_of(kBlanks, at + 1);
  }
}

bool has_escape(std::string_view text) { return text.find('\\') != std::string_view::npos; }

// Parses text that check_json() has accepted.
json::value parse_checked(std::string_view text, json::storage_ptr storage = {}) {
  ParsedJson parsed = parse_json(text, std::move(storage));
  if (!parsed) throw JsonError(parsed.error());
  return std::move(*parsed);
}

void require_object(std::string_view text) {
  if (!text.starts_with('{')) throw JsonError(kNoMap);
}

}  // namespace

const json::object& LazyObject::values() const {
  if (const json::object* values = values_.load(std::memory_order_acquire)) return *values;
  const std::lock_guard lock(document_.lock_);
  if (const json::object* values = values_.load(std::memory_order_relaxed)) return *values;
  std::map<const LazyObject*, std::string>& refused = document_.refused_;
  if (const auto known = refused.find(this); known != refused.end()) throw JsonError(known->second);
  ParsedJson parsed = parse_json(text_, &document_.arena_);
  if (!parsed) throw JsonError(refused[this] = std::move(parsed.error()));
  const json::value& value = document_.values_.emplace_back(std::move(*parsed));
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
  for_each_member(text_, [&](std::string_view member, std::string_view value, std::size_t) {
    is_plain = is_plain && !has_escape(member);
    if (member == name) found = value;
  });
  if (!is_plain || has_escape(found)) return parsed();
  if (found.empty()) return {};
  if (!found.starts_with('"')) throw JsonError(kNoString);
  return found.substr(1, found.size() - 2);
}

std::optional<std::vector<JsonMember>> LazyObject::plain_members() const {
  if (values_.load(std::memory_order_acquire) != nullptr) return std::nullopt;
  std::vector<JsonMember> members;
  bool is_plain = true;
  for_each_member(text_, [&](std::string_view name, std::string_view value, std::size_t inside) {
    is_plain = is_plain && !has_escape(name);
    members.push_back({name, value, inside});
  });
  if (!is_plain) return std::nullopt;
  return members;
}

void append_object(JsonWriter& writer, std::string_view text) {
  std::array<unsigned char, kScratchSize> scratch;  // NOLINT: filled by whoever takes from it
  json::monotonic_resource arena(scratch.data(), scratch.size());
  if (const ParsedJson parsed = parse_json(text, &arena)) {
    writer.append(parsed->get_object());
  } else {
    writer.append_json(text);
  }
}

tl::expected<std::shared_ptr<LazyDocument>, std::string> LazyDocument::parse(
    std::string text, std::size_t most_members) {
  auto document = std::make_shared<LazyDocument>();
  document->text_ = std::move(text);
  auto checked = check_json(document->text_, most_members);
  if (!checked) return tl::unexpected(std::move(checked.error()));
  document->checked_ = std::move(*checked);
  return document;
}

std::string_view LazyDocument::root() const {
  const std::size_t begin = text_.find_first_not_of(kBlanks);
  const std::size_t end = text_.find_last_not_of(kBlanks);
  return std::string_view(text_).substr(begin, end - begin + 1);
}

std::vector<LazyDocument::Member> LazyDocument::members(std::string_view object) {
  std::size_t count = 0;
  std::vector<Member> members = all_members(object, std::string_view::npos, count);
  drop_repeated(members);
  return members;
}

std::vector<LazyDocument::Member> LazyDocument::all_members(std::string_view object,
                                                            std::size_t most, std::size_t& count) {
  require_object(object);
  if (object.data() == root().data() && !checked_.members.empty()) {
    std::vector<Member> members = std::exchange(checked_.members, {});
    count = members.size();
    if (count > most) members.resize(most);
    return members;
  }
  count = 0;
  std::vector<Member> members;
  for_each_member(object, [&](std::string_view name, std::string_view value, std::size_t inside) {
    if (++count > most) return;
    if (has_escape(name)) {
      const json::value plain = parse_checked(std::string_view(name.data() - 1, name.size() + 2));
      name = names_.emplace_back(as_string(plain));
    }
    members.push_back({name, value, inside});
  });
  return members;
}

// Found by sorting, which takes n log n whatever the names; the hash makes it quick.
void LazyDocument::drop_repeated(std::vector<LazyDocument::Member>& members) {
  struct Place {
    std::size_t hash;
    std::size_t index;
  };
  std::vector<Place> places(members.size());
  for (std::size_t i = 0; i < members.size(); ++i) {
    if (i + kAskedForAhead < members.size()) {
      __builtin_prefetch(members[i + kAskedForAhead].name.data());
    }
    places[i] = {std::hash<std::string_view>()(members[i].name), i};
  }
  boost::sort::spreadsort::integer_sort(
      places.begin(), places.end(),
      [](const Place& place, unsigned shift) { return place.hash >> shift; },
      [](const Place& a, const Place& b) { return a.hash < b.hash; });
  const auto name_of = [&members](const Place& place) { return members[place.index].name; };
  std::vector<bool> is_repeated(members.size());
  for (auto begin = places.begin(), end = begin; begin != places.end(); begin = end) {
    end = std::find_if(begin, places.end(),
                       [hash = begin->hash](const Place& place) { return place.hash != hash; });
    if (end - begin == 1) continue;
    std::sort(begin, end, [&name_of](const Place& a, const Place& b) {
      const int names = name_of(a).compare(name_of(b));
      return names != 0 ? names < 0 : a.index < b.index;
    });
    for (auto first = begin, place = begin + 1; place != end; ++place) {
      if (name_of(*first) != name_of(*place)) {
        first = place;
        continue;
      }
      LazyDocument::Member& kept = members[first->index];
      kept.text = members[place->index].text;
      kept.values = members[place->index].values;
      is_repeated[place->index] = true;
    }
  }
  std::size_t index = 0;
  std::erase_if(members, [&](const LazyDocument::Member&) { return is_repeated[index++]; });
}

const LazyObject& LazyDocument::object(std::string_view text) {
  require_object(text);
  static_assert(std::is_trivially_destructible_v<LazyObject>);
  void* const place = objects_.allocate(sizeof(LazyObject), alignof(LazyObject));
  return *new (place) LazyObject(text, *this);
}

}  // namespace zendro::framework
