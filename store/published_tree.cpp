#include "store/published_tree.h"

#include "framework/system/files.h"
#include "framework/text/ascii.h"
#include "framework/url/memory_stream.h"
#include "framework/url/zip.h"
#include "pkg/package_list.h"

namespace zendro::store {
namespace {

using framework::IoError;

constexpr std::uint64_t kArchiveLimit = 256ull << 20;

void take_members(const json::value& entry, PublishedList& list) {
  for (const json::key_value_pair& file : framework::as_map(framework::as_map(entry).at("files"))) {
    list.members[file.key()] = framework::ascii_lower(framework::as_string(file.value()));
  }
}

}  // namespace

framework::Result<PublishedList> read_published_list(const std::filesystem::path& tree) {
  const std::filesystem::path path = tree / kArchiveName;
  const std::string label = framework::path_to_utf8(path);
  PublishedList list;
  auto bytes = framework::read_file(path, kArchiveLimit);
  if (!bytes) return tl::unexpected(bytes.error());
  auto text =
      framework::open_zip_member(framework::make_memory_stream(
                                     std::make_shared<const std::string>(std::move(*bytes)), label),
                                 kListName, label)
          .and_then([&](const std::shared_ptr<framework::IOImpl_base>& member) {
            return framework::read_all(*member, framework::kIoBlock, pkg::kListLimit);
          });
  if (!text) return tl::unexpected(text.error());
  list.text = std::move(*text);
  try {
    framework::ParsedJson parsed = framework::parse_json(list.text);
    if (!parsed) return tl::unexpected(IoError{label + ": " + parsed.error()});
    list.packages = framework::as_map(*parsed);
    if (const json::value* meta = list.packages.if_contains("_META")) {
      if (const json::value* number = framework::as_map(*meta).if_contains("build_number")) {
        list.build_number = framework::to_int64(*number);
      }
      if (const json::value* builtin = framework::as_map(*meta).if_contains("builtin")) {
        list.builtin = framework::as_array(*builtin);
      }
      list.packages.stable_erase("_META");
    }
    for (const json::key_value_pair& entry : list.packages) {
      if (entry.key() != "_DEPRECATED") {
        take_members(entry.value(), list);
        continue;
      }
      for (const json::key_value_pair& deprecated : framework::as_map(entry.value())) {
        take_members(deprecated.value(), list);
      }
    }
  } catch (const std::exception& error) {  // of the wrong type, or missing
    return tl::unexpected(IoError{label + ": " + error.what()});
  }
  return list;
}

std::string list_text(std::int64_t build_number, const json::array& builtin,
                      const json::object& packages) {
  json::object meta = {{"build_number", build_number}};
  if (!builtin.empty()) meta["builtin"] = builtin;
  std::string text = "{\n\"_META\":";
  framework::JsonWriter writer(text);
  writer.append(meta);
  for (const json::key_value_pair& entry : packages) {
    text += ",\n";
    writer.append(std::string_view(entry.key()));
    text += ':';
    writer.append(entry.value().as_object());
  }
  return text + "\n}\n";
}

}  // namespace zendro::store
