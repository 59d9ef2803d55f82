"""What is measured of the making of stores."""

import random
import shutil
import subprocess
import time
from collections.abc import Callable, Iterator
from pathlib import Path

from measure import Row, alternately

SEED = 20_000_101
PACKAGES = 2_000
FILES = 20  # a package

PACK_EACH = """
for folder in "$1"/*/*; do
  (cd "$folder/files" && zip -qXr "$2/${folder//\\//-}.zip" .)
done
sha256sum "$2"/*.zip > "$2/digests"
"""


def _schemas(folder: Path) -> None:
    """Descriptions and files of a store: texts that compress as schemas do."""
    source = random.Random(SEED)
    words = ["".join(source.choices("abcdefghijklmnop", k=source.randint(3, 12)))
             for _ in range(3_000)]
    for package in range(PACKAGES):
        place = folder / "packages" / f"package-{package}" / "1.0.0"
        (place / "files").mkdir(parents=True)
        (place / "package.json").write_text('{"title": "A package"}')
        for file in range(FILES):
            names = source.choices(words, k=source.randint(100, 1_200))
            lines = "\n".join(f'<xs:element name="{name}" type="xs:{name[:3]}"/>' for name in names)
            (place / "files" / f"{file}.xsd").write_text(lines)
    _forget_build(folder)


def _forget_build(store: Path) -> None:
    (store / "store.json").write_text('{"type": "xsd", "url": "https://store.example/"}')


def _timed(command: list[str | Path], prepare: Callable[[], None] = lambda: None) -> float:
    prepare()
    begin = time.perf_counter()
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL)
    return time.perf_counter() - begin


def build(programs: Path, work: Path) -> Iterator[Row]:
    store, tree, zips = work / "sources", work / "tree", work / "zips"
    _schemas(store)

    def prepare() -> None:
        _forget_build(store)
        shutil.rmtree(tree, ignore_errors=True)

    def empty_zips() -> None:
        shutil.rmtree(zips, ignore_errors=True)
        zips.mkdir()

    ours = [programs / "zendro-store", "build", store, "-o", tree]
    other = ["bash", "-c", PACK_EACH, "bash", store / "packages", zips]
    times = alternately([lambda: _timed(ours, prepare), lambda: _timed(other, empty_zips)], 3)
    yield Row(f"build a store of {PACKAGES:,} packages", "zip -X and sha256sum", "s", *times, 1.5)
    for folder in (store, tree, zips):
        shutil.rmtree(folder)


def check(programs: Path, _: Path) -> Iterator[Row]:
    tree = programs.parent.parent / "demo" / "store" / "xsd"
    times = [_timed([programs / "zendro-store", "check", tree]) for _ in range(5)]
    yield Row("check the demonstration store", "", "s", times, None, 5.0)
