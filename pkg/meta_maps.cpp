#include "pkg/meta_maps.h"

#include <algorithm>

namespace zendro::pkg {

std::optional<framework::PlainStrings> meta_maps_t::plain_map(std::string_view name) const {
  if (!members_) return std::nullopt;
  // Of several with one name the last one counts.
  const auto map = std::find_if(members_->rbegin(), members_->rend(),
                                [name](const auto& member) { return member.name == name; });
  if (map == members_->rend()) return framework::PlainStrings();
  return framework::plain_strings(map->text);
}

}  // namespace zendro::pkg
