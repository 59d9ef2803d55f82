#include "store/mirror/mirror.h"

#include <map>
#include <optional>
#include <set>

#include "framework/io/digest.h"
#include "framework/sign/signature.h"
#include "framework/system/files.h"
#include "framework/text/percent.h"
#include "framework/url/http_url.h"
#include "framework/url/loggable.h"
#include "pkg/references.h"
#include "pkg/store.h"

#include "store/failure.h"
#include "store/tree_folder.h"
#include "store/tree_on_disk.h"
#include "store/zip_writer.h"

namespace zendro::store {
namespace {

using framework::HttpRequest;
using framework::HttpTransport;
using framework::IoError;
using framework::loggable_url;
using framework::Result;

// The store's list as it came.
struct SourceList {
  std::string url;  ///< of the store
  std::string archive;
  std::string signature;  ///< empty: there is none
  pkg::pkgs_available_t list;
};

class Mirror {
 public:
  Mirror(HttpTransport& http, const MirrorRequest& request, const MirrorSinks& sinks,
         std::stop_token stop, TreeFolder folder)
      : http_(http),
        request_(request),
        sinks_(sinks),
        stop_(std::move(stop)),
        progress_(sinks.progress, stop_),
        folder_(std::move(folder)) {}

  Result<MirrorOutcome> run();

 private:
  Result<std::string> fetch(const std::string& url, std::uint64_t limit,
                            framework::HttpHeaders* headers = nullptr);
  Result<std::string> find_store();
  Result<SourceList> fetch_list(const std::string& store);
  Result<std::string> fetch_signature(const std::string& url);
  Result<void> choose(SourceList& source);
  Result<std::set<pkg::name_semver_t>> chosen(const pkg::pkgs_available_t& list);
  Result<void> refuse_older(const SourceList& source);
  Result<void> fetch_members(const SourceList& source);
  Result<void> fetch_member(const PublishedMember& member, const std::string& url);
  Result<void> put_list(const SourceList& source);
  Result<void> put_bootstrap(const std::string& type);
  [[nodiscard]] std::string type_of_source(const SourceList& source) const;
  void warn(const std::string& text) const {
    if (sinks_.warning) sinks_.warning(text);
  }
  void note(const std::string& text) const {
    if (sinks_.note) sinks_.note(text);
  }

