"""The table as text."""

import statistics
from collections.abc import Sequence

from measure import Row

HEAD = ("work", "against", "ours", "the other's", "ratio", "bound", "")
LEFT_COLUMNS = (0, 1, 6)


def _number(value: float, unit: str) -> str:
    digits = 3 if value < 10 else 1
    return f"{value:.{digits}f} {unit}"


def _cells(row: Row) -> tuple[str, ...]:
    remark = "over" if row.is_over() else ""
    if row.is_noisy():
        remark = "too noisy to tell" + (", over" if remark else "")
    ours = _number(statistics.median(row.ours), row.unit)
    if row.others is None:
        return row.work, row.against, ours, "", "", f"{row.bound:g} {row.unit}", remark
    other = _number(statistics.median(row.others), row.unit)
    bound = "" if row.bound is None else f"{row.bound:.1f}"
    return (row.work, row.against, ours, other, f"{row.value():.2f}", bound, remark)


def progress(row: Row) -> str:
    """A row as soon as it is known."""
    return "measured: " + ", ".join(cell for cell in _cells(row) if cell)


def formatted(rows: Sequence[Row]) -> str:
    """All rows, and a last line that counts those over their bound."""
    lines = [HEAD] + [_cells(row) for row in rows]
    widths = [max(len(line[column]) for line in lines) for column in range(len(HEAD))]
    lines.insert(1, tuple("-" * width for width in widths))
    text = ""
    for line in lines:
        cells = [
            cell.ljust(width) if column in LEFT_COLUMNS else cell.rjust(width)
            for column, (cell, width) in enumerate(zip(line, widths))
        ]
        text += "  ".join(cells).rstrip() + "\n"
    over = sum(row.is_over() for row in rows)
    noisy = sum(row.is_noisy() for row in rows)
    text += f"{over} of {len(rows)} rows over their bound"
    return text + (f", {noisy} too noisy to tell\n" if noisy else "\n")
