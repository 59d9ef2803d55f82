"""The kinds of documents that are validated: a good one of each is in documents/, a bad one has a misspelt name."""

import os

DOCUMENTS = os.path.join(os.path.dirname(os.path.realpath(__file__)), "documents")
OVAL = "http://oval.mitre.org/XMLSchema/oval-definitions-5"
SAML = "http://docs.oasis-open.org/security/saml/v2.0/saml-schema-metadata-2.0.xsd"


class Kind:
    """`schema` is a location or namespace of its schema, empty where the document names its type; `name` is the part
    of the document that is misspelt as `misspelt`."""

    def __init__(self, title, file, schema, name, misspelt):
        self.title, self.file, self.schema = title, file, schema
        self.name, self.misspelt = name, misspelt

    def write(self, folder):
        """The paths of a good and a bad document in the folder."""
        with open(os.path.join(DOCUMENTS, self.file), encoding="utf-8") as good:
            text = good.read()
        assert self.name in text
        paths = []
        for prefix, content in (("good-", text), ("bad-", text.replace(self.name, self.misspelt))):
            paths.append(os.path.join(folder, prefix + self.file))
            with open(paths[-1], "w", encoding="utf-8") as out:
                out.write(content)
        return paths


KINDS = [
    Kind("SAML metadata", "saml-metadata.xml", SAML, "Location", "Lokation"),
    Kind("SAML authentication context", "saml-authn-context.xml", "urn:oasis:names:tc:SAML:2.0:ac", "min=", "minn="),
    Kind("DocBook 4.5", "docbook.xml", "", "para>", "parra>"),
    Kind("DocBook 4.5, no public identifier", "docbook-system.xml", "", "para>", "parra>"),
    Kind("XHTML 1.1", "xhtml.xml", "", "title>", "titel>"),
    Kind("OVAL 5.11", "oval.xml", OVAL, "ind:family>", "ind:familie>"),
    Kind("pain.001", "pain.001.xml", "urn:iso:std:iso:20022:tech:xsd:pain.001.001.05", "InstdAmt", "InstedAmt"),
    Kind("camt.054", "camt.054.xml", "urn:iso:std:iso:20022:tech:xsd:camt.054.001.04", "Ccy>", "Curr>"),
    Kind("SCAP data stream", "scap-data-stream.xml", "http://scap.nist.gov/schema/scap/source/1.2", "status>",
         "stattus>"),
]

# What has them in the demonstration store; one package is in a package file.
PACKAGE_FILE = "iso20022-pain.zendro_xmlschemas"
PACKAGES = ["docbook-dtd-4.5", "iso20022-camt.054-1.4", "oasis-saml-2.0", "oval-5.11", "scap-sds-1.3", "xhtml-dtd-1.1"]
