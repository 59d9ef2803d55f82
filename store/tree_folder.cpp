#include "store/tree_folder.h"

#include "framework/system/files.h"
#include "framework/url/loggable.h"

namespace zendro::store {
namespace {

using framework::EntryKind;
using framework::Folder;
using framework::Result;

std::string_view name_of(std::string_view path) { return path.substr(path.rfind('/') + 1); }

// Nobody serves names that begin with a dot.
std::string unfinished(std::string_view name) { return "." + std::string(name) + ".unfinished"; }

}  // namespace

Result<TreeFolder> TreeFolder::open(const std::filesystem::path& path) {
  if (const auto made = framework::create_folders(path); !made) {
    return tl::unexpected(made.error());
  }
  Result<std::unique_ptr<Folder>> root = Folder::open(path);
  if (!root) return tl::unexpected(root.error());
  return TreeFolder(std::move(*root));
}

Result<const Folder*> TreeFolder::folder_of(std::string_view path, bool is_created) {
  const std::size_t end = path.rfind('/');
  if (end == std::string_view::npos) return root_.get();
  const std::string wanted(path.substr(0, end));
  if (opened_ != nullptr && opened_path_ == wanted) return opened_.get();
  std::unique_ptr<Folder> folder;
  std::string_view rest = wanted;
  for (;;) {
    const Folder& parent = folder != nullptr ? *folder : *root_;
    const std::size_t slash = rest.find('/');
    const std::string_view name = rest.substr(0, slash);
    if (is_created) {
      if (auto made = parent.create_folder(name); !made) return tl::unexpected(made.error());
    }
    Result<std::unique_ptr<Folder>> next = parent.open_folder(name);
    if (!next) return tl::unexpected(next.error());
    folder = std::move(*next);
    if (slash == std::string_view::npos) break;
    rest.remove_prefix(slash + 1);
  }
  opened_path_ = wanted;
  opened_ = std::move(folder);
  return opened_.get();
}

bool TreeFolder::has(const std::string& path, const framework::Sha256Digest& digest) {
  const auto folder = folder_of(path, false);
  if (!folder || (*folder)->kind_of(name_of(path)) != EntryKind::file) return false;
  const framework::OpenedStream file = (*folder)->open_file(name_of(path));
  framework::Sha256 hash;
  return file && framework::hash_stream(**file, hash) && hash.finish() == digest;
}

std::string TreeFolder::read(const std::string& path, std::uint64_t limit) {
  const auto folder = folder_of(path, false);
  if (!folder) return {};
  return (*folder)->read_file(name_of(path), limit).value_or("");
}

Result<void> TreeFolder::write(const std::string& path, std::string_view bytes) {
  const auto folder = folder_of(path, true);
  if (!folder) return tl::unexpected(folder.error());
  const std::string name = unfinished(name_of(path));
  if (const auto written = (*folder)->write_file(name, bytes); !written) {
    return tl::unexpected(written.error().cause);
  }
  return (*folder)->rename_file(name, name_of(path));
}

Result<void> TreeFolder::copy(const std::string& path, framework::IOImpl_base& source,
                              const framework::Sha256Digest& digest) {
  const auto folder = folder_of(path, true);
  if (!folder) return tl::unexpected(folder.error());
  const std::string name = unfinished(name_of(path));
  const framework::OpenedStream file = (*folder)->create_file(name);
  if (!file) return tl::unexpected(file.error());
  framework::Sha256 hash;
  const bool is_complete = copy_.run(source, **file, hash);
  (*file)->close();
  framework::IoError error = source.error() ? source.error() : (*file)->error();
  if (!error && is_complete && hash.finish() != digest) {
    error.text = framework::path_to_utf8((*folder)->path() /
                                         framework::path_from_utf8(std::string(name_of(path)))) +
                 ": what arrives has not the digest that the list gives";
  }
  if (!error && !is_complete) error.text = path + ": not copied to its end";
  if (!error) return (*folder)->rename_file(name, name_of(path));
  static_cast<void>((*folder)->remove_file(name));
  return tl::unexpected(std::move(error));
}

Result<void> TreeFolder::remove(const std::string& path) {
  const auto folder = folder_of(path, false);
  if (!folder || (*folder)->kind_of(name_of(path)) == EntryKind::absent) return {};
  return (*folder)->remove_file(name_of(path));
}

}  // namespace zendro::store
