"""The servers, each a process without privileges, with a configuration of its own in a folder of its own."""

import os
import shutil
import subprocess

import tree
from processes import Processes, free_ports, make_certificates

HERE = os.path.dirname(os.path.realpath(__file__))
PROXIED_HOST = "store.test"  # known to the proxy alone
USER, PASSWORD = "me", "secret"

NGINX = """
daemon off;
pid {folder}/nginx.pid;
error_log {folder}/nginx.error.log;
events {{}}
http {{
  access_log off;
  client_body_temp_path {folder}/nginx-body;
  proxy_temp_path {folder}/nginx-proxy;
  fastcgi_temp_path {folder}/nginx-fastcgi;
  uwsgi_temp_path {folder}/nginx-uwsgi;
  scgi_temp_path {folder}/nginx-scgi;
  log_format protocol $server_protocol;
  server {{
    access_log {folder}/nginx.access.log protocol;
    listen 127.0.0.1:{port};
    listen 127.0.0.1:{tls_port} ssl http2;
    ssl_certificate {folder}/server.pem;
    ssl_certificate_key {folder}/server.key;
    root {tree};
    location = /stores/{archive} {{ add_header x-amz-meta-sha256 {digest}; }}
    location = /stores/damaged-{archive} {{ add_header x-amz-meta-sha256 {other_digest}; }}
    location = /telemetry {{ return 204; }}
  }}
}}
"""

APACHE = """
ServerRoot {folder}
ServerName 127.0.0.1
Listen 127.0.0.1:{port}
PidFile {folder}/apache.pid
DefaultRuntimeDir {folder}
Mutex file:{folder}
ErrorLog {folder}/apache.error.log
LoadModule mpm_event_module {modules}/mod_mpm_event.so
LoadModule authz_core_module {modules}/mod_authz_core.so
LoadModule headers_module {modules}/mod_headers.so
DocumentRoot {tree}
<Location /stores/{archive}>
  Header set x-amz-meta-sha256 {digest}
</Location>
"""

SQUID = """
http_port 127.0.0.1:{port}
pid_filename {folder}/squid.pid
cache_log {folder}/squid.log
access_log none
coredump_dir {folder}
hosts_file {folder}/hosts
cache deny all
pinger_enable off
shutdown_lifetime 0 seconds
auth_param basic program /usr/lib/squid/basic_ncsa_auth {folder}/passwords
auth_param basic children 1 startup=1
acl known proxy_auth REQUIRED
http_access allow known
http_access deny all
"""


class Servers(Processes):
    """All of them, running. What a server says stands in the folder."""

    def __init__(self, folder, served, digest):
        super().__init__(folder)
        self.authority = make_certificates(folder, "localhost", PROXIED_HOST)
        self.http, self.https, self.apache, self.squid, self.python = free_ports(5)
        values = {"folder": folder, "tree": served, "archive": tree.ARCHIVE, "digest": digest,
                  "other_digest": "0" * 64, "modules": "/usr/lib/apache2/modules"}
        self.write("nginx.conf", NGINX.format(port=self.http, tls_port=self.https, **values))
        self.write("apache.conf", APACHE.format(port=self.apache, **values))
        self.write("squid.conf", SQUID.format(port=self.squid, **values))
        self.write("hosts", f"127.0.0.1 localhost {PROXIED_HOST}\n")
        hashed = subprocess.run(["openssl", "passwd", "-apr1", PASSWORD], check=True, capture_output=True, text=True)
        self.write("passwords", f"{USER}:{hashed.stdout}")
        shutil.copy(os.path.join(HERE, "one_thread.py"), folder)
        self.give_away()
        try:
            self.start("nginx", "-c", f"{folder}/nginx.conf", "-e", f"{folder}/nginx.error.log")
            self.start("apache2", "-f", f"{folder}/apache.conf", "-DFOREGROUND")
            self.start("squid", "-N", "-f", f"{folder}/squid.conf")
            self.start("/usr/bin/python3", os.path.join(folder, "one_thread.py"), served, str(self.python), digest)
            for port in (self.http, self.https, self.apache, self.squid, self.python):
                self.wait_for(port)
        except BaseException:
            self.close()
            raise

    def http2_requests(self):
        """How many nginx has answered over HTTP/2 so far."""
        with open(os.path.join(self.folder, "nginx.access.log")) as log:
            return log.read().split().count("HTTP/2.0")
