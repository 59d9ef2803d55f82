// The texts in which Windows and its automatic configuration name proxies. Stateless.
#pragma once

#include <string>
#include <string_view>

namespace zendro::framework {

struct ProxySettings {
  /// "host:port", or a list such as "http=host:port;https=host:port;socks=host:port", separated by
  /// ";" or blanks; of several for one scheme the first counts.
  std::string proxies;
  /// Hosts that are reached without: patterns with "*", separated by ";" or blanks, each perhaps
  /// with a scheme and a port; "<local>" stands for all names without a dot, "<-loopback>" for this
  /// machine being no exception.
  std::string bypass;
};

/// The proxy for an encoded http or https URL, as a URL with its scheme; empty where it is reached
/// without one. This machine itself is, unless the settings say otherwise.
std::string proxy_for(std::string_view url, const ProxySettings& settings);

}  // namespace zendro::framework
