#include "framework/url/loggable.h"

#include <algorithm>
#include <cstddef>

#include "framework/text/url_parts.h"
#include "framework/url/http_url.h"

namespace zendro::framework {
namespace {

constexpr std::size_t kNone = std::string_view::npos;
constexpr std::string_view kHidden = "***";
constexpr std::string_view kWordEnds = " \t\r\n";
/// What ends a URL within a text, besides blanks.
constexpr std::string_view kUrlEnds = "\"<>";

/// Whether a colon stands in `authority` that begins no port.
bool lacks_port(std::string_view authority) {
  const std::size_t colon = authority.rfind(':');
  return colon != kNone && authority.back() != ']' &&
         authority.find_first_not_of("0123456789", colon + 1) != kNone;
}

/// The place of the '@' that ends the credentials at `begin` of a URL; kNone where it has none.
/// `last_at` is the place of the URL's last '@', which the caller looks up once: a URL may hold
/// many places to ask about.
std::size_t end_of_credentials(std::string_view url, std::size_t begin, std::size_t last_at) {
  std::string_view authority = url.substr(begin);
  authority = authority.substr(0, authority.find_first_of("/?#"));
  const std::size_t at = authority.rfind('@');
  if (at != kNone) return begin + at;
  // A "/" in a password that is not escaped ends the authority too early. Then what stands behind
  // its colon is the beginning of the password, and mostly no number, as a port is.
  return lacks_port(authority) && last_at != kNone && last_at > begin ? last_at : kNone;
}

/// Takes from the front of `text` what stands before the first of `delimiters`.
std::string_view take_until(std::string_view& text, std::string_view delimiters) {
  const std::string_view front = text.substr(0, text.find_first_of(delimiters));
  text.remove_prefix(front.size());
  return front;
}

void move_first(std::string_view& text, std::string& out) {
  if (text.empty()) return;
  out += text.front();
  text.remove_prefix(1);
}

/// Moves an opening quote from the front of `word` to `out`, and "***" for credentials behind it.
void hide_behind_quote(std::string_view& word, std::string& out) {
  move_first(word, out);
  const std::string_view quoted = word.substr(0, word.find('\''));
  const std::size_t end = end_of_credentials(quoted, 0, quoted.rfind('@'));
  if (end == kNone) return;
  out += kHidden;
  word.remove_prefix(end);
}

/// Appends a word with "***" for the credentials behind each "//" in it.
void hide_behind_slashes(std::string_view word, std::string& out) {
  const std::size_t last_at = word.rfind('@');
  std::size_t done = 0;
  for (std::size_t slashes = word.find("//"); slashes != kNone; slashes = word.find("//", done)) {
    const std::size_t begin = slashes + 2;
    out += word.substr(done, begin - done);
    const std::size_t end = end_of_credentials(word, begin, last_at);
    if (end != kNone) out += kHidden;
    done = end == kNone ? begin : end;
  }
  out += word.substr(done);
}

/// A text with "***" for the credentials in it. They stand behind "//" or, in remarks of libcurl on
/// proxies, behind an opening quote.
std::string hide_all_credentials(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    std::string_view word = take_until(text, kWordEnds);
    if (out.ends_with(' ') && word.starts_with('\'')) hide_behind_quote(word, out);
    while (!word.empty()) {
      hide_behind_slashes(take_until(word, kUrlEnds), out);
      move_first(word, out);
    }
    move_first(text, out);
  }
  return out;
}

std::string escape_unprintable(std::string_view text) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte < 0x7F) {
      out += c;
    } else {
      out.append("\\x") += digits[byte >> 4];
      out += digits[byte & 15];
    }
  }
  return out;
}

}  // namespace

std::string loggable_text(std::string_view text) {
  return escape_unprintable(hide_all_credentials(text));
}

std::string loggable_url(std::string_view url) { return loggable_text(percent_encode_url(url)); }

std::string hide_credentials(std::string_view url) {
  const std::string_view authority = url_authority(url);
  const auto begin = static_cast<std::size_t>(authority.data() - url.data());
  const std::size_t end =
      authority.empty() ? kNone : end_of_credentials(url, begin, url.rfind('@'));
  if (end == kNone) return std::string(url);
  return std::string(url.substr(0, begin)).append(kHidden).append(url.substr(end));
}

}  // namespace zendro::framework
