#include <algorithm>
#include <ctime>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "framework/system/descriptor_posix.h"
#include "framework/system/folder.h"
#include "framework/system/system_error.h"

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

  [[nodiscard]] Result<std::vector<Entry>> list() const override {
    // A new descriptor has a reading position of its own; that of a duplicate is shared.
    Descriptor copy(retry_interrupted([this] { return openat(folder_.get(), ".", kOpenFolder); }));
    DIR* const opened = copy ? fdopendir(copy.get()) : nullptr;
    if (opened == nullptr) return tl::unexpected(system_error(path_.native(), errno));
    copy.release();
    const std::unique_ptr<DIR, int (*)(DIR*)> directory(opened, closedir);
    std::vector<Entry> entries;
    for (;;) {
      errno = 0;
      const dirent* entry = readdir(directory.get());
      if (entry == nullptr) break;
      std::string name = entry->d_name;
      if (name == "." || name == "..") continue;
      EntryKind kind = EntryKind::other;
      if (entry->d_type == DT_REG) kind = EntryKind::file;
      if (entry->d_type == DT_DIR) kind = EntryKind::folder;
      if (entry->d_type == DT_UNKNOWN) kind = kind_at(name);
      if (kind != EntryKind::absent) entries.push_back({std::move(name), kind});
    }
    if (errno != 0) return tl::unexpected(system_error(path_.native(), errno));
    std::sort(entries.begin(), entries.end(),
              [](const Entry& a, const Entry& b) { return a.name < b.name; });
    return entries;
  }

  [[nodiscard]] Result<std::unique_ptr<Folder>> open_folder(std::string_view name) const override {
    if (!is_one_component(name)) return tl::unexpected(no_entry(name));
    const std::string entry(name);
    Descriptor folder(retry_interrupted(
        [&] { return openat(folder_.get(), entry.c_str(), kOpenFolder | O_NOFOLLOW); }));
    if (!folder) return tl::unexpected(link_or(system_error(label(name), errno), entry));
    return std::make_unique<PosixFolder>(std::move(folder), path_ / entry);
  }

  [[nodiscard]] Result<void> create_folder(std::string_view name) const override {
    if (!is_one_component(name)) return tl::unexpected(no_entry(name));
    const std::string entry(name);
    if (mkdirat(folder_.get(), entry.c_str(), 0777) == 0) return {};
    const int code = errno;
    if (code == EEXIST && kind_at(entry) == EntryKind::folder) return {};
    return tl::unexpected(link_or(system_error(label(name), code), entry));
  }

  [[nodiscard]] Result<void> rename_file(std::string_view name,
                                         std::string_view new_name) const override {
    if (!is_one_component(name)) return tl::unexpected(no_entry(name));
    if (!is_one_component(new_name)) return tl::unexpected(no_entry(new_name));
    const std::string from(name);
    const std::string to(new_name);
    // A file does not replace a folder, but a folder takes every free name.
    const bool is_folder = kind_at(from) == EntryKind::folder;
    if (!is_folder && renameat(folder_.get(), from.c_str(), folder_.get(), to.c_str()) == 0) {
      return {};
    }
    return tl::unexpected(system_error(label(new_name), is_folder ? EISDIR : errno));
  }

  [[nodiscard]] Result<void> link_file(std::string_view name, const Folder& target,
                                       std::string_view new_name) const override {
    const auto* there = dynamic_cast<const PosixFolder*>(&target);
    if (there == nullptr) return tl::unexpected(system_error(label(name), EXDEV));
    if (!is_one_component(name)) return tl::unexpected(no_entry(name));
    if (!is_one_component(new_name)) return tl::unexpected(there->no_entry(new_name));
    const std::string from(name);
    const std::string to(new_name);
    if (linkat(folder_.get(), from.c_str(), there->folder_.get(), to.c_str(), 0) != 0) {
      return tl::unexpected(system_error(there->label(new_name), errno));
    }
    if (there->kind_at(to) == EntryKind::file) return {};
    // A link, or a pipe, has got a second name.
    unlinkat(there->folder_.get(), to.c_str(), 0);
    return tl::unexpected(IoError{label(name) + ": is not a file"});
  }

  [[nodiscard]] Result<void> remove_file(std::string_view name) const override {
    return remove(name, 0);
  }

  [[nodiscard]] Result<void> remove_folder(std::string_view name) const override {
    return remove(name, AT_REMOVEDIR);
  }

 private:
  [[nodiscard]] tl::expected<SystemFile, NotOpened> open_entry(std::string_view name,
                                                               OpenHow how) const override {
    if (!is_one_component(name)) return tl::unexpected(NotOpened{no_entry(name)});
    const std::string entry(name);
    const bool may_exist =
        how == OpenHow::write || how == OpenHow::append || how == OpenHow::read_write;
    if (may_exist) {
      // What is made here is known here alone.
      auto made = open_regular(folder_.get(), entry, how, O_NOFOLLOW | O_EXCL, label(name));
      if (made) return SystemFile(made->release());
    }
    auto file = open_regular(folder_.get(), entry, how, O_NOFOLLOW, label(name));
    if (!file) {
      struct stat here {};
      const bool is_foreign =
          look_at(entry, here) && kind_of_mode(here.st_mode) == EntryKind::other;
      return tl::unexpected(NotOpened{link_or(std::move(file.error()), entry), is_foreign});
    }
    if (!may_exist || is_known_here_alone(file->get(), entry)) return SystemFile(file->release());
    return tl::unexpected(
        NotOpened{{label(name) + ": is a file with another name elsewhere"}, true});
  }

  [[nodiscard]] std::vector<std::uint64_t> stamp_values(std::string_view name) const override {
    struct stat status {};
    if (!is_one_component(name) || !look_at(std::string(name), status)) return {};
    return {static_cast<std::uint64_t>(status.st_mtim.tv_sec),
            static_cast<std::uint64_t>(status.st_mtim.tv_nsec),
            static_cast<std::uint64_t>(status.st_size), static_cast<std::uint64_t>(status.st_ino)};
  }

  [[nodiscard]] IoError no_entry(std::string_view name) const {
    return {path_.native() + ": '" + std::string(name) + "' is not the name of an entry"};
  }

  bool look_at(const std::string& name, struct stat& status) const {
    return fstatat(folder_.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
  }

  [[nodiscard]] EntryKind kind_at(const std::string& name) const {
    struct stat status {};
    if (look_at(name, status)) return kind_of_mode(status.st_mode);
    return errno == ENOENT || errno == ENAMETOOLONG ? EntryKind::absent : EntryKind::other;
  }

  // Whether other users may add and remove names here.
  [[nodiscard]] bool is_shared() const {
    struct stat status {};
    return fstat(folder_.get(), &status) != 0 || status.st_uid != geteuid() ||
           (status.st_mode & (S_IWGRP | S_IWOTH)) != 0;
  }

  // Whether an open file is known under `name` and under no other. Somebody may add and remove
  // names between the calls below. That changes the status time of the file. So the answer counts
  // only where this time is the same before and after, and lies at least one tick of the clock
  // back: within one tick a change would not show. Where only this user may change names, the first
  // answer counts.
  [[nodiscard]] bool is_known_here_alone(int file, const std::string& name) const {
    constexpr int kAttempts = 500;
    const bool may_change = is_shared();
    const auto later = [](const timespec& a, const timespec& b) {
      return a.tv_sec != b.tv_sec ? a.tv_sec > b.tv_sec : a.tv_nsec > b.tv_nsec;
    };
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
      timespec now{};
      struct stat before {};
      struct stat here {};
      struct stat after {};
      clock_gettime(CLOCK_REALTIME_COARSE, &now);
      if (fstat(file, &before) != 0 || !look_at(name, here) || fstat(file, &after) != 0) {
        return false;
      }
      if (before.st_nlink > 1 || here.st_nlink > 1 || after.st_nlink > 1 ||
          here.st_ino != before.st_ino || here.st_dev != before.st_dev) {
        return false;
      }
      if (!may_change) return true;
      // Writing the file changes that time as well, as another manager may just do: try again.
      if (later(now, before.st_ctim) && !later(after.st_ctim, before.st_ctim)) return true;
      const timespec tick{0, 1'000'000};
      nanosleep(&tick, nullptr);
    }
    return false;
  }

  // The system's text for a link is hard to tell from that for other things.
  [[nodiscard]] IoError link_or(IoError error, const std::string& name) const {
    struct stat status {};
    const bool is_link = look_at(name, status) && S_ISLNK(status.st_mode);
    return is_link ? IoError{label(name) + ": is a link"} : std::move(error);
  }

  [[nodiscard]] Result<void> remove(std::string_view name, int flags) const {
    if (!is_one_component(name)) return tl::unexpected(no_entry(name));
    if (unlinkat(folder_.get(), std::string(name).c_str(), flags) == 0) return {};
    return tl::unexpected(system_error(label(name), errno));
  }

  Descriptor folder_;
  fs::path path_;
};

}  // namespace

Result<std::unique_ptr<Folder>> Folder::open(const fs::path& path) {
  // The constructor of a path keeps embedded NULs, which would shorten it here.
  Descriptor folder(path.native().find('\0') == std::string::npos
                        ? retry_interrupted([&] { return ::open(path.c_str(), kOpenFolder); })
                        : (errno = EINVAL, -1));
  if (!folder) return tl::unexpected(system_error(path.native(), errno));
  return std::make_unique<PosixFolder>(std::move(folder), path);
}

}  // namespace zendro::framework
