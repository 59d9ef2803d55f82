#include "store/whole_file.h"

#include <string>

#include "framework/system/files.h"
#include "framework/system/folder.h"

namespace zendro::store {

framework::Result<void> write_whole_file(const std::filesystem::path& path, std::string_view bytes,
                                         Durability durability) {
  if (auto made = framework::create_folders(path.parent_path()); !made) return made;
  const auto folder = framework::Folder::open(
      path.parent_path().empty() ? std::filesystem::path(".") : path.parent_path());
  if (!folder) return tl::unexpected(folder.error());
  const std::string name = framework::path_to_utf8(path.filename());
  const std::string unfinished = name + ".unfinished";
  const framework::OpenedStream file = (*folder)->create_file(unfinished);
  if (!file) return tl::unexpected(file.error());
  (*file)->write(bytes.data(), bytes.size());
  if (durability == Durability::on_storage) (*file)->flush();
  (*file)->close();
  framework::Result<void> done;
  if ((*file)->error()) {
    done = tl::unexpected((*file)->error());
  } else {
    done = (*folder)->rename_file(unfinished, name);
  }
  if (!done) static_cast<void>((*folder)->remove_file(unfinished));
  return done;
}

}  // namespace zendro::store
