// The proxy of a request: which one it is, how to log on to it, and what to say when that fails.
#pragma once

#include <string>
#include <string_view>

namespace zendro::framework {

class SystemProxy;

struct ProxyChoice {
  std::string url;                   ///< as it is set, perhaps with a password; empty: no proxy
  std::string variable;              ///< of the environment, that it is set in or could be
  bool is_given_to_library = false;  ///< libcurl would not find it by itself
  /// No user is given: ways to log on as the one who is logged on to the system, as CURLAUTH bits.
  unsigned long sign_on_methods = 0;
};

/// The proxy for an encoded http or https URL: that of the system's settings, or the one that
/// libcurl takes from the environment. Hosts that no_proxy excepts are not told apart.
ProxyChoice choose_proxy(const std::string& url, SystemProxy& system);

/// Which proxy asks for a user name and password, or does not accept those that it was given.
std::string log_on_failure(const ProxyChoice& proxy);
/// How to set them.
std::string log_on_advice(const ProxyChoice& proxy);

}  // namespace zendro::framework
