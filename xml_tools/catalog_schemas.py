"""Checks catalogs against the schemas of OASIS XML Catalogs, which two of Debian's packages have."""

import os
import re
import zipfile

from tools import JARS, run

RELAX_NG = "org/apache/xml/resolver/etc/catalog.rng"  # in the archive of the resolver
XML_SCHEMA = "openscap-common/usr/share/openscap/schemas/common/catalog.xsd"
# Both forget that a public identifier may hold blanks (XML 1.0, production 13); in one the hyphen means a range.
PUBLIC_ID = re.compile(r"\[a-zA-Z0-9[^\"<]*\*")
CORRECTED = r"[ a-zA-Z0-9\-'()+,./:=?;!*#@$_%]*"


def catalogs_below(local):
    """All catalogs, but not what is among the files of packages."""
    for folder, folders, files in os.walk(local):
        if "files" in folders:
            folders.remove("files")
        yield from (os.path.join(folder, name) for name in files if name.endswith(".xml"))


def write_schemas(unpacked, folder):
    """The options of xmllint for both schemas, from what the packages have below the folder `unpacked`."""
    with zipfile.ZipFile(JARS + "xml-resolver.jar") as archive:
        relax_ng = archive.read(RELAX_NG).decode()
    with open(os.path.join(unpacked, XML_SCHEMA), encoding="utf-8") as text:
        schemas = {"--relaxng": relax_ng, "--schema": text.read()}
    for option, content in schemas.items():
        corrected, count = PUBLIC_ID.subn(lambda _: CORRECTED, content)
        assert count == 1
        path = os.path.join(folder, "catalog" + option)
        with open(path, "w", encoding="utf-8") as out:
            out.write(corrected)
        yield option, path


def complaints(local, unpacked, folder):
    """How many catalogs there are, and what is wrong with them."""
    catalogs = list(catalogs_below(local))
    found = []
    for option, schema in write_schemas(unpacked, folder):
        status, _, errors = run(["xmllint", "--nonet", "--noout", option, schema, *catalogs])
        if status != 0:
            found += [line for line in errors.splitlines() if not line.endswith(" validates")]
    return len(catalogs), found