  HttpTransport& http_;
  const MirrorRequest& request_;
  const MirrorSinks& sinks_;
  std::stop_token stop_;
  pkg::progress_reporter progress_;
  TreeFolder folder_;
  std::optional<std::int64_t> old_build_;  ///< of the list that is in the folder
  bool is_own_list_ = false;               ///< not the bytes that the store has
  MirrorOutcome outcome_;
};

Result<std::string> Mirror::fetch(const std::string& url, std::uint64_t limit,
                                  framework::HttpHeaders* headers) {
  HttpRequest request;
  request.url = url;
  request.size_limit = limit;
  const framework::HttpAnswer answer = http_.get(request);
  if (!answer) return tl::unexpected(answer.error());
  if (headers != nullptr) *headers = (*answer)->headers();
  return framework::read_all(**answer, framework::kIoBlock, limit, loggable_url(url));
}

// A URL that ends with a slash is the store's own; any other names a bootstrap document.
Result<std::string> Mirror::find_store() {
  if (request_.source.ends_with('/')) return request_.source;
  const Result<std::string> document = fetch(request_.source, pkg::kBootstrapLimit);
  if (!document) {
    return failed(document.error().text,
                  "a URL that does not end with \"/\" is taken for that of a bootstrap document");
  }
  const auto url = store_url_of(*document);
  if (!url) return failed(loggable_url(request_.source), url.error());
  return *url;
}

Result<std::string> Mirror::fetch_signature(const std::string& url) {
  HttpRequest request;
  request.url = url;
  request.size_limit = framework::kSignatureLimit;
  request.any_status = true;
  const framework::HttpAnswer answer = http_.get(request);
  if (!answer) return tl::unexpected(answer.error());
  const long status = (*answer)->status();
  // Object stores say 403 for what is not there to those who may not list.
  if (status == 404 || status == 403 || status == 410) return std::string();
  if (status != 200) return failed(loggable_url(url), "HTTP status " + std::to_string(status));
  return framework::read_all(**answer, framework::kSignatureLimit, framework::kSignatureLimit,
                             loggable_url(url));
}

Result<SourceList> Mirror::fetch_list(const std::string& store) {
  SourceList source;
  source.url = store;
  const std::string url = store + std::string(kArchiveName);
  const std::string label = loggable_url(url);
  framework::HttpHeaders headers;
  Result<std::string> archive = fetch(url, pkg::kArchiveLimit, &headers);
  if (!archive) return tl::unexpected(archive.error());
  const auto header = headers.find(pkg::kDigestHeader);
  if (header == headers.end()) {
    warn(label + ": comes without the header " + std::string(pkg::kDigestHeader) +
         ", so that nothing proves the list");
  } else {
    const auto digest = framework::parse_sha256(header->second);
    if (!digest) return failed(label, "its header " + header->first + " is no SHA-256 digest");
    if (framework::sha256(*archive) != *digest) {
      return failed(label, "has not the digest of its header " + header->first);
    }
  }
  Result<std::string> signature = fetch_signature(store + std::string(kSignatureName));
  if (!signature) return tl::unexpected(signature.error());
  source.signature = std::move(*signature);
  source.archive = *archive;
  Result<pkg::pkgs_available_t> list = list_in_archive(std::move(*archive), label);
  if (!list) return tl::unexpected(list.error());
  source.list = std::move(*list);
  return source;
}

Result<std::set<pkg::name_semver_t>> Mirror::chosen(const pkg::pkgs_available_t& list) {
  std::set<pkg::name_semver_t> wanted;
  for (const std::string& filter : request_.filters) {
    const pkg::package_t* found = find_best(list.packages(), pkg::parse_identity(filter));
    if (found == nullptr) return failed(filter, "the store has no such package");
    wanted.insert(found->identity);
  }
  try {
    wanted.merge(collect_references(wanted, list));
  } catch (const framework::JsonError& error) {
    return tl::unexpected(IoError{error.what()});
  }
  return wanted;
}

// Leaves in the list what is chosen, and makes the archive anew where that is not everything.
Result<void> Mirror::choose(SourceList& source) {
  if (request_.filters.empty()) return {};
  const auto wanted = chosen(source.list);
  if (!wanted) return tl::unexpected(wanted.error());
  for (const pkg::name_semver_t& identity : *wanted) {
    if (find_exact(source.list.packages(), identity) != nullptr) continue;
    warn(to_string(identity) + ": is referenced, but the store has no such package");
  }
  std::vector<pkg::name_semver_t> others;
  for (const pkg::package_t& package : source.list.packages()) {
    if (wanted->count(package.identity) == 0) others.push_back(package.identity);
  }
  if (others.empty()) return {};
  source.list.remove(others);
  source.archive = write_zip({{std::string(kListName), source.list.serialise()}});
  source.signature.clear();
  is_own_list_ = true;
  return {};
}

// Whoever holds an old list must not be able to bring it back.
Result<void> Mirror::refuse_older(const SourceList& source) {
  std::string own = folder_.read(std::string(kArchiveName), pkg::kArchiveLimit);
  if (own.empty()) return {};
  const std::string label =
      framework::path_to_utf8(request_.folder / framework::path_from_utf8(kArchiveName));
  const auto list = list_in_archive(std::move(own), label);
  if (!list) return {};
  old_build_ = list->build_number();
  const std::optional<std::int64_t> build = source.list.build_number();
  if (!old_build_ || (build && *build >= *old_build_)) return {};
  return failed(label, "has build number " + std::to_string(*old_build_) + ", the store " +
                           (build ? std::to_string(*build) : "none") +
                           ": remove the file to go back to an older list");
}

Result<void> Mirror::fetch_member(const PublishedMember& member, const std::string& url) {
  HttpRequest request;
  request.url = url;
  const framework::HttpAnswer answer = http_.get(request);
  if (!answer) return tl::unexpected(answer.error());
  const auto watched = progress_.watch(*answer);
  const Result<void> copied =
      folder_.copy(member.path, *watched, *framework::parse_sha256(member.digest));
  if (!copied) return failed(member.owner, copied.error().text);
  ++outcome_.fetched;
  return {};
}

Result<void> Mirror::fetch_members(const SourceList& source) {
  Result<std::vector<PublishedMember>> members = published_members(source.list);
  if (!members) return tl::unexpected(members.error());
  // Who chooses wants what is installed from the copy, not what only stands there to be removed.
  if (!request_.filters.empty()) {
    std::erase_if(*members, [](const PublishedMember& member) { return member.is_deprecated; });
  }
  progress_.begin(members->size());
  std::vector<std::pair<const PublishedMember*, std::string>> missing;
  for (const PublishedMember& member : *members) {
    if (stop_.stop_requested()) return failed(member.path, pkg::kStopped);
    if (folder_.has(member.path, *framework::parse_sha256(member.digest))) {
      ++outcome_.present;
      progress_.member_done();
      continue;
    }
    std::string encoded;
    framework::append_encoded_path(encoded, member.path);
    const framework::RequestUrl url = framework::http_request_url(source.url, encoded);
    if (!url) return failed(member.owner, url.error());
    missing.emplace_back(&member, *url);
  }
  std::vector<std::string> urls;
  for (const auto& [member, url] : missing) urls.push_back(url);
  http_.expect(urls);
  Result<void> done;
  for (std::size_t place = 0; done && place < missing.size(); ++place) {
    const auto& [member, url] = missing[place];
    done =
        stop_.stop_requested() ? failed(member->path, pkg::kStopped) : fetch_member(*member, url);
    if (!done && member->is_deprecated && !stop_.stop_requested()) {
      warn("Left out, as its package is deprecated: " + done.error().text);
      done = {};
    }
    if (done) progress_.member_done();
  }
  http_.expect({});
  return done;
}

Result<void> Mirror::put_list(const SourceList& source) {
  const framework::Sha256Digest digest = framework::sha256(source.archive);
  const std::string archive(kArchiveName);
  outcome_.is_list_new = !folder_.has(archive, digest);
  if (outcome_.is_list_new && old_build_ && old_build_ == source.list.build_number()) {
    warn("The list is another one with the same build number, " + std::to_string(*old_build_) +
         ": managers that have this build keep theirs until the next one.");
  }
  // Until the archive stands the signature fits neither the old list nor the new one, which
  // managers refuse; they never take what is not signed.
  const bool was_signed =
      !folder_.read(std::string(kSignatureName), framework::kSignatureLimit).empty();
  if (outcome_.is_list_new) {
    if (auto gone = folder_.remove(std::string(kSignatureName)); !gone) return gone;
    if (auto put = folder_.write(archive, source.archive); !put) return put;
  }
  if (auto put = folder_.write(std::string(kDigestName), digest_line(framework::to_hex(digest)));
      !put) {
    return put;
  }
  if (!source.signature.empty()) {
    if (auto put = folder_.write(std::string(kSignatureName), source.signature); !put) return put;
  }
  outcome_.is_signed =
      !folder_.read(std::string(kSignatureName), framework::kSignatureLimit).empty();
  if (!outcome_.is_signed && (was_signed || is_own_list_)) {
    note("The list is not signed: sign it with \"zendro-store sign\" where managers ask for it. " +
         std::string(is_own_list_ ? "The store's signature does not hold for a part of its list."
                                  : "The store does not sign this one."));
  }
  return {};
}

std::string Mirror::type_of_source(const SourceList& source) const {
  std::string type = type_of(source.list);
  const bool is_xbrl = request_.source.find("/" + bootstrap_path("xbrl")) != std::string::npos;
  return type.empty() ? (is_xbrl ? "xbrl" : "xsd") : type;
}

Result<void> Mirror::put_bootstrap(const std::string& type) {
  const std::string path = bootstrap_path(type);
  if (!request_.url.empty()) {
    const std::string document = bootstrap_document(request_.url);
    if (folder_.read(path, pkg::kBootstrapLimit) == document) return {};
    return folder_.write(path, document);
  }
  if (folder_.read(path, pkg::kBootstrapLimit).empty()) {
    note("There is no " + path + " yet: say with --url where the copy will be served.");
  }
  return {};
}

Result<MirrorOutcome> Mirror::run() {
  if (!request_.url.empty() &&
      (!request_.url.ends_with('/') || !framework::http_request_url(request_.url))) {
    return failed(loggable_url(request_.url),
                  "--url takes an http or https URL that ends with \"/\"");
  }
  const Result<std::string> store = find_store();
  if (!store) return tl::unexpected(store.error());
  if (const auto url = framework::http_request_url(*store); !url || !store->ends_with('/')) {
    return failed(loggable_url(*store),
                  url ? "a store URL ends with \"/\"" : std::string_view(url.error()));
  }
  Result<SourceList> source = fetch_list(*store);
  if (!source) return tl::unexpected(source.error());
  Result<void> done = refuse_older(*source);
  if (done) done = choose(*source);
  if (done) done = fetch_members(*source);
  if (done) done = put_list(*source);
  if (done) done = put_bootstrap(type_of_source(*source));
  if (!done) return tl::unexpected(done.error());
  outcome_.packages = source->list.packages().size();
  return outcome_;
}

}  // namespace

Result<MirrorOutcome> mirror(HttpTransport& http, const MirrorRequest& request,
                             const MirrorSinks& sinks, const std::stop_token& stop) {
  Result<TreeFolder> folder = TreeFolder::open(request.folder);
  if (!folder) return tl::unexpected(folder.error());
  return Mirror(http, request, sinks, stop, std::move(*folder)).run();
}

}  // namespace zendro::store
