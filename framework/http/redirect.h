// Which answers are redirects, and which redirects are followed (RFC 9110, section 15.4).
// Stateless.
#pragma once

#include <string>

#include <tl/expected.hpp>

#include "framework/http/transfer.h"

namespace zendro::framework {

/// Whether an answer asks for the same request elsewhere: where a redirect would turn a POST into
/// a GET, it asks for another one.
bool leads_elsewhere(long status, bool is_post);

/// The encoded URL to which an answer leads after so many `redirects` before it, or why it is not
/// to be followed: after 10 redirects, from https to http, and to anything but http and https.
tl::expected<std::string, std::string> redirect_target(const Transfer& answer, int redirects);

}  // namespace zendro::framework
