// Which URLs the HTTP transport requests. Stateless.
#pragma once

#include <string>
#include <string_view>

#include <tl/expected.hpp>

namespace zendro::framework {

/// Percent-encodes every byte of a URL or relative reference that RFC 3986 allows nowhere in it,
/// and every "%" that starts no escape. Non-ASCII bytes of a host stay, for IDNA to map.
std::string percent_encode_url(std::string_view text);

/// The URL to request for a text: an encoded http or https URL with a host, of 64 KiB at most; or
/// why there is none.
using RequestUrl = tl::expected<std::string, std::string>;
RequestUrl http_request_url(std::string_view text);

/// Resolves a relative reference against a base URL (RFC 3986, section 5); characters that a URL
/// may not hold are percent-encoded first. Empty where the result would not be a URL, or where
/// either is longer than 64 KiB.
std::string resolve_url(std::string_view base, std::string_view reference);

/// Whether `url`, as http_request_url returns it, is an https URL.
bool is_https(std::string_view url);

/// Whether two such URLs have the same scheme, host and port.
bool same_origin(const std::string& a, const std::string& b);

/// Why `url` is not requested where only the server of `base` is trusted: it has another scheme,
/// host or port, or a user name or password that `base` does not have. Empty: it is trusted. Both
/// are URLs as http_request_url returns them.
std::string_view why_not_trusted(const std::string& base, const std::string& url);

/// The same as http_request_url for a reference against a base (see resolve_url).
RequestUrl http_request_url(std::string_view base, std::string_view reference);

}  // namespace zendro::framework
