#include "store/check/dtd_check.h"

#include <set>

#include "store/check/compiler_finding.h"
#include "store/check/xml_compiler.h"
#include "store/scan/dtd_scan.h"

namespace zendro::store {
namespace {

class DtdChecker {
 public:
  DtdChecker(const Resolver& resolver, const BuiltinNames& builtin,
             const FindSupplier& find_supplier)
      : resolver_(resolver),
        own_(resolver.own()),
        builtin_(builtin),
        find_supplier_(find_supplier) {}

  // A part that another one takes in is read with that, as it may need what stands before it.
  Findings run() {
    for (const auto& [path, bytes] : own_.files) collect_parts(path, bytes);
    for (const auto& [path, bytes] : own_.files) {
      if (path.ends_with(".dtd") && !parts_.contains(path)) read(path);
    }
    return std::move(findings_);
  }

 private:
  void collect_parts(const std::string& path, const std::string& bytes) {
    const auto document = scan_dtd({path, bytes});
    if (!document) return;
    for (const Demand& demand : document->demands) {
      const auto found =
          find(is_absolute(demand.location)
                   ? demand.location
                   : document_url(own_.identity, resolve_path(path, demand.location)),
               demand.public_id);
      if (found && found->package == &own_ && found->path != path) {
        parts_.insert(std::string(found->path));
      }
    }
  }

  [[nodiscard]] std::optional<Resolver::Target> find(std::string_view url,
                                                     std::string_view public_id) const {
    auto found = resolver_.find_uri(url);
    return found ? found : resolver_.find_public_id(public_id);
  }

  void read(const std::string& path) {
    const std::string url = document_url(own_.identity, path);
    const Compilation compilation = compile_dtd(
        url,
        [this](std::string_view wanted, std::string_view public_id, const DocumentPlace& asking) {
          const auto found = find(wanted, public_id);
          if (found) return found->bytes;
          if (!builtin_.contains(wanted) && !builtin_.contains(public_id)) {
            report(wanted, public_id, asking);
          }
          return std::string_view();
        });
    for (const CompilerMessage& message : compilation.messages) {
      add_once(findings_, compiler_finding(resolver_, url, message, {}));
    }
  }

  void report(std::string_view url, std::string_view public_id, const DocumentPlace& asking) {
    std::string supplier = find_supplier_(url);
    if (supplier.empty()) supplier = find_supplier_(public_id);
    CompilerMessage message{CompilerMessage::Kind::error, asking, "nothing resolves '"};
    message.text.append(url).append("'");
    if (!public_id.empty()) {
      message.text.append(" (public identifier '").append(public_id).append("')");
    }
    add_once(findings_,
             compiler_finding(resolver_, asking.url, message,
                              supplier.empty() ? "add the document to the package"
                                               : "add \"" + supplier + "\" to \"references\""));
  }

  const Resolver& resolver_;
  const PackageContents& own_;
  const BuiltinNames& builtin_;
  const FindSupplier& find_supplier_;
  std::set<std::string> parts_;  ///< paths of what others take in
  Findings findings_;
};

}  // namespace

Findings check_dtds(const Resolver& resolver, const BuiltinNames& builtin,
                    const FindSupplier& find_supplier) {
  return DtdChecker(resolver, builtin, find_supplier).run();
}

}  // namespace zendro::store
