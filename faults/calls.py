"""Every system call of an operation on its files fails once, and in another run the process is killed there."""

import os
import random
import re

ERRORS = ("ENOSPC", "EIO", "EACCES")
# By system call, the errors with which it fails; at each the process is killed as well.
_BY_NAME = ("openat", "open", "creat", "mkdir", "mkdirat", "unlink", "unlinkat", "rmdir", "rename", "renameat",
            "renameat2", "linkat")
FAILING = dict.fromkeys((*_BY_NAME, "write", "pwrite64", "writev", "ftruncate", "fallocate", "fsync", "fdatasync",
                         "close"), ERRORS)
FAILING.update(read=("EIO",), getdents64=("EIO",), flock=("ENOLCK",))
KILL = "KILL"

CAUSES = {"ENOSPC": "No space left on device", "EIO": "Input/output error", "EACCES": "Permission denied",
          "ENOLCK": "No locks available"}

_CALL = re.compile(r"^(\d+)\s+(\w+)\((.*)$")
_FD = re.compile(r"^(?:\d+|AT_FDCWD)<(.*?)>(?:, \"([^\"]*)\")?")
_PATH = re.compile(r"^\"([^\"]*)\"")


class Point:
    """The `ordinal`th (from 1) of a process's calls of one kind, and the fault that it meets."""

    def __init__(self, call, ordinal, path, fault):
        self.call = call
        self.ordinal = ordinal
        self.path = path  # below the watched folder
        self.fault = fault

    def __str__(self):
        return f"{self.fault} at {self.call} {self.ordinal} ({self.path})"

    def injection(self):
        effect = "signal=KILL" if self.fault == KILL else f"error={self.fault}"
        return f"inject={self.call}:{effect}:when={self.ordinal}"


def _strace(log, *more):
    # With one processor, no other thread makes a part of the calls. Without --seccomp-bpf, with which
    # no signal is delivered.
    processor = random.choice(sorted(os.sched_getaffinity(0)))
    return ["taskset", "--cpu-list", str(processor), "strace", "-f", "-y", "-qq", "-o", log, "-e", "trace=" + ",".join(FAILING),
            *[word for expression in more for word in ("-e", expression)]]


def _calls(log, base):
    """The calls of a traced run on files of the watched folder: call, ordinal, path, whole line."""
    counts = {}
    found = []
    with open(log, errors="replace") as lines:
        for line in lines:
            match = _CALL.match(line)
            if not match:
                continue
            process, call, arguments = match.groups()
            counts[process, call] = counts.get((process, call), 0) + 1
            path = _path_of(call, arguments)
            if path is not None and (path + "/").startswith(base + "/"):
                found.append((call, counts[process, call], os.path.relpath(path, base), line))
    return found


def _path_of(call, arguments):
    """The file or folder of a call: of its descriptor, or by its name, which may start from a descriptor."""
    by_name = call in _BY_NAME
    match = _FD.match(arguments)
    if match:
        return os.path.normpath(os.path.join(match[1], match[2])) if by_name and match[2] else match[1]
    match = _PATH.match(arguments)
    return os.path.normpath(match[1]) if by_name and match else None


def points(operation, place, state):
    """All points of an operation, found by tracing an undisturbed run."""
    place.restore(state)
    log = os.path.join(place.folder, "trace")
    outcome = place.run(operation.command, _strace(log))
    if outcome.status != 0 or place.tree() != operation.goal:
        raise SystemExit(f"{operation.name}: traced, but without a fault: {outcome}")
    return [Point(call, ordinal, path, fault)
            for call, ordinal, path, _ in _calls(log, place.base) for fault in (*FAILING[call], KILL)]


def disturb(point, operation, place, state):
    """Lets an operation meet its fault: how it ended in the end, and what is wrong."""
    log = os.path.join(place.folder, "trace")
    for _ in range(3):
        place.restore(state)
        outcome = place.run(operation.command, _strace(log, point.injection()))
        if _was_hit(point, log, place.base):
            break
    else:
        return "", "the fault hits another call in each run"
    tree = place.tree()
    if point.fault == KILL:
        wrong = operation.wrong_changes(tree) if outcome.status < 0 or outcome.status == 137 else "was not killed"
    else:
        wrong = operation.wrong(outcome, tree, CAUSES[point.fault], place.names_of(point.path))
    return ("", f"{wrong}; {outcome}") if wrong else operation.recover(place)


def _was_hit(point, log, base):
    calls = _calls(log, base)
    if point.fault == KILL:
        return bool(calls) and calls[-1][:3] == (point.call, point.ordinal, point.path)
    return any(call[:3] == (point.call, point.ordinal, point.path) and "(INJECTED)" in call[3] for call in calls)
