"""A disk that fills up, one that cannot be written, and a limit on the size of files."""

import os
import subprocess

PAGE = 4096
ROOMY = 64 << 20


def _mount(place, options):
    subprocess.run(["mount", "-o", options, *(["none", "-t", "tmpfs"] if "remount" not in options else []), place.base],
                   check=True)


class SmallDisk:
    """A file system of its own under the watched folder."""

    def __init__(self, place):
        self.place = place
        os.makedirs(place.base, exist_ok=True)
        _mount(place, f"size={ROOMY}")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        subprocess.run(["umount", self.place.base], check=True)

    def leave_pages(self, count):
        status = os.statvfs(self.place.base)
        used = (status.f_blocks - status.f_bfree) * status.f_frsize
        # No size at all would mean no limit.
        _mount(self.place, f"remount,size={max(used + count * PAGE, PAGE)}")

    def make_roomy(self):
        _mount(self.place, f"remount,rw,size={ROOMY}")

    def make_read_only(self):
        _mount(self.place, "remount,ro")


def _result(operation, place, outcome, cause, repair=lambda: None):
    wrong = operation.wrong(outcome, place.tree(), cause, [place.base, *operation.touches])
    repair()
    return ("", f"{wrong}; {outcome}") if wrong else operation.recover(place)


def full(operation, place, state, every):
    """Every size of the disk up to the first that is enough."""
    results = []
    with SmallDisk(place) as disk:
        pages = 0
        while True:
            disk.make_roomy()
            place.restore(state)
            disk.leave_pages(pages)
            outcome = place.run(operation.command)
            result = _result(operation, place, outcome, "No space left on device", disk.make_roomy)
            results.append((*result, f"{pages} pages left"))
            if outcome.status == 0 and not outcome.messages:
                return results
            pages += every


def read_only(operation, place, state):
    with SmallDisk(place) as disk:
        place.restore(state)
        disk.make_read_only()
        outcome = place.run(operation.command)
        if outcome.status == 0 or place.tree() != operation.start:
            return [("", f"writes all the same; {outcome}", "read-only")]
        return [(*_result(operation, place, outcome, "Read-only file system", disk.make_roomy), "read-only")]


def limited(operation, place, state, every):
    """Every limit on which a file of the undisturbed run just fails, and none that is met."""
    sizes = {len(data) for data in operation.goal.values() if data}
    results = []
    for limit in sorted({0, *(size - 1 for size in sizes), max(sizes)})[::every]:
        place.restore(state)
        outcome = place.run(operation.command, ["prlimit", f"--fsize={limit}"])
        results.append((*_result(operation, place, outcome, "File too large"), f"files of at most {limit} bytes"))
    return results
