// The text of catalogs for tools that know nothing but the standard (OASIS XML Catalogs 1.1).
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zendro::pkg::local {

/// Reading a catalog takes some tools a time that grows with the square of its entries.
inline constexpr std::size_t kMostEntries = 1'000;

struct file_t {
  std::string name;
  std::string text;
};

/// Collects entries, and makes files of as many as fit one.
class catalog_writer {
 public:
  // Targets are relative URLs.
  void location(std::string_view key, std::string_view target);  ///< as system and as URI
  void prefix(std::string_view key, std::string_view target);    ///< the same
  void uri(std::string_view name, std::string_view target);
  void public_id(std::string_view public_id, std::string_view target);

  [[nodiscard]] bool is_empty() const { return bodies_.empty(); }

  /// The files "<stem>.xml", "<stem>2.xml" and so on. The first leads to the others, and after them
  /// to `next`. The standard knows no empty catalog, so there are none where there is nothing.
  [[nodiscard]] std::vector<file_t> take(const std::string& stem,
                                         const std::vector<std::string>& next = {});

 private:
  void make_room(std::size_t entries);
  void entry(std::string_view key_begin, std::string_view key, std::string_view target_begin,
             std::string_view target);

  std::vector<std::string> bodies_;
  std::size_t entries_ = 0;  ///< of the last
};

}  // namespace zendro::pkg::local
