#include "store/check/compiler_finding.h"

#include <algorithm>

#include "pkg/local/names.h"

namespace zendro::store {
namespace {

/// The text with paths in the place of the documents' URLs, which end at a quote.
std::string with_paths(const Resolver& resolver, const std::string& text) {
  std::string out;
  std::size_t copied = 0;
  for (std::size_t at = 0;
       (at = text.find(pkg::local::kPackageUrlPrefix, copied)) != std::string::npos;) {
    const std::size_t end = std::min(text.find('\'', at), text.size());
    const std::string url = text.substr(at, end - at);
    const auto found = resolver.find_uri(url);
    out += text.substr(copied, at - copied);
    out += found ? std::string(shown_path(found->path)) : url;
    copied = end;
  }
  return out + text.substr(copied);
}

}  // namespace

Finding compiler_finding(const Resolver& resolver, const std::string& url,
                         const CompilerMessage& message, std::string advice) {
  const std::string& place_url = message.place.url.empty() ? url : message.place.url;
  Finding finding{Severity::error,
                  resolver.own().identity,
                  place_url,
                  message.place.line,
                  with_paths(resolver, message.text),
                  std::move(advice)};
  if (const auto place = resolver.find_uri(place_url)) {
    finding.package = place->package->identity;
    finding.file = shown_path(place->path);
  }
  return finding;
}

void add_once(Findings& findings, Finding finding) {
  if (std::find(findings.begin(), findings.end(), finding) == findings.end()) {
    findings.push_back(std::move(finding));
  }
}

}  // namespace zendro::store
