"""The operations that the campaigns disturb, and what must hold after a disturbed one."""

import json
import os

import store
from place import CACHE, CATALOGS, LISTS, LOCAL


class Operation:
    """From a start state, made by undisturbed runs of `before`, the words of `command`.

    `touches` are the packages whose folders it may change. `tidy` are the words with which a user removes what an
    interrupted run may leave for good.
    """

    def __init__(self, name, before, command, touches, store_before="xsd", trace=False, tidy=None):
        self.name = name
        self.before = before
        self.command = command
        self.touches = touches
        self.store_before = store_before
        self.trace = trace
        self.tidy = tidy

    def prepare(self, place, state):
        """Makes the start state; learns what an undisturbed run leaves."""
        self.make_start(place, state)
        self._expect_success(place.run(self.command))
        self.goal = place.tree()
        if self.goal == self.start:
            raise SystemExit(f"{self.name}: an undisturbed run changes nothing")

    def make_start(self, place, state):
        """Makes the start state as the folder `state`, and in the place."""
        place.empty()
        place.use_store(self.store_before)
        for words in self.before:
            self._expect_success(place.run(words))
        self.start = place.tree()
        os.rename(place.base, state)
        place.restore(state)
        self.arrange(place)

    def arrange(self, place):
        place.use_store("xsd", self.trace)

    def _expect_success(self, outcome):
        if outcome.status != 0:
            raise SystemExit(f"{self.name}: without a fault: {outcome}")

    def wrong(self, outcome, tree, cause, names):
        """What is wrong about a disturbed run that came to its own end; `names` are right for the place and `cause`
        is the system's text."""
        if outcome.status == 0:
            unlike = differences(tree, self.goal)
            if all(is_local(path) for path in unlike.split(", ") if unlike):
                complaint = not_warned(outcome, cause, names) if unlike else ""
            else:
                complaint = f"calls itself a success: {unlike}"
        elif outcome.status != 1:
            complaint = "ends badly"
        elif not any(name in text for name in names for text in outcome.errors):
            complaint = "no message names the place"
        elif not any(cause in text for text in outcome.errors) and not outcome.has("download_pkg"):
            # A member that cannot be read is fetched anew, which may fail for another reason.
            complaint = "no message tells the cause"
        else:
            complaint = ""
        return complaint or self.wrong_changes(tree)

    def wrong_changes(self, tree):
        """What a run changed that is not its own."""
        folders = tuple(f"pkgs/xsd/{identity}" for identity in self.touches)
        own = {*LISTS, *CATALOGS, LOCAL, CACHE.rstrip("/"), *folders}
        inside = tuple(folder + "/" for folder in folders)
        strays = sorted(path for path in tree.keys() | self.start.keys()
                        if tree.get(path, "absent") != self.start.get(path, "absent")
                        and path not in own and not path.startswith(inside) and not is_local(path))
        return f"changes what is not its own: {', '.join(strays)}" if strays else ""

    def recover(self, place):
        """Runs as a user would who starts the manager anew and asks again: what is wrong after it.

        Right ends are the state of an undisturbed run ("converged"), that state as soon as what is left over is
        removed by name ("tidied"), and a damaged list that a message names ("named").
        """
        outcomes = [place.run(words) for words in (["update"], self.command)]
        tree = place.tree()
        if tree == self.goal:
            return "converged", ""
        for path in LISTS:
            named = any(os.path.join(place.base, path) in text for outcome in outcomes for text in outcome.errors)
            if named and is_damaged(tree.get(path)):
                return "named", ""
        if self.tidy:
            outcomes.append(place.run(self.tidy))
            tree = place.tree()
            if tree == self.goal:
                return "tidied", ""
        return "", f"does not converge: {differences(tree, self.goal)} after " + " | ".join(map(str, outcomes))


def is_local(path):
    return (path + "/").startswith(LOCAL + "/")


def not_warned(outcome, cause, names):
    """What is wrong about the warnings of a run that left something out of the files for other programs."""
    if not any(name in text for name in names for text in outcome.warnings):
        return "no warning names the place"
    return "" if any(cause in text for text in outcome.warnings) else "no warning tells the cause"


def is_damaged(text):
    try:
        return not isinstance(json.loads(text), dict)
    except (TypeError, ValueError):
        return text is not None


def differences(tree, goal):
    return ", ".join(sorted(path for path in tree.keys() | goal.keys()
                            if tree.get(path, "absent") != goal.get(path, "absent")))


_READY = [["update"], ["install", "other"]]
_REACHED = ("app-1.0.0", "lib-1.0.1", "base-1.0.0")

OPERATIONS = [
    Operation("first update", [], ["update"], ()),
    Operation("update, list grows", _READY, ["update"], (), store_before="small"),
    Operation("update, list shrinks", _READY, ["update"], (), store_before="large"),
    Operation("update with a trace", _READY, ["update"], (), store_before="small", trace=True),
    Operation("install with references", _READY, ["install", "app"], _REACHED),
    Operation("patch", _READY + [["install", "lib-1.0.0"]], ["install", "lib"], ("lib-1.0.0", "lib-1.0.1"),
              tidy=["uninstall", "lib-1.0.0"]),
    Operation("uninstall", _READY + [["install", "app", "tool"]], ["uninstall", "app"], _REACHED),
    Operation("package file", _READY, ["install", store.PACKAGE_FILE], ("inner-1.0.0", "base-1.0.0")),
]
