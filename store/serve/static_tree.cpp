#include "store/serve/static_tree.h"

#include <algorithm>

#include "framework/io/digest.h"
#include "framework/io/hashed_copy.h"
#include "framework/text/ascii.h"
#include "framework/text/percent.h"
#include "pkg/store.h"

namespace zendro::store {
namespace {

using framework::Folder;

TreeAnswer text_answer(unsigned status, std::string text, std::string type = "text/plain") {
  TreeAnswer answer;
  answer.status = status;
  answer.size = text.size();
  answer.text = std::move(text);
  answer.headers.emplace_back("Content-Type", std::move(type));
  return answer;
}

TreeAnswer not_found() { return text_answer(404, "There is no such file.\n"); }

// What a client may call a server: a host and a port. What goes into a document is no other text.
bool is_authority(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return framework::is_ascii_letter(c) || framework::is_ascii_digit(c) ||
           std::string_view(".-:[]").find(c) != std::string_view::npos;
  });
}

std::string_view media_type(std::string_view name) {
  if (name.ends_with(".zip")) return "application/zip";
  const bool is_text = name.ends_with(".sha256") || name.ends_with(".minisig");
  return is_text ? "text/plain" : "application/octet-stream";
}

std::string hex(std::uint64_t value) {
  std::string digits;
  for (; value != 0; value >>= 4) digits += "0123456789abcdef"[value & 15];
  return digits;
}

// The path that a request names, decoded; with a "." in front of what can be none.
std::string decoded_path(std::string_view target) {
  target = target.substr(0, target.find('?'));
  return target.starts_with('/') ? framework::percent_decode(target.substr(1)) : ".";
}

}  // namespace

TreeAnswer StaticTree::answer(const TreeRequest& request) const {
  const std::string path = decoded_path(request.target);
  if (path == kTelemetryPath && request.method == "POST") {
    TreeAnswer taken;
    taken.status = 204;
    return taken;
  }
  if (request.method != "GET" && request.method != "HEAD") {
    TreeAnswer refused = text_answer(405, "Only GET and HEAD.\n");
    refused.headers.emplace_back("Allow", "GET, HEAD");
    return refused;
  }
  if (path == bootstrap_path(type_)) {
    if (!is_authority(request.authority)) return text_answer(400, "The header Host is missing.\n");
    return text_answer(200, bootstrap_document("http://" + request.authority + "/"),
                       "application/json");
  }
  return file_answer(request, path);
}

TreeAnswer StaticTree::file_answer(const TreeRequest& request, std::string_view path) const {
  const Folder* folder = root_.get();
  std::unique_ptr<Folder> opened;
  std::string_view name = path;
  for (std::size_t slash = 0; (slash = name.find('/')) != std::string_view::npos;) {
    const std::string_view part = name.substr(0, slash);
    if (part.starts_with('.')) return not_found();
    auto next = folder->open_folder(part);
    if (!next) return not_found();
    opened = std::move(*next);
    folder = opened.get();
    name.remove_prefix(slash + 1);
  }
  if (name.empty() || name.starts_with('.')) return not_found();
  // Whatever replaces the file from here on has another tag.
  const std::string tag = "\"" + hex(folder->stamp_of(name)) + "\"";
  const framework::OpenedStream file = folder->open_file(name);
  if (!file) return not_found();

  TreeAnswer answer;
  answer.headers.emplace_back("ETag", tag);
  if (path == kArchiveName) {
    framework::Sha256 digest;
    if (!framework::hash_stream(**file, digest) ||
        (*file)->seek(0, framework::SeekOrigin::begin) != 0) {
      return text_answer(500, "The file cannot be read.\n");
    }
    answer.headers.emplace_back(pkg::kDigestHeader, framework::to_hex(digest.finish()));
  }
  if (request.if_none_match == tag) {
    answer.status = 304;
    return answer;
  }
  answer.headers.emplace_back("Content-Type", media_type(name));
  answer.size = static_cast<std::uint64_t>(std::max<std::int64_t>((*file)->size(), 0));
  answer.file = *file;
  return answer;
}

}  // namespace zendro::store
