#include "pkg/local/unpack_target.h"

namespace zendro::pkg::local {

using framework::Folder;
using framework::Result;

Result<void> folder_target::add_folder(std::string_view path) {
  const auto made = folder_of(std::string(path) + "/");
  if (!made) return tl::unexpected(made.error());
  return {};
}

framework::OpenedStream folder_target::add_file(std::string_view path) {
  const Result<const Folder*> folder = folder_of(path);
  if (!folder) return tl::unexpected(folder.error());
  return (*folder)->create_new_file(path.substr(path.rfind('/') + 1));
}

// The folder of a path, made where it is missing.
Result<const Folder*> folder_target::folder_of(std::string_view path) {
  const Folder* folder = &folder_;
  std::size_t level = 0;
  for (std::size_t slash = 0; (slash = path.find('/')) != std::string_view::npos; ++level) {
    const std::string_view name = path.substr(0, slash);
    path.remove_prefix(slash + 1);
    if (level == open_.size() || open_[level].first != name) {
      open_.resize(level);
      auto inner = folder->create_folder(name).and_then([&] { return folder->open_folder(name); });
      if (!inner) return tl::unexpected(inner.error());
      open_.emplace_back(name, std::move(*inner));
    }
    folder = open_[level].second.get();
  }
  open_.resize(level);
  return folder;
}

}  // namespace zendro::pkg::local
