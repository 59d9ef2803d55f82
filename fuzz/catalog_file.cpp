#include "fuzz/catalog_file.h"

#include <memory>
#include <string_view>

#include <expat.h>

#include "fuzz/input.h"
#include "fuzz/watched_folder.h"

namespace zendro::fuzz {
namespace {

// Names come as "<namespace> <local name>".
constexpr std::string_view kPrefix = "urn:oasis:names:tc:entity:xmlns:xml:catalog ";

struct Reader {
  int depth = 0;
  std::vector<CatalogEntry> entries;
};

void begin_element(void* state, const char* name, const char** attributes) {
  auto& reader = *static_cast<Reader*>(state);
  std::string_view local = name;
  require(local.starts_with(kPrefix), "every element is one of a catalog");
  local.remove_prefix(kPrefix.size());
  require(reader.depth < 2 && (local == "catalog") == (reader.depth == 0), "entries in a catalog");
  if (++reader.depth == 1) return;
  require(attributes[0] != nullptr && attributes[2] != nullptr && attributes[4] == nullptr,
          "every entry has a key and a target");
  reader.entries.push_back({std::string(local), attributes[1], attributes[3]});
}

void end_element(void* state, const char*) { --static_cast<Reader*>(state)->depth; }

}  // namespace

std::vector<CatalogEntry> read_catalog(const std::filesystem::path& path) {
  const std::string text = read_bytes(path);
  Reader reader;
  const std::unique_ptr<XML_ParserStruct, void (*)(XML_Parser)> parser(
      XML_ParserCreateNS("UTF-8", ' '), XML_ParserFree);
  XML_SetUserData(parser.get(), &reader);
  XML_SetElementHandler(parser.get(), begin_element, end_element);
  require(XML_Parse(parser.get(), text.data(), static_cast<int>(text.size()), 1) == XML_STATUS_OK,
          "a catalog is well-formed XML 1.0");
  return reader.entries;
}

}  // namespace zendro::fuzz
