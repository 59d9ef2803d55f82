"""What a start costs when the store has nothing new."""

import shutil
import subprocess
import time
import zipfile
from collections.abc import Iterator
from pathlib import Path

import stores
import tls_site
from measure import ROUNDS, Row, alternately
from timing import timed

VERSIONS = 24_000


def _store(programs: Path, folder: Path) -> Path:
    """A store with a list, and no members."""
    folder.mkdir()
    list_file = folder / "list"
    subprocess.run([programs / "write_list", str(VERSIONS), list_file], check=True)
    archive = folder / "pkgs-available.json.zip"
    with zipfile.ZipFile(archive, "w", zipfile.ZIP_DEFLATED) as out:
        out.write(list_file, "pkgs-available.json")
    list_file.unlink()
    return folder


def process(programs: Path, work: Path) -> Iterator[Row]:
    """An update asks for the address of the store and for its list."""
    store = _store(programs, work / "store")
    manager = stores.Installation(work / "manager", "{}")
    etag, archive = work / "etag", work / "archive.zip"
    with stores.served(programs, store, work) as url:
        ours = manager.command(programs, "update", url=url)
        fetch = ["curl", "-q", "-sSf", "-o", archive, url + "pkgs-available.json.zip"]
        alone = [*fetch, "--etag-compare", etag]
        both = [*alone, "--next", "-sSf", "-o", work / "bootstrap", url + "bootstrap"]
        # The second update finds that nothing has changed, and what that is known by.
        for command in (ours, ours, [*fetch, "--etag-save", etag]):
            subprocess.run(command, check=True)
        own, same, less = alternately(
            [lambda: timed(ours), lambda: timed(both), lambda: timed(alone)], 4 * ROUNDS + 1
        )
    work_name = f"update of an unchanged store of {VERSIONS:,}"
    yield Row(work_name, "curl --etag-compare, both requests", "s", own, same, 1.2)
    yield Row(work_name, "curl --etag-compare, the list alone", "s", own, less, None)
    shutil.rmtree(store)
    shutil.rmtree(manager.folder)


def wire(programs: Path, work: Path) -> Iterator[Row]:
    """By a process that has updated before, as a window that stays open."""
    store = _store(programs, work / "store")
    values = []
    with tls_site.served(store, work) as site:
        stores.write_bootstrap(store, site.url)
        client = subprocess.Popen(
            [*site.trusting, programs / "update_repeatedly", site.url + "bootstrap",
             work / "client"], text=True, stdin=subprocess.PIPE, stdout=subprocess.PIPE)

        def update() -> int:
            client.stdin.write("\n")
            client.stdin.flush()
            if client.stdout.readline() != "\n":
                raise RuntimeError("the update failed")
            time.sleep(0.2)  # until its connection is closed
            return site.line.bytes()

        before = update()
        for _ in range(ROUNDS):
            after = update()
            values.append((after - before) / 1024)
            before = after
        client.stdin.close()
        client.wait()
    work_name = f"unchanged store of {VERSIONS:,}, TLS gone on with, bytes"
    yield Row(work_name, "2 KiB", "KiB", values, None, 2.0)
    shutil.rmtree(store)
    shutil.rmtree(work / "client")
