"""What whole processes take and need."""

import subprocess
import time
from collections.abc import Callable, Sequence
from pathlib import Path

MIB = 1 << 20


def timed(command: Sequence[str | Path], prepare: Callable[[], None] = lambda: None) -> float:
    """Seconds until the command has ended, without what prepares it."""
    prepare()
    begin = time.perf_counter()
    # The meter of curl for parallel transfers cannot be switched off.
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return time.perf_counter() - begin


def peak(command: Sequence[str | Path], programs: Path) -> float:
    """What the process needed at most beyond one that does nothing, in MiB."""

    def most_of(words: Sequence[str | Path]) -> int:
        ended = subprocess.run(["time", "-f", "%M", *words], check=True, text=True,
                               stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        return int(ended.stderr.split()[-1])

    return (most_of(command) - most_of([programs / "zendro", "--version"])) / 1024
