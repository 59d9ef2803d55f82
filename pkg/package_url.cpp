#include "pkg/package_url.h"

#include "pkg/percent_encoding.h"

namespace zendro::pkg {

std::string package_url(const name_semver_t& identity, std::string_view member_path) {
  constexpr std::string_view marker = "|zip";
  std::string url = std::string(kPackageUrlPrefix) + to_string(identity) + "/";
  url += member_path;
  for (std::size_t at = url.find(marker); at != std::string::npos; at = url.find(marker, at)) {
    url.replace(at, 1, "%7C");
  }
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
