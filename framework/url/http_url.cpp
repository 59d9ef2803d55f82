#include "framework/url/http_url.h"

#include <algorithm>
#include <memory>

#include <curl/curl.h>

#include "framework/text/ascii.h"
#include "framework/text/percent.h"
#include "framework/text/url_parts.h"

namespace zendro::framework {
namespace {

struct CurlUrlFree {
  void operator()(CURLU* url) const { curl_url_cleanup(url); }
  void operator()(char* text) const { curl_free(text); }
};
using CurlUrl = std::unique_ptr<CURLU, CurlUrlFree>;

/// RFC 9110 asks for 8,000 at least (section 4.1). libcurl takes far more, but removes the dot
/// segments of such references in quadratic time.
constexpr std::size_t kMaxUrlLength = 65536;

std::string url_too_long() {
  return "a URL has " + std::to_string(kMaxUrlLength) + " bytes at most";
}
bool is_control(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }

/// Whether there is no host behind "//". libcurl would take a later part of the URL for the host.
bool lacks_host(std::string_view text) {
  const std::string_view authority = url_authority(text);
  const auto begin = static_cast<std::size_t>(authority.data() - text.data());
  return authority.empty() && text.substr(0, begin).ends_with("//") && !text.starts_with("file:");
}

std::string url_part(CURLU* url, CURLUPart part, unsigned flags = 0) {
  char* text = nullptr;
  if (curl_url_get(url, part, &text, flags) != CURLUE_OK) return {};
  const std::unique_ptr<char, CurlUrlFree> owner(text);
  return text;
}

CurlUrl parse(const std::string& url) {
  CurlUrl parsed(curl_url());
  if (!parsed || curl_url_set(parsed.get(), CURLUPART_URL, url.c_str(), CURLU_NON_SUPPORT_SCHEME) !=
                     CURLUE_OK) {
    return nullptr;
  }
  return parsed;
}

}  // namespace

std::string percent_encode_url(std::string_view text) {
  const std::string_view authority = url_authority(text);
  const char* const authority_end = authority.data() + authority.size();
  std::string out;
  out.reserve(text.size());
  bool fragment = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    const bool in_authority = &text[i] >= authority.data() && &text[i] < authority_end;
    bool allowed = false;
    if (c == '%') {
      allowed = i + 2 < text.size() && hex_digit_value(text[i + 1]) >= 0 &&
                hex_digit_value(text[i + 2]) >= 0;
    } else if (c == '#') {
      allowed = !fragment;
      fragment = true;
    } else if (c == '[' || c == ']' || static_cast<unsigned char>(c) >= 0x80) {
      allowed = in_authority;
    } else {
      allowed = is_ascii_letter(c) || is_ascii_digit(c) ||
                std::string_view("-._~!$&'()*+,;=:@/?").find(c) != std::string_view::npos;
    }
    if (allowed) {
      out += c;
    } else {
      append_percent_encoded(out, static_cast<unsigned char>(c));
    }
  }
  return out;
}

RequestUrl http_request_url(std::string_view text) {
  if (std::any_of(text.begin(), text.end(), is_control)) {
    return tl::unexpected<std::string>("a URL has no control characters");
  }
  std::string url = percent_encode_url(text);
  if (url.size() > kMaxUrlLength) return tl::unexpected(url_too_long());
  const CurlUrl parsed = parse(url);
  const std::string scheme = parsed ? url_part(parsed.get(), CURLUPART_SCHEME) : std::string();
  if ((scheme != "http" && scheme != "https") || url_authority(url).empty()) {
    return tl::unexpected<std::string>("not an http or https URL");
  }
  return url;
}

RequestUrl http_request_url(std::string_view base, std::string_view reference) {
  const std::string url = resolve_url(base, reference);
  if (!url.empty()) return http_request_url(url);
  const std::size_t longer = std::max(base.size(), reference.size());
  return tl::unexpected(longer > kMaxUrlLength ? url_too_long() : "not a URL");
}

bool is_https(std::string_view url) { return url_scheme(url).size() == 5; }

bool same_origin(const std::string& a, const std::string& b) {
  const CurlUrl left = parse(a);
  const CurlUrl right = parse(b);
  if (!left || !right) return false;
  const auto same = [&](CURLUPart part) {
    const std::string a_part = url_part(left.get(), part, CURLU_DEFAULT_PORT);
    const std::string b_part = url_part(right.get(), part, CURLU_DEFAULT_PORT);
    return curl_strequal(a_part.c_str(), b_part.c_str()) != 0;  // without regard to case (ASCII)
  };
  return same(CURLUPART_SCHEME) && same(CURLUPART_HOST) && same(CURLUPART_PORT);
}

std::string_view why_not_trusted(const std::string& base, const std::string& url) {
  if (!same_origin(base, url)) return "it leads to another scheme, host or port";
  const CurlUrl known = parse(base);
  const CurlUrl asked = parse(url);
  for (const CURLUPart part : {CURLUPART_USER, CURLUPART_PASSWORD}) {
    const std::string own = url_part(asked.get(), part);
    if (!own.empty() && own != url_part(known.get(), part)) {
      return "it carries a user name or password of its own";
    }
  }
  return {};
}

std::string resolve_url(std::string_view base, std::string_view reference) {
  if (base.size() > kMaxUrlLength || reference.size() > kMaxUrlLength) return {};
  const std::string base_url = percent_encode_url(base);
  const CurlUrl url = parse(base_url);
  if (!url || lacks_host(base_url)) return {};

  // A first segment such as "12:30.zip" would be taken for a scheme (RFC 3986, section 4.2).
  std::string relative = percent_encode_url(reference);
  if (url_scheme(relative).empty() &&
      std::string_view(relative).substr(0, relative.find_first_of("/?#")).find(':') !=
          std::string_view::npos) {
    relative.insert(0, "./");
  }
  // An empty path and query are those of the base, which libcurl drops (section 5.2.2).
  if (relative.empty() || relative[0] == '#') {
    return base_url.substr(0, base_url.find('#')) + relative;
  }
  if (lacks_host(relative) || curl_url_set(url.get(), CURLUPART_URL, relative.c_str(),
                                           CURLU_NON_SUPPORT_SCHEME) != CURLUE_OK) {
    return {};
  }
  std::string resolved = url_part(url.get(), CURLUPART_URL);
  // libcurl also drops the "?" of a query that is empty.
  const std::size_t hash = std::min(relative.find('#'), relative.size());
  if (!resolved.empty() && relative.find('?') == hash - 1) {
    resolved.insert(std::min(resolved.find('#'), resolved.size()), 1, '?');
  }
  return resolved;
}

}  // namespace zendro::framework
