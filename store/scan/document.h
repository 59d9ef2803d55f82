// What one file of a package says about itself: the names that it can be found under, the other
// documents that it needs, and the words that describe it. Plain data.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zendro::store {

/// What XML 1.0 counts as white space (section 2.3).
inline constexpr std::string_view kWhiteSpace = " \t\r\n";

/// Another document that a document needs. Any of the texts may be empty.
struct Demand {
  std::string location;       ///< as written: absolute, or relative to the needing document
  std::string xml_namespace;  ///< namespace of an imported schema
  std::string public_id;      ///< public identifier of an external entity, normalised
  bool operator==(const Demand&) const = default;
};

struct Document {
  std::string path;           ///< in the archive
  std::string xml_namespace;  ///< target namespace of a schema
  std::string own_location;   ///< where the document says that it is published, with its file name
  std::string text;           ///< its introduction, white space collapsed
  std::vector<Demand> demands;
};

/// Collapses white space (blanks, tabs, line breaks) to single blanks and trims both ends.
std::string collapse_white_space(std::string_view text);

/// The first sentences of a text, at least one and together not much longer than `length` bytes.
std::string first_sentences(std::string_view text, std::size_t length);

/// The first http(s) URL in a text, without punctuation that ends a sentence; empty if none.
std::string first_url(std::string_view text);

/// Whether a location starts with a scheme (RFC 3986, section 3.1).
bool is_absolute(std::string_view location);

/// Resolves a relative location against the path of the document that holds it; the result has no
/// "." or ".." except at its beginning, where it leaves the archive; that of a folder ends with
/// "/", and the archive's own is empty. A fragment is dropped.
std::string resolve_path(std::string_view document, std::string_view location);

/// The number of the line that holds a byte of a text, from 1.
std::size_t line_at(std::string_view text, std::size_t offset);

}  // namespace zendro::store
