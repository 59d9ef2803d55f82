#include "pkg/local/contents.h"

#include "framework/system/files.h"
#include "framework/text/ascii.h"

namespace zendro::pkg::local {
namespace {

std::string without_case(std::string_view path) {
  return framework::comparable_name(framework::ascii_lower(path));
}

}  // namespace

bool contents_t::has_file(std::string_view path) const {
  const auto found = entries_.find(without_case(path));
  return found != entries_.end() && found->second.is_file && found->second.path == path;
}

contents_t::noted contents_t::add(std::string_view path, bool is_file) {
  const auto [place, is_new] =
      entries_.try_emplace(without_case(path), entry_t{std::string(path), is_file});
  if (is_new) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string_view::npos ? noted() : add(path.substr(0, slash), false);
  }
  const entry_t& other = place->second;
  if (other.path != path) {
    return tl::unexpected("differs from " + other.path + " in case only");
  }
  if (other.is_file != is_file) return tl::unexpected<std::string>("is a file and a folder");
  if (is_file) return tl::unexpected<std::string>("is there twice");
  return {};
}

}  // namespace zendro::pkg::local
