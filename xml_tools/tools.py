"""The XML tools, each as its users run it."""

import json
import os
import re
import shlex
import subprocess
import urllib.parse

HERE = os.path.dirname(os.path.realpath(__file__))
JARS = "/usr/share/java/"
XERCES = [JARS + name for name in ("xercesImpl.jar", "xml-apis.jar", "xml-resolver.jar")]
SAXON = [JARS + name for name in ("Saxon-HE.jar", "xml-resolver.jar")]
PYTHON = "/usr/bin/python3"  # the one that Debian's packages are for
LONGEST_RUN = 120  # seconds


def uri_of(path):
    return "file://" + urllib.parse.quote(path)


class HowTo:
    """The lines for users that stand beside the catalogs."""

    def __init__(self, local):
        with open(os.path.join(local, "how-to.txt"), encoding="utf-8") as text:
            self.text = text.read()
        self.libxml2 = self.only(r'XML_CATALOG_FILES="(.*)"')
        self.for_all = self.every(r'xmlcatalog (--noout --add nextCatalog "") "(.*)" /etc/xml/catalog')
        self.java = self.every(r'(-Djavax\.xml\.catalog\.[^"\s]+)')
        self.saxon = self.only(r'"(-catalog:.*)"')
        # What takes a list of catalogs: locations first, then namespaces.
        self.list = json.loads(self.only(r'"xml\.catalogs": (\[.*\])'))

    def every(self, pattern):
        found = re.findall(pattern, self.text)
        if not found:
            raise RuntimeError(f"how-to.txt does not say {pattern}")
        return found

    def only(self, pattern):
        (found,) = self.every(pattern)
        return found


def run(command, given="", **variables):
    """Status, output and complaints."""
    environment = {"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8", "XML_CATALOG_FILES": "", **variables}
    ended = subprocess.run(command, input=given, env=environment, text=True, capture_output=True, timeout=LONGEST_RUN)
    return ended.returncode, ended.stdout, ended.stderr


def complaints_in(command, tasks, **variables):
    """The complaints that a program prints, one a line, about the tasks in its input."""
    given = "".join(f"{path}\t{schema}\n" for path, schema in tasks)
    status, output, errors = run(command, given, **variables)
    lines = output.splitlines()
    if status != 0 or len(lines) != len(tasks):
        raise RuntimeError(f"{command[0]} ended with {status}: {errors or output}")
    return lines


class Tool:
    """`judges` are the kinds that it can validate ("types" those with a document type, "schemas" the others); of the
    others it finds the schema. `refuses` are documents that its own fault keeps it from validating, and the fault."""

    def __init__(self, name, function, judges=("types", "schemas"), refuses=None):
        self.name, self.complaints, self.judges, self.refuses = name, function, judges, refuses or {}


def xmllint_with(files, tasks):
    found = []
    for path, schema in tasks:
        how = ["--schema", schema] if schema else ["--valid"]
        status, _, errors = run(["xmllint", "--nonet", "--noout", *how, path], XML_CATALOG_FILES=files)
        lines = [line for line in errors.splitlines() if "warning" not in line]
        # A catalog that it cannot read is none to it, but no failure.
        failed = status != 0 or "Catalog error" in errors
        found.append((" ".join(lines) or f"status {status}") if failed else "")
    return found


def xmllint(tasks, how_to, _):
    return xmllint_with(how_to.libxml2 if how_to else "", tasks)


def xmllint_for_all(tasks, how_to, folder):
    """As with /etc/xml/catalog, which everybody's xmllint reads: another one here."""
    path = os.path.join(folder, f"system-catalog-{'with' if how_to else 'without'}.xml")
    run(["xmlcatalog", "--noout", "--create", path])
    for options, catalog in how_to.for_all if how_to else ():
        status, _, errors = run(["xmlcatalog", *shlex.split(options), catalog, path])
        if status != 0:
            raise RuntimeError(f"xmlcatalog: {errors}")
    return xmllint_with(uri_of(path), tasks)


def lxml(tasks, how_to, _):
    return complaints_in([PYTHON, os.path.join(HERE, "lxml_validate.py")], tasks,
                         XML_CATALOG_FILES=how_to.libxml2 if how_to else "")


def java(way):
    def complaints(tasks, how_to, folder):
        properties = how_to.java if how_to and way == "jdk-property" else []
        classes = ":".join([*XERCES, folder])
        return complaints_in(["java", *properties, "-cp", classes, "Validate", way, *(how_to.list if how_to else [])],
                             tasks)

    return complaints


def compile_java(folder):
    status, _, errors = run(["javac", "-Xlint:all", "-Werror", "-cp", ":".join(XERCES), "-d", folder,
                             os.path.join(HERE, "Validate.java")])
    if status != 0:
        raise RuntimeError(errors)


def saxon(tasks, how_to, _):
    """Its free edition validates by document types; schemas it can only find."""
    given = [how_to.saxon] if how_to else []
    query = ["java", "-cp", ":".join(SAXON), "net.sf.saxon.Query", *given, "-q:" + os.path.join(HERE, "saxon.xq")]
    found = {}
    for some, options in (([task for task in tasks if not task[1]], ["-dtd:on"]),
                          ([task for task in tasks if task[1]], [])):
        lines = "\n".join(f"{uri_of(path)}\t{schema}" for path, schema in some)
        status, output, errors = run([*query, *options, "tasks=" + lines])
        complaints = output.splitlines()
        if status != 0 or len(complaints) != len(some):
            raise RuntimeError(f"saxon ended with {status}: {errors or output}")
        # What a document type has against a document is on the other stream, below a line with the document's name.
        blocks = re.split(r"(?m)^(?=Error on )", errors)
        for task, complaint in zip(some, complaints):
            about = f" of {os.path.basename(task[0])}:\n"
            more = [" ".join(block.split()) for block in blocks if about in block]
            found[task] = complaint and " ".join([complaint, *more])
    return [found[task] for task in tasks]


# An import without a location, as in the last kind, is more than the JDK's resolver takes.
JDK_FAULT = {"SCAP data stream": "The argument 'systemId' can not be null"}

TOOLS = [
    Tool("xmllint", xmllint),
    Tool("xmllint, nextCatalog", xmllint_for_all),
    Tool("lxml", lxml),
    Tool("JDK, property", java("jdk-property"), refuses=JDK_FAULT),
    Tool("JDK, resolver", java("jdk-resolver")),
    Tool("Xerces", java("xerces")),
    Tool("xml-commons-resolver", java("commons-resolver")),
    Tool("Saxon HE", saxon, judges=("types",)),
]
