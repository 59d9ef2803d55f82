#include "framework/system/removal.h"

#include <memory>
#include <vector>

#include "framework/system/files.h"

namespace zendro::framework {

Result<void> remove_contents(const Folder& folder, const std::string& path, int levels,
                             const RemovalSink& sink) {
  if (levels < 0) return tl::unexpected(IoError{path + ": folders are nested too deeply"});
  const Result<std::vector<Folder::Entry>> entries = folder.list();
  if (!entries) return tl::unexpected(entries.error());
  for (const Folder::Entry& entry : *entries) {
    const std::string entry_path = path + entry.name;
    const bool is_folder = entry.kind == EntryKind::folder;
    if (is_folder) {
      const auto empty = [&](const std::unique_ptr<Folder>& inner) {
        return remove_contents(*inner, entry_path + kPathSeparator, levels - 1, sink);
      };
      Result<void> emptied = folder.open_folder(entry.name).and_then(empty);
      if (!emptied) return emptied;
    }
    Result<void> removed =
        is_folder ? folder.remove_folder(entry.name) : folder.remove_file(entry.name);
    if (!removed && folder.kind_of(entry.name) != EntryKind::absent) return removed;
    if (sink) sink(entry_path, is_folder, !removed);
  }
  return {};
}

Result<void> remove_all(const Folder& parent, std::string_view name, int levels) {
  const EntryKind kind = parent.kind_of(name);
  if (kind == EntryKind::absent) return {};
  if (kind == EntryKind::folder) {
    Result<std::unique_ptr<Folder>> folder = parent.open_folder(name);
    if (!folder) return tl::unexpected(folder.error());
    const std::string path = path_to_utf8((*folder)->path()) + kPathSeparator;
    Result<void> emptied = remove_contents(**folder, path, levels, {});
    if (!emptied) return emptied;
    folder->reset();  // an open folder would not be gone at once everywhere
  }
  Result<void> removed =
      kind == EntryKind::folder ? parent.remove_folder(name) : parent.remove_file(name);
  if (!removed && parent.kind_of(name) == EntryKind::absent) return {};
  return removed;
}

}  // namespace zendro::framework
