"""A site with TLS and HTTP/2 on the loopback interface, at the other end of a line that counts and delays."""

import contextlib
import shutil
import subprocess
import sys
from collections.abc import Iterator
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path.append(str(HERE.parent / "servers"))

from processes import Processes, free_ports, make_certificates
from sites import Site
from trust import trusting_namespace


class Line:
    def __init__(self, server_port: int, delay_ms: float):
        self._process = subprocess.Popen(
            [sys.executable, HERE / "line.py", str(server_port), str(delay_ms)],
            text=True, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.port = int(self._process.stdout.readline())

    def bytes(self) -> int:
        """That went over it, in both directions."""
        self._process.stdin.write("\n")
        self._process.stdin.flush()
        return int(self._process.stdout.readline())

    def close(self) -> None:
        self._process.stdin.close()
        self._process.wait()


class TlsSite:
    """The URLs by which it is reached over the line, and without line and TLS, and what programs that trust it are
    started with."""

    def __init__(self, line: Line, direct_port: int, folder: Path, authority: str):
        self.line = line
        self.direct_url = f"http://localhost:{direct_port}/"
        self.url = f"https://localhost:{line.port}/"
        self.authority = authority
        self.trusting = trusting_namespace(str(folder), authority)


@contextlib.contextmanager
def served(tree: Path, work: Path, round_trip_ms: float = 0) -> Iterator[TlsSite]:
    """Files of the tree at the end of a line."""
    folder = work / "site"
    folder.mkdir()
    # Servers have no rights of root.
    for each in (work, folder):
        each.chmod(0o755)
    processes = Processes(str(folder))
    authority = make_certificates(str(folder), "localhost")
    port, direct_port = free_ports(2)
    site = Site(processes, "nginx", port)
    site.configure(f"root {tree};\nsendfile on;\nlisten 127.0.0.1:{direct_port};\n")
    processes.give_away()
    line = None
    try:
        site.start()
        line = Line(port, round_trip_ms / 2)
        yield TlsSite(line, direct_port, folder, authority)
    finally:
        if line is not None:
            line.close()
        processes.close()
        shutil.rmtree(folder)
