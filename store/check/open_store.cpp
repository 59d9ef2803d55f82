#include "store/check/open_store.h"

#include <mutex>
#include <utility>
#include <vector>

#include "app/options/package_types.h"
#include "framework/http/http.h"
#include "framework/io/digest.h"
#include "framework/sign/signature.h"
#include "framework/system/files.h"
#include "framework/text/lazy_json.h"
#include "framework/text/percent.h"
#include "framework/url/http_url.h"
#include "framework/url/loggable.h"
#include "pkg/list_files.h"
#include "pkg/local/names.h"
#include "pkg/store.h"

#include "store/tree_on_disk.h"

namespace zendro::store {
namespace {

namespace fs = std::filesystem;
using framework::IoError;
using framework::Result;

constexpr std::uint64_t kMemberLimit = std::uint64_t{4} << 30;
constexpr std::size_t kDigits = 64;

using Member = Result<std::shared_ptr<const std::string>>;

Member shared(Result<std::string> bytes) {
  if (!bytes) return tl::unexpected(bytes.error());
  return std::make_shared<const std::string>(std::move(*bytes));
}

class Opener {
 public:
  void error(std::string_view file, std::string what, std::string advice) {
    add(Severity::error, file, std::move(what), std::move(advice));
  }
  void warn(std::string_view file, std::string what, std::string advice) {
    add(Severity::warning, file, std::move(what), std::move(advice));
  }

  /// Whether the digest is that of the archive, and said where it is not.
  void check_digest(std::string_view archive, std::string_view digest, std::string_view file) {
    const std::string actual = framework::to_hex(framework::sha256(archive));
    const auto expected = framework::parse_sha256(digest);
    if (expected && framework::to_hex(*expected) == actual) return;
    error(file,
          "clients refuse the list: " + (expected ? "its digest is another one"
                                                  : "\"" + std::string(digest) + "\" is no digest"),
          "write " + actual);
  }

  void check_signature(std::string_view archive, const Result<std::string>& signature,
                       const SigningKeys& keys) {
    constexpr std::string_view file = kSignatureName;
    const char* advice = "sign the list with zendro-store sign, or give managers the other key";
    if (!signature) {
      return error(file, "there is no signature to be read: " + signature.error().text, advice);
    }
    const auto verified = framework::verify_signature(*signature, archive, keys);
    if (!verified) error(file, "clients with the key refuse the list: " + verified.error(), advice);
  }

  /// Checks a bootstrap document; `url` is where the store is, if that is known.
  void check_bootstrap(const std::string& document, std::string_view file, std::string& url) {
    const framework::ParsedJson parsed = framework::parse_json(document);
    const char* advice = R"(write {"pkg.store_url": "https://..."} with the URL of the store)";
    if (!parsed) return error(file, "is not JSON: " + parsed.error(), advice);
    try {
      const std::string named = pkg::store_url_of(*parsed);
      if (const auto request = framework::http_request_url(named); !request) {
        return error(file, "\"" + named + "\" is no URL of a store: " + request.error(), advice);
      }
      if (!named.ends_with('/')) {
        error(file, "the URL of the store has no \"/\" at its end", "write \"" + named + "/\"");
      }
      if (!url.empty() && url != named) {
        error(file, "clients are led to another store, " + framework::loggable_url(named),
              "write \"" + url + "\"");
      }
      if (named.starts_with("http:")) {
        warn(file, "with http the list is whatever the network says", "serve the store with https");
      }
      if (url.empty()) url = named;
    } catch (const framework::JsonError& problem) {
      error(file, problem.what(), advice);
    }
  }

  void open_archive(std::string archive, const std::string& shown) {
    Result<std::string> list = pkg::unpack_list(std::move(archive), kListName, shown);
    if (list) return open_list(std::move(*list));
    error(kArchiveName, "clients cannot unpack it: " + list.error().text,
          "zip " + std::string(kListName) + " alone, with deflate");
  }

