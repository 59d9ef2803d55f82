// URL texts of the HTTP transport: what may be requested, and what may be shown of it. Stateless.
#pragma once

#include <string>
#include <string_view>

namespace zendro::framework {

/// Percent-encodes every byte of a URL or relative reference that RFC 3986 allows nowhere in it,
/// and every "%" that starts no escape. Non-ASCII bytes of a host stay, for IDNA to map.
std::string percent_encode_url(std::string_view text);

/// The URL to request for `text`: an encoded http or https URL with a host, of 64 KiB at most.
/// Empty, with the reason in `cause`, where there is none.
std::string http_request_url(std::string_view text, std::string& cause);

/// Whether `url`, as http_request_url returns it, is an https URL.
bool is_https(std::string_view url);

/// Whether two such URLs have the same scheme, host and port.
bool same_origin(const std::string& a, const std::string& b);

/// `text` fit for a message or a log line: user names and passwords of URLs become "***", every
/// byte that is not printable ASCII becomes "\xHH". Takes time in proportion to the length.
std::string presentable(std::string_view text);

}  // namespace zendro::framework
