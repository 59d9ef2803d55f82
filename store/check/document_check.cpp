#include "store/check/document_check.h"

#include <algorithm>
#include <map>
#include <vector>

#include "framework/text/url_parts.h"

#include "store/check/stand_ins.h"
#include "store/check/xml_compiler.h"
#include "store/scan/dtd_scan.h"

namespace zendro::store {
namespace {

using Target = Resolver::Target;

class Checker {
 public:
  Checker(const Resolver& resolver, const BuiltinNames& builtin, const FindSupplier& find_supplier)
      : resolver_(resolver),
        own_(resolver.own()),
        builtin_(builtin),
        find_supplier_(find_supplier) {}

  Findings run() {
    for (const auto& [path, document] : own_.documents) follow(path, document);
    compile_schemas();
    compile_dtds();
    return std::move(findings_);
  }

 private:
  void follow(const std::string& path, const LinkedDocument& document) {
    const Target from{&own_, path, {}};
    for (const DocumentLink& link : document.links) {
      const auto found = resolver_.find_link(from, link);
      if (found) {
        if (link.kind != DocumentLink::Kind::locator && found->package == &own_) {
          needed_.insert(std::string(found->path));
        }
        continue;
      }
      if (link.location.empty() && has_namespace(link.xml_namespace)) continue;
      unresolved_.insert(link.kind == DocumentLink::Kind::include ? document.xml_namespace
                                                                  : link.xml_namespace);
      if (!builtin_.contains(link.location) && !builtin_.contains(link.xml_namespace)) {
        report_unresolved(path, link);
      }
    }
  }

  // Whether a document of the package has the namespace, so that whoever imports it without a
  // location finds it loaded.
  [[nodiscard]] bool has_namespace(const std::string& xml_namespace) const {
    return std::any_of(own_.documents.begin(), own_.documents.end(), [&](const auto& document) {
      return document.second.is_schema && document.second.xml_namespace == xml_namespace;
    });
  }

  void report_unresolved(const std::string& path, const DocumentLink& link) {
    std::string what = "nothing resolves ";
    what += link.location.empty() ? "the namespace \"" + link.xml_namespace + "\""
                                  : "\"" + link.location + "\"";
    if (!link.location.empty() && !link.xml_namespace.empty()) {
      what += " (namespace \"" + link.xml_namespace + "\")";
    }
    std::string supplier = find_supplier_(link.location);
    if (supplier.empty()) supplier = find_supplier_(link.xml_namespace);
    report(path, link.line, std::move(what),
           supplier.empty() ? "add the document to the package, or a package that has it, to "
                              "\"references\"; what every tool brings along belongs to \"builtin\""
                            : "add \"" + supplier + "\" to \"references\"");
  }

  void report(std::string_view path, int line, std::string what, std::string advice,
              Severity severity = Severity::error) {
    findings_.push_back({severity, own_.identity, std::string(shown_path(path)), line,
                         std::move(what), std::move(advice)});
  }

  // A schema that another one takes in is compiled with that.
  void compile_schemas() {
    for (const bool is_needed : {false, true}) {
      for (const auto& [path, document] : own_.documents) {
        if (document.is_schema && needed_.contains(path) == is_needed) compile_schema(path);
      }
    }
  }

  void compile_schema(const std::string& path) {
    const std::string url = document_url(own_.identity, path);
    if (compiled_.contains(url)) return;
    loaded_.clear();
    take(store::compile_schema(url, [this](std::string_view wanted, std::string_view,
                                           const auto&) { return schema_text(wanted); }),
         url);
  }

  std::string_view schema_text(std::string_view url) {
    if (const std::string_view text = stand_in_at(url); text.data() != nullptr) return text;
    const auto found = resolver_.find_uri(url);
    if (!found) return {};
    const std::string place = document_url(found->package->identity, found->path);
    loaded_.insert(place);
    const auto document = found->package->documents.find(found->path);
    if (document == found->package->documents.end()) return found->bytes;
    const auto [text, is_new] = texts_.try_emplace(place);
    if (is_new) {
      text->second = with_locations(found->bytes, document->second, [&](const DocumentLink& link) {
        return location_of(*found, link);
      });
    }
    return text->second;
  }

  std::optional<std::string> location_of(const Target& document, const DocumentLink& link) const {
    if (const auto found = resolver_.find_link(document, link)) {
      return document_url(found->package->identity, found->path);
    }
    const std::string_view stand_in = stand_in_for(link.xml_namespace);
    if (!stand_in.empty()) return std::string(stand_in);
    return std::nullopt;
  }

