#include "framework/http/redirect.h"

#include "framework/url/http_url.h"
#include "framework/url/loggable.h"

namespace zendro::framework {
namespace {

constexpr int kMaxRedirects = 10;

}  // namespace

bool leads_elsewhere(long status, bool is_post) {
  if (status == 307 || status == 308) return true;
  return !is_post && (status == 301 || status == 302 || status == 303);
}

tl::expected<std::string, std::string> redirect_target(const Transfer& answer, int redirects) {
  const auto location = answer.headers.find("Location");
  if (location == answer.headers.end()) {
    return tl::unexpected<std::string>("redirect without a location");
  }
  RequestUrl target = http_request_url(resolve_url(answer.url, location->second));
  if (redirects == kMaxRedirects) {
    target = tl::unexpected("more than " + std::to_string(kMaxRedirects) + " redirects");
  } else if (target && is_https(answer.url) && !is_https(*target)) {
    target = tl::unexpected<std::string>("https must not lead to http");
  }
  return std::move(target).map_error([&location](const std::string& cause) {
    return "redirect to \"" + loggable_url(location->second) + "\" refused: " + cause;
  });
}

}  // namespace zendro::framework
