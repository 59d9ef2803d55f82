// Logging on to a proxy as the user who is logged on to the system. Stateless.
#pragma once

namespace zendro::framework {

/// How libcurl can do that without being told a password: some of its CURLAUTH bits; 0 where it
/// cannot.
unsigned long single_sign_on_methods();

}  // namespace zendro::framework