  void open_list(std::string list) {
    const auto refused = [this](const std::string& cause) {
      error(kListName, "clients refuse it: " + cause,
            "docs/lists.md has what a list looks like and may hold");
    };
    LoadedStore store;
    try {
      store.builtin = builtin_of(list);
    } catch (const framework::JsonError& problem) {
      return refused(problem.what());
    }
    pkg::read_list_t parsed = pkg::parse_list(std::move(list));
    if (!parsed) return refused(parsed.error());
    store.list = std::move(*parsed);
    store.type = type_.empty() ? type_of(store.list) : type_;
    if (store.type.empty()) store.type = app::package_types().front().word;
    store.url = url_;
    store_ = std::move(store);
  }

  /// Ends with what was opened, whose members are read so.
  OpenedStore take(ReadMember read_member) {
    if (store_) store_->read_member = std::move(read_member);
    return {std::move(store_), std::move(findings_)};
  }

  void set_type(std::string type) { type_ = std::move(type); }
  std::string& url() { return url_; }
  [[nodiscard]] const std::optional<LoadedStore>& store() const { return store_; }

 private:
  void add(Severity severity, std::string_view file, std::string what, std::string advice) {
    findings_.push_back({severity, {}, std::string(file), 0, std::move(what), std::move(advice)});
  }

  /// The list says in "_META" what its makers know every tool to bring along.
  static BuiltinNames builtin_of(const std::string& list) {
    BuiltinNames builtin;
    const auto document = framework::LazyDocument::parse(list);
    if (!document) return builtin;
    for (const auto& member : (*document)->members((*document)->root())) {
      if (member.name != "_META") continue;
      const auto& meta = (*document)->object(member.text).values();
      if (const auto* names = meta.if_contains("builtin")) builtin.add(*names);
    }
    return builtin;
  }

  std::string type_;
  std::string url_;
  std::optional<LoadedStore> store_;
  Findings findings_;
};

class Tree {
 public:
  explicit Tree(fs::path folder) : folder_(std::move(folder)) {}

  Result<OpenedStore> open(const SigningKeys& keys) {
    Result<std::string> archive = read(kArchiveName, pkg::kArchiveLimit);
    if (!archive) return tl::unexpected(archive.error());
    check_digest_file(*archive);
    if (!keys.empty()) {
      opener_.check_signature(*archive, read(kSignatureName, framework::kSignatureLimit), keys);
    }
    check_bootstraps();
    opener_.open_archive(std::move(*archive), shown(kArchiveName));
    return opener_.take(
        [folder = folder_](std::string_view member) { return Tree(folder).member(member); });
  }

 private:
  [[nodiscard]] Result<std::string> read(std::string_view name, std::uint64_t limit) const {
    return framework::read_file(folder_ / framework::path_from_utf8(name), limit);
  }
  [[nodiscard]] std::string shown(std::string_view name) const {
    return framework::path_to_utf8(folder_ / framework::path_from_utf8(name));
  }

  void check_digest_file(const std::string& archive) {
    const Result<std::string> digest = read(kDigestName, pkg::kBootstrapLimit);
    if (digest) return opener_.check_digest(archive, digest->substr(0, kDigits), kDigestName);
    opener_.error(kDigestName,
                  "clients that take the list from a folder refuse it: the digest is missing",
                  "write " + framework::to_hex(framework::sha256(archive)));
  }

  void check_bootstraps() {
    for (const app::PackageType& type : app::package_types()) {
      const std::string name = bootstrap_path(type.word);
      if (!framework::file_exists(folder_ / framework::path_from_utf8(name))) continue;
      opener_.set_type(std::string(type.word));
      const Result<std::string> document = read(name, pkg::kBootstrapLimit);
      if (!document) {
        opener_.error(name, "clients do not read it: " + document.error().text, "");
        continue;
      }
      opener_.check_bootstrap(*document, name, opener_.url());
    }
  }

  [[nodiscard]] Member member(std::string_view path) const {
    const std::string name = framework::percent_decode(path);
    if (!pkg::local::is_plain_path(name)) {
      return tl::unexpected(IoError{"the path leads to no file of the tree"});
    }
    return shared(read(name, kMemberLimit));
  }

