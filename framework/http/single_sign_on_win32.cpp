#include <curl/curl.h>

#include "framework/http/single_sign_on.h"

namespace zendro::framework {

unsigned long single_sign_on_methods() {
  const int features = curl_version_info(CURLVERSION_NOW)->features;
  return (features & CURL_VERSION_SSPI) != 0 ? CURLAUTH_NEGOTIATE | CURLAUTH_NTLM : 0;
}

}  // namespace zendro::framework
