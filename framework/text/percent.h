// Percent-encoding (RFC 3986, section 2.1).
#pragma once

#include <string>
#include <string_view>

namespace zendro::framework {

/// Replaces every "%" that two hexadecimal digits follow by the byte they stand for; any other "%"
/// stays as it is.
std::string percent_decode(std::string_view text);

/// Appends "%" and the two upper-case hexadecimal digits of `byte`.
void append_percent_encoded(std::string& out, unsigned char byte);

/// Appends a path whose components "/" separates as that of a URL: unreserved characters,
/// sub-delimiters and "@" (RFC 3986) stay, and the colon behind the letter of a drive. A relative
/// path so never begins with a scheme.
void append_encoded_path(std::string& out, std::string_view path);

/// The value of a hexadecimal digit of either case; -1 for any other character.
int hex_digit_value(char digit);

}  // namespace zendro::framework
