"""The package core with the demonstration store, both below one folder."""

import json
import os
import subprocess
import time

LONGEST_START = 20  # seconds


class Manager:
    def __init__(self, programs, store, folder):
        self.program = os.path.join(programs, "zendro")
        self.packages = os.path.join(folder, "pkgs/")
        self.local = os.path.join(self.packages, ".xsd_cache/local")
        self.appdata = os.path.join(folder, "appdata")
        options = os.path.join(self.appdata, "Zendro/options.json")
        os.makedirs(os.path.dirname(options))
        url_file = os.path.join(folder, "url")
        # It stops once nobody holds its input any more.
        self.server = subprocess.Popen([os.path.join(programs, "demo_store_server"), store, url_file],
                                       stdin=subprocess.PIPE, stdout=subprocess.DEVNULL)
        until = time.monotonic() + LONGEST_START
        while not os.path.exists(url_file):
            if self.server.poll() is not None or time.monotonic() > until:
                raise RuntimeError("the store does not start")
            time.sleep(0.02)
        with open(url_file, encoding="utf-8") as text:
            url = text.read().strip()
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
        self.server.stdin.close()
        self.server.wait(LONGEST_START)
