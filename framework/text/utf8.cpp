#include "framework/text/utf8.h"

#include <cstdint>
#include <iterator>

#include <boost/nowide/utf/utf.hpp>

namespace zendro::framework {
namespace {

namespace utf = boost::nowide::utf;

constexpr char32_t kReplacement = 0xFFFD;

/// The number of units of the character at the beginning of `text`; 0 where none stands there.
template <typename Unit>
std::size_t decode(std::basic_string_view<Unit> text, char32_t& character) {
  const Unit* const begin = text.data();
  const Unit* end = begin;
  character = utf::utf_traits<Unit>::decode(end, begin + text.size());
  const bool is_one = character != utf::illegal && character != utf::incomplete;
  return is_one ? static_cast<std::size_t>(end - begin) : 0;
}

template <typename Unit>
char32_t take(std::basic_string_view<Unit> text, std::size_t& at) {
  char32_t character = 0;
  const std::size_t length = decode(text.substr(at), character);
  at += length == 0 ? 1 : length;
  return length == 0 ? kReplacement : character;
}

}  // namespace

std::size_t decode_utf8(std::string_view text, char32_t& character) {
  return decode(text, character);
}

char32_t take_character(std::string_view utf8, std::size_t& at) { return take(utf8, at); }

char32_t take_character(std::wstring_view wide, std::size_t& at) { return take(wide, at); }

void append_wide(std::wstring& out, char32_t character) {
  utf::utf_traits<wchar_t>::encode(character, std::back_inserter(out));
}

std::string_view utf8_beginning(std::string_view utf8, std::size_t most) {
  if (utf8.size() <= most) return utf8;
  while (most > 0 && (static_cast<std::uint8_t>(utf8[most]) & 0xC0) == 0x80) --most;
  return utf8.substr(0, most);
}

std::wstring to_wide(std::string_view utf8) {
  std::wstring out;
  out.reserve(utf8.size());
  for (std::size_t at = 0; at < utf8.size();) append_wide(out, take_character(utf8, at));
  return out;
}

std::string to_utf8(std::wstring_view wide) {
  std::string out;
  out.reserve(wide.size());
  for (std::size_t at = 0; at < wide.size();) {
    utf::utf_traits<char>::encode(take_character(wide, at), std::back_inserter(out));
  }
  return out;
}

}  // namespace zendro::framework
