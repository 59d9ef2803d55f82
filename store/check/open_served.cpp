#include <mutex>
#include <utility>
#include <vector>

#include "app/options/package_types.h"
#include "framework/http/http.h"
#include "framework/io/digest.h"
#include "framework/sign/signature.h"
#include "framework/url/http_url.h"
#include "framework/url/loggable.h"
#include "pkg/store.h"

#include "store/check/list_opener.h"
#include "store/tree_on_disk.h"

namespace zendro::store {
namespace {

using framework::IoError;
using framework::Result;

constexpr std::uint64_t kServedMemberLimit = std::uint64_t{4} << 30;

/// Asks one server, a request after the other.
class CheckedServer {
 public:
  Result<OpenedStore> open(const std::string& place, const SigningKeys& keys) {
    ListOpener opener;
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

  Result<std::shared_ptr<const std::string>> member(std::string_view path) {
    const framework::RequestUrl url = framework::http_request_url(base_, path);
    if (!url) return tl::unexpected(IoError{url.error()});
    return get(*url, kServedMemberLimit).map([](std::string&& bytes) {
      return std::make_shared<const std::string>(std::move(bytes));
    });
  }

 private:
  static void check_header(ListOpener& opener, const std::string& archive,
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
  void look_for_bootstrap(ListOpener& opener) {
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

Result<OpenedStore> open_served(const std::string& url, const SigningKeys& keys) {
  const auto server = std::make_shared<CheckedServer>();
  Result<OpenedStore> opened = server->open(url, keys);
  if (opened && opened->store) {
    opened->store->read_member = [server](std::string_view path) { return server->member(path); };
  }
  return opened;
}

}  // namespace zendro::store
