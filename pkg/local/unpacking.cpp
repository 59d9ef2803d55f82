#include "pkg/local/unpacking.h"

#include <algorithm>

#include "framework/io/hashed_copy.h"
#include "framework/url/memory_stream.h"
#include "pkg/local/names.h"

namespace zendro::pkg::local {
namespace {

using framework::Folder;
using framework::IoError;
using framework::IOImpl_base;
using framework::Sha256;

// An archive inside an archive is unpacked into memory, as its directory stands at its end.
constexpr std::uint64_t kMostInMemory = 256u << 20;
constexpr std::string_view kFirstEntry = "PK\3\4";
constexpr std::string_view kNoEntry = "PK\5\6";

bool fail(std::string_view path, std::string_view cause, IoError& error) {
  error.text = std::string(path) + ": " + std::string(cause);
  return false;
}

// Whether a path in an archive says that it is a taxonomy package: in its only top level folder
// stands this file.
bool tells_taxonomy_package(std::string_view path) {
  constexpr std::string_view kFile = "/META-INF/taxonomyPackage.xml";
  return path.ends_with(kFile) && levels_of(path) == 3;
}

// The first bytes of a stream, which is at its beginning again.
bool peek(IOImpl_base& stream, std::string& bytes, IoError& error) {
  bytes.resize(kFirstEntry.size());
  std::size_t size = 0;
  while (size < bytes.size()) {
    const std::int64_t count = stream.read(bytes.data() + size, bytes.size() - size);
    if (count < 0) error = stream.error();
    if (count < 0) return false;
    if (count == 0) break;
    size += static_cast<std::size_t>(count);
  }
  bytes.resize(size);
  if (stream.seek(0, framework::SeekOrigin::begin) == 0) return true;
  error = stream.error();
  return false;
}

}  // namespace

unpacker::unpacker(const Folder& files, const std::set<std::string>& marked, const limits_t& limits)
    : files_(files),
      marked_(marked),
      limits_(limits),
      left_(limits.bytes),
      block_(framework::kIoBlock) {}

bool unpacker::add_member(const stream_t& stream, std::string_view path,
                          const framework::Sha256Digest& digest, IoError& error) {
  is_taxonomy_package_ = false;
  const std::string place(path);
  std::string beginning;
  if (!peek(*stream, beginning, error)) return false;
  const bool has_archive = is_archive(place, beginning);
  if (!note(place, !has_archive, error)) return false;
  Sha256 hash;
  if (has_archive) {
    if (!framework::hash_stream(*stream, hash) ||
        stream->seek(0, framework::SeekOrigin::begin) != 0) {
      error = stream->error();
      return false;
    }
  } else if (!write_file(*stream, place, &hash, error)) {
    return false;
  }
  if (hash.finish() != digest) return fail(path, "has not the digest of its package", error);
  return !has_archive || unpack(stream, {place, place + "%7Czip"}, 1, error);
}

bool unpacker::is_archive(std::string_view path, std::string_view beginning) const {
  return (beginning == kFirstEntry || beginning == kNoEntry) &&
         (has_archive_name(path) || marked_.contains(std::string(path)));
}

bool unpacker::unpack(stream_t stream, const unpacked_t& place, int depth, IoError& error) {
  if (depth > limits_.archives) {
    return fail(place.path,
                "more than " + std::to_string(limits_.archives) + " archives inside each other",
                error);
  }
  const auto archive = framework::ZipArchive::open(std::move(stream), place.path, error);
  if (!archive || folder_of(place.path + "/", error) == nullptr) return false;
  archives_.push_back(place);
  const std::vector<framework::ArchiveEntry> entries = archive->entries();
  for (std::size_t at = 0; at < entries.size(); ++at) {
    std::string_view name = entries[at].name;
    const bool is_folder = name.ends_with('/');
    if (is_folder) name.remove_suffix(1);
    const std::string path = place.path + "/" + std::string(name);
    if (entries[at].is_special) return fail(path, "is a link or the like", error);
    if (is_folder) {
      if (!note(path, false, error) || folder_of(path + "/", error) == nullptr) return false;
      continue;
    }
    const auto member = archive->open_entry(at, error);
    if (!member) return false;
    if (depth == 1 && tells_taxonomy_package(name)) is_taxonomy_package_ = true;
    if (has_archive_name(path) || marked_.contains(path)) {
      const std::string url_path = place.url_path + "/" + std::string(name);
      if (!unpack_nested(*member, {path, url_path + "%7Czip"}, depth + 1, error)) return false;
    } else if (!note(path, true, error) || !write_file(*member, path, nullptr, error)) {
      return false;
    }
  }
  return true;
}

// What has an archive's name may be none.
bool unpacker::unpack_nested(IOImpl_base& stream, const unpacked_t& place, int depth,
                             IoError& error) {
  auto bytes = std::make_shared<std::string>();
  const std::uint64_t most = std::min(left_, kMostInMemory);
  if (!framework::read_all(stream, *bytes, framework::kIoBlock, most, error, place.path)) {
    return false;
  }
  const bool has_archive = is_archive(place.path, std::string_view(*bytes).substr(0, 4));
  const stream_t memory = framework::make_memory_stream(bytes, place.path);
  if (!note(place.path, !has_archive, error)) return false;
  if (!has_archive) return write_file(*memory, place.path, nullptr, error);
  return count(bytes->size(), place.path, error) && unpack(memory, place, depth, error);
}

bool unpacker::write_file(IOImpl_base& stream, const std::string& path, Sha256* digest,
                          IoError& error) {
  const Folder* folder = folder_of(path, error);
  if (folder == nullptr) return false;
  const auto file = folder->create_new_file(path.substr(path.rfind('/') + 1), error);
  if (!file) return false;
  std::int64_t size = 0;
  while ((size = stream.read(block_.data(), block_.size())) > 0) {
    const auto bytes = static_cast<std::size_t>(size);
    if (!count(bytes, path, error)) return false;
    if (digest != nullptr) digest->update(block_.data(), bytes);
    if (file->write(block_.data(), bytes) < 0) break;
  }
  file->close();
  error = stream.error() ? stream.error() : file->error();
  return size == 0 && !error;
}

// Notes a file or folder that is about to be made.
bool unpacker::note(const std::string& path, bool is_file, IoError& error) {
  if (!is_plain_path(path)) return fail(path, "is no path that can be made", error);
  if (levels_of(path) > limits_.levels) {
    return fail(path, "is deeper than " + std::to_string(limits_.levels) + " levels", error);
  }
  std::string cause;
  const bool is_noted =
      is_file ? contents_.add_file(path, cause) : contents_.add_folder(path, cause);
  if (!is_noted) return fail(path, cause, error);
  if (contents_.size() <= limits_.entries) return true;
  return fail(path, "more than " + std::to_string(limits_.entries) + " files and folders", error);
}

// The folder of a path, made where it is missing.
const Folder* unpacker::folder_of(std::string_view path, IoError& error) {
  const Folder* folder = &files_;
  std::size_t level = 0;
  for (std::size_t slash = 0; (slash = path.find('/')) != std::string_view::npos; ++level) {
    const std::string_view name = path.substr(0, slash);
    path.remove_prefix(slash + 1);
    if (level == open_.size() || open_[level].first != name) {
      open_.resize(level);
      if (!folder->create_folder(name, error)) return nullptr;
      auto inner = folder->open_folder(name, error);
      if (!inner) return nullptr;
      open_.emplace_back(name, std::move(inner));
    }
    folder = open_[level].second.get();
  }
  open_.resize(level);
  return folder;
}

bool unpacker::count(std::uint64_t bytes, std::string_view path, IoError& error) {
  if (bytes > left_) {
    return fail(path, "more than " + std::to_string(limits_.bytes) + " bytes in all", error);
  }
  left_ -= bytes;
  return true;
}

}  // namespace zendro::pkg::local
