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

std::string redirect_target(const Transfer& answer, int redirects, std::string& cause) {
  const auto location = answer.headers.find("Location");
  if (location == answer.headers.end()) {
    cause = "redirect without a location";
    return {};
  }
  std::string target = http_request_url(resolve_url(answer.url, location->second), cause);
  if (redirects == kMaxRedirects) {
    cause = "more than " + std::to_string(kMaxRedirects) + " redirects";
  } else if (!target.empty() && is_https(answer.url) && !is_https(target)) {
    cause = "https must not lead to http";
  }
  if (!cause.empty())
    cause = "redirect to \"" + loggable_url(location->second) + "\" refused: " + cause;
  return target;
}

}  // namespace zendro::framework
