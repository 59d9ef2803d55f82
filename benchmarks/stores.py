"""Folders and servers that whole processes are measured with."""

import contextlib
import hashlib
import json
import os
import random
import shutil
import subprocess
import time
import urllib.parse
import zipfile
from collections.abc import Iterator
from pathlib import Path

SEED = 20_000_101
BLOCK = 1 << 20
IDENTITY = "speed-1.0.0"
NAME = "speed"


class Package:
    """One package with members of random bytes, as files of a store's folder."""

    def __init__(self, store: Path, count: int, size: int):
        self._store = store
        source = random.Random(SEED)
        self.members = [f"xsd/{IDENTITY}/{number}.bin" for number in range(count)]
        self.digests = {}
        (store / "xsd" / IDENTITY).mkdir(parents=True)
        for member in self.members:
            digest = hashlib.sha256()
            with open(store / member, "wb") as file:
                for begin in range(0, size, BLOCK):
                    block = source.randbytes(min(BLOCK, size - begin))
                    digest.update(block)
                    file.write(block)
            self.digests[member] = digest.hexdigest()

    def list(self) -> str:
        meta = {"_name": NAME, "_type": "xsd", "_pkg_installdir": IDENTITY, "files": self.digests}
        return json.dumps({"_META": {"build_number": 1}, IDENTITY: meta})

    def write_archive(self) -> None:
        """The list as the store publishes it."""
        with zipfile.ZipFile(self._store / "pkgs-available.json.zip", "w") as archive:
            archive.writestr("pkgs-available.json", self.list())


def write_bootstrap(store: Path, url: str) -> None:
    """The document that tells where the store is, as a file of it."""
    (store / "bootstrap").write_text(json.dumps({"pkg.store_url": url}))


class Installation:
    """The packages of a manager in a folder, and how the manager is called there."""

    def __init__(self, folder: Path, available: str):
        self.folder = folder
        cache = folder / ".xsd_cache"
        self.available = cache / "pkgs-available.json"
        self.installed = cache / "pkgs-installed.json"
        self.package_folder = folder / "xsd" / IDENTITY
        self._appdata = folder / "appdata"
        cache.mkdir(parents=True)
        (self._appdata / "Zendro").mkdir(parents=True)
        self.available.write_text(available)

    def command(
        self, programs: Path, *words: str, url: str = "", local_files: bool = False
    ) -> list[str | Path]:
        """The call of the manager with these words, on the store at the URL, which holds until the next one is made; it
        makes the files for other programs only where that is what is measured."""
        options = {
            "pkg.store_bootstrap_url": f"{url}bootstrap",
            "pkg.telemetry_url": f"{url}telemetry",
            "pkg.local_files": local_files,
        }
        (self._appdata / "Zendro" / "options.json").write_text(json.dumps(options))
        # Not by `env`, which would be measured with it.
        os.environ["ZENDRO_COMMON_APPDATA"] = str(self._appdata)
        return [programs / "zendro", "--root", self.folder, "-q", "-y", *words]

    def install_archive(self, files: int, size: int) -> Path:
        """Installs the package with one member, an archive of files of words."""
        source = random.Random(SEED)
        words = [source.randbytes(4).hex()[: source.randint(2, 8)] for _ in range(4000)]
        member = f"xsd/{IDENTITY}/schemas.zip"
        archive = self.local_file(member)
        self.package_folder.mkdir(parents=True)
        with zipfile.ZipFile(archive, "w", zipfile.ZIP_DEFLATED) as out:
            for number in range(files):
                text = " ".join(source.choices(words, k=size // 4))[:size]
                out.writestr(f"{number % 40}/{number}.xsd", text)
        digest = hashlib.sha256(archive.read_bytes()).hexdigest()
        meta = {"_name": NAME, "_type": "xsd", "_pkg_installdir": IDENTITY, "files": {member: digest}}
        for file in (self.available, self.installed):
            file.write_text(json.dumps({IDENTITY: meta}))
        return archive

    def remove_local(self) -> None:
        shutil.rmtree(self.available.parent / "local", ignore_errors=True)

    def local_file(self, member: str) -> Path:
        return self.package_folder / urllib.parse.quote(member, safe="")

    def forget_installed(self) -> None:
        self.installed.unlink(missing_ok=True)

    def remove_package(self) -> None:
        self.forget_installed()
        shutil.rmtree(self.package_folder, ignore_errors=True)


@contextlib.contextmanager
def served(programs: Path, store: Path, work: Path, delay_ms: int = 0) -> Iterator[str]:
    """The URL of a server of the folder; each answer is begun `delay_ms` after its request."""
    url_file = work / "server.url"
    server = subprocess.Popen(
        [programs / "store_server", store, url_file, str(delay_ms)], stdin=subprocess.PIPE
    )
    try:
        while not url_file.exists():
            if server.poll() is not None:
                raise RuntimeError("the store's server did not start")
            time.sleep(0.01)
        yield url_file.read_text()
    finally:
        server.stdin.close()
        server.wait()
        url_file.unlink(missing_ok=True)
