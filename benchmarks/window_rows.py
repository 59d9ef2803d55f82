"""What is measured on a display: from the start of a program to its painted rows."""

import json
import re
import resource
import shutil
import subprocess
import zipfile
from collections.abc import Iterator
from pathlib import Path

import stores
from measure import Row, alternately
from painted import seconds_to_painted

ARGUMENT_SPACE = 64 << 20  # a quarter of the stack is for arguments


def _identities(list_text: str) -> list[str]:
    return re.findall(r'^"([^_][^"]*)":', list_text, re.MULTILINE)


class _Window:
    """A manager whose list is on the disk and in its store."""

    def __init__(self, programs: Path, work: Path, versions: int, *kind: str):
        self._programs = programs
        self.folder = work / f"window-{versions}"
        self.store = self.folder / "store"
        self.store.mkdir(parents=True)
        self._base = self.folder / "appdata" / "Zendro"
        cache = self._base / "pkgs" / ".xsd_cache"
        cache.mkdir(parents=True)
        self.available = cache / "pkgs-available.json"
        writer = programs / "write_list"
        subprocess.run([writer, str(versions), self.available, *kind], check=True)
        archive = self.store / "pkgs-available.json.zip"
        with zipfile.ZipFile(archive, "w", zipfile.ZIP_DEFLATED, compresslevel=1) as out:
            out.write(self.available, self.available.name)

    def use(self, url: str) -> None:
        options = {
            "pkg.store_bootstrap_url": url + "bootstrap",
            "pkg.telemetry_url": url + "telemetry",
        }
        (self._base / "options.json").write_text(json.dumps(options))

    def seconds_to_painted(self) -> float:
        environment = {
            "ZENDRO_COMMON_APPDATA": str(self._base.parent),
            "XDG_CONFIG_HOME": str(self.folder / "config"),
        }
        return seconds_to_painted([self._programs / "korvane"], environment)


def rows(programs: Path, work: Path) -> Iterator[Row]:
    yield from _beside_zenity(programs, work)
    yield _growth(programs, work)


def _beside_zenity(programs: Path, work: Path) -> Iterator[Row]:
    resource.setrlimit(resource.RLIMIT_STACK, (ARGUMENT_SPACE, ARGUMENT_SPACE))
    for versions in (24_000, 100_000):
        window = _Window(programs, work, versions)
        zenity = ["zenity", "--list", "--width=900", "--height=700", "--column=Package"]
        zenity += _identities(window.available.read_text())
        with stores.served(programs, window.store, work) as url:
            window.use(url)
            times = alternately(
                [window.seconds_to_painted, lambda: seconds_to_painted(zenity, {})]
            )
        yield Row(f"start to painted grid, {versions:,}", "zenity --list", "s", *times, 0.8)
        shutil.rmtree(window.folder)


def _growth(programs: Path, work: Path) -> Row:
    """No other program is asked: a command line does not hold so many rows."""
    small, large = (_Window(programs, work, count, "terse") for count in (100_000, 1_000_000))
    with (
        stores.served(programs, small.store, small.folder) as small_url,
        stores.served(programs, large.store, large.folder) as large_url,
    ):
        small.use(small_url)
        large.use(large_url)
        tenth, ours = alternately([small.seconds_to_painted, large.seconds_to_painted])
    for window in (small, large):
        shutil.rmtree(window.folder)
    work_name = "start to painted grid, 1,000,000 with short texts"
    return Row(work_name, "of 100,000", "s", ours, tenth, 12)
