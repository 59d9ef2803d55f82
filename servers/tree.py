"""The folder that the servers serve: the schema part of the demonstration store, and in it two packages: one of large
members, whose names are not plain ASCII, and one of more members than servers answer over one connection (nginx and
caddy: 1,000), few of them large."""

import hashlib
import json
import os
import shutil
import zipfile

ARCHIVE = "pkgs-available.json.zip"
LIST = "pkgs-available.json"
PARTS, WORDS = "parts-1.0.0", "words-1.0.0"
WORD_COUNT = 1200
INSTALLED = (PARTS, "cpe-2.3.0", "ocil-2.0.0", "oval-5.11.3", "scap-sds-1.3.0", "xccdf-1.2.1")
FILTERS = ("parts", "scap-sds")


def make(demo_store, folder):
    """Returns the digest of the archive that the list is in."""
    stores = os.path.join(folder, "stores")
    shutil.copytree(os.path.join(demo_store, "xsd"), stores)
    with zipfile.ZipFile(os.path.join(stores, ARCHIVE)) as archive:
        document = json.loads(archive.read(LIST))
    parts = {f"größe-{number}": 200_000 for number in range(30)}
    words = {str(number): 300_000 if number % 200 == 100 else 300 for number in range(WORD_COUNT)}
    for package, sizes in ((PARTS, parts), (WORDS, words)):
        name = package.partition("-")[0]
        document[package] = {"_name": name, "_type": "xsd", "_pkg_installdir": package,
                             "files": write_members(stores, name, sizes)}
    with zipfile.ZipFile(os.path.join(stores, ARCHIVE), "w", zipfile.ZIP_DEFLATED) as archive:
        archive.writestr(LIST, json.dumps(document))
    with open(os.path.join(stores, ARCHIVE), "rb") as archive:
        digest = hashlib.sha256(archive.read()).hexdigest()
    shutil.copyfile(os.path.join(stores, ARCHIVE), os.path.join(stores, "damaged-" + ARCHIVE))
    return digest


def write_members(stores, folder, sizes):
    os.makedirs(os.path.join(stores, folder))
    files = {}
    for stem, size in sizes.items():
        name, data = f"{folder}/{stem}.zip", os.urandom(size)
        files[name] = hashlib.sha256(data).hexdigest()
        with open(os.path.join(stores, name), "wb") as out:
            out.write(data)
    return files


def add_bootstrap(folder, name, store_url):
    """Makes <base>/api/<name>/bootstrap say where the store is."""
    os.makedirs(os.path.join(folder, "api", name), exist_ok=True)
    with open(os.path.join(folder, "api", name, "bootstrap"), "w") as out:
        json.dump({"pkg.store_url": store_url}, out)
