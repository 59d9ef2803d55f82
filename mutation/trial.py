"""Runs tests of the program: which mutants each passes, and whether it notices one."""

import os
import resource
import signal
import subprocess
import tempfile
import time

MEMORY = 8 << 30
# What an interrupted run leaves behind ends by itself.
PROCESSOR_SECONDS = 600
# A changed program may remove or write anything: it sees a file system that it cannot change, and a
# folder of its own for what is temporary.
APART = ["unshare", "--map-root-user", "--mount", "sh", "-c",
         'mount -o remount,bind,ro / && mount -t tmpfs -o size=2g tmpfs /tmp && mount -t tmpfs tmpfs /dev/shm && exec "$@"',
         "sh"]


def tests_of(binary):
    """Each as the path of its program and its name there."""
    lines = subprocess.run([binary, "--gtest_list_tests"], check=True, text=True, capture_output=True).stdout.splitlines()
    suite = ""
    for line in lines:
        name = line.split("#")[0].rstrip()
        if name.endswith("."):
            suite = name
        elif name.startswith("  "):
            yield binary, suite + name.strip()


def _limit():
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
    resource.setrlimit(resource.RLIMIT_CPU, (PROCESSOR_SECONDS, PROCESSOR_SECONDS))


def run(binary, names, seconds, files=(), **environment):
    """How it ended: "passed", "failed", "crashed" or "timeout"."""
    with subprocess.Popen([*APART, binary, "--gtest_filter=" + ":".join(names), "--gtest_fail_fast"],
                          env=dict(os.environ, TMPDIR="/tmp", **environment), start_new_session=True, pass_fds=files,
                          stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                          preexec_fn=_limit) as process:
        try:
            status = process.wait(seconds)
        except subprocess.TimeoutExpired:
            return "timeout"
        finally:
            try:
                os.killpg(process.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
    return {0: "passed", 1: "failed"}.get(status, "crashed")


def measure(binary, name, count):
    """(seconds, mutants passed) of a test of the unchanged program; nothing where it fails."""
    with tempfile.TemporaryFile() as marks:
        marks.truncate(count + 1)
        start = time.monotonic()
        if run(binary, [name], 60, [marks.fileno()], MUTANTS_PASSED=str(marks.fileno())) != "passed":
            return None
        seconds = time.monotonic() - start
        marks.seek(0)
        return seconds, [number for number, mark in enumerate(marks.read()) if mark]


def batches(tests, seconds_of):
    """The quickest first; each batch, of one program, holds more than the one before."""
    for binary in sorted({binary for binary, _ in tests}, reverse=True):
        rest = sorted((test for test in tests if test[0] == binary), key=lambda test: seconds_of[test])
        size = 4
        while rest:
            yield binary, rest[:size]
            rest = rest[size:]
            size *= 3


def notice(number, tests, seconds_of):
    """How the first batch of tests ended that did not pass with the mutant; else "passed"."""
    for binary, batch in batches(tests, seconds_of):
        limit = 10 + 5 * sum(seconds_of[test] for test in batch)
        ending = run(binary, [name for _, name in batch], limit, MUTANT=str(number))
        if ending != "passed":
            return ending
    return "passed"
