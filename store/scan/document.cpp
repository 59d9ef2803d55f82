#include "store/scan/document.h"

#include <algorithm>

#include "framework/text/url_parts.h"

namespace zendro::store {

std::string collapse_white_space(std::string_view text) {
  std::string out;
  while (true) {
    const auto start = text.find_first_not_of(kWhiteSpace);
    if (start == std::string_view::npos) {
      return out;
    }
    text.remove_prefix(start);
    const std::string_view word = text.substr(0, text.find_first_of(kWhiteSpace));
    if (!out.empty()) {
      out += ' ';
    }
    out += word;
    text.remove_prefix(word.size());
  }
}

std::string first_sentences(std::string_view text, std::size_t length) {
  std::size_t end = 0;
  for (std::size_t stop = text.find(". "); stop != std::string_view::npos;
       stop = text.find(". ", stop + 1)) {
    if (end != 0 && stop + 1 > length) {
      return std::string(text.substr(0, end));
    }
    end = stop + 1;
  }
  return std::string(end != 0 && text.size() > length ? text.substr(0, end) : text);
}

std::string first_url(std::string_view text) {
  for (std::size_t at = text.find("http"); at != std::string_view::npos;
       at = text.find("http", at + 1)) {
    std::string_view url = text.substr(at);
    if (!url.starts_with("http://") && !url.starts_with("https://")) {
      continue;
    }
    url = url.substr(0, url.find_first_of(" \"'<>)"));
    while (url.ends_with('.') || url.ends_with(',') || url.ends_with(';')) {
      url.remove_suffix(1);
    }
    return std::string(url);
  }
  return {};
}

bool is_absolute(std::string_view location) { return !framework::url_scheme(location).empty(); }

std::string resolve_path(std::string_view document, std::string_view location) {
  location = location.substr(0, location.find('#'));
  if (location.empty()) return std::string(document);
  std::string joined(document.substr(0, document.rfind('/') + 1));
  joined += location;
  std::vector<std::string_view> names;
  for (std::string_view rest = joined; !rest.empty();) {
    const std::string_view name = rest.substr(0, rest.find('/'));
    rest.remove_prefix(std::min(name.size() + 1, rest.size()));
    if (name == ".." && !names.empty() && names.back() != "..") {
      names.pop_back();
    } else if (!name.empty() && name != ".") {
      names.push_back(name);
    }
  }
  std::string path(location.starts_with('/') ? "/" : "");
  for (const std::string_view name : names) path.append(name).append("/");
  const bool is_folder = joined.ends_with('/') || joined.ends_with("/..") ||
                         joined.ends_with("/.") || joined == ".." || joined == ".";
  if (!is_folder && !path.empty()) path.pop_back();
  return path;
}

std::size_t line_at(std::string_view text, std::size_t offset) {
  const std::string_view before = text.substr(0, offset);
  return static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n')) + 1;
}

}  // namespace zendro::store
