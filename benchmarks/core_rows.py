"""What Google Benchmark measures inside a process."""

import json
import re
import subprocess
import tempfile
from collections.abc import Iterator
from pathlib import Path

from measure import ROUNDS, Row

SECONDS = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1}


def _run(program: Path, names: tuple[str, ...]) -> list[list[float]]:
    """The seconds of every repetition by benchmark; their repetitions take turns at random."""
    wanted = "|".join(re.escape(name) + "(/real_time)?" for name in names)
    with tempfile.NamedTemporaryFile() as out:
        subprocess.run(
            [
                program,
                f"--benchmark_filter=^({wanted})$",
                f"--benchmark_repetitions={ROUNDS}",
                "--benchmark_min_time=0.05",
                "--benchmark_enable_random_interleaving=true",
                f"--benchmark_out={out.name}",
                "--benchmark_out_format=json",
            ],
            check=True,
            stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL,
        )
        results = json.load(out)["benchmarks"]
    times = {name: [] for name in names}
    for result in results:
        if result["run_type"] == "iteration":
            name = result["run_name"].removesuffix("/real_time")
            times[name].append(result["real_time"] * SECONDS[result["time_unit"]])
    return [times[name] for name in names]


def lists(programs: Path, _: Path) -> Iterator[Row]:
    core = programs / "core_benchmark"
    other = "simdjson On-Demand, same members"
    for versions in (24_000, 100_000):
        ours, others = _run(core, (f"load_list/full/{versions}", f"touch_list/full/{versions}"))
        yield Row(f"load a list of {versions:,}", other, "s", ours, others, 1.3)
    tenth, ours, others = _run(
        core, ("load_list/terse/100000", "load_list/terse/1000000", "touch_list/terse/1000000")
    )
    work = "load a list of 1,000,000 with short texts"
    yield Row(work, other, "s", ours, others, 1.3)
    yield Row(work, "of 100,000", "s", ours, tenth, 12)


def update(programs: Path, _: Path) -> Iterator[Row]:
    loop = "digest, inflate, parse, serialise, write"
    first, older, others = _run(
        programs / "update_benchmark", ("first_update", "update_of_older_list", "plain_loop")
    )
    yield Row("update from a store, no list yet", loop, "s", first, others, 1.2)
    yield Row("update from a store, an older list", loop, "s", older, others, 1.2)


def operations(programs: Path, _: Path) -> Iterator[Row]:
    core = programs / "core_benchmark"
    half, full = _run(core, ("install_with_references/50000", "install_with_references/100000"))
    work = "install 5,000 referenced of 100,000"
    yield Row(work, "of 50,000", "s", full, half, 2.2)
    yield Row(work, "", "s", full, None, 0.5)

    half, full = _run(core, ("uninstall_tenth/10000", "uninstall_tenth/20000"))
    yield Row("uninstall 2,000 of 20,000 installed", "1,000 of 10,000", "s", full, half, 2.5)


def catalogs(programs: Path, _: Path) -> Iterator[Row]:
    times = _run(programs / "core_benchmark", ("write_catalogs", "save_with_pugixml"))
    yield Row("write catalogs, 2,000 packages of 100", "pugixml, same files", "s", *times, 1.0)


def local_files(programs: Path, _: Path) -> Iterator[Row]:
    core = programs / "core_benchmark"
    rest, locations = _run(core, ("local_files_at_rest", "local_locations"))
    yield Row("files for other programs of 1,000 packages, nothing to do", "", "s", rest, None, 0.2)
    yield Row("catalogs of 100,000 locations for other programs", "", "s", locations, None, 1.0)


def selection(programs: Path, _: Path) -> Iterator[Row]:
    for work, name in (
        ("tick that pulls in 5,000", "tick_with_references"),
        ("Deselect All", "deselect_all"),
        ("search keystroke, all found", "search_keystroke/everything"),
        ("search keystroke, few found", "search_keystroke/few"),
        ("search keystroke, none found", "search_keystroke/nothing"),
    ):
        (ours,) = _run(programs / "selection_benchmark", (name,))
        yield Row(f"{work}, 100,000 versions", "", "s", ours, None, 0.1)
