"""Two processes at work on one cache folder: what they leave must be what some order of the two leaves."""

import random
import time

import store
from operations import Operation, differences

ROUNDS = 200
LONGEST_DELAY = 0.03  # seconds between the starts; an operation takes about as long
SEED = 20240507


class Pair:
    def __init__(self, before, first, second, store_before="xsd"):
        self.name = f"{' '.join(first)} and {' '.join(second)}"
        self.commands = (first, second)
        # What makes the start state, and the store that is there afterwards.
        self.setting = Operation(self.name, before, first, (), store_before=store_before)

    def prepare(self, place, state):
        """Makes the start state; learns what both orders lead to."""
        self.setting.make_start(place, state)
        self.ends = []
        for order in ((0, 1), (1, 0)):
            place.restore(state)
            status = [0, 0]
            for index in order:
                status[index] = place.run(self.commands[index]).status
            self.ends.append((status, place.tree()))

    def race(self, place, state, delay):
        """Starts both, the second one later by `delay` seconds, or the first one where it is negative."""
        place.restore(state)
        order = (0, 1) if delay >= 0 else (1, 0)
        processes = {order[0]: place.start(self.commands[order[0]])}
        time.sleep(abs(delay))
        processes[order[1]] = place.start(self.commands[order[1]])
        outcomes = [place.finish(processes[index]) for index in (0, 1)]
        end = ([outcome.status for outcome in outcomes], place.tree())
        if end in self.ends:
            return ("either order" if self.ends[0] == self.ends[1] else
                    ("first before second", "second before first")[self.ends.index(end)], "")
        unlike = differences(end[1], self.ends[0][1]) or "the exit statuses"
        return "", f"no order explains {unlike}: " + " | ".join(map(str, outcomes))


def rounds(pair, place, state, count):
    delays = random.Random(SEED)
    results = []
    for number in range(count):
        delay = delays.uniform(-LONGEST_DELAY, LONGEST_DELAY)
        results.append((*pair.race(place, state, delay), f"round {number}, {delay * 1000:.1f} ms apart"))
    return results


_READY = [["update"], ["install", "other"]]
_FULL = _READY + [["install", "app", "tool"]]

PAIRS = [
    Pair([], ["update"], ["update"]),
    Pair([], ["update"], ["install", "app"]),
    Pair(_READY, ["update"], ["install", store.PACKAGE_FILE], store_before="small"),
    Pair(_READY, ["install", "app"], ["install", "tool"]),
    Pair(_READY, ["install", "app"], ["uninstall", "other"]),
    Pair(_READY, ["install", "app"], ["install", store.PACKAGE_FILE]),
    Pair(_READY + [["install", "lib-1.0.0"]], ["install", "lib"], ["uninstall", "lib"]),
    Pair(_FULL, ["uninstall", "app"], ["uninstall", "tool"]),
]
