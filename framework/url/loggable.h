// What may be shown of URLs, and of texts that hold some. Stateless.
#pragma once

#include <string>
#include <string_view>

namespace zendro::framework {

/// `text` fit for a message or a log line: user names and passwords of URLs become "***", every
/// byte that is not printable ASCII becomes "\xHH". Takes time in proportion to the length.
std::string loggable_text(std::string_view text);

/// The same for a text that is one URL or reference, or was meant to be. It is percent-encoded
/// first, so that a blank does not end it.
std::string loggable_url(std::string_view url);

/// A URL or reference with "***" for its user name and password, otherwise as it is.
std::string hide_credentials(std::string_view url);

}  // namespace zendro::framework