  void take(const Compilation& compilation, const std::string& url) {
    // With errors a document may have been looked at but superficially.
    compiled_.insert(url);
    if (compilation.is_whole) compiled_.merge(loaded_);
    bool has_skipped = false;
    for (const CompilerMessage& message : compilation.messages) {
      has_skipped = has_skipped || message.kind == CompilerMessage::Kind::skipped;
      if (message.kind != CompilerMessage::Kind::error || is_consequence(message.text)) continue;
      report_message(message, has_skipped);
    }
  }

  // Whether an error is about something in a namespace of which a document is missing.
  [[nodiscard]] bool is_consequence(const std::string& text) const {
    return std::any_of(unresolved_.begin(), unresolved_.end(), [&](const std::string& name) {
      return !name.empty() && text.find("'{" + name + "}") != std::string::npos;
    });
  }

  void report_message(const CompilerMessage& message, bool has_skipped) {
    const auto place = resolver_.find_uri(message.place.url);
    Finding finding{Severity::error, own_.identity, {}, message.place.line, message.text, {}};
    if (message.text.find("does not resolve") != std::string::npos) {
      finding.advice = has_skipped
                           ? "import one document of each namespace, which includes the others"
                           : "declare it, or import the document that does";
    }
    if (place) {
      finding.file = shown_path(place->path);
      // It is found there as well.
      if (place->package != &own_) finding.package = place->package->identity;
    } else {
      finding.file = message.place.url;
    }
    if (std::find(findings_.begin(), findings_.end(), finding) == findings_.end()) {
      findings_.push_back(std::move(finding));
    }
  }

  // A part that another one takes in is read with that, as it may need what stands before it.
  void compile_dtds() {
    std::set<std::string> parts;
    for (const auto& [path, bytes] : own_.files) collect_parts(path, bytes, parts);
    for (const auto& [path, bytes] : own_.files) {
      if (!path.ends_with(".dtd") || parts.contains(path)) continue;
      const std::string url = document_url(own_.identity, path);
      if (compiled_.contains(url)) continue;
      loaded_.clear();
      take(compile_dtd(
               url,
               [this](std::string_view wanted, std::string_view public_id,
                      const DocumentPlace& asking) { return dtd_text(wanted, public_id, asking); }),
           url);
    }
  }

  void collect_parts(const std::string& path, const std::string& bytes,
                     std::set<std::string>& parts) const {
    const auto document = scan_dtd({path, bytes});
    if (!document) return;
    for (const Demand& demand : document->demands) {
      const bool is_uri = is_absolute(demand.location);
      auto found = resolver_.find_uri(
          is_uri ? demand.location
                 : document_url(own_.identity, resolve_path(path, demand.location)));
      if (!found) found = resolver_.find_public_id(demand.public_id);
      if (found && found->package == &own_ && found->path != path) {
        parts.insert(std::string(found->path));
      }
    }
  }

  std::string_view dtd_text(std::string_view url, std::string_view public_id,
                            const DocumentPlace& asking) {
    auto found = resolver_.find_uri(url);
    if (!found) found = resolver_.find_public_id(public_id);
    if (found) {
      loaded_.insert(document_url(found->package->identity, found->path));
      return found->bytes;
    }
    if (!builtin_.contains(url) && !builtin_.contains(public_id)) {
      const auto place = resolver_.find_uri(asking.url);
      const std::string name(url);
      std::string supplier = find_supplier_(url);
      if (supplier.empty()) supplier = find_supplier_(public_id);
      report(place ? place->path : asking.url, asking.line,
             "nothing resolves \"" + name + "\" (public identifier \"" + std::string(public_id) +
                 "\")",
             supplier.empty() ? "add the document to the package"
                              : "add \"" + supplier + "\" to \"references\"");
    }
    return {};
  }

  const Resolver& resolver_;
  const PackageContents& own_;
  const BuiltinNames& builtin_;
  const FindSupplier& find_supplier_;
  std::set<std::string> needed_;      ///< paths of schemas that others of the package take in
  std::set<std::string> unresolved_;  ///< namespaces of which something is missing
  std::set<std::string> loaded_;      ///< URLs of what the last compilation has read
  std::set<std::string> compiled_;    ///< URLs of what has been compiled
  std::map<std::string, std::string> texts_;  ///< of schemas, as they are compiled, by URL
  Findings findings_;
};

}  // namespace

Findings check_documents(const Resolver& resolver, const BuiltinNames& builtin,
                         const FindSupplier& find_supplier) {
  return Checker(resolver, builtin, find_supplier).run();
}

}  // namespace zendro::store
