"""The package core with the demonstration store, both below one folder."""

import json
import os
import signal
import subprocess
import threading

LONGEST_END = 20  # seconds


class Manager:
    def __init__(self, programs, store, folder):
        self.program = os.path.join(programs, "zendro")
        self.packages = os.path.join(folder, "pkgs/")
        self.local = os.path.join(self.packages, ".xsd_cache/local")
        self.appdata = os.path.join(folder, "appdata")
        options = os.path.join(self.appdata, "Zendro/options.json")
        os.makedirs(os.path.dirname(options))
        self.server = subprocess.Popen([os.path.join(programs, "zendro-store"), "--json", "serve",
                                        os.path.join(store, "xsd")], stdout=subprocess.PIPE, text=True)
        first = self.server.stdout.readline()
        if not first:
            raise RuntimeError("the store does not start")
        url = json.loads(first)["url"]
        # What it says of requests, until it ends.
        threading.Thread(target=self.server.stdout.read).start()
        with open(options, "w", encoding="utf-8") as out:
            json.dump({"pkg.install_root": self.packages,
                       "pkg.cache_root": os.path.join(self.packages, ".xsd_cache/"),
                       "pkg.store_bootstrap_url": f"{url}api/xsd-manager/v1/bootstrap", "pkg.telemetry": False}, out)

    def run(self, *words):
        """Carries out an operation, which must have nothing to say."""
        ended = subprocess.run([self.program, "--quiet", "--yes", *words], text=True, capture_output=True,
                               env={**os.environ, "ZENDRO_COMMON_APPDATA": self.appdata})
        if ended.returncode != 0 or ended.stderr:
            raise RuntimeError(f"{words[0]} ended with {ended.returncode}: {ended.stdout}{ended.stderr}")

    def installed(self):
        with open(os.path.join(self.packages, ".xsd_cache/pkgs-installed.json"), encoding="utf-8") as text:
            return [name for name in json.load(text) if not name.startswith("_")]

    def close(self):
        self.server.send_signal(signal.SIGTERM)
        self.server.wait(LONGEST_END)
