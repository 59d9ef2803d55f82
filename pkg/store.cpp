#include "pkg/store.h"

#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "app/options/options.h"
#include "framework/io/digest.h"
#include "framework/sign/signature.h"
#include "framework/system/files.h"
#include "framework/url/loggable.h"
#include "framework/url/url_io.h"
#include "pkg/catalogs.h"
#include "pkg/list_files.h"
#include "pkg/list_origin.h"
#include "pkg/list_signature.h"
#include "pkg/remote_io_log.h"

namespace zendro::pkg {
namespace {

using framework::Result;

constexpr std::size_t kBootstrapBuffer = 512;
constexpr std::size_t kArchiveBuffer = 65536;
constexpr std::string_view kStoreUrl = "pkg.store_url";
constexpr std::string_view kMemoryName = "pkgs-available-json-zip";

// Checks the archive against the digest that came with it, if one did.
bool is_proven(core_context& context, const framework::HttpHeaders& headers,
               const std::string& shown_url, const std::string& archive) {
  const auto header = headers.find(kDigestHeader);
  if (header == headers.end()) return true;
  const msg::Argument file = text_argument(L"file", shown_url);
  const std::optional<framework::Sha256Digest> expected = framework::parse_sha256(header->second);
  if (!expected) {
    return context.fail(msg::Code::checksum_invalid_pkg_store_info,
                        {file, text_argument(L"sum", header->second)});
  }
  if (framework::sha256(archive) != *expected) {
    return context.fail(msg::Code::checksum_mismatch_pkg_store_info, {file});
  }
  return true;
}

framework::HttpAnswer open_document(core_context& context, const std::string& url,
                                    conditions_t conditions = {}) {
  framework::HttpRequest request;
  request.url = url;
  request.is_conditional = !conditions.empty();
  request.headers = std::move(conditions);
  request.trace_log = open_remote_io_log(context, "update");
  if (app::is_staging()) request.trace_level = framework::kTraceEverything;
  return context.get(request);
}

Result<std::string> read_document(const framework::HttpAnswer& response, std::uint64_t limit,
                                  const std::string& shown_url) {
  if (!response) return tl::unexpected(response.error());
  return framework::read_all(**response, kArchiveBuffer, limit, shown_url);
}

// The bytes of the archive in an answer, proven; nothing after reporting what went wrong.
std::optional<std::string> read_archive(core_context& context,
                                        const framework::HttpAnswer& response,
                                        const std::string& url, const std::string& shown_url) {
  Result<std::string> archive = read_document(response, kArchiveLimit, shown_url);
  if (!archive) {
    context.reporter().report(archive.error());
    context.fail(msg::Code::update_pkg_store_information, {context.pkgtype()});
    return std::nullopt;
  }
  const auto fetch_signature = [&]() -> Result<std::string> {
    const std::string suffix(framework::kSignatureSuffix);
    return read_document(open_document(context, url + suffix), framework::kSignatureLimit,
                         shown_url + suffix);
  };
  if (!is_proven(context, (*response)->headers(), shown_url, *archive) ||
      !is_signed(context, *archive, shown_url, fetch_signature)) {
    return std::nullopt;
  }
  return std::move(*archive);
}

// What error texts call the list document inside the archive.
std::string member_url(std::string_view name, const std::string& shown_url) {
  return shown_url + std::string(framework::kZipSeparator) + std::string(name);
}

// Keeps what is installed and stands in the new list no more. That the list of installed packages
// cannot be read is reported later, by the update of the catalogs.
void keep_vanished(core_context& context, pkgs_available_t& list) {
  const std::lock_guard lock(context.global_lock());
  const read_list_t installed = read_list(context.cache_folder(), context.installed_name());
  if (!installed) return;
  std::vector<const package_t*> vanished;
  for (const package_t& package : installed->packages()) {
    if (list.find_entry(package.identity) == nullptr) vanished.push_back(&package);
  }
  list.keep_vanished(vanished);
}

// Whether the list that is in place is to be replaced by one with this build number.
bool is_newer(std::optional<std::int64_t> build_number, core_context& context) {
  if (!build_number) return true;
  const read_list_t current = read_list(context.cache_folder(), context.available_name());
  return !current || !current->build_number() || *build_number > *current->build_number();
}

// The list in a proven archive; nothing after reporting what went wrong.
std::optional<pkgs_available_t> read_new_list(core_context& context, std::string archive,
                                              const std::string& shown_url) {
  const msg::Arguments pkgtype = {context.pkgtype()};
  Result<std::string> list = unpack_list(std::move(archive), context.available_name(), shown_url);
  if (!list) {
    context.reporter().report(list.error());
    context.fail(msg::Code::update_pkg_store_information, pkgtype);
    return std::nullopt;
  }
  read_list_t document = parse_list(std::move(*list));
  if (!document) {
    context.fail(msg::Code::invalid_pkg_store_information, pkgtype,
                 member_url(context.available_name(), shown_url) + ": " + document.error());
    return std::nullopt;
  }
  // The list that is written keeps what is named here.
  warn_refused(context, *document, context.available_path(),
               member_url(context.available_name(), shown_url));
  return std::move(*document);
}

struct located_store_t {
  std::string url;
  known_document_t bootstrap;
};

std::string bootstrap_url(const core_context& context) {
  const json::value url = app::get_store_bootstrap_url(&context.options());
  return std::string(url.is_null() ? std::string_view() : framework::as_string(url));
}

// Asks the bootstrap endpoint where the store is, or whether it is not where it was `known` to be.
std::optional<located_store_t> locate_store(core_context& context, bool many_follow,
                                            const std::optional<known_store_t>& known) {
  const msg::Arguments pkgtype = {context.pkgtype()};
  const auto failed = [&](msg::Code code, std::string_view hint = {}) {
    context.fail(code, pkgtype, hint);
    return std::nullopt;
  };
  framework::HttpRequest request;
  request.url = bootstrap_url(context);
  request.trace_log = open_remote_io_log(context, "bootstrap");
  if (app::is_staging()) request.trace_level = framework::kTraceStatusOnly;
  request.many_follow = many_follow;
  request.is_conditional = known.has_value();
  if (known) request.headers = known->conditions;
  const std::string shown_url = framework::loggable_url(request.url);
  const framework::HttpAnswer response = context.get(request);
  if (!response) {
    context.reporter().report(response.error());
    return failed(msg::Code::connect_pkg_store);
  }
  if (known && (*response)->status() == framework::kNotModified) {
    return located_store_t{known->url, known->bootstrap};
  }
  known_document_t bootstrap{request.url, (*response)->headers()};

  const Result<std::string> body =
      framework::read_all(**response, kBootstrapBuffer, kBootstrapLimit, shown_url);
  if (!body) {
    context.reporter().report(body.error());
    return failed(msg::Code::fetch_pkg_store_info);
  }
  const framework::ParsedJson document = framework::parse_json(*body);
  if (!document) {
    return failed(msg::Code::read_pkg_store_info, shown_url + ": not JSON: " + document.error());
  }
  try {
    return located_store_t{store_url_of(*document), std::move(bootstrap)};
  } catch (const framework::JsonError& problem) {
    return failed(msg::Code::invalid_pkg_store_info, shown_url + ": " + problem.what());
  }
}

// Says that the list on the disk is the newest one, and brings the catalogs up to date.
bool keep_list(core_context& context) {
  context.log(msg::Code::log_pkgs_available_up_to_date, msg::kLevelProgress, {context.pkgtype()});
  return update_catalogs(context);
}

}  // namespace

std::string store_url_of(const json::value& document) {
  const json::value* url = framework::as_map(document).if_contains(kStoreUrl);
  if (url == nullptr) throw framework::JsonError("there is no \"pkg.store_url\"");
  if (!url->is_string()) throw framework::JsonError("\"pkg.store_url\" is not a text");
  return std::string(framework::as_string(*url));
}

// The archive is readable through a URL while this runs.
Result<std::string> unpack_list(std::string archive, std::string_view name,
                                const std::string& shown_url) {
  const framework::MemoryFile file(kMemoryName,
                                   std::make_shared<const std::string>(std::move(archive)));
  const framework::OpenedStream bytes = framework::open_url(file.url());
  if (!bytes) return tl::unexpected(bytes.error());
  const framework::OpenedStream member = framework::open_archive_path(*bytes, name, shown_url);
  if (!member) return tl::unexpected(member.error());
  return framework::read_all(**member, kArchiveBuffer, kListLimit, member_url(name, shown_url));
}

std::optional<std::string> bootstrap_store(core_context& context) {
  std::optional<located_store_t> store = locate_store(context, true, std::nullopt);
  return store ? std::optional(std::move(store->url)) : std::nullopt;
}

bool update_store_information(core_context& context, bool force, bool always) {
  const msg::Arguments pkgtype = {context.pkgtype()};
  if (force ? !context.has_folders() : !context.is_initialised()) {
    return context.fail(msg::Code::not_initialized, pkgtype);
  }
  context.log(msg::Code::log_update_cache, msg::kLevelDetail,
              {context.pkgtype(), path_argument(context.cache_root())});
  context.log(msg::Code::log_fetch_pkg_available, msg::kLevelProgress, pkgtype);
  const std::optional<located_store_t> store = locate_store(
      context, false, always ? std::nullopt : known_store(context, bootstrap_url(context)));
  if (!store) return false;

  // A store URL ends with a slash, so no separator is added.
  const std::string url = store->url + context.available_name() + ".zip";
  const std::string shown_url = framework::loggable_url(url);
  const framework::HttpAnswer answer =
      open_document(context, url, always ? conditions_t() : conditions_for(context, url));
  if (answer && (*answer)->status() == framework::kNotModified) return keep_list(context);
  // The answer itself goes with the next request.
  const known_document_t known_archive{url,
                                       answer ? (*answer)->headers() : framework::HttpHeaders()};
  std::optional<std::string> archive = read_archive(context, answer, url, shown_url);
  if (!archive) return false;
  std::optional<pkgs_available_t> list = read_new_list(context, std::move(*archive), shown_url);
  if (!list) return false;
  const std::optional<std::int64_t> build_number = list->build_number();
  if (!write_pkg_information(context, std::move(*list))) return false;
  note_list_origin(context, store->bootstrap, store->url, known_archive, build_number);
  return true;
}

bool update_from_archive(core_context& context, std::string_view path) {
  const msg::Arguments pkgtype = {context.pkgtype()};
  const std::string name(path);
  constexpr std::size_t digits = 64;
  Result<std::string> archive =
      framework::read_file(framework::path_from_utf8(name), kArchiveLimit);
  const Result<std::string> digest =
      archive ? framework::read_file(framework::path_from_utf8(name + ".sha256"), kBootstrapLimit)
              : tl::unexpected(archive.error());
  if (!digest) {
    context.reporter().report(digest.error());
    return context.fail(msg::Code::update_pkg_store_information, pkgtype);
  }
  const framework::HttpHeaders headers = {{std::string(kDigestHeader), digest->substr(0, digits)}};
  context.log(msg::Code::log_update_cache, msg::kLevelDetail,
              {context.pkgtype(), path_argument(context.cache_root())});
  const auto read_signature = [&name] {
    return framework::read_file(
        framework::path_from_utf8(name + std::string(framework::kSignatureSuffix)),
        framework::kSignatureLimit);
  };
  if (!is_proven(context, headers, name, *archive) ||
      !is_signed(context, *archive, name, read_signature)) {
    return false;
  }
  std::optional<pkgs_available_t> list = read_new_list(context, std::move(*archive), name);
  return list && write_pkg_information(context, std::move(*list));
}

bool write_pkg_information(core_context& context, pkgs_available_t list) {
  const msg::Arguments pkgtype = {context.pkgtype()};
  if (!is_newer(list.build_number(), context)) return keep_list(context);
  context.log(msg::Code::log_update_pkg_available, msg::kLevelProgress, pkgtype);
  keep_vanished(context, list);
  if (!write_available(context, list)) return false;
  context.log(msg::Code::log_update_pkg_catalogs, msg::kLevelProgress, pkgtype);
  return update_catalogs(context);
}

}  // namespace zendro::pkg
