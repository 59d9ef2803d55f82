// Names of local files and URLs, two texts a line each: a base and what is relative to it.
#include <algorithm>
#include <string>

#include "framework/http/http.h"
#include "framework/text/percent.h"
#include "framework/text/utf8.h"
#include "framework/url/http_url.h"
#include "framework/url/loggable.h"
#include "pkg/package_url.h"
#include "pkg/percent_encoding.h"

#include "fuzz/input.h"

namespace zendro::fuzz {
namespace {

using framework::percent_decode;

bool has_any(std::string_view text, std::string_view characters) {
  return text.find_first_of(characters) != std::string_view::npos;
}

bool is_printable_ascii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7F; });
}

void check_local_name(std::string_view member) {
  const std::string name = pkg::local_member_name(member);
  require(!has_any(name, "/\\\"<>|?#[] "), "a local name is one segment");
  std::string_view rest = name;
  while (!rest.empty()) {
    char32_t character = 0;
    const std::size_t length = framework::decode_utf8(rest, character);
    require(length > 0 && character >= 0x20, "a local name is UTF-8 without control characters");
    rest.remove_prefix(length);
  }
  require(pkg::local_member_name(name) == name, "a local name stays as it is");
  require(percent_decode(name) == percent_decode(member), "a local name stands for its member");
  require(percent_decode(pkg::encode_namespace(member)) == member, "decode(encode(x)) == x");
  const std::string url = pkg::package_url(pkg::parse_identity("a-1.2.3"), member);
  require(url.starts_with("zendro://pkg/a-1.2.3/") && url.find("|zip") == std::string::npos,
          "a package URL begins with the package and marks archives with an escape");
}

void check_request_url(std::string_view text) {
  const std::string encoded = framework::percent_encode_url(text);
  require(framework::percent_encode_url(encoded) == encoded, "an encoded URL stays as it is");
  const framework::RequestUrl url = framework::http_request_url(text);
  require(!(url ? *url : url.error()).empty(), "a URL or a cause");
  if (!url) return;
  require(!has_any(*url, " \t\r\n\"<>\\^`{|}"), "a URL holds nothing that no URL may hold");
  require(framework::http_request_url(*url) == url, "a request URL stays as it is");
  require(framework::same_origin(*url, *url), "a URL has its own origin");
}

void check_loggable(const std::string& before, const std::string& after) {
  constexpr const char* password = "SeCrEt";
  const std::string shown =
      framework::loggable_text(before + " http://user:" + password + "@host/" + after);
  require(is_printable_ascii(shown), "what is shown is printable");
  if ((before + "\n" + after).find(password) != std::string::npos) return;
  require(shown.find(password) == std::string::npos, "no password is shown");
}

// The base is an http URL, as that of a store.
void check_resolution(std::string_view base, std::string_view reference) {
  const framework::RequestUrl base_url = framework::http_request_url(base);
  const std::string url = framework::resolve_url(base, reference);
  if (!base_url || url.empty()) return;
  require(!has_any(url, " \t\r\n"), "a resolved URL has no blanks");
  const std::size_t first_end = reference.find_first_of("/?#");
  const bool has_scheme = reference.substr(0, first_end).find(':') != std::string_view::npos;
  if (has_scheme || reference.starts_with("//")) return;
  require(framework::same_origin(*base_url, url), "a path stays where its base is");
  const std::string encoded = framework::percent_encode_url(url);
  require(framework::resolve_url(url, "") == encoded.substr(0, encoded.find('#')),
          "the empty reference is the base");
}

void run(std::string_view input) {
  const auto lines = split(input, '\n', 2);
  const std::string_view reference = lines.size() == 2 ? lines[1] : std::string_view();
  for (const std::string_view line : lines) {
    check_local_name(line);
    check_request_url(line);
  }
  check_loggable(std::string(lines[0]), std::string(reference));
  check_resolution(lines[0], reference);
  check_resolution("http://store.test/a/b/", lines[0]);
}

}  // namespace
}  // namespace zendro::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  zendro::fuzz::run(zendro::fuzz::text_of(data, size));
  return 0;
}
