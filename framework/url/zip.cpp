#include "framework/url/zip.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <exception>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include <zip.h>

#include "framework/io/stream_base.h"
#include "framework/text/percent.h"
#include "framework/url/url_io.h"

namespace zendro::framework {
namespace {

/// Members that an archive may have, as many as without the zip64 extension: libzip's table of
/// names takes quadratic time for names that were made to collide in it.
constexpr int kMaxMembers = 65535;
constexpr std::string_view kDirectoryEntry = "PK\1\2";

/// Which bytes of an archive belong to which member, as far as they have been read.
class MemberBytes {
 public:
  /// Notes bytes that are read for a member; false when one of them belongs to another.
  bool take(zip_uint64_t member, std::int64_t begin, std::int64_t end) {
    if (begin >= end) return true;
    auto range = ranges_.upper_bound(begin);
    if (range != ranges_.begin() && std::prev(range)->second.end >= begin) --range;
    for (auto other = range; other != ranges_.end() && other->first < end; ++other) {
      if (other->second.member != member && other->second.end > begin) return false;
    }
    // What touches other bytes of the member becomes one range with them.
    while (range != ranges_.end() && range->first <= end) {
      if (range->second.member != member) {
        ++range;
        continue;
      }
      begin = std::min(begin, range->first);
      end = std::max(end, range->second.end);
      range = ranges_.erase(range);
    }
    ranges_[begin] = {end, member};
    return true;
  }

 private:
  struct Range {
    std::int64_t end;
    zip_uint64_t member;
  };
  std::map<std::int64_t, Range> ranges_;  ///< by their first byte
};

/// The bytes of an archive as libzip wants them: a callback over one of our streams.
class ArchiveSource {
 public:
  explicit ArchiveSource(std::shared_ptr<IOImpl_base> stream) : stream_(std::move(stream)) {
    zip_error_init(&error_);
  }
  ~ArchiveSource() { zip_error_fini(&error_); }
  ArchiveSource(const ArchiveSource&) = delete;
  ArchiveSource& operator=(const ArchiveSource&) = delete;

  /// Tells that libzip has read the directory; whether it came upon too many members there.
  bool finish_directory() {
    in_directory_ = false;
    return members_ > kMaxMembers;
  }

  /// What is read from now on is read for this member.
  void serve(zip_uint64_t member) {
    member_ = member;
    overlapping_ = false;
  }
  /// Whether it shares bytes with another one.
  [[nodiscard]] bool is_overlapping() const { return overlapping_; }

  /// The callback; `state` is an ArchiveSource, which the command ZIP_SOURCE_FREE deletes.
  static zip_int64_t call(void* state, void* data, zip_uint64_t length, zip_source_cmd_t command) {
    auto* source = static_cast<ArchiveSource*>(state);
    if (command == ZIP_SOURCE_FREE) {
      delete source;
      return 0;
    }
    try {
      return source->run(data, length, command);
    } catch (const std::exception&) {  // libzip is C: nothing may be thrown through it
      zip_error_set(&source->error_, ZIP_ER_READ, EIO);
      return -1;
    }
  }

