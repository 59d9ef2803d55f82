#include "store/scan/document_links.h"

#include <algorithm>

#include <pugixml.hpp>

#include "store/scan/document.h"
#include "store/scan/xml_names.h"

namespace zendro::store {
namespace {

constexpr std::string_view kLocation = "schemaLocation";

/// Where an XLink that stands for a document leads; empty for any other element.
std::string_view xlink_of(const pugi::xml_node& element) {
  std::string_view href;
  std::string_view type;
  for (const pugi::xml_attribute& attribute : element.attributes()) {
    const std::string_view name = attribute.name();
    if (name.ends_with(":href")) href = attribute.value();
    if (name.ends_with(":type")) type = attribute.value();
  }
  return type == "simple" || type == "locator" ? href.substr(0, href.find('#')) : "";
}

class LinkScanner {
 public:
  LinkScanner(std::string_view bytes, LinkedDocument& document)
      : bytes_(bytes), document_(document) {}

  void scan(const pugi::xml_node& parent) {
    for (const pugi::xml_node& child : parent.children()) {
      if (child.type() != pugi::node_element) continue;
      take(child);
      scan(child);
    }
  }

 private:
  void take(const pugi::xml_node& element) {
    const std::string_view name = local_name(element);
    const std::string location = element.attribute("schemaLocation").value();
    if (name == "import" && namespace_of(element) == kSchemaNamespace) {
      add(DocumentLink::Kind::import, element, location);
    } else if ((name == "include" || name == "redefine") &&
               namespace_of(element) == kSchemaNamespace) {
      add(DocumentLink::Kind::include, element, location);
    } else if (const std::string_view href = xlink_of(element); !href.empty()) {
      add(DocumentLink::Kind::locator, element, std::string(href));
    }
  }

  void add(DocumentLink::Kind kind, const pugi::xml_node& element, std::string location) {
    const auto offset = static_cast<std::size_t>(element.offset_debug());
    // Elements come in the order of the text.
    line_ +=
        static_cast<int>(std::count(bytes_.begin() + static_cast<std::ptrdiff_t>(counted_),
                                    bytes_.begin() + static_cast<std::ptrdiff_t>(offset), '\n'));
    counted_ = offset;
    std::string xml_namespace =
        kind == DocumentLink::Kind::import ? element.attribute("namespace").value() : "";
    document_.links.push_back({kind, std::move(location), std::move(xml_namespace), line_, offset});
  }

  std::string_view bytes_;
  LinkedDocument& document_;
  std::size_t counted_ = 0;
  int line_ = 1;
};

/// An attribute in the text of a start tag: from the white space before it to behind its value.
struct AttributeSpan {
  std::size_t begin = 0;
  std::size_t end = 0;
};

/// The attribute `wanted` of the tag whose name begins at `at`; where there is none, an empty span
/// behind the name.
AttributeSpan find_attribute(std::string_view bytes, std::size_t at, std::string_view wanted) {
  at = std::min(bytes.find_first_of(" \t\r\n/>", at), bytes.size());
  const AttributeSpan none{at, at};
  for (;;) {
    const std::size_t begin = at;
    at = bytes.find_first_not_of(kWhiteSpace, at);
    const std::size_t equals = bytes.find_first_of("=/>", at);
    if (equals == std::string_view::npos || bytes[equals] != '=') return none;
    std::string_view name = bytes.substr(at, equals - at);
    name = name.substr(0, name.find_first_of(kWhiteSpace));
    const std::size_t quote = bytes.find_first_of("\"'", equals);
    if (quote == std::string_view::npos) return none;
    const std::size_t end = bytes.find(bytes[quote], quote + 1);
    if (end == std::string_view::npos) return none;
    at = end + 1;
    if (name == wanted) return {begin, at};
  }
}

}  // namespace

std::optional<LinkedDocument> scan_links(std::string_view bytes) {
  pugi::xml_document tree;
  // Taken as it is, so that places in the tree are places in the text.
  const pugi::xml_parse_result parsed =
      tree.load_buffer(bytes.data(), bytes.size(), pugi::parse_default, pugi::encoding_utf8);
  const pugi::xml_node root = tree.document_element();
  if (!parsed || !root) return std::nullopt;
  const std::string_view root_namespace = namespace_of(root);
  LinkedDocument document;
  document.is_schema = local_name(root) == "schema" && root_namespace == kSchemaNamespace;
  if (!document.is_schema && root_namespace != kLinkbaseNamespace) return std::nullopt;
  document.xml_namespace = root.attribute("targetNamespace").value();
  LinkScanner(bytes, document).scan(root);
  return document;
}

std::string with_locations(
    std::string_view bytes, const LinkedDocument& document,
    const std::function<std::optional<std::string>(const DocumentLink&)>& locate) {
  std::string text;
  std::size_t copied = 0;
  for (const DocumentLink& link : document.links) {
    if (link.kind == DocumentLink::Kind::locator) continue;
    const AttributeSpan old = find_attribute(bytes, link.offset, kLocation);
    text += bytes.substr(copied, old.begin - copied);
    copied = old.end;
    if (const auto location = locate(link)) {
      text.append(" ").append(kLocation).append("=\"").append(*location).append("\"");
    }
    const std::string_view replaced = bytes.substr(old.begin, old.end - old.begin);
    text.append(static_cast<std::size_t>(std::count(replaced.begin(), replaced.end(), '\n')), '\n');
  }
  return text.append(bytes.substr(copied));
}

}  // namespace zendro::store
