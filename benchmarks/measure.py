"""Measuring two sides alternately, and judging what was measured."""

import statistics
from collections.abc import Callable, Sequence
from dataclasses import dataclass

ROUNDS = 5


def alternately(sides: Sequence[Callable[[], float]], rounds: int = ROUNDS) -> list[list[float]]:
    """Calls every side once a round, each round beginning with another one; the values by side."""
    values = [[] for _ in sides]
    for number in range(rounds):
        for step in range(len(sides)):
            side = (number + step) % len(sides)
            values[side].append(sides[side]())
    return values


@dataclass(frozen=True)
class Row:
    """One line of the table. Without another side the bound is one on the values themselves."""

    work: str
    against: str
    unit: str  # "s", "MiB" or "KiB"
    ours: Sequence[float]
    others: Sequence[float] | None
    bound: float | None  # None: only to be shown

    def value(self) -> float:
        """What is compared with the bound: of medians."""
        other = statistics.median(self.others) if self.others else 1
        return statistics.median(self.ours) / other

    def is_over(self) -> bool:
        return self.bound is not None and self.value() > self.bound

    def is_noisy(self) -> bool:
        """Whether the bound lies inside what the middle half of the values leaves possible."""
        if self.bound is None:
            return False
        low, high = _middle_half(self.ours)
        other_low, other_high = _middle_half(self.others) if self.others else (1, 1)
        return low / other_high <= self.bound < high / other_low


def _middle_half(values: Sequence[float]) -> tuple[float, float]:
    if len(values) < 2:
        return values[0], values[0]
    low, _, high = statistics.quantiles(values, n=4, method="inclusive")
    return low, high
