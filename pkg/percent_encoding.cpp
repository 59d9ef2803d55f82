#include "pkg/percent_encoding.h"

#include "framework/text/utf8.h"

namespace zendro::pkg {
namespace {

bool is_ascii_alnum(char32_t c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
}

// ucschar of RFC 3987; private use and non-characters are left out.
bool is_iri_character(char32_t c) {
  if (c < 0x10000) {
    return (c >= 0xA0 && c <= 0xD7FF) || (c >= 0xF900 && c <= 0xFDCF) ||
           (c >= 0xFDF0 && c <= 0xFFEF);
  }
  const bool in_planes = c <= 0xDFFFF || (c >= 0xE1000 && c <= 0xEFFFF);
  return in_planes && (c & 0xFFFF) <= 0xFFFD;
}

bool is_segment_character(char32_t c) {
  if (c >= 0x80) return is_iri_character(c);
  return is_ascii_alnum(c) || std::string_view("-._~!$&'()*+,;=:@%").find(static_cast<char>(c)) !=
                                  std::string_view::npos;
}

}  // namespace

std::string local_member_name(std::string_view member) {
  std::string out;
  out.reserve(member.size());
  while (!member.empty()) {
    char32_t c = 0;
    const std::size_t length = framework::decode_utf8(member, c);
    const std::string_view bytes = member.substr(0, length == 0 ? 1 : length);
    if (length > 0 && is_segment_character(c)) {
      out += bytes;
    } else {
      for (const char byte : bytes) {
        framework::append_percent_encoded(out, static_cast<unsigned char>(byte));
      }
    }
    member.remove_prefix(bytes.size());
  }
  return out;
}

std::string encode_namespace(std::string_view name) {
  return percent_encode_if(name, [](unsigned char byte) {
    return std::string_view(" !#$%&'()*+,/:;=?@[]").find(static_cast<char>(byte)) !=
           std::string_view::npos;
  });
}

}  // namespace zendro::pkg