 private:
  zip_int64_t run(void* data, zip_uint64_t length, zip_source_cmd_t command) {
    switch (command) {
      case ZIP_SOURCE_SUPPORTS:
        return zip_source_make_command_bitmap(ZIP_SOURCE_OPEN, ZIP_SOURCE_READ, ZIP_SOURCE_CLOSE,
                                              ZIP_SOURCE_STAT, ZIP_SOURCE_ERROR, ZIP_SOURCE_FREE,
                                              ZIP_SOURCE_SEEK, ZIP_SOURCE_TELL, -1);
      case ZIP_SOURCE_OPEN:
        size_ = stream_->seekable() ? stream_->seek(0, SeekOrigin::end) : -1;
        return size_ < 0 ? failed(ZIP_ER_SEEK) : move_to(0);
      case ZIP_SOURCE_CLOSE:
        return 0;
      case ZIP_SOURCE_STAT:
        return describe(data, length);
      case ZIP_SOURCE_ERROR:
        return zip_error_to_data(&error_, data, length);
      case ZIP_SOURCE_TELL:
        return position_;
      case ZIP_SOURCE_SEEK: {
        const zip_int64_t target =
            zip_source_seek_compute_offset(static_cast<zip_uint64_t>(position_),
                                           static_cast<zip_uint64_t>(size_), data, length, &error_);
        // Members ask for the position before every block, mostly for the present one.
        return target < 0 || target == position_ ? std::min<zip_int64_t>(target, 0)
                                                 : move_to(target);
      }
      case ZIP_SOURCE_READ: {
        const std::int64_t count = stream_->read(data, static_cast<std::size_t>(length));
        if (count < 0) return failed(ZIP_ER_READ);
        position_ += count;
        if (member_ && !bytes_.take(*member_, position_ - count, position_)) {
          overlapping_ = true;
          return failed(ZIP_ER_INCONS);
        }
        // A directory that is too long for libzip's buffer is read entry by entry.
        if (in_directory_ &&
            std::string_view(static_cast<const char*>(data), static_cast<std::size_t>(count))
                .starts_with(kDirectoryEntry) &&
            ++members_ > kMaxMembers) {
          return failed(ZIP_ER_READ);
        }
        return count;
      }
      default:
        zip_error_set(&error_, ZIP_ER_OPNOTSUPP, 0);
        return -1;
    }
  }

  zip_int64_t failed(int code) {
    zip_error_set(&error_, code, EIO);
    return -1;
  }

  zip_int64_t move_to(std::int64_t target) {
    if (stream_->seek(target, SeekOrigin::begin) != target) return failed(ZIP_ER_SEEK);
    position_ = target;
    return 0;
  }

  zip_int64_t describe(void* data, zip_uint64_t length) {
    auto* status = ZIP_SOURCE_GET_ARGS(zip_stat_t, data, length, &error_);
    if (status == nullptr) return -1;
    zip_stat_init(status);
    // libzip also asks before it opens the source.
    if (size_ >= 0) {
      status->size = static_cast<zip_uint64_t>(size_);
      status->valid = ZIP_STAT_SIZE;
    }
    return sizeof(zip_stat_t);
  }

  std::shared_ptr<IOImpl_base> stream_;
  std::int64_t size_ = -1;
  std::int64_t position_ = 0;
  bool in_directory_ = true;
  int members_ = 0;  ///< met in the directory
  std::optional<zip_uint64_t> member_;
  MemberBytes bytes_;
  bool overlapping_ = false;
  zip_error_t error_;
};

/// A libzip archive with the stream that it reads.
struct OpenArchive {
  struct Discard {
    void operator()(zip_t* archive) const { zip_discard(archive); }
  };

  /// The text for a failure of libzip: where the stream below failed, its cause says more.
  [[nodiscard]] std::string cause(const char* zip_text) const {
    if (source != nullptr && source->is_overlapping()) return "shares bytes with another member";
    return stream->error() ? stream->error().text : std::string(zip_text);
  }

  std::string label;
  std::shared_ptr<IOImpl_base> stream;
  ArchiveSource* source = nullptr;  ///< belongs to `zip`
  std::unique_ptr<zip_t, Discard> zip;
};

class ZipMemberStream : public StreamBase {
 public:
  ZipMemberStream(std::shared_ptr<OpenArchive> archive, zip_uint64_t index, std::int64_t size,
                  std::string label)
      : StreamBase(std::move(label)), archive_(std::move(archive)), index_(index), size_(size) {}

  /// Starts unpacking from the beginning.
  bool restart() {
    position_ = 0;
    archive_->source->serve(index_);
    file_.reset(zip_fopen_index(archive_->zip.get(), index_, 0));
    if (!file_) fail(archive_->cause(zip_strerror(archive_->zip.get())));
    return file_ != nullptr;
  }

