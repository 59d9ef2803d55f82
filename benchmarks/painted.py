"""How long a program takes from its start until the rows of its window are painted.

The same for every program: of a rectangle in the upper half of the largest window on the display,
the first moment at which it looks as it does when everything has come to rest.
"""

import os
import subprocess
import time
from collections.abc import Sequence
from pathlib import Path

from Xlib import X, display, error

POLL = 0.005  # seconds between two looks
REST = 2.0  # seconds without a change
LIMIT = 120.0  # seconds
# The rectangle, in parts of the window.
LEFT, TOP, WIDTH, HEIGHT = 0.05, 0.15, 0.4, 0.2
TEXT_COLOURS = 8  # text has edges in many shades; a frame or an empty list has not


def _window(root) -> tuple[int, int, int, int] | None:
    """Place and size of the largest window that can be seen."""
    areas = []
    for child in root.query_tree().children:
        try:
            if child.get_attributes().map_state == X.IsViewable:
                area = child.get_geometry()
                areas.append((area.width * area.height, area.x, area.y, area.width, area.height))
        except error.XError:
            pass  # it is gone again
    return max(areas)[1:] if areas else None


def _picture(root) -> bytes:
    window = _window(root)
    if window is None:
        return b""
    x, y, width, height = window
    part = (x + int(width * LEFT), y + int(height * TOP), int(width * WIDTH), int(height * HEIGHT))
    try:
        return root.get_image(*part, X.ZPixmap, 0xFFFFFFFF).data
    except error.XError:
        return b""


def _shows_text(picture: bytes) -> bool:
    return len({picture[i : i + 4] for i in range(0, len(picture), 4)}) > TEXT_COLOURS


def seconds_to_painted(command: Sequence[str | Path], environment: dict[str, str]) -> float:
    """Starts the program, watches it, and ends it."""
    root = display.Display().screen().root
    first_seen: dict[bytes, float] = {}
    last = b""
    begin = changed = time.perf_counter()
    program = subprocess.Popen(
        command, env=os.environ | environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL
    )
    try:
        while True:
            picture = _picture(root)
            now = time.perf_counter()
            if picture != last:
                first_seen.setdefault(picture, now)
                last, changed = picture, now
            elif now - changed > REST and _shows_text(picture):
                return first_seen[picture] - begin
            if now - begin > LIMIT or program.poll() is not None:
                raise RuntimeError(f"no rows in the window of {command[0]}")
            time.sleep(POLL)
    finally:
        program.terminate()
        program.wait()
