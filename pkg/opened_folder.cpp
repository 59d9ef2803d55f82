#include "pkg/opened_folder.h"

#include <utility>

namespace zendro::pkg {
namespace {

using framework::Folder;
using framework::IoError;

opened_folder open_existing(const Folder& parent, std::string_view name) {
  IoError error;
  std::unique_ptr<Folder> folder = parent.open_folder(name, error);
  if (!folder) return tl::unexpected(no_folder(std::move(error)));
  return folder;
}

}  // namespace

opened_folder open_in(const Folder& parent, std::string_view name) {
  if (parent.kind_of(name) == framework::EntryKind::absent) return tl::unexpected(no_folder());
  return open_existing(parent, name);
}

opened_folder create_in(const Folder& parent, std::string_view name) {
  IoError error;
  if (!parent.create_folder(name, error)) return tl::unexpected(no_folder(std::move(error)));
  return open_existing(parent, name);
}

}  // namespace zendro::pkg
