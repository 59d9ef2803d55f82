#include "pkg/package_url.h"

#include "pkg/percent_encoding.h"

namespace zendro::pkg {

void append_member_path(std::string& url, std::string_view member_path) {
  constexpr std::string_view marker = "|zip";
  for (std::size_t at = 0; (at = member_path.find(marker)) != std::string_view::npos;) {
    url += member_path.substr(0, at);
    url += "%7C";
    member_path.remove_prefix(at + 1);
  }
  url += member_path;
}

std::string package_url(const name_semver_t& identity, std::string_view member_path) {
  std::string url(kPackageUrlPrefix);
  append_member_path(url, to_string(identity));
  url += '/';
  append_member_path(url, member_path);
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
