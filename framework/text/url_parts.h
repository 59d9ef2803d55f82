// Takes URLs apart as they are written: nothing is decoded, and what is returned is a view into the
// text that was given. Whether a text is a URL at all is for http_url.h to say. Stateless.
#pragma once

#include <string_view>

namespace zendro::framework {

/// The scheme at the beginning of a URL, without its colon (RFC 3986, section 3.1); empty for a
/// relative reference.
std::string_view url_scheme(std::string_view url);

/// What stands behind the "//" of a URL or of a relative reference, up to the path. Where there is
/// no "//" it is empty, and lies where the path begins.
std::string_view url_authority(std::string_view url);

/// The parts of an address "scheme://user@host:port/path", of which all but the host may be missing
/// and are empty then. No part is checked, so that it may also be a pattern with "*".
struct AddressParts {
  std::string_view scheme;
  std::string_view user;  ///< and password
  std::string_view host;  ///< an IPv6 address with its brackets
  std::string_view port;
};
AddressParts split_address(std::string_view address);

}  // namespace zendro::framework
