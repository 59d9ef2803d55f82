#include "framework/http/proxy_choice.h"

#include <algorithm>
#include <array>
#include <memory>

#include <curl/curl.h>

#include "framework/http/single_sign_on.h"
#include "framework/http/system_proxy.h"
#include "framework/text/url_parts.h"
#include "framework/url/http_url.h"
#include "framework/url/loggable.h"

namespace zendro::framework {
namespace {

struct CurlStringFree {
  void operator()(char* text) const { curl_free(text); }
};

/// The value of a variable as libcurl sees it; empty where it is not set.
std::string value_of(const std::string& variable) {
  const std::unique_ptr<char, CurlStringFree> value(curl_getenv(variable.c_str()));
  return value ? value.get() : "";
}

/// Looks where libcurl looks, in the same order: the upper-case HTTP_PROXY is left out, which a web
/// server may have made of a header.
ProxyChoice of_environment(bool is_secure) {
  constexpr std::array kPlain = {"http_proxy", "all_proxy", "ALL_PROXY"};
  constexpr std::array kSecure = {"https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"};
  const auto first_set = [](const auto& names) {
    const auto found = std::find_if(names.begin(), names.end(),
                                    [](const char* name) { return !value_of(name).empty(); });
    return found == names.end() ? ProxyChoice{{}, names[0]} : ProxyChoice{value_of(*found), *found};
  };
  return is_secure ? first_set(kSecure) : first_set(kPlain);
}

bool has_user(std::string_view proxy) { return proxy.find('@') != std::string_view::npos; }

/// "host:port" of a proxy's URL. Here a user name and password reach to the last "@", so that no
/// part of a password is shown that holds a "/".
std::string_view address_of(std::string_view proxy) {
  const std::size_t host = proxy.rfind('@');
  const std::size_t scheme = proxy.find("://");
  if (host != std::string_view::npos) {
    proxy.remove_prefix(host + 1);
  } else if (scheme != std::string_view::npos) {
    proxy.remove_prefix(scheme + 3);
  }
  return proxy.substr(0, proxy.find_first_of("/?#"));
}

std::string_view scheme_or_http(std::string_view proxy) {
  return proxy.find("://") == std::string_view::npos ? "http" : split_address(proxy).scheme;
}

std::string url_of(const ProxyChoice& proxy, const char* user) {
  return std::string(scheme_or_http(proxy.url)) + "://" + user +
         loggable_text(address_of(proxy.url));
}

}  // namespace

ProxyChoice choose_proxy(const std::string& url, SystemProxy& system) {
  ProxyChoice choice = of_environment(is_https(url));
  if (std::string of_system = system.for_url(url); !of_system.empty()) {
    choice.url = std::move(of_system);
    choice.is_given_to_library = true;
  }
  if (!choice.url.empty() && !has_user(choice.url) &&
      scheme_or_http(choice.url).starts_with("http")) {
    choice.sign_on_methods = single_sign_on_methods();
  }
  return choice;
}

std::string log_on_failure(const ProxyChoice& proxy) {
  const char* const complaint = has_user(proxy.url)
                                    ? " does not accept the user name and password that are set"
                                    : " asks for a user name and password";
  return "the proxy " + url_of(proxy, "") + complaint;
}

std::string log_on_advice(const ProxyChoice& proxy) {
  return "; set the environment variable " + proxy.variable + " to " +
         url_of(proxy, "user:password@");
}

}  // namespace zendro::framework
