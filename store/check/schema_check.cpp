#include "store/check/schema_check.h"

#include <algorithm>
#include <map>
#include <optional>

#include "store/check/compiler_finding.h"
#include "store/check/stand_ins.h"
#include "store/check/xml_compiler.h"

namespace zendro::store {
namespace {

using Kind = CompilerMessage::Kind;

class SchemaChecker {
 public:
  SchemaChecker(const Resolver& resolver, const LinkCheck& links)
      : resolver_(resolver), own_(resolver.own()), links_(links) {}

  // A schema that another one takes in is compiled with that.
  Findings run() {
    for (const bool is_taken_in : {false, true}) {
      for (const auto& [path, bytes] : own_.files) {
        if (is_schema(path) && links_.taken_in.contains(path) == is_taken_in) compile(path);
      }
    }
    return std::move(findings_);
  }

 private:
  [[nodiscard]] bool is_schema(const std::string& path) const {
    const auto document = own_.documents.find(path);
    return document == own_.documents.end() ? path.ends_with(".xsd") : document->second.is_schema;
  }

  void compile(const std::string& path) {
    const std::string url = document_url(own_.identity, path);
    if (!compiled_.insert(url).second) return;
    loaded_.clear();
    const Compilation compilation =
        compile_schema(url, [this](std::string_view wanted, std::string_view,
                                   const DocumentPlace&) { return text_at(wanted); });
    // With errors the others may have been looked at but superficially.
    if (compilation.is_whole) compiled_.merge(loaded_);
    take(compilation, url);
  }

  std::string_view text_at(std::string_view url) {
    if (const std::string_view text = stand_in_at(url); text.data() != nullptr) return text;
    const auto found = resolver_.find_uri(url);
    if (!found) return {};
    std::string place = document_url(found->package->identity, found->path);
    const auto document = found->package->documents.find(found->path);
    std::string_view text = found->bytes;
    if (document != found->package->documents.end()) {
      const auto [changed, is_new] = texts_.try_emplace(place);
      if (is_new) {
        changed->second =
            with_locations(found->bytes, document->second,
                           [&](const DocumentLink& link) { return location_of(*found, link); });
      }
      text = changed->second;
    }
    loaded_.insert(std::move(place));
    return text;
  }

  [[nodiscard]] std::optional<std::string> location_of(const Resolver::Target& document,
                                                       const DocumentLink& link) const {
    if (const auto found = resolver_.find_link(document, link)) {
      return document_url(found->package->identity, found->path);
    }
    const std::string_view stand_in = stand_in_for(link.xml_namespace);
    if (stand_in.empty()) return std::nullopt;
    return std::string(stand_in);
  }

  void take(const Compilation& compilation, const std::string& url) {
    const std::vector<CompilerMessage>& messages = compilation.messages;
    const bool has_skipped =
        std::any_of(messages.begin(), messages.end(),
                    [](const CompilerMessage& one) { return one.kind == Kind::skipped; });
    for (const CompilerMessage& message : messages) {
      if (is_said(message) || is_consequence(message.text)) continue;
      std::string advice;
      if (message.text.find("does not resolve") != std::string::npos) {
        advice = has_skipped ? "import one document of each namespace, which includes the others"
                             : "declare it, or import the document that does";
      }
      add_once(findings_, compiler_finding(resolver_, url, message, std::move(advice)));
    }
  }

  // Whether it is no error, or has been found where links were followed.
  [[nodiscard]] bool is_said(const CompilerMessage& message) const {
    if (message.kind != Kind::unlocated) return message.kind == Kind::skipped;
    const auto place = resolver_.find_uri(message.place.url);
    return !place || place->package->documents.contains(place->path);
  }

  // Whether an error is about something in a namespace of which a document is missing.
  [[nodiscard]] bool is_consequence(const std::string& text) const {
    return std::any_of(links_.incomplete.begin(), links_.incomplete.end(),
                       [&text](const std::string& name) {
                         return !name.empty() && text.find("'{" + name + "}") != std::string::npos;
                       });
  }

  const Resolver& resolver_;
  const PackageContents& own_;
  const LinkCheck& links_;
  std::set<std::string> loaded_;              ///< URLs of what the last compilation has read
  std::set<std::string> compiled_;            ///< URLs of what has been compiled
  std::map<std::string, std::string> texts_;  ///< of schemas, as they are compiled, by URL
  Findings findings_;
};

}  // namespace

Findings check_schemas(const Resolver& resolver, const LinkCheck& links) {
  return SchemaChecker(resolver, links).run();
}

}  // namespace zendro::store
