"""Documents of SPDX 2.3 (Software Package Data Exchange, https://spdx.dev)."""
import functools
import json
import re
import urllib.parse

LICENCE_IDS = "/usr/share/nodejs/spdx-license-ids/index.json"
# What Debian calls otherwise.
NAMES = {"expat": "MIT", "wxwindows": "LGPL-2.0-or-later WITH WxWindows-exception-3.1"}
NOTHING = "NOASSERTION"


def word(text):
    """A text with the characters only that an identifier may have."""
    return re.sub(r"[^A-Za-z0-9.-]+", "-", text)


@functools.cache
def licence_ids():
    with open(LICENCE_IDS, encoding="utf-8") as file:
        return {name.lower(): name for name in json.load(file)}


class Document:
    def __init__(self, name, namespace, created, tool):
        self.texts, self.packages, self.relationships = {}, {}, []
        self.head = {
            "spdxVersion": "SPDX-2.3", "dataLicense": "CC0-1.0", "SPDXID": "SPDXRef-DOCUMENT", "name": name,
            "documentNamespace": namespace,
            "creationInfo": {"created": created, "creators": ["Organization: Zendro", f"Tool: {tool}"]}}

    def licence_id(self, name, origin, texts):
        """A licence that Debian names; what SPDX does not know is told with its text."""
        if name.lower() in NAMES:
            return NAMES[name.lower()]
        gnu = re.fullmatch(r"(A?GPL|LGPL|GFDL)-(\d)(?:\.(\d))?(?:\.0)?(\+?)", name)
        if gnu:
            family, major, minor, later = gnu.groups()
            return f"{family}-{major}.{minor or 0}-{'or-later' if later else 'only'}"
        if name.lower() in licence_ids():
            return licence_ids()[name.lower()]
        identifier = "LicenseRef-" + word(f"{origin}-{name}")
        self.texts[identifier] = {"licenseId": identifier, "name": name, "extractedText": texts.get(name) or name}
        return identifier

    def expression(self, name, origin, texts):
        """Debian's words for a licence: "and" goes before "or", save behind a comma."""
        for between, operator in ((", and ", "AND"), (", or ", "OR"), (" or ", "OR"), (" and ", "AND")):
            parts = name.split(between)
            if len(parts) > 1:
                parts = [self.expression(part, origin, texts) for part in parts]
                return f" {operator} ".join(f"({part})" if re.search(" (AND|OR) ", part) else part for part in parts)
        return self.licence_id(name, origin, texts)

    def licence_of(self, package):
        if not package.licence:
            return {"licenseDeclared": NOTHING,
                    "licenseComments": f"No machine reads {package.copyright}, which tells the licence."}
        licence, origin = package.licence, package.source.split(" ")[0]
        told = f"Debian says {licence.name}, in {package.copyright}."
        if licence.others:
            told += f" Single files of the source package have: {'; '.join(licence.others)}."
        return {"licenseDeclared": self.expression(licence.name, origin, licence.texts), "licenseComments": told}

    def put(self, name, version, kind="", **more):
        """Describes a package once and gives its identifier, which begins with the kind, where there is one."""
        identifier = "SPDXRef-" + word(kind + name)
        described = {
            "SPDXID": identifier, "name": name, "versionInfo": version, "downloadLocation": NOTHING,
            "filesAnalyzed": False, "licenseConcluded": NOTHING, "copyrightText": NOTHING, **more}
        if self.packages.setdefault(identifier, described) != described:
            raise RuntimeError(f"two packages would be {identifier}")
        return identifier

    def put_debian(self, package):
        """A package of Debian."""
        name, version = (urllib.parse.quote(text, safe="") for text in (package.name, package.version))
        locator = f"pkg:deb/debian/{name}@{version}?arch={package.architecture}&distro=debian-12"
        return self.put(
            package.name, package.version, "source-" if package.architecture == "source" else "", supplier="Organization: Debian",
            sourceInfo=f"Built from Debian's source package {package.source}.", **self.licence_of(package),
            externalRefs=[{"referenceCategory": "PACKAGE-MANAGER", "referenceType": "purl", "referenceLocator": locator}])

    def relate(self, one, how, other):
        self.relationships.append({"spdxElementId": one, "relationshipType": how, "relatedSpdxElement": other})

    def text(self):
        whole = {**self.head, "packages": list(self.packages.values()), "relationships": self.relationships}
        if self.texts:
            whole["hasExtractedLicensingInfos"] = list(self.texts.values())
        return json.dumps(whole, indent=2, ensure_ascii=False) + "\n"
