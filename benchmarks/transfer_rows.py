"""What is measured of fetching members, with whole processes."""

import shutil
from collections.abc import Iterator
from pathlib import Path

import stores
import tls_site
from measure import Row, alternately
from timing import MIB, peak, timed


class Download:
    """The ways to get the members of a package from a store, each into the same folder."""

    def __init__(self, programs: Path, work: Path, package: stores.Package, url: str,
                 site: tls_site.TlsSite | None = None):
        self._manager = stores.Installation(work / "manager", package.list())
        self._programs = programs
        self._own = self._manager.command(programs, "install", stores.NAME, url=url)
        self._curl_options, self._aria2_options = [], []
        if site is not None:
            self._own[:0] = site.trusting
            self._curl_options = ["--cacert", site.authority]
            self._aria2_options = [f"--ca-certificate={site.authority}"]
        self._curl_input = work / "curl-input"
        self._aria2_input = work / "aria2-input"
        folder = self._manager.package_folder
        self._files = [self._manager.local_file(member) for member in package.members]
        with open(self._curl_input, "w") as curl, open(self._aria2_input, "w") as aria2:
            for member, file in zip(package.members, self._files):
                curl.write(f'url = "{url}{member}"\noutput = "{file}"\n')
                aria2.write(f"{url}{member}\n out={file.name}\n dir={folder}\n")
        first = package.members[0]
        self._aria2_proof = [f"--checksum=sha-256={package.digests[first]}", f"--dir={folder}",
                             f"--out={self._files[0].name}", url + first]

    def _remove(self) -> None:
        self._manager.remove_package()
        self._manager.package_folder.mkdir(parents=True)

    def own(self) -> float:
        return timed(self._own, self._manager.remove_package)

    def own_peak(self) -> float:
        self._manager.remove_package()
        return peak(self._own, self._programs)

    def curl(self, *options: str) -> float:
        command = ["curl", "-q", "-sSf", *self._curl_options, *options, "-K", self._curl_input]
        return timed(command, self._remove)

    def curl_and_digest(self) -> float:
        return self.curl() + timed(["openssl", "dgst", "-sha256", *self._files])

    def aria2(self) -> float:
        command = ["aria2c", "--no-conf", "-q", "-j16", *self._aria2_options]
        return timed([*command, "-i", self._aria2_input], self._remove)

    def aria2_proved(self) -> float:
        """The first member alone."""
        return timed(["aria2c", "--no-conf", "-q", *self._aria2_proof], self._remove)


def small_downloads(programs: Path, work: Path) -> Iterator[Row]:
    store = work / "store"
    package = stores.Package(store, 1000, 20_000)
    work_name = "download 1,000 members of 20 kB"
    with stores.served(programs, store, work) as url:
        download = Download(programs, work, package, url)
        times = alternately([download.own, download.curl])
        yield Row(work_name, "curl, one connection", "s", *times, 1.0)
    shutil.rmtree(work / "manager")
    with stores.served(programs, store, work, 20) as url:
        download = Download(programs, work, package, url)
        parallel = ("--parallel", "--parallel-max", "16")
        own, aria2, curl = alternately(
            [download.own, download.aria2, lambda: download.curl(*parallel)]
        )
        yield Row(work_name + ", 20 ms each", "aria2c -j16", "s", own, aria2, 1.0)
        yield Row(work_name + ", 20 ms each", "curl --parallel-max 16", "s", own, curl, 1.0)
    shutil.rmtree(work / "manager")
    shutil.rmtree(store)


def distant_downloads(programs: Path, work: Path) -> Iterator[Row]:
    """From a server with TLS and HTTP/2 at the other end of a long line."""
    store = work / "store"
    package = stores.Package(store, 1000, 20_000)
    with tls_site.served(store, work, round_trip_ms=50) as site:
        stores.write_bootstrap(store, site.url)
        download = Download(programs, work, package, site.url, site)
        parallel = ("--parallel", "--http2")
        own, curl, aria2 = alternately(
            [download.own, lambda: download.curl(*parallel), download.aria2]
        )
        work_name = "download 1,000 members of 20 kB, TLS, 50 ms away"
        yield Row(work_name, "curl --parallel --http2", "s", own, curl, 1.0)
        yield Row(work_name, "aria2c -j16", "s", own, aria2, 1.0)
    shutil.rmtree(work / "manager")
    shutil.rmtree(store)


def mirror(programs: Path, work: Path) -> Iterator[Row]:
    """A whole store, its list included, against the members alone."""
    store = work / "store"
    package = stores.Package(store, 1000, 20_000)
    package.write_archive()
    copy = work / "copy"
    with stores.served(programs, store, work, 20) as url:
        download = Download(programs, work, package, url)
        ours = [programs / "zendro-store", "-q", "mirror", url, copy]
        own, aria2 = alternately(
            [lambda: timed(ours, lambda: shutil.rmtree(copy, ignore_errors=True)), download.aria2]
        )
        yield Row("mirror 1,000 members, 20 ms each", "aria2c -j16", "s", own, aria2, 1.0)
    for folder in (copy, work / "manager", store):
        shutil.rmtree(folder)


def large_download(programs: Path, work: Path) -> Iterator[Row]:
    """From a server that sends files out of the kernel: what it takes of the processors is missing to both sides."""
    store = work / "store"
    package = stores.Package(store, 1, 512 * MIB)
    with tls_site.served(store, work) as site:
        stores.write_bootstrap(store, site.direct_url)
        download = Download(programs, work, package, site.direct_url)
        own, aria2, digest, curl = alternately(
            [download.own, download.aria2_proved, download.curl_and_digest, download.curl]
        )
        work_name = "download and prove one member of 512 MiB"
        yield Row(work_name, "aria2c --checksum=sha-256", "s", own, aria2, 0.7)
        yield Row(work_name, "curl, then openssl dgst", "s", own, digest, 0.7)
        yield Row(work_name, "curl, which proves nothing", "s", own, curl, None)
        (peaks,) = alternately([download.own_peak])
        yield Row("download one of 512 MiB, memory", "16 MiB", "MiB", peaks, [16], 1.0)
    shutil.rmtree(work / "manager")
    shutil.rmtree(store)
