"""Measures everything side by side and prints one table: compare.py PROGRAMS [GROUP...]

PROGRAMS is the folder of the built programs; the groups are those below, all of them unless some
are named. Exit status 1 when a row is over its bound.
"""

import sys
import tempfile
from collections.abc import Callable, Iterator
from pathlib import Path

import core_rows
import process_rows
import store_rows
import table
import transfer_rows
import update_rows
import window_rows
from measure import Row

GROUPS: dict[str, Callable[[Path, Path], Iterator[Row]]] = {
    "lists": core_rows.lists,
    "starts": process_rows.starts,
    "memory": process_rows.list_memory,
    "update": core_rows.update,
    "unchanged": update_rows.process,
    "wire": update_rows.wire,
    "verification": process_rows.verification,
    "small-downloads": transfer_rows.small_downloads,
    "distant-downloads": transfer_rows.distant_downloads,
    "mirror": transfer_rows.mirror,
    "large-download": transfer_rows.large_download,
    "operations": core_rows.operations,
    "catalogs": core_rows.catalogs,
    "local-files": core_rows.local_files,
    "unpacking": process_rows.unpacking,
    "store": store_rows.build,
    "store-check": store_rows.check,
    "selection": core_rows.selection,
    "window": window_rows.rows,
}


def main(programs: Path, groups: list[str]) -> int:
    rows = []
    with tempfile.TemporaryDirectory(prefix="zendro-bench-") as folder:
        for group in groups or GROUPS:
            for row in GROUPS[group](programs, Path(folder)):
                print(table.progress(row), file=sys.stderr)
                rows.append(row)
    print(table.formatted(rows), end="")
    return 1 if any(row.is_over() for row in rows) else 0


if __name__ == "__main__":
    sys.exit(main(Path(sys.argv[1]), sys.argv[2:]))
