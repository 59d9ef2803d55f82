// Building the catalog documents (OASIS XML Catalogs 1.1).
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace zendro::pkg {

/// The text of one catalog, UTF-8: the declaration, the root element and an entry a line.
class pkg_xml_writer {
 public:
  /// The flags become attributes of the maker's XML tools; one that is not set is left out.
  pkg_xml_writer(bool specification_catalog, bool keep_proxy);

  /// Makes room for entries whose keys and targets have so many bytes together: growing step by
  /// step costs as much as writing.
  void reserve(std::size_t entries, std::size_t text_bytes);

  void rewrite_uri(std::string_view uri_start_string, std::string_view rewrite_prefix);
  /// Written with `name`, as the XML tools expect it, not with the standard's `systemId`.
  void system(std::string_view name, std::string_view uri);
  void uri(std::string_view name, std::string_view uri);
  void public_id(std::string_view public_id, std::string_view uri);

  /// Ends the document and hands it out; the writer is of no more use.
  [[nodiscard]] std::string take_document();

 private:
  void entry(std::string_view key_begin, std::string_view key, std::string_view target_begin,
             std::string_view target);

  std::string xml_;
  bool has_entries_ = false;
};

}  // namespace zendro::pkg
