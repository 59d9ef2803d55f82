#include "store/json_file.h"

#include <algorithm>

#include "framework/system/files.h"

#include "store/scan/document.h"

namespace zendro::store {
namespace {

constexpr std::uint64_t kJsonFileLimit = 64u << 20;

std::string with_line(const std::filesystem::path& path, std::string_view text,
                      std::size_t offset) {
  return framework::path_to_utf8(path) + ":" + std::to_string(line_at(text, offset));
}

/// Where a text that is no JSON stops being some.
std::size_t end_of_json(std::string_view text) {
  boost::json::stream_parser parser;
  boost::json::error_code error;
  return parser.write_some(text.data(), text.size(), error);
}

// Moves through a text that is known to be JSON.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : text_(text) {}

  /// The place of the last of the keys that is there.
  std::size_t find(std::initializer_list<std::string_view> keys) {
    std::size_t place = skip_blanks();
    for (const std::string_view key : keys) {
      const std::size_t found = enter(key);
      if (found == std::string_view::npos) break;
      place = found;
    }
    return place;
  }

 private:
  std::size_t skip_blanks() {
    at_ = std::min(text_.find_first_not_of(" \t\r\n", at_), text_.size());
    return at_;
  }

  [[nodiscard]] char here() const { return at_ < text_.size() ? text_[at_] : '\0'; }

  /// Moves to the value of a member of the object that begins here; where the member begins.
  std::size_t enter(std::string_view key) {
    skip_blanks();
    if (here() != '{') return std::string_view::npos;
    ++at_;
    for (skip_blanks(); here() == '"'; skip_blanks()) {
      const std::size_t begin = at_;
      skip_string();
      const json::value name = json::parse(text_.substr(begin, at_ - begin));
      skip_blanks();
      ++at_;  // the colon
      skip_blanks();
      if (name.as_string() == key) return begin;
      skip_value();
      skip_blanks();
      if (here() == ',') ++at_;
    }
    return std::string_view::npos;
  }

  void skip_string() {
    for (++at_; at_ < text_.size() && here() != '"'; ++at_) {
      if (here() == '\\') ++at_;
    }
    ++at_;
  }

  void skip_value() {
    int depth = 0;
    do {
      const char c = here();
      if (c == '"') {
        skip_string();
        continue;
      }
      if (c == '{' || c == '[') ++depth;
      if (c == '}' || c == ']') --depth;
      if (depth < 0) return;  // a number or the like at the end of its object
      ++at_;
    } while (at_ < text_.size() && (depth > 0 || (here() != ',' && here() != '}')));
  }

  std::string_view text_;
  std::size_t at_ = 0;
};

void append_readable(std::string& out, const json::value& value, const std::string& indent) {
  const std::string inner = indent + "  ";
  const char* separator = "\n";
  const auto begin_line = [&] {
    out.append(separator).append(inner);
    separator = ",\n";
  };
  if (value.is_object() && !value.as_object().empty()) {
    out += '{';
    for (const json::key_value_pair& member : value.as_object()) {
      begin_line();
      framework::JsonWriter(out).append(std::string_view(member.key()));
      out += ": ";
      append_readable(out, member.value(), inner);
    }
    out.append("\n").append(indent).append("}");
  } else if (value.is_array() && !value.as_array().empty()) {
    out += '[';
    for (const json::value& each : value.as_array()) {
      begin_line();
      append_readable(out, each, inner);
    }
    out.append("\n").append(indent).append("]");
  } else {
    out += json::serialize(value);
  }
}

}  // namespace

std::string JsonFile::place(std::initializer_list<std::string_view> keys) const {
  return with_line(path, text, Scanner(text).find(keys));
}

framework::Result<JsonFile> read_json_file(const std::filesystem::path& path) {
  auto text = framework::read_file(path, kJsonFileLimit);
  if (!text) return tl::unexpected(text.error());
  framework::ParsedJson parsed = framework::parse_json(*text);
  if (!parsed) {
    return tl::unexpected(framework::IoError{with_line(path, *text, end_of_json(*text)) +
                                             ": this is no JSON: " + parsed.error()});
  }
  if (!parsed->is_object()) {
    return tl::unexpected(
        framework::IoError{with_line(path, *text, 0) + ": write one JSON object: {\"...\": ...}"});
  }
  return JsonFile{path, std::move(*text), std::move(parsed->as_object())};
}

std::string readable_json(const json::value& value) {
  std::string out;
  append_readable(out, value, {});
  return out + '\n';
}

}  // namespace zendro::store
