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
  framework::IoError ignored;
  std::string text;
  if (!folder.read_file(kStampFile, text, kLongestStamp, ignored)) return std::nullopt;
  stamp_t stamp;
  std::istringstream words(text);
  std::string end;
  words >> stamp.source >> stamp.has_namespaces >> stamp.zips >> end;
  if (end != "end" || stamp.zips < 0) return std::nullopt;
  return stamp;
}

bool write_stamp(const framework::Folder& folder, const stamp_t& stamp, framework::IoError& error) {
  std::ostringstream text;
  text << stamp.source << ' ' << stamp.has_namespaces << ' ' << stamp.zips << " end\n";
  const auto file = folder.create_new_file(kStampFile, error);
  if (!file) return false;
  const std::string bytes = text.str();
  file->write(bytes.data(), bytes.size());
  file->close();
  error = file->error();
  return !error;
}

}  // namespace zendro::pkg::local
