#include "store/tree_on_disk.h"

#include <map>

#include "app/options/package_types.h"
#include "framework/io/digest.h"
#include "framework/system/files.h"
#include "framework/system/folder.h"
#include "framework/text/json.h"
#include "framework/text/percent.h"
#include "framework/url/http_url.h"
#include "framework/url/loggable.h"
#include "pkg/list_files.h"
#include "pkg/store.h"

#include "store/failure.h"

namespace zendro::store {
namespace {

using framework::path_to_utf8;
using framework::Result;

// Any store will do to find out where a reference leads.
constexpr std::string_view kAnyStore = "http://store.invalid/store/";

/// Members, by the place that they have.
class MemberCollection {
 public:
  Result<void> add(const pkg::package_t& package, bool is_deprecated) {
    const std::string identity = to_string(package.identity);
    const boost::json::object* files = nullptr;
    try {
      files = package.meta.files();
    } catch (const framework::JsonError& error) {
      return failed(identity, error.what());
    }
    if (files == nullptr) return {};
    for (const auto& file : *files) {
      const std::string_view name(file.key().data(), file.key().size());
      const boost::json::string* digest = file.value().if_string();
      const auto cause = add(name, digest != nullptr ? std::string_view(*digest) : "",
                             {"", "", identity, is_deprecated});
      if (!cause.empty()) {
        return failed(identity + ": \"" + framework::loggable_url(name) + "\"", cause);
      }
    }
    return {};
  }

  std::vector<PublishedMember> take() && { return std::move(members_); }

 private:
  /// Why it is refused; empty: it is not.
  std::string add(std::string_view name, std::string_view digest_text, PublishedMember member) {
    const auto place = member_place(name);
    if (!place) return place.error();
    const auto digest = framework::parse_sha256(digest_text);
    if (!digest) return "its digest is not 64 hexadecimal digits";
    member.digest = framework::to_hex(*digest);
    for (const std::string& part : *place) member.path += (member.path.empty() ? "" : "/") + part;
    const auto [first, is_new] =
        known_.try_emplace(framework::comparable_name(member.path), members_.size());
    if (is_new) {
      members_.push_back(std::move(member));
      return {};
    }
    const PublishedMember& other = members_[first->second];
    if (other.digest == member.digest) return {};
    return "has the place of a member of " + other.owner + " that has another digest";
  }

