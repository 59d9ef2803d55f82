#include "pkg/list_origin.h"

#include <algorithm>

#include "app/options/options.h"
#include "framework/text/json.h"
#include "framework/url/loggable.h"
#include "pkg/list_files.h"
#include "pkg/replace_file.h"

namespace zendro::pkg {
namespace {

constexpr std::string_view kFile = "list-origin.json";
constexpr std::uint64_t kFileLimit = 64ull << 10;
// More than any server sends; what has to be asked with must fit into a request.
constexpr std::size_t kLongestValue = 1024;

constexpr std::string_view kUrl = "url";
constexpr std::string_view kBuildNumber = "build_number";
constexpr std::string_view kPublicKey = "public_key";
constexpr std::string_view kStamp = "stamp";
constexpr std::string_view kBootstrap = "bootstrap";
constexpr std::string_view kStore = "store";
constexpr std::string_view kETag = "ETag";
constexpr std::string_view kLastModified = "Last-Modified";

// Whether a value can stand in a header of a request (RFC 9110, section 5.5).
bool is_sendable(std::string_view value) {
  return !value.empty() && value.size() <= kLongestValue &&
         std::all_of(value.begin(), value.end(), [](char c) { return c >= 0x20 && c != 0x7F; });
}

// The text of a member; empty where there is none.
std::string text_of(const json::object& map, std::string_view name) {
  const json::value* value = map.if_contains(name);
  return value != nullptr && value->is_string() ? std::string(framework::as_string(*value)) : "";
}

std::string public_key(const core_context& context) {
  const json::value key = app::get_store_public_key(&context.options());
  return key.is_string() ? std::string(framework::as_string(key)) : "";
}

std::optional<std::int64_t> build_number_on_disk(core_context& context) {
  const read_list_t list = read_list(context.cache_folder(), context.available_name());
  return list ? list->build_number() : std::nullopt;
}

std::optional<json::object> read_origin(core_context& context) {
  const borrowed_folder folder = context.cache_folder().open();
  if (!folder) return std::nullopt;
  const framework::Result<std::string> text = (*folder)->read_file(kFile, kFileLimit);
  if (!text) return std::nullopt;
  framework::ParsedJson document = framework::parse_json(*text);
  if (!document || !document->is_object()) return std::nullopt;
  return std::move(document->get_object());
}

void write_origin(core_context& context, const json::object& origin) {
  std::string text;
  framework::JsonWriter(text).append(origin);
  message_reporter unheard({});
  replace_file(context.cache_folder(), kFile, text + "\n", unheard);
}

// What the list on the disk is known by without reading it; empty where it cannot be opened.
std::string stamp_on_disk(core_context& context) {
  const borrowed_folder folder = context.cache_folder().open();
  if (!folder || !(*folder)->open_file(context.available_name())) return {};
  return std::to_string((*folder)->stamp_of(context.available_name()));
}

// Whether the list on the disk has the build number of this origin. Takes note of its stamp then.
// That is not done as soon as the list is written: what changes it in the same tick of the clock
// would go unnoticed.
bool is_of_disk(core_context& context, json::object& origin) {
  const json::value* build_number = origin.if_contains(kBuildNumber);
  if (build_number == nullptr || !build_number->is_int64()) return false;
  const std::string stamp = stamp_on_disk(context);
  if (stamp.empty()) return false;
  if (stamp == text_of(origin, kStamp)) return true;
  if (build_number_on_disk(context) != build_number->get_int64()) return false;
  if (stamp == stamp_on_disk(context)) {
    origin[kStamp] = stamp;
    write_origin(context, origin);
  }
  return true;
}

// What a document is known by; empty where its headers do not tell versions apart, or where its URL
// has a password, which is not to stand on the disk.
json::object validators_of(const known_document_t& document) {
  json::object validators;
  if (framework::hide_credentials(document.url) != document.url) return validators;
  for (const std::string_view name : {kETag, kLastModified}) {
    const auto header = document.headers.find(name);
    if (header != document.headers.end() && is_sendable(header->second)) {
      validators[name] = header->second;
    }
  }
  if (!validators.empty()) validators[kUrl] = document.url;
  return validators;
}

conditions_t conditions_of(const json::object& validators) {
  const std::string etag = text_of(validators, kETag);
  if (is_sendable(etag)) return {{"If-None-Match", etag}};
  // Only where there is no better one: what is published twice within a second has the same date.
  const std::string last_modified = text_of(validators, kLastModified);
  if (is_sendable(last_modified)) return {{"If-Modified-Since", last_modified}};
  return {};
}

}  // namespace

std::optional<known_store_t> known_store(core_context& context, const std::string& bootstrap_url) {
  const std::optional<json::object> origin = read_origin(context);
  const json::value* kept = origin ? origin->if_contains(kBootstrap) : nullptr;
  if (kept == nullptr || !kept->is_object()) return std::nullopt;
  const json::object& validators = kept->get_object();
  if (text_of(validators, kUrl) != bootstrap_url) return std::nullopt;
  known_store_t store{text_of(*origin, kStore), {bootstrap_url, {}}, conditions_of(validators)};
  if (store.url.empty() || store.conditions.empty()) return std::nullopt;
  for (const std::string_view name : {kETag, kLastModified}) {
    store.bootstrap.headers.emplace(name, text_of(validators, name));
  }
  return store;
}

conditions_t conditions_for(core_context& context, const std::string& url) {
  std::optional<json::object> origin = read_origin(context);
  if (!origin || text_of(*origin, kUrl) != url ||
      text_of(*origin, kPublicKey) != public_key(context) || !is_of_disk(context, *origin)) {
    return {};
  }
  return conditions_of(*origin);
}

void note_list_origin(core_context& context, const known_document_t& bootstrap,
                      const std::string& store_url, const known_document_t& archive,
                      std::optional<std::int64_t> build_number) {
  json::object origin = validators_of(archive);
  if (origin.empty() || !build_number || build_number_on_disk(context) != build_number) return;
  origin[kBuildNumber] = *build_number;
  origin[kPublicKey] = public_key(context);
  origin[kBootstrap] = validators_of(bootstrap);
  origin[kStore] = store_url;
  write_origin(context, origin);
}

void forget_list_origin(core_context& context) {
  const borrowed_folder folder = context.cache_folder().open();
  // Where it cannot be removed, a list cannot be put in place either.
  if (folder) static_cast<void>((*folder)->remove_file(kFile));
}

}  // namespace zendro::pkg
