#include <curl/curl.h>

#include "framework/http/single_sign_on.h"

namespace zendro::framework {

// With a Kerberos ticket (RFC 4559).
unsigned long single_sign_on_methods() {
  constexpr int kNeeded = CURL_VERSION_SPNEGO | CURL_VERSION_GSSAPI;
  const int features = curl_version_info(CURLVERSION_NOW)->features;
  return (features & kNeeded) == kNeeded ? CURLAUTH_NEGOTIATE : 0;
}

}  // namespace zendro::framework
