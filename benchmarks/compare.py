"""Measures everything side by side and prints one table: compare.py PROGRAMS WORK [GROUP...]

PROGRAMS is the folder of the built programs, WORK a folder for files that are removed again; the
groups are "core", "process" and "window", all of them unless some are named. Exit status 1 when a
row is over its bound.
"""

import sys
import tempfile
from collections.abc import Callable, Iterator
from pathlib import Path

import core_rows
import process_rows
import table
import window_rows
from measure import Row

GROUPS: dict[str, Callable[[Path, Path], Iterator[Row]]] = {
    "core": lambda programs, _: core_rows.rows(programs),
    "process": process_rows.rows,
    "window": window_rows.rows,
}


def main(programs: Path, work: Path, groups: list[str]) -> int:
    rows = []
    with tempfile.TemporaryDirectory(dir=work) as folder:
        for group in groups or GROUPS:
            for row in GROUPS[group](programs, Path(folder)):
                print(f"measured: {row.work}", file=sys.stderr)
                rows.append(row)
    print(table.formatted(rows), end="")
    return 1 if any(row.is_over() for row in rows) else 0


if __name__ == "__main__":
    sys.exit(main(Path(sys.argv[1]), Path(sys.argv[2]), sys.argv[3:]))
