// Checking a document without making values of it.
#include <algorithm>
#include <cstddef>
#include <functional>
#include <future>
#include <optional>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "framework/text/json_checker.h"

namespace zendro::framework {
namespace {

// Notes the members of the document's object on the way: names come with their places, and each
// value ends before the next name.
class MemberFinder : public JsonChecker {
 public:
  // `part` is what is parsed of a text of this size: all of it, its begin, or its end.
  void set_text(std::string_view part, std::size_t text_size, std::size_t most_members) {
    text_ = part;
    text_size_ = text_size;
    most_ = most_members;
  }
  // `end` is behind the last member.
  CheckedJson take(const char* end) {
    // The object itself was counted last.
    end_member(end, values - 1);
    return {values, std::move(members_)};
  }

  bool on_object_begin(json::error_code&) { return begin_container(); }
  bool on_object_end(std::size_t size, json::error_code& error) {
    --depth_;
    return JsonChecker::on_object_end(size, error);
  }
  bool on_array_begin(json::error_code&) { return begin_container(); }
  bool on_array_end(std::size_t size, json::error_code& error) {
    --depth_;
    return JsonChecker::on_array_end(size, error);
  }
  bool on_key(json::string_view name, std::size_t size, json::error_code&) {
    if (depth_ != 1) return true;
    if (members_.size() >= most_ || name.size() != size || !is_in_text(name.data())) {
      most_ = 0;
      members_ = {};
      return true;
    }
    end_member(name.data() - 1, values);
    if (members_.size() == members_.capacity()) make_room(name.data());
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
  // For the members of a text that goes on as it was up to here.
  void make_room(const char* here) {
    constexpr std::size_t kFew = 256;
    constexpr double kMore = 1.05;
    const auto read = static_cast<double>(here - text_.data());
    const double expected =
        static_cast<double>(text_size_) / read * static_cast<double>(members_.size()) * kMore;
    const std::size_t room = members_.size() < kFew ? kFew : static_cast<std::size_t>(expected);
    members_.reserve(std::max(std::min(room, most_), 2 * members_.size()));
  }
  // The last member ends in front of this place, which the next one's name or the end of the object
  // takes. `counted`: the values up to there.
  void end_member(const char* end, std::size_t counted) {
    if (members_.empty()) return;
    JsonMember& member = members_.back();
    const char* begin = member.name.data() + member.name.size() + 1;
    while (is_between_values(*begin)) ++begin;
    while (is_between_values(end[-1])) --end;
    member.text = {begin, static_cast<std::size_t>(end - begin)};
    member.values = counted - member.values - 1;
  }
  static bool is_between_values(char character) {
    return character == ':' || character == ',' || character == ' ' || character == '\n' ||
           character == '\r' || character == '\t';
  }

  std::string_view text_;
  std::size_t text_size_ = 0;
  std::size_t most_ = 0;
  std::size_t depth_ = 0;
  std::vector<JsonMember> members_;  // `values` of the last one: those counted before it
};

using Checked = tl::expected<CheckedJson, std::string>;

// Where the text ends apart from blanks behind it.
const char* end_of(std::string_view text) {
  return text.data() + text.find_last_not_of(" \t\r\n") + 1;
}

Checked check_whole(std::string_view text, std::size_t most_members) {
  json::basic_parser<MemberFinder> parser(json_options());
  parser.handler().set_text(text, text.size(), most_members);
  return parse_whole(parser, text).map([&] { return parser.handler().take(end_of(text) - 1); });
}

// The two parts of an object on either side of a comma. Where members stand on lines of their own,
// it is one between them.
struct Halves {
  std::string_view first;
  std::string_view second;
};

std::optional<Halves> halves_of(std::string_view text) {
  constexpr std::size_t kLong = 1 << 20;  // takes many times as long as starting a thread
  constexpr std::string_view kBetweenMembers = "},\n\"";
  if (text.size() < kLong || std::thread::hardware_concurrency() < 2) return std::nullopt;
  const std::size_t place = text.find(kBetweenMembers, text.size() / 2);
  if (place == std::string_view::npos) return std::nullopt;
  return Halves{text.substr(0, place + 1), text.substr(place + 2)};
}

bool feed(json::basic_parser<MemberFinder>& parser, std::string_view text, bool has_more) {
  json::error_code code;
  const std::size_t used = parser.write_some(has_more, text.data(), text.size(), code);
  return !code && used == text.size();
}

std::optional<CheckedJson> check_first(std::string_view half, std::size_t text_size,
                                       std::size_t most_members) {
  json::basic_parser<MemberFinder> parser(json_options());
  parser.handler().set_text(half, text_size, most_members);
  if (!feed(parser, half, true) || !feed(parser, "}", false)) return std::nullopt;
  return parser.handler().take(half.data() + half.size());
}

std::optional<CheckedJson> check_second(std::string_view half, std::size_t most_members) {
  json::basic_parser<MemberFinder> parser(json_options());
  parser.handler().set_text(half, half.size(), most_members);
  if (!feed(parser, "{", true) || !feed(parser, half, false)) return std::nullopt;
  return parser.handler().take(end_of(half) - 1);
}

// Checks both halves of a long text at the same time. Two objects, which the halves are with
// another brace each, make one object. Nothing where there are no halves or one is no object: then
// the text was cut elsewhere than between its members, or it is wrong.
std::optional<CheckedJson> check_halves(std::string_view text, std::size_t most_members) {
  const std::optional<Halves> halves = halves_of(text);
  if (!halves) return std::nullopt;
  std::future<std::optional<CheckedJson>> second =
      std::async(check_second, halves->second, most_members);
  std::optional<CheckedJson> whole = check_first(halves->first, text.size(), most_members);
  const std::optional<CheckedJson> rest = second.get();
  if (!whole || !rest) return std::nullopt;
  whole->values += rest->values - 1;
  std::vector<JsonMember>& members = whole->members;
  const std::size_t count = members.size() + rest->members.size();
  if (members.empty() || rest->members.empty() || count > most_members) {
    members = {};
  } else {
    members.insert(members.end(), rest->members.begin(), rest->members.end());
  }
  return whole;
}

}  // namespace

Checked check_json(std::string_view text, std::size_t most_members) {
  if (auto checked = check_halves(text, most_members)) return std::move(*checked);
  return check_whole(text, most_members);
}

}  // namespace zendro::framework
