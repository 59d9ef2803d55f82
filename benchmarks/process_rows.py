"""What is measured with whole processes, beginning to end."""

import shutil
import subprocess
from collections.abc import Iterator
from pathlib import Path

import stores
from measure import Row, alternately
from timing import MIB, peak, timed


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
        [lambda: timed(version), lambda: timed(listing), lambda: timed(other)], 11
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
        (ours,) = alternately([lambda: peak(command, programs)])
        yield Row(f"load a list of {versions:,}, memory", "its file", "MiB", ours, [size], 4)
        shutil.rmtree(manager.folder)


def verification(programs: Path, work: Path) -> Iterator[Row]:
    for count, bound in ((200, 0.6), (1, 1.0)):
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
                [lambda: timed(ours, manager.forget_installed), lambda: timed(other)]
            )
        members = f"{count} members" if count > 1 else "one member"
        yield Row(f"re-verify 1 GiB in {members}", "openssl dgst -sha256", "s", *times, bound)
        shutil.rmtree(store)
        shutil.rmtree(manager.folder)


def unpacking(programs: Path, work: Path) -> Iterator[Row]:
    manager = stores.Installation(work / "manager", "{}")
    archive = manager.install_archive(files=4000, size=50_000)
    ours = manager.command(programs, "install", stores.NAME, local_files=True)
    target = work / "unzipped"
    times = alternately(
        [
            lambda: timed(ours, manager.remove_local),
            lambda: timed(
                ["unzip", "-q", archive, "-d", target],
                lambda: shutil.rmtree(target, ignore_errors=True),
            ),
        ]
    )
    yield Row("unpack 200 MB for other programs", "unzip", "s", *times, 1.2)
    shutil.rmtree(target)
    shutil.rmtree(manager.folder)
