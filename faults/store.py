"""The packages that the campaigns work with, and the store that serves them on the loopback interface."""

import hashlib
import io
import json
import os
import subprocess
import time
import zipfile

PACKAGE_FILE = "inner.zendro_xmlschemas"


def member_bytes(name, size):
    """Bytes that differ for each name."""
    unit = hashlib.sha256(name.encode()).digest()
    return (unit * (size // len(unit) + 1))[:size]


class Package:
    """Its first member is an archive with a schema of the size, and with the files of `more`."""

    def __init__(self, identity, members, references=(), more=()):
        self.identity = identity
        self.members = {f"{identity}-{name}": member_bytes(identity + name, size) for name, size in members.items()}
        first = next(iter(self.members))
        self.members[first] = zipped({"schema.xsd": self.members[first], **dict.fromkeys(more, "<x/>")},
                                     zipfile.ZIP_STORED)
        self.meta = {
            "_name": identity.rpartition("-")[0],
            "_type": "xsd",
            "_pkg_installdir": identity,
            "files": {name: hashlib.sha256(data).hexdigest() for name, data in self.members.items()},
            "references": list(references),
            "catalogs": {f"http://{identity}.example/schema.xsd": first + "|zip/schema.xsd"},
            "namespace_catalog": {f"http://{identity}.example/ns": first + "|zip/schema.xsd"},
            "uri_mappings": {f"http://old.example/{identity}/": f"http://new.example/{identity}/"},
        }


def zipped(members, method=zipfile.ZIP_DEFLATED):
    archive = io.BytesIO()
    with zipfile.ZipFile(archive, "w", method) as out:
        for name, data in members.items():
            out.writestr(zipfile.ZipInfo(name, (2024, 1, 1, 0, 0, 0)), data)
    return archive.getvalue()


# Members are small, so that each arrives at once and every run makes the same system calls.
BASE = Package("base-1.0.0", {"a.zip": 3000}, more=["base/META-INF/taxonomyPackage.xml"])
LIB_OLD = Package("lib-1.0.0", {"a.zip": 2000, "b.zip": 500})
LIB = Package("lib-1.0.1", {"a.zip": 2500, "b.zip": 500})
APP = Package("app-1.0.0", {"a.zip": 4000, "b.zip": 0}, ["lib-1.0", "base-1.0"])
TOOL = Package("tool-1.0.0", {"a.zip": 1000}, ["base-1.0"])
OTHER = Package("other-1.0.0", {"a.zip": 1000})
INNER = Package("inner-1.0.0", {"a.zip": 100000, "b.zip": 500}, ["base-1.0"])
FILLER = [Package(f"filler-1.{n}.0", {"a.zip": 10}) for n in range(20)]

# By the name under which a store is asked for its address: build number and packages.
STORES = {
    "xsd": (2, [BASE, LIB_OLD, LIB, APP, TOOL, OTHER]),
    "small": (1, [OTHER]),
    "large": (1, [BASE, OTHER, *FILLER]),
}


def list_document(build_number, packages):
    document = {"_META": {"build_number": build_number}}
    document.update({package.identity: package.meta for package in packages})
    return json.dumps(document)


def package_file_bytes():
    document = {INNER.identity: INNER.meta, "provides": [INNER.identity]}
    return zipped({"ZENDROPKG-INF/pkg-meta.json": json.dumps(document), **INNER.members})


def write_stores(folder):
    for name, (build_number, packages) in STORES.items():
        store = os.path.join(folder, name)
        os.makedirs(store)
        archive = zipped({"pkgs-available.json": list_document(build_number, packages)})
        files = {"pkgs-available.json.zip": archive,
                 "pkgs-available.json.zip.sha256": hashlib.sha256(archive).hexdigest().encode()}
        for package in packages:
            files.update(package.members)
        for file, data in files.items():
            with open(os.path.join(store, file), "wb") as out:
                out.write(data)


class Server:
    """The stores, served by a process that ends with this one."""

    def __init__(self, program, folder):
        stores = os.path.join(folder, "stores")
        url_file = os.path.join(folder, "url")
        write_stores(stores)
        self.process = subprocess.Popen([program, stores, url_file], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL)
        until = time.monotonic() + 20
        while not os.path.exists(url_file):
            if self.process.poll() is not None or time.monotonic() > until:
                raise SystemExit("the store does not start")
            time.sleep(0.02)
        with open(url_file) as text:
            self.url = text.read().strip()

    def close(self):
        self.process.stdin.close()
        self.process.wait(20)
