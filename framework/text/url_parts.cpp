#include "framework/text/url_parts.h"

#include <algorithm>
#include <cstddef>

#include "framework/text/ascii.h"

namespace zendro::framework {
namespace {

bool may_be_in_scheme(char c) {
  return is_ascii_letter(c) || is_ascii_digit(c) || c == '+' || c == '-' || c == '.';
}

}  // namespace

std::string_view url_scheme(std::string_view url) {
  if (url.empty() || !is_ascii_letter(url.front())) return {};
  const auto end = std::find_if_not(url.begin(), url.end(), may_be_in_scheme);
  if (end == url.end() || *end != ':') return {};
  return url.substr(0, static_cast<std::size_t>(end - url.begin()));
}

std::string_view url_authority(std::string_view url) {
  if (const std::size_t length = url_scheme(url).size(); length != 0) url.remove_prefix(length + 1);
  if (!url.starts_with("//")) return url.substr(0, 0);
  url.remove_prefix(2);
  return url.substr(0, url.find_first_of("/?#"));
}

AddressParts split_address(std::string_view address) {
  constexpr std::string_view scheme_end = "://";
  AddressParts parts;
  if (const std::size_t end = address.find(scheme_end); end != std::string_view::npos) {
    parts.scheme = address.substr(0, end);
    address.remove_prefix(end + scheme_end.size());
  }
  address = address.substr(0, address.find_first_of("/?#"));
  if (const std::size_t at = address.rfind('@'); at != std::string_view::npos) {
    parts.user = address.substr(0, at);
    address.remove_prefix(at + 1);
  }
  // The colons within the brackets of an IPv6 address begin no port.
  const std::size_t bracket = address.starts_with('[') ? address.find(']') : 0;
  const std::size_t colon = address.find(':', bracket == std::string_view::npos ? 0 : bracket);
  parts.host = address.substr(0, colon);
  if (colon != std::string_view::npos) parts.port = address.substr(colon + 1);
  return parts;
}

}  // namespace zendro::framework
