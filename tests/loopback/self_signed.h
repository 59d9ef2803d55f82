// Certificates made up on the spot, with which a loopback server can speak TLS. Stateless.
#pragma once

#include <string>

namespace zendro::loopback {

struct TlsIdentity {
  std::string certificate;  ///< PEM (RFC 7468)
  std::string private_key;  ///< PEM
};

/// A certificate for a host name or IPv4 address, signed by its own new key and valid for a day; a
/// client that trusts the certificate itself can verify it. Throws std::runtime_error on failure.
TlsIdentity make_self_signed(const std::string& host);

}  // namespace zendro::loopback
