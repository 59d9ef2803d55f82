#include "pkg/local/names.h"

#include <algorithm>

#include "framework/system/folder.h"
#include "framework/text/ascii.h"
#include "framework/text/percent.h"

namespace zendro::pkg::local {

bool is_plain_path(std::string_view path) {
  for (;;) {
    const std::size_t end = path.find('/');
    if (!framework::is_plain_or_device_name(path.substr(0, end))) return false;
    if (end == std::string_view::npos) return true;
    path.remove_prefix(end + 1);
  }
}

int levels_of(std::string_view path) {
  return static_cast<int>(std::count(path.begin(), path.end(), '/')) + 1;
}

std::string file_path(std::string_view member_path) {
  constexpr std::string_view kMark = "|zip";
  std::string path;
  path.reserve(member_path.size());
  for (std::size_t at = 0; at < member_path.size();) {
    const std::string_view rest = member_path.substr(at);
    const bool is_mark =
        rest.starts_with(kMark) && (rest.size() == kMark.size() || rest[kMark.size()] == '/');
    if (!is_mark) path += rest.front();
    at += is_mark ? kMark.size() : 1;
  }
  return path;
}

std::string file_path_of_url(std::string_view url) {
  if (!url.starts_with(kPackageUrlPrefix)) return {};
  const std::string path =
      file_path(framework::percent_decode(url.substr(kPackageUrlPrefix.size())));
  const std::size_t slash = path.find('/');
  if (slash == std::string::npos || !is_plain_path(path)) return {};
  return path.substr(0, slash + 1) + std::string(kFilesFolder) + path.substr(slash);
}

bool has_archive_name(std::string_view path) {
  constexpr std::string_view kEnd = ".zip";
  return path.size() >= kEnd.size() &&
         framework::equal_ignoring_case(path.substr(path.size() - kEnd.size()), kEnd);
}

}  // namespace zendro::pkg::local
