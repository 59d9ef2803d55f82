#include "framework/system/removal.h"

#include <memory>
#include <vector>

#include "framework/system/files.h"

namespace zendro::framework {

bool remove_contents(const Folder& folder, const std::string& path, int levels,
                     const RemovalSink& sink, IoError& error) {
  if (levels < 0) {
    error.text = path + ": folders are nested too deeply";
    return false;
  }
  std::vector<Folder::Entry> entries;
  if (!folder.list(entries, error)) return false;
  for (const Folder::Entry& entry : entries) {
    const std::string entry_path = path + entry.name;
    const bool is_folder = entry.kind == EntryKind::folder;
    if (is_folder) {
      const std::unique_ptr<Folder> inner = folder.open_folder(entry.name, error);
      if (!inner ||
          !remove_contents(*inner, entry_path + kPathSeparator, levels - 1, sink, error)) {
        return false;
      }
    }
    const bool removed =
        is_folder ? folder.remove_folder(entry.name, error) : folder.remove_file(entry.name, error);
    if (!removed && folder.kind_of(entry.name) != EntryKind::absent) return false;
    error = {};
    if (sink) sink(entry_path, is_folder, !removed);
  }
  return true;
}

bool remove_all(const Folder& parent, std::string_view name, int levels, IoError& error) {
  const EntryKind kind = parent.kind_of(name);
  if (kind == EntryKind::absent) return true;
  bool removed = false;
  if (kind == EntryKind::folder) {
    std::unique_ptr<Folder> folder = parent.open_folder(name, error);
    if (!folder) return false;
    const std::string path = path_to_utf8(folder->path()) + kPathSeparator;
    if (!remove_contents(*folder, path, levels, {}, error)) return false;
    folder.reset();  // an open folder would not be gone at once everywhere
    removed = parent.remove_folder(name, error);
  } else {
    removed = parent.remove_file(name, error);
  }
  if (!removed && parent.kind_of(name) != EntryKind::absent) return false;
  error = {};
  return true;
}

}  // namespace zendro::framework
