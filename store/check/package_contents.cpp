#include "store/check/package_contents.h"

#include <set>

#include "framework/io/stream_base.h"
#include "framework/text/percent.h"
#include "framework/url/memory_stream.h"
#include "pkg/local/keys.h"
#include "pkg/local/names.h"
#include "pkg/local/unpacking.h"
#include "pkg/local_files.h"

namespace zendro::store {
namespace {

using framework::Result;
namespace local = pkg::local;

/// Appends what is written to a text.
class TextStream : public framework::StreamBase {
 public:
  TextStream(std::string& text, std::string label) : StreamBase(std::move(label)), text_(text) {}

  void close() override {}
  std::int64_t read(void*, std::size_t) override { return fail("is being written"); }
  std::int64_t write(const void* buffer, std::size_t size) override {
    text_.append(static_cast<const char*>(buffer), size);
    return static_cast<std::int64_t>(size);
  }
  std::int64_t seek(std::int64_t, framework::SeekOrigin) override {
    return fail("is being written");
  }
  [[nodiscard]] std::int64_t size() override { return static_cast<std::int64_t>(text_.size()); }
  [[nodiscard]] bool seekable() override { return false; }

 private:
  std::string& text_;
};

class MemoryTarget : public local::unpack_target {
 public:
  explicit MemoryTarget(NameMap& files) : files_(files) {}

  Result<void> add_folder(std::string_view) override { return {}; }
  framework::OpenedStream add_file(std::string_view path) override {
    const auto [file, is_new] = files_.try_emplace(std::string(path));
    if (!is_new) return tl::unexpected(framework::IoError{file->first + ": is there twice"});
    return std::make_shared<TextStream>(file->second, file->first);
  }

 private:
  NameMap& files_;
};

class Reader {
 public:
  Reader(const pkg::package_t& package, const ReadMember& read_member)
      : package_(package), read_member_(read_member) {
    contents_.identity = to_string(package.identity);
  }

  PackageContents run() {
    try {
      const local::package_t description = pkg::describe(package_);
      const std::set<std::string> marked = local::marked_archives(description);
      MemoryTarget target(contents_.files);
      local::unpacker unpacker(target, marked);
      for (const local::member_t& member : description.members) add(member, unpacker);
      for (const local::key_t& key : description.keys) add(key);
      if (const auto* mappings = package_.meta.uri_mappings()) {
        for (const auto& [from, to] : *mappings) {
          contents_.mappings.try_emplace(std::string(from), framework::as_string(to));
        }
      }
    } catch (const framework::JsonError&) {  // NOLINT(bugprone-empty-catch)
      // Said where the metadata is looked at.
    }
    for (const auto& [path, bytes] : contents_.files) {
      contents_.size += bytes.size();
      if (!path.ends_with(".xsd") && !path.ends_with(".xml")) continue;
      if (auto document = scan_links(bytes))
        contents_.documents.emplace(path, std::move(*document));
    }
    return std::move(contents_);
  }

 private:
  void add(const local::member_t& member, local::unpacker& unpacker) {
    const auto bytes = read_member_(member.path);
    if (!bytes)
      return refuse(member.path, bytes.error().text, "put the member where the list says");
    const auto stream = framework::make_memory_stream(*bytes, std::string(member.path));
    const Result<void> added = unpacker.add_member(stream, member.path, member.digest);
    if (added) return;
    if (framework::sha256(**bytes) != member.digest) {
      return refuse(member.path,
                    "its bytes have the digest " + framework::to_hex(framework::sha256(**bytes)),
                    "give changed bytes a new path or version, and build the list anew");
    }
    std::string cause = added.error().text;
    const std::string start = std::string(member.path);
    refuse(member.path, cause.starts_with(start + ": ") ? cause.substr(start.size() + 2) : cause,
           "clients do not unpack it; make the archive anew without that");
  }

  void refuse(std::string_view member, std::string what, std::string advice) {
    contents_.findings.push_back({Severity::error, contents_.identity, std::string(member), 0,
                                  std::move(what), std::move(advice)});
  }

  void add(const local::key_t& key) {
    std::string path = local::file_path(key.member_path);
    switch (key.kind) {
      case local::key_kind::location:
      case local::key_kind::prefix:
        contents_.locations.try_emplace(normalised_url(key.key), std::move(path));
        break;
      case local::key_kind::public_id:
        contents_.public_ids.try_emplace(std::string(key.key), std::move(path));
        break;
      case local::key_kind::name_space:
        contents_.namespaces.try_emplace(std::string(key.key), std::move(path));
        break;
    }
  }

  const pkg::package_t& package_;
  const ReadMember& read_member_;
  PackageContents contents_;
};

}  // namespace

NameMap::const_iterator PackageContents::find_file(std::string_view path) const {
  const auto found = files.find(path);
  return found == files.end() ? files.find(framework::percent_decode(path)) : found;
}

bool PackageContents::has_folder(std::string_view path) const {
  const auto first = files.lower_bound(path);
  return first != files.end() && first->first.starts_with(path);
}

PackageContents read_contents(const pkg::package_t& package, const ReadMember& read_member) {
  return Reader(package, read_member).run();
}

std::string document_url(std::string_view identity, std::string_view path) {
  std::string url(local::kPackageUrlPrefix);
  framework::append_encoded_path(url, identity);
  url += '/';
  framework::append_encoded_path(url, path);
  return url;
}

std::string normalised_url(std::string_view url) {
  const std::string path = local::file_path_of_url(url);
  const std::size_t slash = path.find('/');
  if (slash == std::string::npos) return std::string(url);
  return document_url(path.substr(0, slash), path.substr(slash + local::kFilesFolder.size() + 2));
}

std::string_view shown_path(std::string_view path) {
  constexpr std::string_view kArchive = ".zip/";
  const std::size_t archive = path.find(kArchive);
  return archive == std::string_view::npos ? path : path.substr(archive + kArchive.size());
}

}  // namespace zendro::store
