#include "framework/http_url.h"

#include <algorithm>
#include <memory>

#include <curl/curl.h>

#include "framework/http.h"
#include "framework/percent.h"

namespace zendro::framework {
namespace {

struct CurlUrlFree {
  void operator()(CURLU* url) const { curl_url_cleanup(url); }
  void operator()(char* text) const { curl_free(text); }
};
using CurlUrl = std::unique_ptr<CURLU, CurlUrlFree>;

/// RFC 9110 asks for 8,000 at least (section 4.1). libcurl takes far more, but removes the dot
/// segments of such references in quadratic time.
constexpr std::size_t kMaxUrlLength = 65536;
constexpr std::string_view kHexDigits = "0123456789ABCDEF";

bool is_alpha(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool is_scheme_char(char c) {
  return is_alpha(c) || is_digit(c) || c == '+' || c == '-' || c == '.';
}
bool is_control(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }

/// The length of "<scheme>:" at the start of a reference; 0 where it is a relative one.
std::size_t scheme_length(std::string_view text) {
  if (text.empty() || !is_alpha(text[0])) return 0;
  const auto end = std::find_if_not(text.begin(), text.end(), is_scheme_char);
  return end != text.end() && *end == ':' ? static_cast<std::size_t>(end - text.begin()) + 1 : 0;
}

/// Where the authority of a reference begins and ends; the same position twice without one.
std::pair<std::size_t, std::size_t> authority_range(std::string_view text) {
  const std::size_t begin = scheme_length(text);
  if (text.substr(begin, 2) != "//") return {begin, begin};
  return {begin + 2, std::min(text.find_first_of("/?#", begin + 2), text.size())};
}

/// A "//" without a host behind it, which libcurl would skip in search of one.
bool lacks_host(std::string_view text) {
  const auto [begin, end] = authority_range(text);
  return begin == end && text.substr(0, begin).ends_with("//") && !text.starts_with("file:");
}

std::string url_part(CURLU* url, CURLUPart part, unsigned flags = 0) {
  char* text = nullptr;
  if (curl_url_get(url, part, &text, flags) != CURLUE_OK) return {};
  const std::unique_ptr<char, CurlUrlFree> owner(text);
  return text;
}

CurlUrl parse(const std::string& url) {
  CurlUrl parsed(curl_url());
  if (!parsed || curl_url_set(parsed.get(), CURLUPART_URL, url.c_str(), CURLU_NON_SUPPORT_SCHEME) !=
                     CURLUE_OK) {
    return nullptr;
  }
  return parsed;
}

/// Whether a colon stands in `authority` that begins no port.
bool lacks_port(std::string_view authority) {
  const std::size_t colon = authority.rfind(':');
  return colon != std::string_view::npos && authority.back() != ']' &&
         !std::all_of(authority.begin() + static_cast<std::ptrdiff_t>(colon) + 1, authority.end(),
                      is_digit);
}

/// Finds the words of a text, asked for positions that never go back; each word is searched once,
/// however many positions in it are asked for.
class WordFinder {
 public:
  struct Word {
    std::size_t end;      ///< of the word, or of the text
    std::size_t last_at;  ///< the last '@' from the position asked for; npos where there is none
  };

  WordFinder(std::string_view text, std::string_view delimiters)
      : text_(text), delimiters_(delimiters) {}

  /// The rest of a word from `position`.
  Word at(std::size_t position) {
    if (!searched_ || position > word_.end) {
      searched_ = true;
      word_.end = std::min(text_.find_first_of(delimiters_, position), text_.size());
      const std::size_t last = text_.substr(position, word_.end - position).rfind('@');
      word_.last_at = last == std::string_view::npos ? last : position + last;
    }
    const bool ahead = word_.last_at != std::string_view::npos && word_.last_at >= position;
    return {word_.end, ahead ? word_.last_at : std::string_view::npos};
  }

 private:
  std::string_view text_;
  std::string_view delimiters_;
  Word word_{};
  bool searched_ = false;
};

}  // namespace

std::string percent_encode_url(std::string_view text) {
  const auto [authority_begin, authority_end] = authority_range(text);
  std::string out;
  out.reserve(text.size());
  bool fragment = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    const bool in_authority = i >= authority_begin && i < authority_end;
    bool allowed = false;
    if (c == '%') {
      allowed = i + 2 < text.size() && hex_digit_value(text[i + 1]) >= 0 &&
                hex_digit_value(text[i + 2]) >= 0;
    } else if (c == '#') {
      allowed = !fragment;
      fragment = true;
    } else if (c == '[' || c == ']' || static_cast<unsigned char>(c) >= 0x80) {
      allowed = in_authority;
    } else {
      allowed = is_alpha(c) || is_digit(c) ||
                std::string_view("-._~!$&'()*+,;=:@/?").find(c) != std::string_view::npos;
    }
    if (allowed) {
      out += c;
    } else {
      append_percent_encoded(out, static_cast<unsigned char>(c));
    }
  }
  return out;
}

std::string http_request_url(std::string_view text, std::string& cause) {
  if (std::any_of(text.begin(), text.end(), is_control)) {
    cause = "a URL has no control characters";
    return {};
  }
  std::string url = percent_encode_url(text);
  if (url.size() > kMaxUrlLength) {
    cause = "a URL has " + std::to_string(kMaxUrlLength) + " bytes at most";
    return {};
  }
  const CurlUrl parsed = parse(url);
  const std::string scheme = parsed ? url_part(parsed.get(), CURLUPART_SCHEME) : std::string();
  const auto [authority_begin, authority_end] = authority_range(url);
  if ((scheme != "http" && scheme != "https") || authority_begin == authority_end) {
    cause = "not an http or https URL";
    return {};
  }
  return url;
}

bool is_https(std::string_view url) { return scheme_length(url) == 6; }

bool same_origin(const std::string& a, const std::string& b) {
  const CurlUrl left = parse(a);
  const CurlUrl right = parse(b);
  if (!left || !right) return false;
  const auto same = [&](CURLUPart part) {
    return url_part(left.get(), part, CURLU_DEFAULT_PORT) ==
           url_part(right.get(), part, CURLU_DEFAULT_PORT);
  };
  return same(CURLUPART_SCHEME) && same(CURLUPART_HOST) && same(CURLUPART_PORT);
}

std::string presentable(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  WordFinder url_words(text, " \t\r\n\"<>");
  WordFinder quoted_words(text, " \t\r\n'");
  std::size_t i = 0;
  while (i < text.size()) {
    // Credentials stand after "//" or, in remarks of libcurl on proxies, after an opening quote.
    const bool quote = text[i] == '\'' && i > 0 && text[i - 1] == ' ';
    const std::size_t opening = text.substr(i, 2) == "//" ? 2 : quote ? 1 : 0;
    if (opening != 0) {
      const std::size_t start = i + opening;
      const WordFinder::Word word = (quote ? quoted_words : url_words).at(start);
      const std::string_view rest = text.substr(start, word.end - start);
      const std::string_view authority = rest.substr(0, rest.find_first_of("/?#"));
      std::size_t at = authority.rfind('@');
      // An unescaped "/" in a password ends the authority early: what is then no port tells.
      if (at == std::string_view::npos && lacks_port(authority) &&
          word.last_at != std::string_view::npos) {
        at = word.last_at - start;
      }
      out += text.substr(i, opening);
      i = start;
      if (at != std::string_view::npos) {
        out += "***";
        i += at;
      }
      continue;
    }
    const char c = text[i++];
    if (is_control(c) || static_cast<unsigned char>(c) >= 0x80) {
      const auto byte = static_cast<unsigned char>(c);
      out.append("\\x") += kHexDigits[byte >> 4];
      out += kHexDigits[byte & 15];
    } else {
      out += c;
    }
  }
  return out;
}

std::string resolve_url(std::string_view base, std::string_view reference) {
  if (base.size() > kMaxUrlLength || reference.size() > kMaxUrlLength) return {};
  const std::string base_url = percent_encode_url(base);
  const CurlUrl url = parse(base_url);
  if (!url || lacks_host(base_url)) return {};

  // A first segment such as "12:30.zip" would be taken for a scheme (RFC 3986, section 4.2).
  std::string relative = percent_encode_url(reference);
  if (scheme_length(relative) == 0 &&
      std::string_view(relative).substr(0, relative.find_first_of("/?#")).find(':') !=
          std::string_view::npos) {
    relative.insert(0, "./");
  }
  // An empty path and query are those of the base, which libcurl drops (section 5.2.2).
  if (relative.empty() || relative[0] == '#') {
    return base_url.substr(0, base_url.find('#')) + relative;
  }
  if (lacks_host(relative) || curl_url_set(url.get(), CURLUPART_URL, relative.c_str(),
                                           CURLU_NON_SUPPORT_SCHEME) != CURLUE_OK) {
    return {};
  }
  std::string resolved = url_part(url.get(), CURLUPART_URL);
  // libcurl also drops the "?" of a query that is empty.
  const std::size_t hash = std::min(relative.find('#'), relative.size());
  if (!resolved.empty() && relative.find('?') == hash - 1) {
    resolved.insert(std::min(resolved.find('#'), resolved.size()), 1, '?');
  }
  return resolved;
}

}  // namespace zendro::framework
