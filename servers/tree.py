"""The folder that the servers serve: the schema part of the demonstration store, and in it a package of many members,
whose names are not plain ASCII and which are many enough to be asked for side by side."""

import hashlib
import json
import os
import shutil
import zipfile

ARCHIVE = "pkgs-available.json.zip"
LIST = "pkgs-available.json"
PARTS = "parts-1.0.0"
INSTALLED = (PARTS, "cpe-2.3.0", "ocil-2.0.0", "oval-5.11.3", "scap-sds-1.3.0", "xccdf-1.2.1")
FILTERS = ("parts", "scap-sds")


def make(demo_store, folder):
    """Returns the digest of the archive that the list is in."""
    stores = os.path.join(folder, "stores")
    shutil.copytree(os.path.join(demo_store, "xsd"), stores)
    with zipfile.ZipFile(os.path.join(stores, ARCHIVE)) as archive:
        document = json.loads(archive.read(LIST))
    document[PARTS] = {"_name": "parts", "_type": "xsd", "_pkg_installdir": PARTS, "files": write_parts(stores)}
    with zipfile.ZipFile(os.path.join(stores, ARCHIVE), "w", zipfile.ZIP_DEFLATED) as archive:
        archive.writestr(LIST, json.dumps(document))
    with open(os.path.join(stores, ARCHIVE), "rb") as archive:
        digest = hashlib.sha256(archive.read()).hexdigest()
    shutil.copyfile(os.path.join(stores, ARCHIVE), os.path.join(stores, "damaged-" + ARCHIVE))
    return digest


def write_parts(stores):
    os.makedirs(os.path.join(stores, "parts"))
    files = {}
    for number in range(30):
        name, data = f"parts/größe-{number}.zip", os.urandom(200_000)
        files[name] = hashlib.sha256(data).hexdigest()
        with open(os.path.join(stores, name), "wb") as out:
            out.write(data)
    return files


def add_bootstrap(folder, name, store_url):
    """Makes <base>/api/<name>/bootstrap say where the store is."""
    os.makedirs(os.path.join(folder, "api", name), exist_ok=True)
    with open(os.path.join(folder, "api", name, "bootstrap"), "w") as out:
        json.dump({"pkg.store_url": store_url}, out)