  std::vector<PublishedMember> members_;
  std::map<std::string, std::size_t> known_;  ///< by comparable path
};

}  // namespace

std::string bootstrap_path(std::string_view type) {
  return "api/" + std::string(type) + "-manager/v1/bootstrap";
}

std::string bootstrap_document(std::string_view store_url) {
  return boost::json::serialize(boost::json::object{{"pkg.store_url", store_url}}) + "\n";
}

tl::expected<std::string, std::string> store_url_of(std::string_view document) {
  const framework::ParsedJson parsed = framework::parse_json(document);
  if (!parsed) return tl::unexpected("not JSON: " + parsed.error());
  try {
    return pkg::store_url_of(*parsed);
  } catch (const framework::JsonError& error) {
    return tl::unexpected<std::string>(error.what());
  }
}

std::string digest_line(std::string_view digest) {
  return std::string(digest) + "  " + std::string(kArchiveName) + "\n";
}

std::string_view media_type(std::string_view path) {
  if (path.ends_with(".zip")) return "application/zip";
  if (path.ends_with("/bootstrap")) return "application/json";
  const bool is_text = path.ends_with(".sha256") || path.ends_with(".minisig");
  return is_text ? "text/plain" : "application/octet-stream";
}

std::string_view cache_control(std::string_view path) {
  const bool is_head = path.starts_with(kArchiveName) || path.ends_with("/bootstrap");
  return is_head ? kAskedForEachTime : kCachedForGood;
}

Result<pkg::pkgs_available_t> list_in_archive(std::string archive, std::string_view label) {
  Result<std::string> text = pkg::unpack_list(std::move(archive), kListName, std::string(label));
  if (!text) return tl::unexpected(text.error());
  pkg::read_list_t list = pkg::parse_list(std::move(*text));
  if (!list) return failed(label, std::string(kListName) + ": " + list.error());
  return std::move(*list);
}

std::string type_of(const pkg::pkgs_available_t& list) {
  for (const pkg::package_t& package : list.packages()) {
    try {
      for (const app::PackageType& type : app::package_types()) {
        if (type.word == package.meta.type()) return std::string(type.word);
      }
    } catch (const framework::JsonError&) {
      continue;
    }
  }
  return {};
}

tl::expected<std::vector<std::string>, std::string> member_place(std::string_view member) {
  const auto refused = [](const char* cause) { return tl::unexpected<std::string>(cause); };
  const framework::RequestUrl url = framework::http_request_url(kAnyStore, member);
  if (!url) return tl::unexpected(url.error());
  if (!url->starts_with(kAnyStore) || url->size() == kAnyStore.size()) {
    return refused("it leads out of the store");
  }
  if (url->find_first_of("?#") != std::string::npos) return refused("no file has a query");
  std::vector<std::string> place;
  std::string_view rest = std::string_view(*url).substr(kAnyStore.size());
  for (;;) {
    const std::size_t slash = rest.find('/');
    place.push_back(framework::percent_decode(rest.substr(0, slash)));
    if (!framework::is_plain_name(place.back())) {
      return refused("a part of it can be no file or folder on every system");
    }
    if (place.back().starts_with('.')) return refused("a part of it begins with a dot");
    if (slash == std::string_view::npos) break;
    rest.remove_prefix(slash + 1);
  }
  const bool is_own =
      place.front() == "api" || (place.size() == 1 && place.front().starts_with(kListName));
  if (is_own) return refused("a file of the store itself stands there");
  return place;
}

Result<std::vector<PublishedMember>> published_members(const pkg::pkgs_available_t& list) {
  MemberCollection members;
  for (const pkg::package_t& package : list.packages()) {
    if (auto added = members.add(package, false); !added) return tl::unexpected(added.error());
  }
  for (const pkg::package_t& package : list.deprecated()) {
    if (auto added = members.add(package, true); !added) return tl::unexpected(added.error());
  }
  return std::move(members).take();
}

Result<PublishedTree> read_published_tree(const std::filesystem::path& folder) {
  PublishedTree tree;
  tree.folder = folder;
  const std::filesystem::path archive = folder / framework::path_from_utf8(kArchiveName);
  Result<std::string> bytes = framework::read_file(archive, pkg::kArchiveLimit);
  if (!bytes) {
    return failed(path_to_utf8(folder),
                  "no published tree, as \"zendro-store build\" makes it: " + bytes.error().text);
  }
  tree.digest = framework::to_hex(framework::sha256(*bytes));
  Result<pkg::pkgs_available_t> list = list_in_archive(std::move(*bytes), path_to_utf8(archive));
  if (!list) return tl::unexpected(list.error());
  tree.list = std::move(*list);
  tree.type = type_of(tree.list);
  for (const app::PackageType& type : app::package_types()) {
    const auto path = folder / framework::path_from_utf8(bootstrap_path(type.word));
    if (framework::is_missing(path)) continue;
    tree.type = type.word;
    const Result<std::string> document = framework::read_file(path, pkg::kBootstrapLimit);
    if (!document) return tl::unexpected(document.error());
    const auto url = store_url_of(*document);
    if (!url) return failed(path_to_utf8(path), url.error());
    tree.store_url = *url;
  }
  if (tree.type.empty()) {
    return failed(path_to_utf8(archive), "neither a package nor a bootstrap document in \"" +
                                             bootstrap_path("xsd") + "\" tells the type");
  }
  return tree;
}

}  // namespace zendro::store
