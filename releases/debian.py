"""What Debian knows of its packages on this machine."""
import functools
import glob
import os
import re
import subprocess
import tarfile

import dep5


class Package:
    """A binary package, or a source package where `architecture` is "source"; `copyright` is where its licence stands."""

    def __init__(self, name, version, architecture, source, copyright_file, licence):
        self.name, self.version, self.architecture, self.source = name, version, architecture, source
        self.copyright, self.licence = copyright_file, licence


def output(*command):
    return subprocess.run(command, check=True, text=True, stdout=subprocess.PIPE).stdout


@functools.cache
def installed(name):
    """An installed binary package."""
    form = "${Version}\n${Architecture}\n${source:Package} ${source:Version}"
    version, architecture, source = output("dpkg-query", "-W", "-f", form, name).split("\n")
    path = f"/usr/share/doc/{name}/copyright"
    with open(path, encoding="utf-8") as file:
        return Package(name, version, architecture, source, path, dep5.read(file.read()))


def source(name, version, archives):
    """A source package from the folder that it was downloaded to."""
    path, = glob.glob(os.path.join(glob.escape(archives), f"{name}_{re.sub('^[0-9]+:', '', version)}.debian.tar.*"))
    with tarfile.open(path) as packed:
        text = packed.extractfile("debian/copyright").read().decode()
    where = f"debian/copyright of the source package {name}"
    return Package(name, version, "source", f"{name} {version}", where, dep5.read(text))


def owner(pattern):
    """The name of the installed package that has a file."""
    names = {line.split(":")[0] for line in output("dpkg", "-S", pattern).splitlines() if " by " not in line.split(":")[0]}
    if len(names) != 1:
        raise RuntimeError(f"{pattern} belongs to {sorted(names)}")
    return names.pop()


def is_headers_only(name):
    """Whether there is nothing to link in a package for development."""
    return name.endswith("-dev") and not re.search(r"\.(so|a)$", output("dpkg", "-L", name), re.M)


def package_names(relation):
    """The names in a field such as Depends."""
    return [re.split(r"[ (:]", word.strip(), maxsplit=1)[0] for word in relation.split(",") if word.strip()]
