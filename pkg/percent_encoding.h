// Percent-encoding of UTF-8 texts (RFC 3986, section 2.1).
#pragma once

#include <string>
#include <string_view>

#include "framework/text/percent.h"

namespace zendro::pkg {

/// `text` with every byte for which `is_encoded` holds percent-encoded.
template <typename Predicate>
std::string percent_encode_if(std::string_view text, Predicate is_encoded) {
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (is_encoded(byte)) {
      framework::append_percent_encoded(out, byte);
    } else {
      out += c;
    }
  }
  return out;
}

/// The name of the local file of a package member: `member` as one path segment of an IRI
/// (RFC 3987, section 2.2). Kept are unreserved characters, sub-delimiters, ":", "@" and the
/// characters beyond ASCII that an IRI may hold; "%" is kept too, so that a name that arrives
/// escaped keeps its escapes. Bytes that are not UTF-8 are encoded.
std::string local_member_name(std::string_view member);

/// A namespace as the last segment of a namespace-catalog URL: space and ! # $ % & ' ( ) * + , / :
/// ; = ? @ [ ] are encoded, everything else is kept.
std::string encode_namespace(std::string_view name);

}  // namespace zendro::pkg