  void close() override {
    file_.reset();
    closed_ = true;
  }

  std::int64_t read(void* buffer, std::size_t size) override {
    if (!file_) return fail(closed_ ? "is closed" : "cannot be read any further");
    archive_->source->serve(index_);
    const zip_int64_t count = zip_fread(file_.get(), buffer, size);
    if (count < 0) return fail(archive_->cause(zip_file_strerror(file_.get())));
    position_ += count;
    if (count == 0 ? position_ != size_ : position_ > size_) {
      return fail("has another size than its archive claims");
    }
    return count;
  }

  std::int64_t seek(std::int64_t offset, SeekOrigin origin) override {
    if (closed_) return fail("is closed");
    const auto target = seek_target(offset, origin, position_, size_);
    if (!target) return -1;
    if (*target < position_ && !restart()) return -1;
    std::array<char, 16384> skipped;
    while (position_ < *target) {
      const auto left = static_cast<std::uint64_t>(*target - position_);
      const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(left, skipped.size()));
      if (read(skipped.data(), size) < 0) return -1;
    }
    return position_;
  }

  [[nodiscard]] std::int64_t size() override { return closed_ ? -1 : size_; }
  [[nodiscard]] bool seekable() override { return !closed_; }

 private:
  struct Close {
    void operator()(zip_file_t* file) const { zip_fclose(file); }
  };

  std::shared_ptr<OpenArchive> archive_;
  std::unique_ptr<zip_file_t, Close> file_;
  zip_uint64_t index_;
  std::int64_t size_;
  std::int64_t position_ = 0;
  bool closed_ = false;
};

std::optional<zip_uint64_t> locate(zip_t* zip, const std::string& name) {
  // libzip would take the part before a NUL for the whole name.
  if (name.find('\0') != std::string::npos) return std::nullopt;
  const zip_int64_t index = zip_name_locate(zip, name.c_str(), 0);
  if (index < 0) return std::nullopt;
  return static_cast<zip_uint64_t>(index);
}

// Whether the attributes of a member are those of neither a file nor a folder.
bool is_special(zip_t* zip, zip_uint64_t index) {
  constexpr zip_uint32_t kReparsePoint = 0x400;  // of Windows
  constexpr zip_uint32_t kTypeMask = 0170000;    // of Unix, in the upper half
  constexpr zip_uint32_t kFile = 0100000;
  constexpr zip_uint32_t kFolder = 0040000;
  zip_uint8_t system = 0;
  zip_uint32_t attributes = 0;
  if (zip_file_get_external_attributes(zip, index, 0, &system, &attributes) != 0) return true;
  const zip_uint32_t type = attributes >> 16 & kTypeMask;
  return (type != 0 && type != kFile && type != kFolder) || (attributes & kReparsePoint) != 0;
}

class LibzipArchive : public ZipArchive {
 public:
  explicit LibzipArchive(std::shared_ptr<OpenArchive> archive) : archive_(std::move(archive)) {}

  OpenedStream open_member(std::string_view name) override {
    zip_t* const zip = archive_->zip.get();
    auto index = locate(zip, std::string(name));
    if (!index) index = locate(zip, percent_decode(name));
    if (index) return open_at(*index, name);
    return tl::unexpected(IoError{label_of(name) + ": the archive holds no such member"});
  }

  [[nodiscard]] std::vector<ArchiveEntry> entries() const override {
    zip_t* const zip = archive_->zip.get();
    const auto count =
        static_cast<zip_uint64_t>(std::max<zip_int64_t>(zip_get_num_entries(zip, 0), 0));
    std::vector<ArchiveEntry> entries(count);
    for (zip_uint64_t index = 0; index < count; ++index) {
      const char* const name = zip_get_name(zip, index, 0);
      // Without a name it is nothing that could be unpacked.
      entries[index] = {name == nullptr ? "" : name, is_special(zip, index)};
    }
    return entries;
  }

