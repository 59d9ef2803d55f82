// The folder of files that a store is published from, and where things stand in it:
//
//   pkgs-available.json.zip            the list of packages
//   pkgs-available.json.zip.sha256     its digest, as sha256sum writes it
//   pkgs-available.json.zip.minisig    its signature, where it is signed
//   <type>/<identity>/<member>         as the list names them
//   api/<type>-manager/v1/bootstrap    says where the store is
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include <tl/expected.hpp>

#include "framework/io/io.h"
#include "pkg/package_list.h"

#include "store/published_tree.h"

namespace zendro::store {

inline constexpr std::string_view kDigestName = "pkgs-available.json.zip.sha256";
inline constexpr std::string_view kSignatureName = "pkgs-available.json.zip.minisig";
inline constexpr std::string_view kTelemetryPath = "api/package-manager/v1/telemetry";

/// "api/xsd-manager/v1/bootstrap".
std::string bootstrap_path(std::string_view type);
/// The bootstrap document of a store at this URL, and the URL that such a document names.
std::string bootstrap_document(std::string_view store_url);
tl::expected<std::string, std::string> store_url_of(std::string_view document);

/// The line that sha256sum writes for the archive.
std::string digest_line(std::string_view digest);

/// The content type of a file of the tree.
std::string_view media_type(std::string_view path);

// What caches are told by Cache-Control (RFC 9111, section 5.2.2): to ask each time whether the
// list and what belongs to it are new, and to keep a member, whose path never changes its bytes.
inline constexpr std::string_view kAskedForEachTime = "no-cache";
inline constexpr std::string_view kCachedForGood = "public, max-age=31536000, immutable";
/// Which of the two they are told of a file of the tree.
std::string_view cache_control(std::string_view path);

/// The list in the bytes of an archive; `label` names the archive in error texts.
framework::Result<pkg::pkgs_available_t> list_in_archive(std::string archive,
                                                         std::string_view label);
/// The word for the type of a list's packages; empty where it has none.
std::string type_of(const pkg::pkgs_available_t& list);

/// A file that members of the list are published as.
struct PublishedMember {
  std::string path;            ///< below the store URL, not encoded, "/" between components
  std::string digest;          ///< 64 lower-case hexadecimal digits
  std::string owner;           ///< the identity of a package that has it
  bool is_deprecated = false;  ///< only deprecated packages have it
};

/// Where a static server has a member of the list: components that are plain names. Fails for what
/// would lie outside of the store, in hidden files or in the place of the store's own files.
tl::expected<std::vector<std::string>, std::string> member_place(std::string_view member);
/// The members of the list's packages and then of its deprecated ones, which managers repair with
/// what the store still has of them; each file once. Fails, naming package and member, for one
/// without a place or digest, and where two with different digests have one place.
framework::Result<std::vector<PublishedMember>> published_members(
    const pkg::pkgs_available_t& list);

/// A tree as it stands on the disk.
struct PublishedTree {
  std::filesystem::path folder;
  std::string type;       ///< "xsd"
  std::string store_url;  ///< that the bootstrap document names; empty where there is none
  std::string digest;     ///< of the archive
  pkg::pkgs_available_t list;
};

/// Fails, naming the file, for what is no such tree.
framework::Result<PublishedTree> read_published_tree(const std::filesystem::path& folder);

}  // namespace zendro::store
