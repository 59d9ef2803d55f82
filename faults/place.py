"""A watched folder with an install root in it, in which single operations of the package core run."""

import json
import os
import re
import shutil
import subprocess

import store

CACHE = "pkgs/.xsd_cache/"
LISTS = (CACHE + "pkgs-available.json", CACHE + "pkgs-installed.json")
CATALOGS = tuple(CACHE + name for name in ("catalog.xml", "namespace-mapping-catalog.xml", "remapping.xml"))
# What is made of them for other programs. A failure there is a warning.
LOCAL = CACHE + "local"
HOW_TO = LOCAL + "/how-to.txt"
# Neither belongs to the state that operations leave behind.
PASSING = (CACHE + "operation.lock", CACHE + "logs")
LONGEST_RUN = 60  # seconds


def _messages(output):
    """Severity, identifier and text of each message; a line that a killed process did not finish is none."""
    for line in output.splitlines():
        try:
            event = json.loads(line)
        except ValueError:
            continue
        if event["event"] == "message":
            yield event["severity"], event["id"], event["text"].replace("\n", " ")


class Outcome:
    """How a run ended: its exit status (negative: the signal) and its messages."""

    def __init__(self, status, output, complaint):
        self.status = status
        self.messages = list(_messages(output))
        self.complaint = complaint

    @property
    def errors(self):
        return self._texts("error")

    @property
    def warnings(self):
        return self._texts("warning")

    def _texts(self, wanted):
        return [text for severity, _, text in self.messages if severity == wanted]

    def has(self, identifier):
        return any(message[1] == identifier for message in self.messages)

    def __str__(self):
        shown = "; ".join(f"{identifier}: {text}" for _, identifier, text in self.messages)
        return f"status {self.status}: {shown} {self.complaint}".strip()


class Place:
    def __init__(self, program, url, folder):
        self.program = program
        self.url = url
        self.folder = folder
        self.base = os.path.join(folder, "base")
        self.appdata = os.path.join(folder, "appdata")
        self.options = os.path.join(self.appdata, "Zendro/options.json")
        os.makedirs(os.path.dirname(self.options))
        self.use_store("xsd")

    def use_store(self, name, trace=False):
        options = {
            "pkg.install_root": os.path.join(self.base, "pkgs/"),
            "pkg.cache_root": os.path.join(self.base, CACHE),
            "pkg.store_bootstrap_url": f"{self.url}api/{name}-manager/v1/bootstrap",
            "pkg.telemetry_url": f"{self.url}api/package-manager/v1/telemetry",
            "pkg.log-remote-io": trace,
        }
        with open(self.options, "w") as out:
            json.dump(options, out)

    def empty(self):
        """A watched folder with nothing but what other programs have put there."""
        self.remove()
        for path in ("beside.txt", "pkgs/xbrl/neighbour-1.0.0/a.zip", "pkgs/xsd/stranger/a.zip"):
            self.write(path, path.encode())
        self.write(store.PACKAGE_FILE, store.package_file_bytes())

    def write(self, path, data):
        os.makedirs(os.path.dirname(os.path.join(self.base, path)), exist_ok=True)
        with open(os.path.join(self.base, path), "wb") as out:
            out.write(data)

    def remove(self):
        # The folder itself stays: it may be a mount point.
        os.makedirs(self.base, exist_ok=True)
        for entry in os.scandir(self.base):
            if entry.is_dir(follow_symlinks=False):
                shutil.rmtree(entry.path)
            else:
                os.unlink(entry.path)

    def restore(self, state):
        """Makes the watched folder the same as the folder `state`."""
        self.remove()
        shutil.copytree(state, self.base, dirs_exist_ok=True)
        # A page in it tells where it is, which is here, not in the place where the state was made.
        page = os.path.join(self.base, HOW_TO)
        if os.path.exists(page):
            with open(page) as file:
                text = file.read()
            with open(page, "w") as out:
                out.write(re.sub(re.escape(os.path.dirname(self.folder)) + "/[^/]+/base/", self.base + "/", text))

    def command(self, words):
        """The command line of an operation; package files lie in the watched folder."""
        return [self.program, "--json", "--yes"] + [
            os.path.join(self.base, word) if word == store.PACKAGE_FILE else word for word in words]

    def start(self, words, wrapper=(), **settings):
        environment = {**os.environ, "ZENDRO_COMMON_APPDATA": self.appdata}
        return subprocess.Popen([*wrapper, *self.command(words)], env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, text=True, cwd=self.folder, **settings)

    @staticmethod
    def finish(process):
        try:
            output, complaint = process.communicate(timeout=LONGEST_RUN)
        except subprocess.TimeoutExpired:
            process.kill()
            output, complaint = process.communicate()
            complaint += "took too long"
        return Outcome(process.returncode, output, complaint)

    def run(self, words, wrapper=(), **settings):
        return self.finish(self.start(words, wrapper, **settings))

    def tree(self):
        """All below the watched folder but what is passing: bytes by path, None for folders."""
        found = {}
        for folder, folders, files in os.walk(self.base):
            relative = os.path.relpath(folder, self.base) + "/" if folder != self.base else ""
            folders[:] = [name for name in folders if relative + name not in PASSING]
            found.update({relative + name: None for name in folders})
            for name in files:
                if relative + name not in PASSING:
                    with open(os.path.join(folder, name), "rb") as file:
                        data = file.read()
                    # Some of it tells where it is.
                    is_local = relative.startswith(LOCAL + "/")
                    found[relative + name] = data.replace(self.base.encode(), b"$") if is_local else data
        return found

    def names_of(self, path):
        """What a message may call a file or folder: by its path, by its folder's, or by its package's identity."""
        full = os.path.join(self.base, path)
        parts = path.split("/")
        package = parts[2:3] if parts[:2] == ["pkgs", "xsd"] else parts[3:4] if path.startswith(LOCAL + "/") else []
        return [full, os.path.dirname(full) + "/", *package]
