"""Servers as processes without privileges, on free ports of the loopback interface, and certificates for them."""

import os
import socket
import subprocess
import time


def free_ports(count):
    sockets = [socket.create_server(("127.0.0.1", 0)) for _ in range(count)]
    ports = [each.getsockname()[1] for each in sockets]
    for each in sockets:
        each.close()
    return ports


def make_certificates(folder, *names):
    """An authority of our own, and the certificate of a server with these names. Returns the authority's."""

    def openssl(*arguments):
        subprocess.run(["openssl", *arguments], cwd=folder, check=True, capture_output=True)

    key = ("-newkey", "rsa:2048", "-nodes")
    openssl("req", "-x509", *key, "-keyout", "ca.key", "-out", "ca.pem", "-days", "2", "-subj", "/CN=Test CA")
    with open(os.path.join(folder, "names"), "w") as out:
        out.write("subjectAltName=" + ",".join(f"DNS:{name}" for name in names) + "\n")
    openssl("req", *key, "-keyout", "server.key", "-out", "server.csr", "-subj", "/CN=localhost")
    openssl("x509", "-req", "-in", "server.csr", "-CA", "ca.pem", "-CAkey", "ca.key", "-CAcreateserial",
            "-days", "2", "-extfile", "names", "-out", "server.pem")
    return os.path.join(folder, "ca.pem")


class Processes:
    """Processes whose files are in one folder, which they may write to. What they say stands there, too."""

    def __init__(self, folder):
        self.folder = folder
        self.processes = []
        self.identity = {}

    def write(self, name, text):
        with open(os.path.join(self.folder, name), "w") as out:
            out.write(text)

    def give_away(self):
        """They have no other rights, also where root starts them."""
        if os.geteuid() == 0:
            self.identity = {"user": "nobody", "group": "nogroup", "extra_groups": []}
            subprocess.run(["chown", "-R", "nobody:nogroup", self.folder], check=True)

    def start(self, *command):
        name = os.path.basename(command[0])
        environment = {**os.environ, "PATH": os.environ["PATH"] + ":/usr/sbin", "HOME": self.folder}
        command = ("setpriv", "--pdeathsig", "TERM", *command)  # none outlives this process
        with open(os.path.join(self.folder, name + ".output"), "w") as output:
            self.processes.append(subprocess.Popen(command, cwd=self.folder, env=environment, stdin=subprocess.DEVNULL,
                                                   stdout=output, stderr=output, **self.identity))
        return self.processes[-1]

    def wait_for(self, port):
        until = time.monotonic() + 10
        while time.monotonic() < until:
            for process in self.processes:
                if process.poll() is not None:
                    raise SystemExit(f"{process.args[3]} does not start:\n" + self.said())
            try:
                socket.create_connection(("127.0.0.1", port)).close()
                return
            except OSError:
                time.sleep(0.02)
        raise SystemExit(f"nobody listens on port {port}:\n" + self.said())

    def said(self):
        text = ""
        for entry in sorted(os.scandir(self.folder), key=lambda entry: entry.name):
            if entry.name.endswith((".output", ".log")):
                with open(entry.path, errors="replace") as log:
                    text += f"--- {entry.name}\n" + log.read()[-2000:]
        return text

    def close(self):
        for process in self.processes:
            process.terminate()
        for process in self.processes:
            try:
                process.wait(5)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()
