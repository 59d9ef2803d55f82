#include "store/whole_file.h"

#include <string>

#include "framework/system/files.h"
#include "framework/system/folder.h"

namespace zendro::store {
namespace {

constexpr const char* kUnfinished = ".unfinished";

framework::Result<std::unique_ptr<framework::Folder>> open_parent(
    const std::filesystem::path& path) {
  return framework::Folder::open(path.has_parent_path() ? path.parent_path()
                                                        : std::filesystem::path("."));
}

}  // namespace

framework::Result<void> write_whole_file(const std::filesystem::path& path, std::string_view bytes,
                                         Durability durability) {
  if (auto made = framework::create_folders(path.parent_path()); !made) return made;
  const auto folder = open_parent(path);
  if (!folder) return tl::unexpected(folder.error());
  const std::string name = framework::path_to_utf8(path.filename());
  const std::string unfinished = name + kUnfinished;
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

framework::Result<void> write_private_file(const std::filesystem::path& path,
                                           std::string_view bytes) {
  std::filesystem::path unfinished = path;
  unfinished += kUnfinished;
  framework::SystemFile::remove(unfinished);
  auto file = framework::SystemFile::open(unfinished, framework::OpenHow::write_private);
  if (!file) return tl::unexpected(file.error());
  const auto folder = open_parent(path);
  framework::Result<void> done;
  if (!folder) {
    done = tl::unexpected(folder.error());
  } else if (!file->replace_contents(bytes)) {
    done = tl::unexpected(
        framework::IoError{framework::path_to_utf8(unfinished) + ": " + file->cause()});
  } else {
    done = (*folder)->rename_file(framework::path_to_utf8(unfinished.filename()),
                                  framework::path_to_utf8(path.filename()));
  }
  file->close();  // what is open cannot be removed everywhere
  if (!done) framework::SystemFile::remove(unfinished);
  return done;
}

}  // namespace zendro::store
