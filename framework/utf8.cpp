#include "framework/utf8.h"

namespace zendro::framework {

std::size_t decode_utf8(std::string_view text, char32_t& character) {
  if (text.empty()) return 0;
  const auto lead = static_cast<unsigned char>(text[0]);
  if (lead < 0x80) {
    character = lead;
    return 1;
  }
  std::size_t length = 0;
  char32_t least = 0;  // smaller values have a shorter form
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
    least = 0x80;
    character = lead & 0x1F;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    least = 0x800;
    character = lead & 0x0F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    least = 0x10000;
    character = lead & 0x07;
  } else {
    return 0;
  }
  if (text.size() < length) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if ((byte & 0xC0) != 0x80) return 0;
    character = (character << 6) | (byte & 0x3F);
  }
  const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
  return character < least || character > 0x10FFFF || surrogate ? 0 : length;
}

}  // namespace zendro::framework
