#include "pkg/store.h"

#include <optional>
#include <utility>

#include "app/options.h"
#include "framework/digest.h"
#include "framework/url_io.h"
#include "pkg/catalogs.h"
#include "pkg/list_files.h"
#include "pkg/remote_io_log.h"

namespace zendro::pkg {
namespace {

using framework::IoError;

constexpr std::size_t kBootstrapBuffer = 512;
constexpr std::uint64_t kBootstrapLimit = 1ull << 20;
constexpr std::size_t kArchiveBuffer = 65536;
constexpr std::uint64_t kArchiveLimit = 256ull << 20;
constexpr std::string_view kDigestHeader = "x-amz-meta-sha256";
constexpr std::string_view kStoreUrl = "pkg.store_url";
constexpr std::string_view kMemoryName = "pkgs-available-json-zip";

// Checks the archive against the digest that came with it, if one did.
bool is_proven(core_context_t& context, const framework::HttpHeaders& headers,
               const std::string& archive_url, const std::string& archive) {
  const auto header = headers.find(kDigestHeader);
  if (header == headers.end()) return true;
  const msg::Argument file = text_argument(L"file", archive_url);
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

// The list document inside the archive, which is readable through a URL while this runs.
bool unpack(const core_context_t& context, std::string archive, std::string& list, IoError& error) {
  const framework::MemoryFile file(kMemoryName,
                                   std::make_shared<const std::string>(std::move(archive)));
  const std::string url =
      file.url() + std::string(framework::kZipSeparator) + context.available_name();
  const std::shared_ptr<framework::IOImpl_base> member = framework::open_url(url, error);
  return member && framework::read_all(*member, list, kArchiveBuffer, kListLimit, error, url);
}

// Whether the list that is in place is to be replaced by one with this build number.
bool is_newer(std::optional<std::int64_t> build_number, const core_context_t& context) {
  if (!build_number) return true;
  std::string unreadable;
  const std::optional<pkgs_available_t> current = read_list(context.available_path(), unreadable);
  return !current || !current->build_number() || *build_number > *current->build_number();
}

}  // namespace

bootstrap_result_t bootstrap_store(core_context_t& context) {
  const msg::Arguments pkgtype = {context.pkgtype()};
  const auto failed = [&](msg::Code code, std::string_view hint = {}) {
    context.fail(code, pkgtype, hint);
    return bootstrap_result_t{};
  };
  const json::value url = app::get_store_bootstrap_url(&context.options());
  framework::HttpRequest request;
  request.url = url.is_null() ? std::string_view() : framework::as_string(url);
  request.trace_log = remote_io_log_path(context, "bootstrap");
  if (app::is_staging()) request.trace_level = framework::kTraceStatusOnly;
  IoError error;
  const auto response = context.get(request, error);
  context.reporter().report(error);
  if (!response) return failed(msg::Code::connect_pkg_store);

  std::string body;
  const bool complete =
      framework::read_all(*response, body, kBootstrapBuffer, kBootstrapLimit, error, request.url);
  context.reporter().report(error);
  if (!complete) return failed(msg::Code::fetch_pkg_store_info);

  json::value document;
  std::string cause;
  if (!framework::parse_json(body, document, cause)) {
    return failed(msg::Code::read_pkg_store_info, cause);
  }
  const json::object* members = document.if_object();
  const json::value* store_url = members == nullptr ? nullptr : members->if_contains(kStoreUrl);
  if (store_url == nullptr || !store_url->is_string()) {
    return failed(msg::Code::invalid_pkg_store_info);
  }
  return {std::string(framework::as_string(*store_url)), true};
}

bool update_store_information(core_context_t& context, bool force) {
  const msg::Arguments pkgtype = {context.pkgtype()};
  if (!force && !context.is_initialised()) return context.fail(msg::Code::not_initialized, pkgtype);
  context.log(msg::Code::log_update_cache, msg::kLevelDetail,
              {context.pkgtype(), path_argument(context.cache_root())});
  context.log(msg::Code::log_fetch_pkg_available, msg::kLevelProgress, pkgtype);
  const bootstrap_result_t store = bootstrap_store(context);
  if (!store.ok) return false;

  // A store URL ends with a slash, so no separator is added.
  framework::HttpRequest request;
  request.url = store.store_url + context.available_name() + ".zip";
  request.trace_log = remote_io_log_path(context, "update");
  if (app::is_staging()) request.trace_level = framework::kTraceEverything;
  IoError error;
  std::string archive;
  const auto response = context.get(request, error);
  const bool received = response && framework::read_all(*response, archive, kArchiveBuffer,
                                                        kArchiveLimit, error, request.url);
  context.reporter().report(error);
  if (!received) return context.fail(msg::Code::update_pkg_store_information, pkgtype);
  if (!is_proven(context, response->headers(), request.url, archive)) return false;

  std::string list;
  if (!unpack(context, std::move(archive), list, error)) {
    context.reporter().report(error);
    return context.fail(msg::Code::update_pkg_store_information, pkgtype);
  }
  std::string cause;
  const std::optional<pkgs_available_t> document = parse_list(std::move(list), cause);
  if (!document) return context.fail(msg::Code::invalid_pkg_store_information, pkgtype, cause);
  return write_pkg_information(context, *document);
}

bool write_pkg_information(core_context_t& context, const pkgs_available_t& list) {
  const msg::Arguments pkgtype = {context.pkgtype()};
  if (is_newer(list.build_number(), context)) {
    context.log(msg::Code::log_update_pkg_available, msg::kLevelProgress, pkgtype);
    if (!write_available(context, list)) return false;
    context.log(msg::Code::log_update_pkg_catalogs, msg::kLevelProgress, pkgtype);
  } else {
    context.log(msg::Code::log_pkgs_available_up_to_date, msg::kLevelProgress, pkgtype);
  }
  return update_catalogs(context);
}

}  // namespace zendro::pkg
