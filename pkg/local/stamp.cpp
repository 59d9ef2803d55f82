#include "pkg/local/stamp.h"

#include <sstream>
#include <string_view>

#include "framework/io/digest.h"
#include "framework/io/io.h"
#include "pkg/local/keys.h"

namespace zendro::pkg::local {
namespace {

// Changes with what is made of a package.
constexpr std::string_view kForm = "1";
constexpr std::uint64_t kLongestStamp = 256;

// Each text with its length, so that no two lists of texts are the same bytes.
void add(framework::Sha256& hash, std::string_view text) {
  const std::uint64_t size = text.size();
  hash.update(&size, sizeof size);
  hash.update(text.data(), text.size());
}

}  // namespace

std::string source_of(const package_t& package, const std::string& root) {
  framework::Sha256 hash;
  add(hash, kForm);
  add(hash, package.identity);
  if (depends_on_place(package)) add(hash, root);
  for (const member_t& member : package.members) {
    add(hash, member.path);
    hash.update(member.digest.data(), member.digest.size());
  }
  for (const key_t& key : package.keys) {
    add(hash, std::to_string(static_cast<int>(key.kind)));
    add(hash, key.key);
    add(hash, key.member_path);
  }
  return framework::to_hex(hash.finish());
}

std::optional<stamp_t> read_stamp(const framework::Folder& folder) {
  const framework::Result<std::string> text = folder.read_file(kStampFile, kLongestStamp);
  if (!text) return std::nullopt;
  stamp_t stamp;
  std::istringstream words(*text);
  std::string end;
  words >> stamp.source >> stamp.has_namespaces >> stamp.zips >> end;
  if (end != "end" || stamp.zips < 0) return std::nullopt;
  return stamp;
}

framework::Result<void> write_stamp(const framework::Folder& folder, const stamp_t& stamp) {
  std::ostringstream text;
  text << stamp.source << ' ' << stamp.has_namespaces << ' ' << stamp.zips << " end\n";
  const framework::OpenedStream file = folder.create_new_file(kStampFile);
  if (!file) return tl::unexpected(file.error());
  const std::string bytes = text.str();
  (*file)->write(bytes.data(), bytes.size());
  (*file)->close();
  if ((*file)->error()) return tl::unexpected((*file)->error());
  return {};
}

}  // namespace zendro::pkg::local
