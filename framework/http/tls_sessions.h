// The TLS sessions of this process. Internal to framework/.
#pragma once

#include <memory>

#include <curl/curl.h>

namespace zendro::framework {

/// The sessions that servers have offered to go on with (RFC 8446, section 2.2), for all transports
/// of the process, so that a later operation needs no certificate sent again. libcurl uses one only
/// for the same host, port and trusted certificates. They are never written to a file: whoever
/// could read or replace that would stand for the server. Thread-safe. Throws std::bad_alloc.
std::shared_ptr<CURLSH> tls_sessions();

}  // namespace zendro::framework
