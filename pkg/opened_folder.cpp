#include "pkg/opened_folder.h"

namespace zendro::pkg {

using framework::Folder;

opened_folder open_in(const Folder& parent, std::string_view name) {
  if (parent.kind_of(name) == framework::EntryKind::absent) return tl::unexpected(no_folder());
  return parent.open_folder(name);
}

opened_folder create_in(const Folder& parent, std::string_view name) {
  const framework::Result<void> created = parent.create_folder(name);
  if (!created) return tl::unexpected<no_folder>(created.error());
  return parent.open_folder(name);
}

}  // namespace zendro::pkg
