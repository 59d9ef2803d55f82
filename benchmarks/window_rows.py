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


def rows(programs: Path, work: Path) -> Iterator[Row]:
    resource.setrlimit(resource.RLIMIT_STACK, (ARGUMENT_SPACE, ARGUMENT_SPACE))
    for versions in (24_000, 100_000):
        store = work / "store"
        base = work / "appdata" / "Zendro"
        cache = base / "pkgs" / ".xsd_cache"
        store.mkdir()
        cache.mkdir(parents=True)
        available = cache / "pkgs-available.json"
        subprocess.run([programs / "write_list", str(versions), available], check=True)
        with zipfile.ZipFile(
            store / "pkgs-available.json.zip", "w", zipfile.ZIP_DEFLATED
        ) as archive:
            archive.write(available, available.name)
        with stores.served(programs, store, work) as url:
            options = {
                "pkg.store_bootstrap_url": url + "bootstrap",
                "pkg.telemetry_url": url + "telemetry",
            }
            (base / "options.json").write_text(json.dumps(options))
            environment = {
                "ZENDRO_COMMON_APPDATA": str(base.parent),
                "XDG_CONFIG_HOME": str(work / "config"),
            }
            zenity = ["zenity", "--list", "--width=900", "--height=700", "--column=Package"]
            zenity += _identities(available.read_text())
            times = alternately(
                [
                    lambda: seconds_to_painted([programs / "korvane"], environment),
                    lambda: seconds_to_painted(zenity, environment),
                ]
            )
        yield Row(f"start to painted grid, {versions:,}", "zenity --list", "s", *times, 1.0)
        shutil.rmtree(store)
        shutil.rmtree(base.parent)
