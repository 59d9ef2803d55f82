// The catalogs of a list of installed packages: well-formed XML that leads from every key to what
// the first package with that key has for it.
#include "pkg/catalogs.h"

#include <map>
#include <mutex>
#include <string>

#include "framework/text/percent.h"
#include "framework/text/utf8.h"
#include "pkg/list_files.h"
#include "pkg/percent_encoding.h"

#include "fuzz/catalog_file.h"
#include "fuzz/input.h"
#include "fuzz/watched_folder.h"

namespace zendro::fuzz {
namespace {

namespace json = boost::json;

using Expected = std::map<std::string, CatalogEntry>;

std::string member_url(const pkg::package_t& package, const std::string& member) {
  std::string text = to_string(package.identity) + "/" + member;
  for (std::size_t at = 0; (at = text.find("|zip", at)) != std::string::npos;) {
    text.replace(at, 1, "%7C");
  }
  return "zendro://pkg/" + text;
}

void add(Expected& entries, std::string element, const std::string& key, std::string target) {
  entries.try_emplace(key, CatalogEntry{std::move(element), key, std::move(target)});
}

struct Catalogs {
  Expected names;
  Expected locations;
  Expected mappings;
  Expected remappings;
};

bool is_sound(const pkg::package_t& package) {
  try {
    check_catalog_entries(package);
    return true;
  } catch (const pkg::metadata_error&) {
    return false;
  }
}

// Packages whose entries are of a wrong type are left out.
Catalogs expected_of(const pkg::pkgs_available_t& installed) {
  Catalogs all;
  const auto each = [](const json::object* map, const auto& visit) {
    if (map == nullptr) return;
    for (const auto& [key, value] : *map) visit(std::string(key), value);
  };
  const auto text = [](const json::value& value) {
    return std::string(framework::as_string(value));
  };
  for (const pkg::package_t& package : installed.packages()) {
    if (!is_sound(package)) continue;
    each(package.meta.catalogs(), [&](const std::string& key, const json::value& member) {
      const bool dtd = package.identity.name.ends_with("-dtd");
      const char* element = key.ends_with('/') ? "rewriteURI" : dtd ? "system" : "uri";
      add(all.locations, element, key, member_url(package, text(member)));
    });
    each(package.meta.namespace_catalog(), [&](const std::string& key, const json::value& value) {
      const json::object* details = value.if_object();
      const std::string url =
          member_url(package, text(details == nullptr ? value : details->at("path")));
      const json::value* flag = details == nullptr ? nullptr : details->if_contains("public");
      if (flag != nullptr && framework::to_bool(*flag)) {
        add(all.names, "public", key, url);
        return;
      }
      const std::string name_url = "zendro://pkg/" + std::string(package.meta.name()) +
                                   "/namespace_catalog/" + pkg::encode_namespace(key);
      add(all.mappings, "uri", name_url, url);
      add(all.names, "uri", key, name_url);
    });
    each(package.meta.uri_mappings(), [&](const std::string& key, const json::value& value) {
      add(all.remappings, "rewriteURI", key, text(value));
    });
  }
  return all;
}

// Whether a document of XML 1.0 can hold the text.
bool fits_xml(std::string_view text) {
  for (char32_t character = 0; !text.empty();) {
    const std::size_t length = framework::decode_utf8(text, character);
    const bool is_control =
        character < 0x20 && character != '\t' && character != '\n' && character != '\r';
    if (length == 0 || is_control || character == 0xFFFE || character == 0xFFFF) return false;
    text.remove_prefix(length);
  }
  return true;
}

// A character that XML cannot hold is there as an escape.
void check_text(const std::string& found, const std::string& wanted) {
  require(framework::percent_decode(found) == framework::percent_decode(wanted),
          "a text stands for what was put in");
  require(found == wanted || !fits_xml(wanted),
          "a text that XML can hold is there as it was put in");
}

void check(const std::vector<CatalogEntry>& found, const std::vector<const Expected*>& wanted) {
  auto entry = found.begin();
  for (const Expected* entries : wanted) {
    for (const auto& [key, expected] : *entries) {
      require(entry != found.end(), "all entries are there");
      require(entry->element == expected.element, "the kind of an entry");
      check_text(entry->key, expected.key);
      check_text(entry->target, expected.target);
      ++entry;
    }
  }
  require(entry == found.end(), "no entry is there that was not put in");
}

void run(std::string_view input) {
  const auto installed = pkg::parse_list(std::string(input));
  if (!installed) return;

  static WatchedFolder folder;
  write_bytes(folder.cache_file("pkgs-installed.json"), input);
  std::mutex lock;
  pkg::core_context context("xsd", folder.options(), {}, lock);
  require(update_catalogs(context), "one unsound package does not stop the catalogs");
  const Catalogs all = expected_of(*installed);
  check(read_catalog(folder.cache_file("namespace-mapping-catalog.xml")), {&all.names});
  check(read_catalog(folder.cache_file("catalog.xml")), {&all.locations, &all.mappings});
  check(read_catalog(folder.cache_file("remapping.xml")), {&all.remappings});
}

}  // namespace
}  // namespace zendro::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  zendro::fuzz::run(zendro::fuzz::text_of(data, size));
  return 0;
}
