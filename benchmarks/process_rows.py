"""What is measured with whole processes, beginning to end."""

import shutil
import subprocess
import time
from collections.abc import Callable, Iterator, Sequence
from pathlib import Path

import stores
from measure import Row, alternately

MIB = 1 << 20


def _timed(command: Sequence[str | Path], prepare: Callable[[], None] = lambda: None) -> float:
    prepare()
    begin = time.perf_counter()
    # The meter of curl for parallel transfers cannot be switched off.
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return time.perf_counter() - begin


def _peak(command: Sequence[str | Path], programs: Path) -> float:
    """What the process needed at most beyond one that does nothing, in MiB."""

    def most_of(words: Sequence[str | Path]) -> int:
        ended = subprocess.run(["time", "-f", "%M", *words], check=True, text=True,
                               stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        return int(ended.stderr.split()[-1])

    return (most_of(command) - most_of([programs / "zendro", "--version"])) / 1024


def _dpkg_folder(folder: Path, packages: int) -> Path:
    """What dpkg knows of so many installed packages."""
    (folder / "info").mkdir(parents=True)
    (folder / "updates").mkdir()
    with open(folder / "status", "w") as status:
        for number in range(packages):
            status.write(f"Package: package-{number}\nStatus: install ok installed\nVersion: 1.0\n"
                         "Architecture: all\nMaintainer: m <m@m.example>\nDescription: a package\n\n")
            (folder / "info" / f"package-{number}.list").touch()
    return folder


def starts(programs: Path, work: Path) -> Iterator[Row]:
    """What somebody at a terminal waits for."""
    manager = stores.Installation(work / "starts", "")
    for count, file in ((100_000, manager.available), (2_000, manager.installed)):
        subprocess.run([programs / "write_list", str(count), file], check=True)
    version = [programs / "zendro", "--version"]
    listing = manager.command(programs, "list", "--installed")
    other = ["dpkg", f"--admindir={_dpkg_folder(work / 'dpkg', 2_000)}", "-l"]
    versions, listings, others = alternately(
        [lambda: _timed(version), lambda: _timed(listing), lambda: _timed(other)], 11
    )
    yield Row("zendro --version", "", "s", versions, None, 0.02)
    work_name = "list 2,000 installed of 100,000"
    yield Row(work_name, "", "s", listings, None, 0.15)
    yield Row(work_name, "dpkg -l with 2,000", "s", listings, others, 4.0)
    shutil.rmtree(manager.folder)
    shutil.rmtree(work / "dpkg")


def list_memory(programs: Path, work: Path) -> Iterator[Row]:
    for versions in (24_000, 100_000):
        manager = stores.Installation(work / f"list-{versions}", "")
        path = manager.available
        subprocess.run([programs / "write_list", str(versions), path], check=True)
        size = path.stat().st_size / MIB
        command = manager.command(programs, "list", "--upgradeable")
        (ours,) = alternately([lambda: _peak(command, programs)])
        yield Row(f"load a list of {versions:,}, memory", "its file", "MiB", ours, [size], 4)
        shutil.rmtree(manager.folder)


def verification(programs: Path, work: Path) -> Iterator[Row]:
    for count in (200, 1):
        store = work / "store"
        package = stores.Package(store, count, 1024 * MIB // count)
        manager = stores.Installation(work / "manager", package.list())
        manager.package_folder.mkdir(parents=True)
        files = [manager.local_file(member) for member in package.members]
        for member, file in zip(package.members, files):
            (store / member).rename(file)
        with stores.served(programs, store, work) as url:
            ours = manager.command(programs, "install", stores.NAME, url=url)
            other = ["openssl", "dgst", "-sha256", *files]
            times = alternately(
                [lambda: _timed(ours, manager.forget_installed), lambda: _timed(other)]
            )
        members = f"{count} members" if count > 1 else "one member"
        yield Row(f"re-verify 1 GiB in {members}", "openssl dgst -sha256", "s", *times, 1.0)
        shutil.rmtree(store)
        shutil.rmtree(manager.folder)


def unpacking(programs: Path, work: Path) -> Iterator[Row]:
    manager = stores.Installation(work / "manager", "{}")
    archive = manager.install_archive(files=4000, size=50_000)
    ours = manager.command(programs, "install", stores.NAME, local_files=True)
    target = work / "unzipped"
    times = alternately(
        [
            lambda: _timed(ours, manager.remove_local),
            lambda: _timed(
                ["unzip", "-q", archive, "-d", target],
                lambda: shutil.rmtree(target, ignore_errors=True),
            ),
        ]
    )
    yield Row("unpack 200 MB for other programs", "unzip", "s", *times, 1.2)
    shutil.rmtree(target)
    shutil.rmtree(manager.folder)


class _Download:
    """The ways to get the members of a package from a store, each into the same folder."""

    def __init__(self, programs: Path, work: Path, package: stores.Package, url: str):
        self._manager = stores.Installation(work / "manager", package.list())
        self._programs = programs
        self._own = self._manager.command(programs, "install", stores.NAME, url=url)
        self._curl_input = work / "curl-input"
        self._aria2_input = work / "aria2-input"
        folder = self._manager.package_folder
        with open(self._curl_input, "w") as curl, open(self._aria2_input, "w") as aria2:
            for member in package.members:
                file = self._manager.local_file(member)
                curl.write(f'url = "{url}{member}"\noutput = "{file}"\n')
                aria2.write(f"{url}{member}\n out={file.name}\n dir={folder}\n")

    def _remove(self) -> None:
        self._manager.remove_package()
        self._manager.package_folder.mkdir(parents=True)

    def own(self) -> float:
        return _timed(self._own, self._manager.remove_package)

    def own_peak(self) -> float:
        self._manager.remove_package()
        return _peak(self._own, self._programs)

    def curl(self, *options: str) -> float:
        return _timed(["curl", "-q", "-sSf", *options, "-K", self._curl_input], self._remove)

    def aria2(self) -> float:
        return _timed(["aria2c", "--no-conf", "-q", "-j16", "-i", self._aria2_input], self._remove)


def small_downloads(programs: Path, work: Path) -> Iterator[Row]:
    store = work / "store"
    package = stores.Package(store, 1000, 20_000)
    work_name = "download 1,000 members of 20 kB"
    with stores.served(programs, store, work) as url:
        download = _Download(programs, work, package, url)
        times = alternately([download.own, download.curl])
        yield Row(work_name, "curl, one connection", "s", *times, 1.0)
    shutil.rmtree(work / "manager")
    with stores.served(programs, store, work, 20) as url:
        download = _Download(programs, work, package, url)
        parallel = ("--parallel", "--parallel-max", "16")
        own, aria2, curl = alternately(
            [download.own, download.aria2, lambda: download.curl(*parallel)]
        )
        yield Row(work_name + ", 20 ms each", "aria2c -j16", "s", own, aria2, 1.0)
        yield Row(work_name + ", 20 ms each", "curl --parallel-max 16", "s", own, curl, 1.0)
    shutil.rmtree(work / "manager")
    shutil.rmtree(store)


def mirror(programs: Path, work: Path) -> Iterator[Row]:
    """A whole store, its list included, against the members alone."""
    store = work / "store"
    package = stores.Package(store, 1000, 20_000)
    package.write_archive()
    copy = work / "copy"
    with stores.served(programs, store, work, 20) as url:
        download = _Download(programs, work, package, url)
        ours = [programs / "zendro-store", "-q", "mirror", url, copy]
        own, aria2 = alternately(
            [lambda: _timed(ours, lambda: shutil.rmtree(copy, ignore_errors=True)), download.aria2]
        )
        yield Row("mirror 1,000 members, 20 ms each", "aria2c -j16", "s", own, aria2, 1.0)
    for folder in (copy, work / "manager", store):
        shutil.rmtree(folder)


def large_download(programs: Path, work: Path) -> Iterator[Row]:
    store = work / "store"
    package = stores.Package(store, 1, 512 * MIB)
    with stores.served(programs, store, work) as url:
        download = _Download(programs, work, package, url)
        times = alternately([download.own, download.curl])
        yield Row("download one member of 512 MiB", "curl", "s", *times, 1.1)
        (peaks,) = alternately([download.own_peak])
        yield Row("download one of 512 MiB, memory", "16 MiB", "MiB", peaks, [16], 1.0)
    shutil.rmtree(work / "manager")
    shutil.rmtree(store)
