#include "store/scan/schema_scan.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>

#include <pugixml.hpp>

#include "store/scan/xml_names.h"

namespace zendro::store {

namespace {

/// All character data below a node.
std::string text_of(const pugi::xml_node& node) {
  std::string text;
  for (const pugi::xml_node& child : node.children()) {
    text += child.value();
    text += text_of(child);
  }
  return text;
}

/// The documentation at the top of a schema; some keep it in their only redefinition.
std::string documentation_below(const pugi::xml_node& parent) {
  std::string text;
  for (const pugi::xml_node& child : parent.children()) {
    if (local_name(child) == "documentation") {
      text += text_of(child) + ' ';
    } else if (local_name(child) == "annotation" || local_name(child) == "redefine") {
      text += documentation_below(child);
    }
  }
  return text;
}

/// The documentation of the schema itself, else its introducing comments.
std::string introduction(const pugi::xml_document& document, const pugi::xml_node& root) {
  std::string text = documentation_below(root);
  if (collapse_white_space(text).empty()) {
    for (const pugi::xml_node& node : document.children()) {
      if (node.type() == pugi::node_comment) {
        text += std::string(node.value()) + ' ';
      }
    }
  }
  return collapse_white_space(text);
}

/// The word after a label such as "Location:".
std::string_view word_after(std::string_view text, std::string_view label) {
  const auto at = text.find(label);
  if (at == std::string_view::npos) {
    return {};
  }
  text.remove_prefix(at + label.size());
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  return text.substr(0, text.find(' '));
}

/// OASIS documents state their identifier and the folder that they are published in.
std::string stated_location(std::string_view text) {
  const std::string_view identifier = word_after(text, "Document identifier:");
  const std::string_view folder = word_after(text, "Location:");
  if (identifier.empty() || !is_absolute(folder) || !folder.ends_with('/')) {
    return {};
  }
  return std::string(folder) + std::string(identifier) +
         (identifier.ends_with(".xsd") ? "" : ".xsd");
}

void add_demand(Document& document, Demand demand) {
  if (std::find(document.demands.begin(), document.demands.end(), demand) ==
      document.demands.end()) {
    document.demands.push_back(std::move(demand));
  }
}

/// Imported, included and redefined schemas, and everything that an XLink leads to.
void collect_demands(const pugi::xml_node& node, Document& document) {
  for (const pugi::xml_node& child : node.children()) {
    if (child.type() != pugi::node_element) {
      continue;
    }
    const std::string_view name = local_name(child);
    if (name == "import" || name == "include" || name == "redefine") {
      add_demand(
          document,
          {child.attribute("schemaLocation").value(), child.attribute("namespace").value(), {}});
    } else if (const pugi::xml_attribute href = child.attribute("xlink:href")) {
      const std::string_view location = href.value();
      add_demand(document, {std::string(location.substr(0, location.find('#'))), {}, {}});
    }
    collect_demands(child, document);
  }
}

}  // namespace

std::optional<Document> scan_schema(const SourceFile& file) {
  const bool is_schema_file = file.path.ends_with(".xsd");
  if (!is_schema_file && !file.path.ends_with(".xml")) {
    return std::nullopt;
  }
  pugi::xml_document tree;
  const pugi::xml_parse_result parsed = tree.load_buffer(
      file.bytes.data(), file.bytes.size(), pugi::parse_default | pugi::parse_comments);
  const pugi::xml_node root = tree.document_element();
  const std::string_view root_namespace = parsed ? namespace_of(root) : std::string_view();
  const bool is_schema = local_name(root) == "schema" && root_namespace == kSchemaNamespace;
  if (is_schema_file && !is_schema) {
    throw std::runtime_error(
        file.path + ":" +
        std::to_string(line_at(file.bytes, static_cast<std::size_t>(parsed.offset))) +
        ": this is no XML schema: " +
        (parsed ? "its document element is " + std::string(root.name()) : parsed.description()));
  }
  if (!is_schema && root_namespace != kLinkbaseNamespace) {
    return std::nullopt;
  }
  Document document;
  document.path = file.path;
  document.xml_namespace = root.attribute("targetNamespace").value();
  document.text = introduction(tree, root);
  document.own_location = stated_location(document.text);
  collect_demands(root, document);
  return document;
}

}  // namespace zendro::store
