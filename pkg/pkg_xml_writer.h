// Building the catalog documents (OASIS XML Catalogs 1.1).
#pragma once

#include <string_view>

#include <pugixml.hpp>

namespace zendro::pkg {

/// Creates the declaration and the root element of a catalog in an empty document, and appends
/// entries to it. The document outlives the writer.
class pkg_xml_writer {
 public:
  /// The flags become attributes of the maker's XML tools; one that is not set is left out.
  pkg_xml_writer(pugi::xml_document& document, bool specification_catalog, bool keep_proxy);

  void rewrite_uri(std::string_view uri_start_string, std::string_view rewrite_prefix);
  /// Written with `name`, as the XML tools expect it, not with the standard's `systemId`.
  void system(std::string_view name, std::string_view uri);
  void uri(std::string_view name, std::string_view uri);
  void public_id(std::string_view public_id, std::string_view uri);

 private:
  void entry(const char* element, const char* key_name, std::string_view key,
             const char* target_name, std::string_view target);

  pugi::xml_node root_;
};

}  // namespace zendro::pkg