  OpenedStream open_entry(std::size_t place) override {
    const char* const name = zip_get_name(archive_->zip.get(), place, 0);
    return open_at(place, name == nullptr ? "" : name);
  }

 private:
  [[nodiscard]] std::string label_of(std::string_view name) const {
    std::string label = archive_->label;
    label += kZipSeparator;
    label += name;
    return label;
  }

  OpenedStream open_at(zip_uint64_t index, std::string_view name) {
    const std::string label = label_of(name);
    const auto fail = [&label](const std::string& cause) {
      return tl::unexpected(IoError{label + ": " + cause});
    };
    zip_t* const zip = archive_->zip.get();
    zip_stat_t status;
    zip_stat_init(&status);
    const char* const stored_name = zip_get_name(zip, index, 0);
    if (stored_name == nullptr || zip_stat_index(zip, index, 0, &status) != 0) {
      return fail(zip_strerror(zip));
    }
    if (std::string_view(stored_name).ends_with('/')) return fail("is a folder of the archive");
    if ((status.valid & ZIP_STAT_ENCRYPTION_METHOD) != 0 &&
        status.encryption_method != ZIP_EM_NONE) {
      return fail("is encrypted");
    }
    if ((status.valid & ZIP_STAT_COMP_METHOD) != 0 && status.comp_method != ZIP_CM_STORE &&
        status.comp_method != ZIP_CM_DEFLATE) {
      return fail("is compressed in a way that is not supported");
    }
    if ((status.valid & ZIP_STAT_SIZE) == 0 || status.size > INT64_MAX) {
      return fail("has no possible size");
    }
    const auto size = static_cast<std::int64_t>(status.size);
    auto member = std::make_shared<ZipMemberStream>(archive_, index, size, label);
    if (member->restart()) return member;
    return tl::unexpected(member->error());
  }

  std::shared_ptr<OpenArchive> archive_;
};

}  // namespace

Result<std::unique_ptr<ZipArchive>> ZipArchive::open(std::shared_ptr<IOImpl_base> stream,
                                                     std::string_view label) {
  auto archive = std::make_shared<OpenArchive>();
  archive->label = label;
  archive->stream = stream;
  if (!stream->seekable()) {
    return tl::unexpected(
        IoError{archive->label + ": an archive can be read only from a stream with positions"});
  }

  auto state = std::make_unique<ArchiveSource>(std::move(stream));
  zip_error_t zip_error;
  zip_error_init(&zip_error);
  zip_source_t* const source =
      zip_source_function_create(&ArchiveSource::call, state.get(), &zip_error);
  bool too_many = false;
  if (source != nullptr) {
    ArchiveSource* const reader = state.release();  // belongs to the source now
    archive->zip.reset(zip_open_from_source(source, ZIP_RDONLY, &zip_error));
    too_many = reader->finish_directory();
    if (archive->zip) {
      archive->source = reader;
    } else {
      zip_source_free(source);
    }
  }
  if (!archive->zip) {
    IoError error{archive->label + ": " +
                  (too_many ? "has more than " + std::to_string(kMaxMembers) + " members"
                            : archive->cause(zip_error_strerror(&zip_error)))};
    zip_error_fini(&zip_error);
    return tl::unexpected(std::move(error));
  }
  zip_error_fini(&zip_error);
  return std::make_unique<LibzipArchive>(std::move(archive));
}

OpenedStream open_zip_member(std::shared_ptr<IOImpl_base> archive, std::string_view name,
                             std::string_view label) {
  return ZipArchive::open(std::move(archive), label)
      .and_then(
          [name](const std::unique_ptr<ZipArchive>& opened) { return opened->open_member(name); });
}

}  // namespace zendro::framework
