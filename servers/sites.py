"""Sites of web servers with TLS that serve a published tree by the lines that the program prints for them."""

import os
import signal

MODULES = "/usr/lib/apache2/modules"

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
  gzip on;
  gzip_types application/zip;
  server {{
    listen 127.0.0.1:{port} ssl http2;
    ssl_protocols TLSv1.2 TLSv1.3;
    ssl_certificate {folder}/server.pem;
    ssl_certificate_key {folder}/server.key;
    include {lines};
  }}
}}
"""

APACHE = """
ServerRoot {folder}
ServerName localhost
Listen 127.0.0.1:{port}
PidFile {folder}/apache.pid
DefaultRuntimeDir {folder}
Mutex file:{folder}
ErrorLog {folder}/apache.error.log
LoadModule mpm_event_module {modules}/mod_mpm_event.so
LoadModule authz_core_module {modules}/mod_authz_core.so
LoadModule alias_module {modules}/mod_alias.so
LoadModule autoindex_module {modules}/mod_autoindex.so
LoadModule deflate_module {modules}/mod_deflate.so
LoadModule filter_module {modules}/mod_filter.so
LoadModule headers_module {modules}/mod_headers.so
LoadModule setenvif_module {modules}/mod_setenvif.so
LoadModule ssl_module {modules}/mod_ssl.so
SetOutputFilter DEFLATE
<VirtualHost 127.0.0.1:{port}>
  SSLEngine on
  SSLCertificateFile {folder}/server.pem
  SSLCertificateKeyFile {folder}/server.key
  Include {lines}
</VirtualHost>
"""

CADDY = """
{{
	admin off
	auto_https disable_redirects
	storage file_system {folder}/caddy
}}
https://localhost:{port} {{
	bind 127.0.0.1
	tls {folder}/server.pem {folder}/server.key
	encode gzip
	import {lines}
}}
"""

CONFIGURATIONS = {"nginx": NGINX, "apache": APACHE, "caddy": CADDY}
COMMANDS = {"nginx": ("nginx", "-c", "{file}", "-e", "{folder}/nginx.error.log"),
            "apache": ("apache2", "-f", "{file}", "-DFOREGROUND"),
            "caddy": ("caddy", "run", "--config", "{file}", "--adapter", "caddyfile")}
# Where the store is; the site of one may be nothing else.
PATHS = {"nginx": "schemas/", "apache": "", "caddy": "stores/xsd-1.0/"}


class Site:
    """A site with a store below one of its paths, which start() begins to serve."""

    def __init__(self, processes, server, port):
        self.processes, self.server, self.port = processes, server, port
        self.base = f"https://localhost:{port}/"
        self.path = PATHS[server]
        self.store_url = self.base + self.path
        # A path that has to be written between quotation marks.
        self.tree = os.path.join(processes.folder, f'the "{server}" tree')

    def configure(self, lines):
        folder = self.processes.folder
        path = os.path.join(folder, self.server)
        self.processes.write(self.server + ".lines", lines)
        self.processes.write(self.server + ".conf", CONFIGURATIONS[self.server].format(
            folder=folder, port=self.port, lines=path + ".lines", modules=MODULES))
        self.command = [word.format(file=path + ".conf", folder=folder) for word in COMMANDS[self.server]]

    def start(self):
        self.process = self.processes.start(*self.command)
        self.processes.wait_for(self.port)

    def reload(self):
        self.process.send_signal(signal.SIGHUP)
