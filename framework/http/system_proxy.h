// The proxy of the system's settings. Used by one thread at a time.
#pragma once

#include <memory>
#include <string>

namespace zendro::framework {

class SystemProxy {
 public:
  virtual ~SystemProxy() = default;

  /// The proxy for an encoded http or https URL, as a URL with its scheme; empty where there is
  /// none, and where a proxy variable of the environment is set, which libcurl then follows by
  /// itself. May ask the network for an automatic configuration; answers are kept by scheme, host
  /// and port.
  virtual std::string for_url(const std::string& url) = 0;
};

std::unique_ptr<SystemProxy> make_system_proxy();

}  // namespace zendro::framework
