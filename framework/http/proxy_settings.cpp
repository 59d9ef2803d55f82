#include "framework/http/proxy_settings.h"

#include <algorithm>
#include <vector>

#include "framework/text/ascii.h"
#include "framework/text/url_parts.h"

namespace zendro::framework {
namespace {

constexpr std::string_view kSeparators = "; \t\r\n";

std::vector<std::string> entries_of(std::string_view list) {
  std::vector<std::string> entries;
  for (std::size_t begin = list.find_first_not_of(kSeparators); begin != std::string_view::npos;
       begin = list.find_first_not_of(kSeparators, begin)) {
    const std::size_t end = std::min(list.find_first_of(kSeparators, begin), list.size());
    entries.emplace_back(list.substr(begin, end - begin));
    begin = end;
  }
  return entries;
}

/// Scheme, host and port of a URL or of a pattern, in lower case; parts that are not there are
/// empty.
struct Place {
  explicit Place(std::string_view text) {
    const AddressParts parts = split_address(text);
    scheme = ascii_lower(parts.scheme);
    host = ascii_lower(parts.host);
    port = parts.port;
  }

  std::string scheme;
  std::string host;
  std::string port;
};

/// Whether a text matches a pattern in which "*" stands for any number of characters.
bool matches(std::string_view pattern, std::string_view text) {
  std::size_t at = 0;
  std::size_t in_text = 0;
  std::size_t star = std::string_view::npos;
  std::size_t covered = 0;
  while (in_text < text.size()) {
    if (at < pattern.size() && pattern[at] == '*') {
      star = at++;
      covered = in_text;
    } else if (at < pattern.size() && pattern[at] == text[in_text]) {
      ++at;
      ++in_text;
    } else if (star != std::string_view::npos) {
      at = star + 1;
      in_text = ++covered;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of('*', at) == std::string_view::npos;
}

bool is_this_machine(std::string_view host) {
  const bool is_address = host.find_first_not_of("0123456789.") == std::string_view::npos;
  return host == "localhost" || host.ends_with(".localhost") || host == "[::1]" ||
         (is_address && host.starts_with("127."));
}

std::string_view port_of(const Place& place) {
  if (!place.port.empty()) return place.port;
  return place.scheme == "https" ? "443" : "80";
}

bool is_bypassed(const Place& place, std::string_view bypass) {
  bool bypassed = is_this_machine(place.host);
  for (const std::string& given : entries_of(bypass)) {
    const std::string entry = ascii_lower(given);
    if (entry == "<-loopback>") {
      bypassed = bypassed && !is_this_machine(place.host);
    } else if (entry == "<local>") {
      bypassed |= place.host.find_first_of(".:") == std::string::npos;
    } else {
      const Place pattern(entry);
      bypassed |= (pattern.scheme.empty() || pattern.scheme == place.scheme) &&
                  (pattern.port.empty() || pattern.port == port_of(place)) &&
                  matches(pattern.host, place.host);
    }
  }
  return bypassed;
}

}  // namespace

std::string proxy_for(std::string_view url, const ProxySettings& settings) {
  const Place place(url);
  std::string proxy;
  std::string socks;
  for (std::string& entry : entries_of(settings.proxies)) {
    const std::size_t equals = entry.find('=');
    const std::string scheme =
        ascii_lower(entry.substr(0, equals == std::string::npos ? 0 : equals));
    if (equals != std::string::npos) entry.erase(0, equals + 1);
    if (entry.empty()) continue;
    if (scheme == "socks") {
      if (socks.empty()) socks = entry;
    } else if (proxy.empty() && (scheme.empty() || scheme == place.scheme)) {
      proxy = entry;
    }
  }
  if ((proxy.empty() && socks.empty()) || is_bypassed(place, settings.bypass)) return {};
  const std::string& chosen = proxy.empty() ? socks : proxy;
  if (chosen.find("://") != std::string::npos) return chosen;
  return (proxy.empty() ? "socks4://" : "http://") + chosen;
}

}  // namespace zendro::framework
