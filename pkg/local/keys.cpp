#include "pkg/local/keys.h"

#include <algorithm>

#include "framework/text/ascii.h"
#include "framework/text/percent.h"
#include "pkg/local/names.h"

namespace zendro::pkg::local {
namespace {

// A relative URL from the folder of the package to one of its files.
std::string target_of(std::string_view path) {
  std::string url(kFilesFolder);
  url += '/';
  framework::append_encoded_path(url, path);
  return url;
}

// The URL of the file that a member path names; empty where there is none. In an archive a name may
// be written percent-encoded.
std::string find_target(std::string_view member_path, const contents_t& contents) {
  const std::string path = file_path(member_path);
  if (contents.has_file(path)) return target_of(path);
  const std::string decoded = framework::percent_decode(path);
  return contents.has_file(decoded) ? target_of(decoded) : std::string();
}

// PubidChar of XML 1.0: what a public identifier can hold.
bool is_public_id(std::string_view text) {
  constexpr std::string_view kOthers = " \r\n-'()+,./:=?;!*#@$_%";
  return std::all_of(text.begin(), text.end(), [&](char c) {
    return framework::is_ascii_letter(c) || framework::is_ascii_digit(c) ||
           kOthers.find(c) != std::string_view::npos;
  });
}

bool is_package_url(const key_t& key) {
  return key.kind == key_kind::location && key.key.starts_with(kPackageUrlPrefix);
}

// A package URL as a key is a relative path that leads out of another package. A tool that reads
// the file of that package asks for the path that it leads to on the disk, in the one or the other
// spelling.
void add_place(std::string_view url, const std::string& target, const std::string& root,
               catalog_writer& catalog) {
  const std::string relative = file_path_of_url(url);
  if (relative.empty()) return;
  const std::string path = root + "/" + relative;
  std::string encoded;
  framework::append_encoded_path(encoded, path);
  std::vector<std::string> spellings = {encoded};
  if (path != encoded) spellings.push_back(path);
  for (std::string_view spelling : spellings) {
    catalog.location(spelling, target);
    if (spelling.starts_with('/')) spelling.remove_prefix(1);
    for (const char* begin : {"file:/", "file:///"}) {
      catalog.location(begin + std::string(spelling), target);
    }
  }
}

void append(std::vector<file_t>& files, std::vector<file_t> more) {
  std::move(more.begin(), more.end(), std::back_inserter(files));
}

}  // namespace

std::set<std::string> marked_archives(const package_t& package) {
  constexpr std::string_view kMark = "|zip";
  std::set<std::string> marked;
  for (const key_t& key : package.keys) {
    for (std::size_t at = 0; (at = key.member_path.find(kMark, at)) != std::string_view::npos;) {
      marked.insert(file_path(key.member_path.substr(0, at)));
      at += kMark.size();
    }
  }
  return marked;
}

std::vector<file_t> catalogs_of(const package_t& package, const unpacker& files,
                                const std::string& root) {
  catalog_writer catalog;
  catalog_writer namespaces;
  const std::string url = std::string(kPackageUrlPrefix) + package.identity + "/";
  catalog.prefix(url, target_of(""));
  for (const unpacked_t& archive : files.archives()) {
    catalog.prefix(url + archive.url_path + "/", target_of(archive.path) + "/");
  }
  for (const key_t& key : package.keys) {
    const std::string target = find_target(key.member_path, files.contents());
    if (target.empty() || key.key.empty()) continue;
    if (is_package_url(key)) {
      add_place(key.key, target, root, catalog);
    } else if (key.kind == key_kind::location) {
      catalog.location(key.key, target);
    } else if (key.kind == key_kind::public_id && is_public_id(key.key)) {
      catalog.public_id(key.key, target);
    } else if (key.kind == key_kind::name_space) {
      namespaces.uri(key.key, target);
    }
  }
  std::vector<file_t> all = catalog.take(std::string(kCatalogStem));
  append(all, namespaces.take(std::string(kNamespacesStem)));
  return all;
}

void add_prefixes(const package_t& package, std::vector<prefix_t>& prefixes) {
  for (const key_t& key : package.keys) {
    if (key.kind != key_kind::prefix) continue;
    std::string path = file_path(key.member_path);
    const bool is_folder = path.ends_with('/');
    if (is_folder) path.pop_back();
    if (!path.empty() && !is_plain_path(path)) continue;
    std::string target;
    framework::append_encoded_path(target, package.identity);
    target += "/" + target_of(path);
    if (is_folder && !path.empty()) target += '/';
    prefixes.push_back({key.key, std::move(target)});
  }
}

bool depends_on_place(const package_t& package) {
  return std::any_of(package.keys.begin(), package.keys.end(), is_package_url);
}

}  // namespace zendro::pkg::local
