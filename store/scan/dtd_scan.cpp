#include "store/scan/dtd_scan.h"

#include <algorithm>

namespace zendro::store {

namespace {

/// Reads the tokens of one declaration: names, "%", and quoted literals.
class TokenReader {
 public:
  explicit TokenReader(std::string_view text) : rest_(text) {}

  /// A name; empty at a literal or at the end of the declaration.
  std::string_view name() {
    skip_white_space();
    const std::string_view token = rest_.substr(0, rest_.find_first_of(" \t\r\n\"'>"));
    rest_.remove_prefix(token.size());
    return token;
  }

  /// The contents of a quoted literal; nothing if none follows.
  std::optional<std::string_view> literal() {
    skip_white_space();
    if (rest_.empty() || (rest_.front() != '"' && rest_.front() != '\'')) {
      return std::nullopt;
    }
    const auto end = rest_.find(rest_.front(), 1);
    if (end == std::string_view::npos) {
      return std::nullopt;
    }
    const std::string_view contents = rest_.substr(1, end - 1);
    rest_.remove_prefix(end + 1);
    return contents;
  }

 private:
  void skip_white_space() {
    rest_.remove_prefix(std::min(rest_.find_first_not_of(kWhiteSpace), rest_.size()));
  }

  std::string_view rest_;
};

/// Splits a text into its comments (joined) and everything else.
void split_comments(std::string_view text, std::string& comments, std::string& declarations) {
  while (true) {
    const auto start = text.find("<!--");
    declarations += text.substr(0, start);
    const auto end = start == std::string_view::npos ? start : text.find("-->", start + 4);
    if (end == std::string_view::npos) {
      return;
    }
    comments += text.substr(start + 4, end - start - 4);
    comments += ' ';
    text.remove_prefix(end + 3);
  }
}

std::optional<Demand> read_external_entity(std::string_view declaration) {
  TokenReader reader(declaration);
  std::string_view name = reader.name();
  if (name == "%") {
    name = reader.name();
  }
  const std::string_view keyword = reader.name();
  Demand demand;
  if (keyword == "PUBLIC") {
    const auto public_id = reader.literal();
    if (!public_id) {
      return std::nullopt;
    }
    demand.public_id = normalise_public_id(*public_id);
  } else if (keyword != "SYSTEM") {
    return std::nullopt;
  }
  // Declarations without a system identifier are SGML, which XML processors never get to see.
  const auto system_id = reader.literal();
  if (!system_id) {
    return std::nullopt;
  }
  demand.location = *system_id;
  return demand;
}

}  // namespace

std::string normalise_public_id(std::string_view text) { return collapse_white_space(text); }

std::string owner_of_public_id(std::string_view public_id) {
  std::string_view owner = public_id;
  if (owner.starts_with("-//") || owner.starts_with("+//")) {
    owner.remove_prefix(3);
  }
  return std::string(owner.substr(0, owner.find("//")));
}

std::optional<Document> scan_dtd(const SourceFile& file) {
  if (!file.path.ends_with(".dtd") && !file.path.ends_with(".mod") &&
      !file.path.ends_with(".ent")) {
    return std::nullopt;
  }
  std::string comments;
  std::string declarations;
  split_comments(file.bytes, comments, declarations);
  Document document;
  document.path = file.path;
  document.text = collapse_white_space(comments);
  constexpr std::string_view kEntity = "<!ENTITY";
  for (auto at = declarations.find(kEntity); at != std::string::npos;
       at = declarations.find(kEntity, at + 1)) {
    if (auto demand =
            read_external_entity(std::string_view(declarations).substr(at + kEntity.size()))) {
      document.demands.push_back(std::move(*demand));
    }
  }
  return document;
}

}  // namespace zendro::store
