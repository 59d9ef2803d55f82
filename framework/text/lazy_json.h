// JSON documents (RFC 8259) that are checked as a whole and parsed piece by piece.
//
// Of a list of many packages most are never looked into, so that the text is kept, each object of
// interest is known by its place in it, and becomes values when its members are first asked for.
#pragma once

#include <atomic>
#include <deque>
#include <map>
#include <memory>
#include <memory_resource>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "framework/text/json.h"

namespace zendro::framework {

class LazyDocument;

/// One object of a document. May be read by several threads.
class LazyObject {
 public:
  /// `text` is a valid object inside the document's text.
  LazyObject(std::string_view text, LazyDocument& document) : text_(text), document_(document) {}

  /// Its text as the document writes it.
  [[nodiscard]] std::string_view text() const { return text_; }
  /// Parsed at the first call. Throws JsonError where names were chosen, see parse_json().
  [[nodiscard]] const json::object& values() const;
  /// The member's text, empty where there is none; read without parsing the object, unless the
  /// object writes a name or this text with escapes. Throws JsonError when it is no string.
  [[nodiscard]] std::string_view string(std::string_view name) const;
  /// Its members as the text has them, so that of several with one name the last one counts.
  /// Nothing where the object is parsed already or writes a name with escapes: then values() is to
  /// be read.
  [[nodiscard]] std::optional<std::vector<JsonMember>> plain_members() const;

 private:
  std::string_view text_;
  LazyDocument& document_;
  mutable std::atomic<const json::object*> values_{nullptr};
};

class LazyDocument {
 public:
  using Member = JsonMember;  ///< its name without escapes

  /// Fails for what check_json() refuses. Of a document that has at most `most_members` they are
  /// found on the way, which makes the first members() of its root quick.
  static tl::expected<std::shared_ptr<LazyDocument>, std::string> parse(
      std::string text, std::size_t most_members = 0);

  /// See CheckedJson.
  [[nodiscard]] std::size_t value_count() const { return checked_.values; }
  /// The text of the document's one value.
  [[nodiscard]] std::string_view root() const;
  /// The members of an object whose text is inside the document's, in their order. Throws JsonError
  /// when it is no object. Of more than `most` the first `most`; `count` becomes the number that
  /// the text has.
  std::vector<Member> all_members(std::string_view object, std::size_t most, std::size_t& count);
  /// The same, but of several with one name the last value at the place of the first.
  std::vector<Member> members(std::string_view object);
  /// Of several members with one name leaves the last value, at the place of the first.
  static void drop_repeated(std::vector<Member>& members);
  /// The same object, to be parsed when it is read; it lives as long as the document. Throws
  /// JsonError when it is no object.
  const LazyObject& object(std::string_view text);

 private:
  friend class LazyObject;

  std::string text_;
  CheckedJson checked_;            ///< its members until they are asked for
  std::deque<std::string> names_;  ///< those written with escapes
  std::pmr::monotonic_buffer_resource objects_;

  std::mutex lock_;  ///< of what follows
  json::monotonic_resource arena_;
  std::deque<json::value> values_;
  std::map<const LazyObject*, std::string> refused_;  ///< why an object has no values
};

/// Writes an object of a document anew; what cannot be parsed as it came.
void append_object(JsonWriter& writer, std::string_view text);

}  // namespace zendro::framework
