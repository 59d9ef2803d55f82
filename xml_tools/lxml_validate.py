"""Validates documents with lxml: the input and output of Validate.java."""

import sys

from lxml import etree

for line in sys.stdin:
    path, schema = line.rstrip("\n").split("\t")
    try:
        document = etree.parse(path, etree.XMLParser(dtd_validation=not schema, no_network=True))
        if schema:
            etree.XMLSchema(file=schema).assertValid(document)
        print()
    except (etree.LxmlError, OSError) as complaint:
        print(" ".join(str(complaint).split()) or "no cause given")