  fs::path folder_;
  Opener opener_;
};

/// Asks one server, a request after the other.
class Server {
 public:
  Result<OpenedStore> open(const std::string& place, const SigningKeys& keys) {
    Opener opener;
    std::string& url = opener.url();
    if (place.ends_with('/')) {
      url = place;
      look_for_bootstrap(opener);
    } else {
      const Result<std::string> document = get(place, pkg::kBootstrapLimit);
      if (!document) return tl::unexpected(document.error());
      opener.check_bootstrap(*document, framework::loggable_url(place), url);
      if (url.empty()) return opener.take({});
    }
    base_ = url;
    const std::string archive_url = url + std::string(kArchiveName);
    framework::HttpHeaders headers;
    Result<std::string> archive = get(archive_url, pkg::kArchiveLimit, &headers);
    if (!archive) return tl::unexpected(archive.error());
    check_header(opener, *archive, headers);
    if (!keys.empty()) {
      opener.check_signature(
          *archive, get(url + std::string(kSignatureName), framework::kSignatureLimit), keys);
    }
    opener.open_archive(std::move(*archive), framework::loggable_url(archive_url));
    if (opener.store()) expect(opener.store()->list);
    return opener.take({});
  }

  Member member(std::string_view path) {
    const framework::RequestUrl url = framework::http_request_url(base_, path);
    if (!url) return tl::unexpected(IoError{url.error()});
    return shared(get(*url, kMemberLimit));
  }

 private:
  static void check_header(Opener& opener, const std::string& archive,
                           const framework::HttpHeaders& headers) {
    const auto header = headers.find(pkg::kDigestHeader);
    if (header != headers.end()) {
      return opener.check_digest(archive, header->second, kArchiveName);
    }
    opener.warn(kArchiveName, "is served without its digest, so that clients take it unchecked",
                "serve it with the header \"" + std::string(pkg::kDigestHeader) + ": " +
                    framework::to_hex(framework::sha256(archive)) + "\"");
  }

  // It may be elsewhere, so that none here says nothing.
  void look_for_bootstrap(Opener& opener) {
    for (const app::PackageType& type : app::package_types()) {
      const std::string name = bootstrap_path(type.word);
      const Result<std::string> document = get(opener.url() + name, pkg::kBootstrapLimit);
      if (!document) continue;
      opener.set_type(std::string(type.word));
      opener.check_bootstrap(*document, name, opener.url());
    }
  }

  void expect(const pkg::pkgs_available_t& list) {
    std::vector<std::string> urls;
    for (const auto* packages : {&list.packages(), &list.deprecated()}) {
      for (const pkg::package_t& package : *packages) {
        try {
          const auto* files = package.meta.files();
          if (files == nullptr) continue;
          for (const auto& file : *files) {
            if (const auto url = framework::http_request_url(base_, file.key())) {
              urls.push_back(*url);
            }
          }
        } catch (const framework::JsonError&) {  // NOLINT(bugprone-empty-catch)
          // Said where the metadata is looked at.
        }
      }
    }
    transport_->expect(urls);
  }

  Result<std::string> get(const std::string& url, std::uint64_t limit,
                          framework::HttpHeaders* headers = nullptr) {
    const std::lock_guard lock(mutex_);
    framework::HttpRequest request;
    request.url = url;
    const framework::HttpAnswer answer = transport_->get(request);
    if (!answer) return tl::unexpected(answer.error());
    if (headers != nullptr) *headers = (*answer)->headers();
    return framework::read_all(**answer, framework::kIoBlock, limit, framework::loggable_url(url));
  }

  std::mutex mutex_;
  std::unique_ptr<framework::HttpTransport> transport_ = framework::make_http_transport();
  std::string base_;
};

}  // namespace

Result<OpenedStore> open_tree(const fs::path& folder, const SigningKeys& keys) {
  return Tree(folder).open(keys);
}

Result<OpenedStore> open_served(const std::string& url, const SigningKeys& keys) {
  const auto server = std::make_shared<Server>();
  Result<OpenedStore> opened = server->open(url, keys);
  if (opened && opened->store) {
    opened->store->read_member = [server](std::string_view path) { return server->member(path); };
  }
  return opened;
}

OpenedStore open_list(std::string list, ReadMember read_member) {
  Opener opener;
  opener.open_list(std::move(list));
  return opener.take(std::move(read_member));
}

}  // namespace zendro::store
