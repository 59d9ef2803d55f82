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

/// The value of a hexadecimal digit of either case; -1 for any other character.
int hex_digit_value(char digit);

}  // namespace zendro::framework
