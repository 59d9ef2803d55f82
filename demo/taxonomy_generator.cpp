#include "demo/taxonomy_generator.h"

#include <algorithm>
#include <map>
#include <set>
#include <stdexcept>

#include <pugixml.hpp>

#include "demo/format_xml.h"
#include "framework/system/files.h"
#include "framework/text/json.h"

namespace zendro::demo {

namespace json = framework::json;

namespace {

constexpr const char* kInstanceSchema = "http://www.xbrl.org/2003/xbrl-instance-2003-12-31.xsd";
constexpr const char* kLinkbaseSchema = "http://www.xbrl.org/2003/xbrl-linkbase-2003-12-31.xsd";
constexpr const char* kInstanceNamespace = "http://www.xbrl.org/2003/instance";
constexpr const char* kLinkNamespace = "http://www.xbrl.org/2003/linkbase";
constexpr const char* kXlinkNamespace = "http://www.w3.org/1999/xlink";
constexpr const char* kStandardLink = "http://www.xbrl.org/2003/role/link";

/// One place of the presentation tree.
struct Place {
  std::string id;    ///< prefix, "_" and name: the element's id in its schema
  std::string href;  ///< the element as seen from this taxonomy's linkbases
  int parent = -1;   ///< index of the place above; -1 at the top
  int order = 0;     ///< among its siblings, from 1
  const json::object* concept_map = nullptr;  ///< null for an imported concept
};

struct Taxonomy {
  std::string title;
  std::string description;
  std::string publisher;
  std::string homepage;
  std::string version;
  std::string prefix;
  std::string xml_namespace;
  std::string base;                            ///< URL of the version's folder, with "/"
  std::map<std::string, std::string> imports;  ///< prefix to namespace
  std::vector<Place> places;
};

std::string text(const json::object& map, std::string_view key) {
  return std::string(framework::as_string(map.at(key)));
}

std::string text_or_empty(const json::object& map, std::string_view key) {
  const json::value* value = map.if_contains(key);
  return value == nullptr ? std::string() : std::string(framework::as_string(*value));
}

bool is_in_version(const json::object& concept_map, const pkg::semver_t& version) {
  const std::string since = text_or_empty(concept_map, "since");
  if (since.empty()) {
    return true;
  }
  const pkg::semver_t first = pkg::parse_version(since);
  return std::tie(first.major, first.minor, first.patch) <=
         std::tie(version.major, version.minor, version.patch);
}

Place make_place(const Taxonomy& taxonomy, const json::object& concept_map) {
  const std::string used = text_or_empty(concept_map, "use");
  Place place;
  if (used.empty()) {
    place.id = taxonomy.prefix + "_" + text(concept_map, "name");
    place.href = taxonomy.prefix + ".xsd#" + place.id;
    place.concept_map = &concept_map;
    return place;
  }
  const std::string prefix = used.substr(0, used.find(':'));
  place.id = prefix + "_" + used.substr(used.find(':') + 1);
  place.href = taxonomy.imports.at(prefix) + "/" + prefix + ".xsd#" + place.id;
  return place;
}

void collect_places(const json::value& concepts, int parent, const pkg::semver_t& version,
                    Taxonomy& taxonomy) {
  int order = 0;
  for (const json::value& value : framework::as_array(concepts)) {
    const json::object& concept_map = framework::as_map(value);
    if (!is_in_version(concept_map, version)) {
      continue;
    }
    Place place = make_place(taxonomy, concept_map);
    place.parent = parent;
    place.order = ++order;
    taxonomy.places.push_back(std::move(place));
    if (const json::value* children = concept_map.if_contains("children")) {
      collect_places(*children, static_cast<int>(taxonomy.places.size()) - 1, version, taxonomy);
    }
  }
}

Taxonomy read_taxonomy(const json::object& map, const pkg::name_semver_t& identity) {
  Taxonomy taxonomy;
  taxonomy.title = text(map, "title");
  taxonomy.description = text(map, "description");
  taxonomy.publisher = text(map, "publisher");
  taxonomy.homepage = text(map, "homepage");
  taxonomy.prefix = text(map, "prefix");
  taxonomy.version = pkg::to_string({"", identity.version}).substr(1);
  taxonomy.xml_namespace =
      text(map, "base") + taxonomy.version.substr(0, taxonomy.version.rfind('.'));
  taxonomy.base = taxonomy.xml_namespace + "/";
  for (const json::value& import : framework::as_array(map.at("imports"))) {
    const json::object& import_map = framework::as_map(import);
    taxonomy.imports[text(import_map, "prefix")] = text(import_map, "namespace");
  }
  collect_places(map.at("concepts"), -1, identity.version, taxonomy);
  return taxonomy;
}

pugi::xml_node append(pugi::xml_node parent, const char* name,
                      std::initializer_list<std::pair<const char*, std::string>> attributes,
                      const std::string& content = {}) {
  pugi::xml_node node = parent.append_child(name);
  for (const auto& [key, value] : attributes) {
    node.append_attribute(key) = value.c_str();
  }
  if (!content.empty()) {
    node.text() = content.c_str();
  }
  return node;
}

/// An empty document with its declaration.
pugi::xml_document new_document() {
  pugi::xml_document document;
  pugi::xml_node declaration = document.append_child(pugi::node_declaration);
  declaration.append_attribute("version") = "1.0";
  declaration.append_attribute("encoding") = "UTF-8";
  return document;
}

std::set<std::string> languages_of(const Taxonomy& taxonomy) {
  std::set<std::string> languages;
  for (const Place& place : taxonomy.places) {
    if (place.concept_map != nullptr) {
      for (const auto& [language, label] : framework::as_map(place.concept_map->at("label"))) {
        languages.emplace(language);
      }
    }
  }
  return languages;
}

std::string label_file(const Taxonomy& taxonomy, const std::string& language) {
  return taxonomy.prefix + "-lab-" + language + ".xml";
}

std::string presentation_file(const Taxonomy& taxonomy) { return taxonomy.prefix + "-pre.xml"; }

void append_linkbase_reference(pugi::xml_node parent, const std::string& file, const char* role) {
  append(parent, "link:linkbaseRef",
         {{"xlink:type", "simple"},
          {"xlink:href", file},
          {"xlink:role", role},
          {"xlink:arcrole", "http://www.w3.org/1999/xlink/properties/linkbase"}});
}

void append_concept(pugi::xml_node schema, const Place& place) {
  const json::object& map = *place.concept_map;
  const json::value* abstract = map.if_contains("abstract");
  pugi::xml_node element = append(schema, "xsd:element",
                                  {{"id", place.id},
                                   {"name", text(map, "name")},
                                   {"substitutionGroup", "xbrli:item"},
                                   {"nillable", "true"}});
  if (abstract != nullptr && abstract->as_bool()) {
    element.append_attribute("abstract") = "true";
    element.append_attribute("type") = "xbrli:stringItemType";
    element.append_attribute("xbrli:periodType") = "duration";
    return;
  }
  element.append_attribute("type") = ("xbrli:" + text(map, "type") + "ItemType").c_str();
  element.append_attribute("xbrli:periodType") = text(map, "period").c_str();
  const std::string balance = text_or_empty(map, "balance");
  if (!balance.empty()) {
    element.append_attribute("xbrli:balance") = balance.c_str();
  }
}

std::string make_schema(const Taxonomy& taxonomy) {
  pugi::xml_document document = new_document();
  pugi::xml_node schema = append(document, "xsd:schema",
                                 {{"xmlns:xsd", "http://www.w3.org/2001/XMLSchema"},
                                  {"xmlns:xbrli", kInstanceNamespace},
                                  {"xmlns:link", kLinkNamespace},
                                  {"xmlns:xlink", kXlinkNamespace},
                                  {"targetNamespace", taxonomy.xml_namespace},
                                  {"elementFormDefault", "qualified"}});
  pugi::xml_node annotation = append(schema, "xsd:annotation", {});
  append(annotation, "xsd:documentation", {{"xml:lang", "en"}}, taxonomy.description);
  pugi::xml_node appinfo = append(annotation, "xsd:appinfo", {});
  for (const std::string& language : languages_of(taxonomy)) {
    append_linkbase_reference(appinfo, label_file(taxonomy, language),
                              "http://www.xbrl.org/2003/role/labelLinkbaseRef");
  }
  append_linkbase_reference(appinfo, presentation_file(taxonomy),
                            "http://www.xbrl.org/2003/role/presentationLinkbaseRef");
  append(schema, "xsd:import",
         {{"namespace", kInstanceNamespace}, {"schemaLocation", kInstanceSchema}});
  for (const auto& [prefix, xml_namespace] : taxonomy.imports) {
    append(
        schema, "xsd:import",
        {{"namespace", xml_namespace}, {"schemaLocation", xml_namespace + "/" + prefix + ".xsd"}});
  }
  for (const Place& place : taxonomy.places) {
    if (place.concept_map != nullptr) {
      append_concept(schema, place);
    }
  }
  return format_xml(document);
}

pugi::xml_node append_linkbase(pugi::xml_document& document) {
  return append(document, "link:linkbase",
                {{"xmlns:link", kLinkNamespace},
                 {"xmlns:xlink", kXlinkNamespace},
                 {"xmlns:xsi", "http://www.w3.org/2001/XMLSchema-instance"},
                 {"xsi:schemaLocation", std::string(kLinkNamespace) + " " + kLinkbaseSchema}});
}

std::string make_labels(const Taxonomy& taxonomy, const std::string& language) {
  pugi::xml_document document = new_document();
  pugi::xml_node link = append(append_linkbase(document), "link:labelLink",
                               {{"xlink:type", "extended"}, {"xlink:role", kStandardLink}});
  for (const Place& place : taxonomy.places) {
    if (place.concept_map == nullptr) {
      continue;
    }
    const json::object& labels = framework::as_map(place.concept_map->at("label"));
    append(link, "link:loc",
           {{"xlink:type", "locator"}, {"xlink:href", place.href}, {"xlink:label", place.id}});
    append(link, "link:label",
           {{"xlink:type", "resource"},
            {"xlink:label", "label_" + place.id},
            {"xlink:role", "http://www.xbrl.org/2003/role/label"},
            {"xml:lang", language}},
           text(labels, language));
    append(link, "link:labelArc",
           {{"xlink:type", "arc"},
            {"xlink:arcrole", "http://www.xbrl.org/2003/arcrole/concept-label"},
            {"xlink:from", place.id},
            {"xlink:to", "label_" + place.id}});
  }
  return format_xml(document);
}

std::string make_presentation(const Taxonomy& taxonomy) {
  pugi::xml_document document = new_document();
  pugi::xml_node link = append(append_linkbase(document), "link:presentationLink",
                               {{"xlink:type", "extended"}, {"xlink:role", kStandardLink}});
  for (const Place& place : taxonomy.places) {
    append(link, "link:loc",
           {{"xlink:type", "locator"}, {"xlink:href", place.href}, {"xlink:label", place.id}});
    if (place.parent < 0) {
      continue;
    }
    append(link, "link:presentationArc",
           {{"xlink:type", "arc"},
            {"xlink:arcrole", "http://www.xbrl.org/2003/arcrole/parent-child"},
            {"xlink:from", taxonomy.places[static_cast<std::size_t>(place.parent)].id},
            {"xlink:to", place.id},
            {"order", std::to_string(place.order)}});
  }
  return format_xml(document);
}

std::string make_package_document(const Taxonomy& taxonomy, const std::string& identifier) {
  pugi::xml_document document = new_document();
  pugi::xml_node root =
      append(document, "tp:taxonomyPackage",
             {{"xmlns:tp", "http://xbrl.org/2016/taxonomy-package"}, {"xml:lang", "en"}});
  append(root, "tp:identifier", {}, identifier);
  append(root, "tp:name", {}, taxonomy.title);
  append(root, "tp:description", {}, taxonomy.description);
  append(root, "tp:version", {}, taxonomy.version);
  append(root, "tp:publisher", {}, taxonomy.publisher);
  append(root, "tp:publisherURL", {}, taxonomy.homepage);
  pugi::xml_node entry = append(append(root, "tp:entryPoints", {}), "tp:entryPoint", {});
  append(entry, "tp:name", {}, taxonomy.title);
  append(entry, "tp:entryPointDocument", {{"href", taxonomy.base + taxonomy.prefix + ".xsd"}});
  return format_xml(document);
}

std::string make_catalog(const Taxonomy& taxonomy, const std::string& folder) {
  pugi::xml_document document = new_document();
  pugi::xml_node root =
      append(document, "catalog", {{"xmlns", "urn:oasis:names:tc:entity:xmlns:xml:catalog"}});
  append(root, "rewriteURI",
         {{"uriStartString", taxonomy.base}, {"rewritePrefix", "../" + folder}});
  return format_xml(document);
}

/// A location as a path below the package's own folder: the URL without its scheme.
std::string folder_of(const std::string& url) { return url.substr(url.find("://") + 3); }

}  // namespace

std::string taxonomy_meta_folder(const pkg::name_semver_t& identity) {
  return identity.name + "/META-INF/";
}

std::vector<store::SourceFile> generate_taxonomy(const std::filesystem::path& description,
                                                 const pkg::name_semver_t& identity) {
  const std::string file = framework::path_to_utf8(description);
  const auto document = framework::parse_json(store::read_whole_file(description));
  if (!document) {
    throw std::runtime_error(file + ": " + document.error());
  }
  try {
    const Taxonomy taxonomy = read_taxonomy(framework::as_map(*document), identity);
    const std::string folder = folder_of(taxonomy.base);
    const std::string path = identity.name + "/" + folder;
    const std::string meta = taxonomy_meta_folder(identity);
    std::vector<store::SourceFile> files = {
        {meta + "taxonomyPackage.xml",
         make_package_document(taxonomy, taxonomy.homepage + pkg::to_string(identity))},
        {meta + "catalog.xml", make_catalog(taxonomy, folder)},
        {path + taxonomy.prefix + ".xsd", make_schema(taxonomy)},
        {path + presentation_file(taxonomy), make_presentation(taxonomy)}};
    for (const std::string& language : languages_of(taxonomy)) {
      files.push_back({path + label_file(taxonomy, language), make_labels(taxonomy, language)});
    }
    std::sort(
        files.begin(), files.end(),
        [](const store::SourceFile& a, const store::SourceFile& b) { return a.path < b.path; });
    return files;
  } catch (const std::exception& failure) {
    throw std::runtime_error(file + ": " + failure.what());
  }
}

}  // namespace zendro::demo
