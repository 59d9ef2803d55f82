#include "pkg/local/unpacking.h"

#include <algorithm>

#include "framework/io/hashed_copy.h"
#include "framework/url/memory_stream.h"
#include "pkg/local/names.h"

namespace zendro::pkg::local {
namespace {

using framework::IoError;
using framework::IOImpl_base;
using framework::Result;
using framework::Sha256;

// An archive inside an archive is unpacked into memory, as its directory stands at its end.
constexpr std::uint64_t kMostInMemory = 256u << 20;
constexpr std::string_view kFirstEntry = "PK\3\4";
constexpr std::string_view kNoEntry = "PK\5\6";

tl::unexpected<IoError> refused(std::string_view path, std::string_view cause) {
  return tl::unexpected(IoError{std::string(path) + ": " + std::string(cause)});
}

// Whether a path in an archive says that it is a taxonomy package: in its only top level folder
// stands this file.
bool tells_taxonomy_package(std::string_view path) {
  constexpr std::string_view kFile = "/META-INF/taxonomyPackage.xml";
  return path.ends_with(kFile) && levels_of(path) == 3;
}

// The first bytes of a stream, which is at its beginning again.
Result<std::string> peek(IOImpl_base& stream) {
  std::string bytes(kFirstEntry.size(), '\0');
  std::size_t size = 0;
  while (size < bytes.size()) {
    const std::int64_t count = stream.read(bytes.data() + size, bytes.size() - size);
    if (count < 0) return tl::unexpected(stream.error());
    if (count == 0) break;
    size += static_cast<std::size_t>(count);
  }
  bytes.resize(size);
  if (stream.seek(0, framework::SeekOrigin::begin) == 0) return bytes;
  return tl::unexpected(stream.error());
}

}  // namespace

unpacker::unpacker(unpack_target& files, const std::set<std::string>& marked,
                   const limits_t& limits)
    : files_(files),
      marked_(marked),
      limits_(limits),
      left_(limits.bytes),
      block_(framework::kIoBlock) {}

Result<void> unpacker::add_member(const stream_t& stream, std::string_view path,
                                  const framework::Sha256Digest& digest) {
  is_taxonomy_package_ = false;
  const std::string place(path);
  const Result<std::string> beginning = peek(*stream);
  if (!beginning) return tl::unexpected(beginning.error());
  const bool has_archive = is_archive(place, *beginning);
  if (Result<void> noted = note(place, !has_archive); !noted) return noted;
  Sha256 hash;
  if (has_archive) {
    if (!framework::hash_stream(*stream, hash) ||
        stream->seek(0, framework::SeekOrigin::begin) != 0) {
      return tl::unexpected(stream->error());
    }
  } else if (Result<void> written = write_file(*stream, place, &hash); !written) {
    return written;
  }
  if (hash.finish() != digest) return refused(path, "has not the digest of its package");
  if (!has_archive) return {};
  return unpack(stream, {place, place + "%7Czip"}, 1);
}

bool unpacker::is_archive(std::string_view path, std::string_view beginning) const {
  return (beginning == kFirstEntry || beginning == kNoEntry) &&
         (has_archive_name(path) || marked_.contains(std::string(path)));
}

Result<void> unpacker::unpack(stream_t stream, const unpacked_t& place, int depth) {
  if (depth > limits_.archives) {
    return refused(place.path,
                   "more than " + std::to_string(limits_.archives) + " archives inside each other");
  }
  const auto archive = framework::ZipArchive::open(std::move(stream), place.path);
  if (!archive) return tl::unexpected(archive.error());
  if (Result<void> made = files_.add_folder(place.path); !made) return made;
  archives_.push_back(place);
  const std::vector<framework::ArchiveEntry> entries = (*archive)->entries();
  for (std::size_t at = 0; at < entries.size(); ++at) {
    std::string_view name = entries[at].name;
    const bool is_folder = name.ends_with('/');
    if (is_folder) name.remove_suffix(1);
    const std::string path = place.path + "/" + std::string(name);
    if (entries[at].is_special) return refused(path, "is a link or the like");
    if (is_folder) {
      if (Result<void> noted = note(path, false); !noted) return noted;
      if (Result<void> made = files_.add_folder(path); !made) return made;
      continue;
    }
    const framework::OpenedStream member = (*archive)->open_entry(at);
    if (!member) return tl::unexpected(member.error());
    if (depth == 1 && tells_taxonomy_package(name)) is_taxonomy_package_ = true;
    Result<void> added;
    if (has_archive_name(path) || marked_.contains(path)) {
      const std::string url_path = place.url_path + "/" + std::string(name);
      added = unpack_nested(**member, {path, url_path + "%7Czip"}, depth + 1);
    } else {
      added = note(path, true).and_then([&] { return write_file(**member, path, nullptr); });
    }
    if (!added) return added;
  }
  return {};
}

// What has an archive's name may be none.
Result<void> unpacker::unpack_nested(IOImpl_base& stream, const unpacked_t& place, int depth) {
  const std::uint64_t most = std::min(left_, kMostInMemory);
  Result<std::string> read = framework::read_all(stream, framework::kIoBlock, most, place.path);
  if (!read) return tl::unexpected(read.error());
  const auto bytes = std::make_shared<const std::string>(std::move(*read));
  const bool has_archive = is_archive(place.path, std::string_view(*bytes).substr(0, 4));
  const stream_t memory = framework::make_memory_stream(bytes, place.path);
  if (Result<void> noted = note(place.path, !has_archive); !noted) return noted;
  if (!has_archive) return write_file(*memory, place.path, nullptr);
  return count(bytes->size(), place.path).and_then([&] { return unpack(memory, place, depth); });
}

Result<void> unpacker::write_file(IOImpl_base& stream, const std::string& path, Sha256* digest) {
  const framework::OpenedStream file = files_.add_file(path);
  if (!file) return tl::unexpected(file.error());
  std::int64_t size = 0;
  while ((size = stream.read(block_.data(), block_.size())) > 0) {
    const auto bytes = static_cast<std::size_t>(size);
    if (Result<void> counted = count(bytes, path); !counted) return counted;
    if (digest != nullptr) digest->update(block_.data(), bytes);
    if ((*file)->write(block_.data(), bytes) < 0) break;
  }
  (*file)->close();
  if (stream.error()) return tl::unexpected(stream.error());
  if ((*file)->error()) return tl::unexpected((*file)->error());
  return {};
}

// Notes a file or folder that is about to be made.
Result<void> unpacker::note(const std::string& path, bool is_file) {
  if (!is_plain_path(path)) return refused(path, "is no path that can be made");
  if (levels_of(path) > limits_.levels) {
    return refused(path, "is deeper than " + std::to_string(limits_.levels) + " levels");
  }
  const auto noted = is_file ? contents_.add_file(path) : contents_.add_folder(path);
  if (!noted) return refused(path, noted.error());
  if (contents_.size() <= limits_.entries) return {};
  return refused(path, "more than " + std::to_string(limits_.entries) + " files and folders");
}

Result<void> unpacker::count(std::uint64_t bytes, std::string_view path) {
  if (bytes > left_) {
    return refused(path, "more than " + std::to_string(limits_.bytes) + " bytes in all");
  }
  left_ -= bytes;
  return {};
}

}  // namespace zendro::pkg::local
