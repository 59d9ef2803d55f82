#include <algorithm>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "framework/descriptor_posix.h"
#include "framework/file_stream.h"
#include "framework/folder.h"
#include "framework/system_error.h"

namespace zendro::framework {

namespace fs = std::filesystem;

namespace {

constexpr int kOpenFolder = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

bool is_one_component(std::string_view name) {
  constexpr std::string_view kRefused("/\0", 2);
  return !name.empty() && name != "." && name != ".." &&
         name.find_first_of(kRefused) == std::string_view::npos;
}

EntryKind kind_of_mode(mode_t mode) {
  if (S_ISREG(mode)) return EntryKind::file;
  return S_ISDIR(mode) ? EntryKind::folder : EntryKind::other;
}

class PosixFolder : public Folder {
 public:
  PosixFolder(Descriptor folder, fs::path path)
      : folder_(std::move(folder)), path_(std::move(path)) {}

  [[nodiscard]] const fs::path& path() const override { return path_; }

  [[nodiscard]] EntryKind kind_of(std::string_view name) const override {
    // A name that cannot be looked up is not called absent: something may stand there.
    return is_one_component(name) ? kind_at(std::string(name)) : EntryKind::other;
  }

  bool list(std::vector<Entry>& out, IoError& error) const override {
    out.clear();
    // A descriptor of its own, so that the reading position is its own, too.
    Descriptor copy(retry_interrupted([this] { return openat(folder_.get(), ".", kOpenFolder); }));
    DIR* const opened = copy ? fdopendir(copy.get()) : nullptr;
    if (opened == nullptr) {
      error = system_error(path_.native(), errno);
      return false;
    }
    copy.release();
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(opened, closedir);
    for (;;) {
      errno = 0;
      const dirent* entry = readdir(entries.get());
      if (entry == nullptr) break;
      std::string name = entry->d_name;
      if (name == "." || name == "..") continue;
      EntryKind kind = EntryKind::other;
      if (entry->d_type == DT_REG) kind = EntryKind::file;
      if (entry->d_type == DT_DIR) kind = EntryKind::folder;
      if (entry->d_type == DT_UNKNOWN) kind = kind_at(name);
      if (kind != EntryKind::absent) out.push_back({std::move(name), kind});
    }
    if (errno != 0) {
      error = system_error(path_.native(), errno);
      return false;
    }
    std::sort(out.begin(), out.end(),
              [](const Entry& a, const Entry& b) { return a.name < b.name; });
    return true;
  }

  std::unique_ptr<Folder> open_folder(std::string_view name, IoError& error) const override {
    if (!accept(name, error)) return nullptr;
    const std::string entry(name);
    Descriptor folder(retry_interrupted(
        [&] { return openat(folder_.get(), entry.c_str(), kOpenFolder | O_NOFOLLOW); }));
    if (!folder) {
      error = system_error(label(name), errno);
      return nullptr;
    }
    return std::make_unique<PosixFolder>(std::move(folder), path_ / entry);
  }

  bool create_folder(std::string_view name, IoError& error) const override {
    if (!accept(name, error)) return false;
    const std::string entry(name);
    if (mkdirat(folder_.get(), entry.c_str(), 0777) == 0) return true;
    const int code = errno;
    if (code == EEXIST && kind_at(entry) == EntryKind::folder) return true;
    error = system_error(label(name), code);
    return false;
  }

  std::shared_ptr<IOImpl_base> open_file(std::string_view name, IoError& error) const override {
    if (!accept(name, error)) return nullptr;
    Descriptor file = open_entry(name, O_RDONLY, error);
    return file ? make_file_stream(SystemFile(file.release()), FileAccess::read, label(name))
                : nullptr;
  }

  std::shared_ptr<IOImpl_base> create_file(std::string_view name, IoError& error) const override {
    if (!accept(name, error)) return nullptr;
    Descriptor file = open_entry(name, O_WRONLY | O_CREAT, error);
    if (!file) return nullptr;
    struct stat status {};
    if (fstat(file.get(), &status) != 0) {
      error = system_error(label(name), errno);
      return nullptr;
    }
    if (status.st_nlink > 1) {
      if (!remove(name, 0, error)) return nullptr;
      file = open_entry(name, O_WRONLY | O_CREAT | O_EXCL, error);
      if (!file) return nullptr;
    } else if (retry_interrupted([&] { return ftruncate(file.get(), 0); }) != 0) {
      error = system_error(label(name), errno);
      return nullptr;
    }
    return make_file_stream(SystemFile(file.release()), FileAccess::write, label(name));
  }

  bool remove_file(std::string_view name, IoError& error) const override {
    return accept(name, error) && remove(name, 0, error);
  }

  bool remove_folder(std::string_view name, IoError& error) const override {
    return accept(name, error) && remove(name, AT_REMOVEDIR, error);
  }

 private:
  [[nodiscard]] std::string label(std::string_view name) const {
    return (path_ / std::string(name)).native();
  }

  bool accept(std::string_view name, IoError& error) const {
    if (is_one_component(name)) return true;
    error.text = path_.native() + ": '" + std::string(name) + "' is not the name of an entry";
    return false;
  }

  [[nodiscard]] EntryKind kind_at(const std::string& name) const {
    struct stat status {};
    if (fstatat(folder_.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) {
      return kind_of_mode(status.st_mode);
    }
    return errno == ENOENT || errno == ENAMETOOLONG ? EntryKind::absent : EntryKind::other;
  }

  Descriptor open_entry(std::string_view name, int flags, IoError& error) const {
    return open_regular(folder_.get(), std::string(name), flags | O_NOFOLLOW, label(name), error);
  }

  bool remove(std::string_view name, int flags, IoError& error) const {
    if (unlinkat(folder_.get(), std::string(name).c_str(), flags) == 0) return true;
    error = system_error(label(name), errno);
    return false;
  }

  Descriptor folder_;
  fs::path path_;
};

}  // namespace

std::unique_ptr<Folder> Folder::open(const fs::path& path, IoError& error) {
  // The constructor of a path keeps embedded NULs, which would shorten it here.
  Descriptor folder(path.native().find('\0') == std::string::npos
                        ? retry_interrupted([&] { return ::open(path.c_str(), kOpenFolder); })
                        : (errno = EINVAL, -1));
  if (!folder) {
    error = system_error(path.native(), errno);
    return nullptr;
  }
  return std::make_unique<PosixFolder>(std::move(folder), path);
}

}  // namespace zendro::framework
