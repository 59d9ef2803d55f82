// Copying the members of a package to a folder or the like, archives as folders.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "framework/io/digest.h"
#include "framework/io/io.h"
#include "framework/url/zip.h"
#include "pkg/local/contents.h"
#include "pkg/local/unpack_target.h"

namespace zendro::pkg::local {

/// What a package may unpack to at most.
struct limits_t {
  std::uint64_t bytes = 1u << 30;  ///< archives inside archives counted like what they hold
  std::size_t entries = 100'000;   ///< files and folders
  int archives = 4;                ///< inside each other
  int levels = 64;                 ///< components of a path
};

/// An archive that is a folder now.
struct unpacked_t {
  std::string path;      ///< of the folder
  std::string url_path;  ///< the same with each archive of it marked: "x.zip%7Czip"
};

/// Fills one target. Archives come from outside: their names are plain ones (is_plain_path), links
/// and the like are refused, each file is made anew, no link is followed, and sizes are counted
/// while bytes arrive. After a failure nothing more is added; what was made stays.
class unpacker {
 public:
  /// `marked` are the paths of files that are archives whatever they are called. Both outlive it.
  unpacker(unpack_target& files, const std::set<std::string>& marked, const limits_t& limits = {});

  /// Adds the member that `stream` reads from its beginning. Fails where it or something in it
  /// is refused or cannot be written, and where it has not the digest: of an archive that is found
  /// out before it is unpacked.
  framework::Result<void> add_member(const std::shared_ptr<framework::IOImpl_base>& stream,
                                     std::string_view path, const framework::Sha256Digest& digest);

  [[nodiscard]] const contents_t& contents() const { return contents_; }
  [[nodiscard]] const std::vector<unpacked_t>& archives() const { return archives_; }
  /// Whether the last member that was added is a taxonomy package (XBRL Taxonomy Packages 1.0).
  [[nodiscard]] bool is_taxonomy_package() const { return is_taxonomy_package_; }

 private:
  using stream_t = std::shared_ptr<framework::IOImpl_base>;

  [[nodiscard]] bool is_archive(std::string_view path, std::string_view beginning) const;
  framework::Result<void> unpack(stream_t archive, const unpacked_t& place, int depth);
  framework::Result<void> unpack_nested(framework::IOImpl_base& stream, const unpacked_t& place,
                                        int depth);
  framework::Result<void> write_file(framework::IOImpl_base& stream, const std::string& path,
                                     framework::Sha256* digest);
  framework::Result<void> note(const std::string& path, bool is_file);
  framework::Result<void> count(std::uint64_t bytes, std::string_view path);

  unpack_target& files_;
  const std::set<std::string>& marked_;
  limits_t limits_;
  std::uint64_t left_;
  contents_t contents_;
  std::vector<unpacked_t> archives_;
  bool is_taxonomy_package_ = false;
  std::vector<char> block_;
};

}  // namespace zendro::pkg::local
