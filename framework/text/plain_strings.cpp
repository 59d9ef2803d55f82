#include "framework/text/plain_strings.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace zendro::framework {
namespace {

std::size_t skip_blanks(std::string_view text, std::size_t at) {
  while (text[at] == ' ' || text[at] == '\n' || text[at] == '\r' || text[at] == '\t') ++at;
  return at;
}

// How many bytes all names begin with.
std::size_t common_size(const std::vector<PlainString>& members) {
  std::string_view common = members.front().name;
  for (const auto& [name, text] : members) {
    if (name.starts_with(common)) continue;
    const auto end = std::mismatch(common.begin(), common.end(), name.begin(), name.end()).first;
    common = common.substr(0, static_cast<std::size_t>(end - common.begin()));
  }
  return common.size();
}

// The eight bytes at `begin`, or what there is of them, as a number that sorts as they do.
std::uint64_t bytes_at(std::string_view text, std::size_t begin) {
  std::uint64_t number = 0;
  for (std::size_t at = begin; at < begin + sizeof(number); ++at) {
    number = number << 8 | (at < text.size() ? static_cast<unsigned char>(text[at]) : 0U);
  }
  return number;
}

// Most names differ within a few bytes behind what all of them begin with, so that hardly any have
// to be looked at while they are sorted.
std::vector<std::size_t> order_by_name(const std::vector<PlainString>& members) {
  if (members.empty()) return {};
  const std::size_t common = common_size(members);
  std::vector<std::pair<std::uint64_t, std::size_t>> places;
  places.reserve(members.size());
  for (std::size_t i = 0; i < members.size(); ++i) {
    places.emplace_back(bytes_at(members[i].name, common), i);
  }
  std::sort(places.begin(), places.end(), [&members](const auto& a, const auto& b) {
    if (a.first != b.first) return a.first < b.first;
    return members[a.second].name < members[b.second].name;
  });
  std::vector<std::size_t> order(places.size());
  std::transform(places.begin(), places.end(), order.begin(),
                 [](const auto& place) { return place.second; });
  return order;
}

}  // namespace

std::optional<PlainStrings> plain_strings(std::string_view object) {
  if (!object.starts_with('{') || object.find('\\') != std::string_view::npos) return std::nullopt;
  std::vector<PlainString> members;
  std::size_t name = skip_blanks(object, 1) + 1;
  while (object[name - 1] == '"') {
    const std::size_t name_end = object.find('"', name);
    const std::size_t colon = skip_blanks(object, name_end + 1);
    const std::size_t text = skip_blanks(object, colon + 1) + 1;
    if (object[text - 1] != '"') return std::nullopt;
    const std::size_t text_end = object.find('"', text);
    members.push_back({object.substr(name, name_end - name), object.substr(text, text_end - text)});
    const std::size_t comma = skip_blanks(object, text_end + 1);
    if (object[comma] != ',') break;
    name = skip_blanks(object, comma + 1) + 1;
  }
  std::vector<std::size_t> order = order_by_name(members);
  const auto repeated = std::adjacent_find(
      order.begin(), order.end(),
      [&members](std::size_t a, std::size_t b) { return members[a].name == members[b].name; });
  if (repeated != order.end()) return std::nullopt;
  return PlainStrings{std::move(members), std::move(order)};
}

}  // namespace zendro::framework
