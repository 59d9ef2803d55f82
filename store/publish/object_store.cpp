#include "store/publish/object_store.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <thread>

#include "framework/text/ascii.h"
#include "framework/text/percent.h"
#include "framework/url/http_url.h"
#include "framework/url/loggable.h"
#include "pkg/progress.h"

#include "store/failure.h"
#include "store/tree_on_disk.h"

namespace zendro::store {
namespace {

using framework::BatchRequest;
using framework::BatchResult;
using framework::IoError;
using framework::loggable_url;
using framework::Result;

constexpr std::size_t kAtOnce = 16;
constexpr int kMostTries = 3;
constexpr std::chrono::milliseconds kFirstPause{300};  // doubled for each further try

constexpr std::string_view kDigest = "x-amz-meta-sha256";
constexpr std::string_view kBuildNumber = "x-amz-meta-build-number";
// SHA-256 of nothing, for requests without a body.
constexpr const char* kNoBody = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";

std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

/// As signatures want it: every byte encoded but unreserved ones and the slash.
std::string encoded_key(std::string_view path) {
  std::string out;
  for (const char c : path) {
    const bool is_kept = framework::is_ascii_letter(c) || framework::is_ascii_digit(c) ||
                         std::string_view("-._~/").find(c) != std::string_view::npos;
    if (is_kept) {
      out += c;
    } else {
      framework::append_percent_encoded(out, static_cast<unsigned char>(c));
    }
  }
  return out;
}

/// What stands in an element of the document that an object store sends with an error.
std::string_view element_of(std::string_view document, const std::string& name) {
  const std::size_t begin = document.find("<" + name + ">");
  if (begin == std::string_view::npos) return {};
  document.remove_prefix(begin + name.size() + 2);
  const std::size_t end = document.find("</" + name + ">");
  return end == std::string_view::npos ? std::string_view() : document.substr(0, end);
}

/// Whether the same request may succeed a little later.
bool may_pass(const BatchResult& result) {
  return result.status == 0 || result.status == 429 || result.status == 408 ||
         result.status >= 500 || (result.status == 200 && result.error);
}

template <typename Number>
std::optional<Number> number_of(const framework::HttpHeaders& headers, std::string_view name) {
  const auto header = headers.find(name);
  if (header == headers.end()) return std::nullopt;
  Number number{};
  const char* end = header->second.data() + header->second.size();
  const auto [stopped, error] = std::from_chars(header->second.data(), end, number);
  if (error != std::errc() || stopped != end) return std::nullopt;
  return number;
}

std::optional<StoredObject> object_of(const BatchResult& result) {
  if (result.status != 200) return std::nullopt;
  StoredObject object;
  object.size = number_of<std::uint64_t>(result.headers, "Content-Length").value_or(0);
  object.build_number = number_of<std::int64_t>(result.headers, kBuildNumber);
  const auto digest = result.headers.find(kDigest);
  if (digest == result.headers.end()) return object;
  if (const auto parsed = framework::parse_sha256(digest->second)) {
    object.digest = framework::to_hex(*parsed);
  }
  return object;
}

}  // namespace

Result<std::string> object_store_url(std::string_view target, std::string_view endpoint) {
  constexpr std::string_view scheme = "s3://";
  std::string_view path = target;
  const bool is_s3 = path.starts_with(scheme);
  if (is_s3) path.remove_prefix(scheme.size());
  while (path.ends_with('/')) path.remove_suffix(1);
  if (!is_s3 || path.empty() || path.starts_with('/') ||
      ("/" + std::string(path) + "/").find("/.") != std::string::npos ||
      path.find("//") != std::string_view::npos) {
    return failed(loggable_url(target), "a target is s3://BUCKET or s3://BUCKET/PREFIX");
  }
  const framework::RequestUrl url = framework::http_request_url(endpoint);
  const bool has_more = endpoint.find_first_of("?#@") != std::string_view::npos;
  if (!url || has_more) {
    return failed(loggable_url(endpoint),
                  "an endpoint is an http or https URL without user name and query");
  }
  return *url + (url->ends_with('/') ? "" : "/") + encoded_key(path) + "/";
}

Result<ObjectStoreKey> object_store_key() {
  ObjectStoreKey key;
  key.key.id = environment("AWS_ACCESS_KEY_ID");
  key.key.secret = environment("AWS_SECRET_ACCESS_KEY");
  key.session_token = environment("AWS_SESSION_TOKEN");
  key.key.region = environment("AWS_REGION");
  if (key.key.region.empty()) key.key.region = environment("AWS_DEFAULT_REGION");
  if (key.key.region.empty()) key.key.region = "us-east-1";
  for (const char* name : {"AWS_ACCESS_KEY_ID", "AWS_SECRET_ACCESS_KEY"}) {
    if (environment(name).empty()) return failed(name, "is not set in the environment");
  }
  return key;
}

ObjectStore::ObjectStore(std::string url, ObjectStoreKey key,
                         const framework::TransportSettings& settings)
    : url_(std::move(url)), key_(std::move(key)), batch_(settings, key_.key) {}

BatchRequest ObjectStore::request_to(const std::string& path, BatchRequest::Method method) const {
  BatchRequest request;
  request.method = method;
  request.url = url_ + encoded_key(path);
  if (!key_.session_token.empty()) {
    request.headers.emplace_back("x-amz-security-token", key_.session_token);
  }
  return request;
}

/// What the object store says about it, without whatever it repeats of the request.
IoError ObjectStore::error_of(const BatchRequest& request, const BatchResult& result) const {
  if (result.error) return result.error;
  std::string text = loggable_url(request.url) + ": HTTP status " + std::to_string(result.status);
  for (const char* name : {"Code", "Message"}) {
    const std::string_view part = element_of(result.body, name);
    if (!part.empty())
      text += std::string(name == std::string("Code") ? ", " : ": ") +
              framework::loggable_text(part.substr(0, 300));
  }
  const auto region = result.headers.find("x-amz-bucket-region");
  if (region != result.headers.end() && region->second != key_.key.region) {
    text += ": set AWS_REGION to that of the bucket, " + framework::loggable_text(region->second);
  } else if (request.method == BatchRequest::Method::head && result.status == 403) {
    text += ": the key is not known, or may not read, write and list there";
  }
  for (const std::string& secret : {key_.key.secret, key_.session_token, key_.key.id}) {
    constexpr std::string_view hidden = "***";
    std::size_t at = 0;
    while (!secret.empty() && (at = text.find(secret, at)) != std::string::npos) {
      text.replace(at, secret.size(), hidden);
      at += hidden.size();
    }
  }
  return {text};
}

/// Sends all requests; those that fail for a reason that may pass again after a pause.
Result<ObjectStore::Results> ObjectStore::send(const std::vector<BatchRequest>& requests,
                                               const std::stop_token& stop,
                                               const std::function<void(std::size_t)>& done) {
  Results results(requests.size());
  std::vector<std::size_t> places(requests.size());
  for (std::size_t place = 0; place < places.size(); ++place) places[place] = place;
  for (int tries = 1; !places.empty(); ++tries) {
    std::vector<BatchRequest> batch;
    for (const std::size_t place : places) batch.push_back(requests[place]);
    std::vector<std::size_t> again;
    // What cannot succeed ends the rest: nothing more is begun.
    std::stop_source broken;
    const std::stop_callback forwarded(stop, [&] { broken.request_stop(); });
    std::optional<IoError> failure;
    batch_.run(
        batch, kAtOnce,
        [&](std::size_t index, BatchResult result) {
          const std::size_t place = places[index];
          const bool is_good = result.status == 200 || (result.status == 404 && !done);
          if (is_good && !result.error) {
            results[place] = std::move(result);
            if (done) done(place);
          } else if (may_pass(result) && tries < kMostTries) {
            again.push_back(place);
          } else if (!failure) {
            failure = error_of(requests[place], result);
            broken.request_stop();
          }
        },
        broken.get_token());
    if (failure) return tl::unexpected(*failure);
    if (stop.stop_requested()) return failed(loggable_url(url_), pkg::kStopped);
    places = std::move(again);
    if (!places.empty()) std::this_thread::sleep_for(kFirstPause * (1 << (tries - 1)));
  }
  return results;
}

Result<std::vector<std::optional<StoredObject>>> ObjectStore::look_at(
    const std::vector<std::string>& paths, const std::stop_token& stop) {
  std::vector<BatchRequest> requests;
  for (const std::string& path : paths) {
    requests.push_back(request_to(path, BatchRequest::Method::head));
    requests.back().headers.emplace_back("x-amz-content-sha256", kNoBody);
  }
  const Result<Results> results = send(requests, stop);
  if (!results) return tl::unexpected(results.error());
  std::vector<std::optional<StoredObject>> objects;
  for (const BatchResult& result : *results) objects.push_back(object_of(result));
  return objects;
}

Result<void> ObjectStore::put(const std::vector<NewObject>& objects, const std::stop_token& stop,
                              const std::function<void(const NewObject&)>& done) {
  std::vector<BatchRequest> requests;
  for (const NewObject& object : objects) {
    BatchRequest request = request_to(object.path, BatchRequest::Method::put);
    request.file = object.file;
    request.headers.emplace_back("Content-Type", media_type(object.path));
    request.headers.emplace_back("Cache-Control", cache_control(object.path));
    request.headers.emplace_back("x-amz-content-sha256", object.digest);
    request.headers.emplace_back(kDigest, object.digest);
    if (object.build_number) {
      request.headers.emplace_back(kBuildNumber, std::to_string(*object.build_number));
    }
    requests.push_back(std::move(request));
  }
  const Result<Results> results = send(requests, stop, [&](std::size_t place) {
    if (done) done(objects[place]);
  });
  if (!results) return tl::unexpected(results.error());
  return {};
}

}  // namespace zendro::store
