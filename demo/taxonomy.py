"""Makes small XBRL 2.1 taxonomies from a description: the entry-point schema, a label linkbase for each language, the
presentation linkbase, and the two documents of an XBRL taxonomy package.

A description is a JSON map with "title", "description", "publisher", "homepage", "base" (URL folder), "prefix",
"imports" (array of maps with "prefix" and "namespace") and "concepts": a tree of maps with "name", "label" (language to
text), "type", "period", "balance", "abstract", "since" (first version that has it), "use" (a concept of an import,
instead of all others) and "children". Namespace and location of a version are the base with its major and minor
number, so that they stay the same for all its patch levels."""
import json
import os
import xml.etree.ElementTree as ET

XML_SCHEMA = "http://www.w3.org/2001/XMLSchema"
INSTANCE = "http://www.xbrl.org/2003/instance"
INSTANCE_SCHEMA = "http://www.xbrl.org/2003/xbrl-instance-2003-12-31.xsd"
LINK = "http://www.xbrl.org/2003/linkbase"
LINKBASE_SCHEMA = "http://www.xbrl.org/2003/xbrl-linkbase-2003-12-31.xsd"
XLINK = "http://www.w3.org/1999/xlink"
STANDARD_LINK = "http://www.xbrl.org/2003/role/link"


class Place:
    """One place of the presentation tree."""

    def __init__(self, identifier, href, parent, order, concept):
        self.id, self.href, self.parent, self.order = identifier, href, parent, order
        self.concept = concept  # None for one of an import


class Taxonomy:
    def __init__(self, path, name, version):
        with open(path, encoding="utf-8") as file:
            described = json.load(file)
        self.name, self.version = name, version
        self.title, self.description = described["title"], described["description"]
        self.publisher, self.homepage = described["publisher"], described["homepage"]
        self.prefix = described["prefix"]
        self.namespace = described["base"] + version.rsplit(".", 1)[0]
        self.imports = {each["prefix"]: each["namespace"] for each in described["imports"]}
        self.places = []
        self.collect(described["concepts"], None)
        self.languages = sorted({language for concept in self.concepts() for language in concept["label"]})

    def collect(self, concepts, parent):
        order = 0
        for concept in concepts:
            if numbers(concept.get("since", "0")) > numbers(self.version):
                continue
            order += 1
            prefix, _, name = concept.get("use", f"{self.prefix}:{concept.get('name')}").partition(":")
            own = "use" not in concept
            href = f"{prefix}.xsd" if own else f"{self.imports[prefix]}/{prefix}.xsd"
            identifier = f"{prefix}_{name}"
            place = Place(identifier, f"{href}#{identifier}", parent, order, concept if own else None)
            self.places.append(place)
            self.collect(concept.get("children", []), place)

    def concepts(self):
        return [place.concept for place in self.places if place.concept]

    def label_file(self, language):
        return f"{self.prefix}-lab-{language}.xml"

    def presentation_file(self):
        return f"{self.prefix}-pre.xml"


def numbers(version):
    return [int(number) for number in version.split(".")]


def document(root):
    ET.indent(root)
    return ET.tostring(root, encoding="UTF-8", xml_declaration=True)


def element(parent, tag, attributes, text=None):
    made = ET.Element(tag, attributes) if parent is None else ET.SubElement(parent, tag, attributes)
    made.text = text
    return made


def schema(taxonomy):
    root = element(None, "xsd:schema", {
        "xmlns:xsd": XML_SCHEMA, "xmlns:xbrli": INSTANCE, "xmlns:link": LINK, "xmlns:xlink": XLINK,
        "targetNamespace": taxonomy.namespace, "elementFormDefault": "qualified"})
    annotation = element(root, "xsd:annotation", {})
    element(annotation, "xsd:documentation", {"xml:lang": "en"}, taxonomy.description)
    appinfo = element(annotation, "xsd:appinfo", {})
    linkbases = [(taxonomy.label_file(language), "label") for language in taxonomy.languages]
    for file, kind in [*linkbases, (taxonomy.presentation_file(), "presentation")]:
        element(appinfo, "link:linkbaseRef", {
            "xlink:type": "simple", "xlink:href": file,
            "xlink:role": f"http://www.xbrl.org/2003/role/{kind}LinkbaseRef",
            "xlink:arcrole": "http://www.w3.org/1999/xlink/properties/linkbase"})
    element(root, "xsd:import", {"namespace": INSTANCE, "schemaLocation": INSTANCE_SCHEMA})
    for prefix, namespace in sorted(taxonomy.imports.items()):
        element(root, "xsd:import", {"namespace": namespace, "schemaLocation": f"{namespace}/{prefix}.xsd"})
    for place in taxonomy.places:
        if place.concept is None:
            continue
        concept = place.concept
        kind = {"abstract": "true", "type": "xbrli:stringItemType", "xbrli:periodType": "duration"}
        if not concept.get("abstract"):
            kind = {"type": f"xbrli:{concept['type']}ItemType", "xbrli:periodType": concept["period"]}
            if "balance" in concept:
                kind["xbrli:balance"] = concept["balance"]
        element(root, "xsd:element", {"id": place.id, "name": concept["name"], "substitutionGroup": "xbrli:item",
                                      "nillable": "true", **kind})
    return document(root)


