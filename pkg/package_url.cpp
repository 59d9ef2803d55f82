#include "pkg/package_url.h"

#include "pkg/percent_encoding.h"

namespace zendro::pkg {

std::string package_url(const name_semver_t& identity, std::string_view member_path) {
  constexpr std::string_view marker = "|zip";
  const std::string plain = to_string(identity) + "/" + std::string(member_path);
  std::string url(kPackageUrlPrefix);
  std::string_view rest = plain;
  for (std::size_t at = 0; (at = rest.find(marker)) != std::string_view::npos;) {
    url += rest.substr(0, at);
    url += "%7C";
    rest.remove_prefix(at + 1);
  }
  url += rest;
  return url;
}

std::string namespace_catalog_url(std::string_view package_name, std::string_view name_space) {
  std::string url(kPackageUrlPrefix);
  url += package_name;
  url += "/namespace_catalog/";
  url += encode_namespace(name_space);
  return url;
}

}  // namespace zendro::pkg
