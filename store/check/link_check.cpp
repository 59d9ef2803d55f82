#include "store/check/link_check.h"

#include <algorithm>

namespace zendro::store {
namespace {

class LinkChecker {
 public:
  LinkChecker(const Resolver& resolver, const BuiltinNames& builtin,
              const FindSupplier& find_supplier)
      : resolver_(resolver),
        own_(resolver.own()),
        builtin_(builtin),
        find_supplier_(find_supplier) {}

  LinkCheck run() {
    for (const auto& [path, document] : own_.documents) {
      for (const DocumentLink& link : document.links) follow(path, document, link);
    }
    return std::move(result_);
  }

 private:
  void follow(const std::string& path, const LinkedDocument& document, const DocumentLink& link) {
    if (const auto found = resolver_.find_link({&own_, path, {}}, link)) {
      if (link.kind != DocumentLink::Kind::locator && found->package == &own_) {
        result_.taken_in.insert(std::string(found->path));
      }
      return;
    }
    if (link.location.empty() && has_namespace(link.xml_namespace)) return;
    result_.incomplete.insert(link.kind == DocumentLink::Kind::include ? document.xml_namespace
                                                                       : link.xml_namespace);
    if (!builtin_.contains(link.location) && !builtin_.contains(link.xml_namespace)) {
      report(path, link);
    }
  }

  // Whether a document of the package has the namespace, so that whoever imports it without a
  // location finds it loaded.
  [[nodiscard]] bool has_namespace(const std::string& xml_namespace) const {
    return std::any_of(own_.documents.begin(), own_.documents.end(), [&](const auto& document) {
      return document.second.is_schema && document.second.xml_namespace == xml_namespace;
    });
  }

  void report(const std::string& path, const DocumentLink& link) {
    std::string what = "nothing resolves ";
    what += link.location.empty() ? "the namespace \"" + link.xml_namespace + "\""
                                  : "\"" + link.location + "\"";
    if (!link.location.empty() && !link.xml_namespace.empty()) {
      what += " (namespace \"" + link.xml_namespace + "\")";
    }
    std::string supplier = find_supplier_(link.location);
    if (supplier.empty()) supplier = find_supplier_(link.xml_namespace);
    const std::string advice =
        supplier.empty() ? "add the document to the package, or a package that has it to "
                           "\"references\"; what every tool brings along belongs to \"builtin\" of "
                           "store.json"
                         : "add \"" + supplier + "\" to \"references\"";
    result_.findings.push_back({Severity::error, own_.identity, std::string(shown_path(path)),
                                link.line, std::move(what), advice});
  }

  const Resolver& resolver_;
  const PackageContents& own_;
  const BuiltinNames& builtin_;
  const FindSupplier& find_supplier_;
  LinkCheck result_;
};

}  // namespace

LinkCheck check_links(const Resolver& resolver, const BuiltinNames& builtin,
                      const FindSupplier& find_supplier) {
  return LinkChecker(resolver, builtin, find_supplier).run();
}

}  // namespace zendro::store