def linkbase(kind):
    root = element(None, "link:linkbase", {
        "xmlns:link": LINK, "xmlns:xlink": XLINK, "xmlns:xsi": "http://www.w3.org/2001/XMLSchema-instance",
        "xsi:schemaLocation": f"{LINK} {LINKBASE_SCHEMA}"})
    return root, element(root, f"link:{kind}Link", {"xlink:type": "extended", "xlink:role": STANDARD_LINK})


def locate(link, place):
    element(link, "link:loc", {"xlink:type": "locator", "xlink:href": place.href, "xlink:label": place.id})


def labels(taxonomy, language):
    root, link = linkbase("label")
    for place in taxonomy.places:
        if place.concept is None:
            continue
        locate(link, place)
        element(link, "link:label", {
            "xlink:type": "resource", "xlink:label": f"label_{place.id}",
            "xlink:role": "http://www.xbrl.org/2003/role/label", "xml:lang": language},
            place.concept["label"][language])
        element(link, "link:labelArc", {
            "xlink:type": "arc", "xlink:arcrole": "http://www.xbrl.org/2003/arcrole/concept-label",
            "xlink:from": place.id, "xlink:to": f"label_{place.id}"})
    return document(root)


def presentation(taxonomy):
    root, link = linkbase("presentation")
    for place in taxonomy.places:
        locate(link, place)
        if place.parent is not None:
            element(link, "link:presentationArc", {
                "xlink:type": "arc", "xlink:arcrole": "http://www.xbrl.org/2003/arcrole/parent-child",
                "xlink:from": place.parent.id, "xlink:to": place.id, "order": str(place.order)})
    return document(root)


def package_document(taxonomy):
    root = element(None, "tp:taxonomyPackage", {"xmlns:tp": "http://xbrl.org/2016/taxonomy-package", "xml:lang": "en"})
    for tag, text in [("identifier", f"{taxonomy.homepage}{taxonomy.name}-{taxonomy.version}"),
                      ("name", taxonomy.title), ("description", taxonomy.description), ("version", taxonomy.version),
                      ("publisher", taxonomy.publisher), ("publisherURL", taxonomy.homepage)]:
        element(root, f"tp:{tag}", {}, text)
    entry = element(element(root, "tp:entryPoints", {}), "tp:entryPoint", {})
    element(entry, "tp:name", {}, taxonomy.title)
    element(entry, "tp:entryPointDocument", {"href": f"{taxonomy.namespace}/{taxonomy.prefix}.xsd"})
    return document(root)


def catalog(taxonomy, folder):
    root = element(None, "catalog", {"xmlns": "urn:oasis:names:tc:entity:xmlns:xml:catalog"})
    element(root, "rewriteURI", {"uriStartString": f"{taxonomy.namespace}/", "rewritePrefix": f"../{folder}"})
    return document(root)


def write(folder, path, name, version):
    """Writes one version of the taxonomy that is described at `path` into a folder."""
    taxonomy = Taxonomy(path, name, version)
    # The URL without its scheme.
    below = taxonomy.namespace.partition("://")[2] + "/"
    files = {"META-INF/taxonomyPackage.xml": package_document(taxonomy), "META-INF/catalog.xml": catalog(taxonomy, below),
             f"{below}{taxonomy.prefix}.xsd": schema(taxonomy),
             below + taxonomy.presentation_file(): presentation(taxonomy)}
    for language in taxonomy.languages:
        files[below + taxonomy.label_file(language)] = labels(taxonomy, language)
    for file, text in files.items():
        target = os.path.join(folder, name, file)
        os.makedirs(os.path.dirname(target), exist_ok=True)
        with open(target, "wb") as out:
            out.write(text)
