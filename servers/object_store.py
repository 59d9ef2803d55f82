"""An S3-compatible object store, and before it a gate that lets nobody write whose signature does not hold."""

import hashlib
import hmac
import http.client
import http.server
import ssl
import subprocess
import threading
import urllib.parse

# The only key that the object store knows.
KEY, SECRET, REGION, BUCKET = "S3RVER", "S3RVER", "eu-central-1", "firm"


def signature_of(secret, method, target, headers, signed, scope):
    """By AWS Signature Version 4."""
    path, _, query = target.partition("?")
    lines = [f"{name}:{' '.join(headers[name].split())}\n" for name in signed]
    request = "\n".join((method, path, query, "".join(lines), ";".join(signed), headers["x-amz-content-sha256"]))
    text = "\n".join(("AWS4-HMAC-SHA256", headers["x-amz-date"], "/".join(scope),
                      hashlib.sha256(request.encode()).hexdigest()))
    key = ("AWS4" + secret).encode()
    for part in (*scope, text):
        key = hmac.digest(key, part.encode(), "sha256")
    return key.hex()


def complaint_of(method, target, headers, body):
    """What is wrong with how a request is signed."""
    scheme, _, parts = headers["Authorization"].partition(" ")
    fields = dict(part.strip().split("=", 1) for part in parts.split(","))
    key, *scope = fields["Credential"].split("/")
    signed = fields["SignedHeaders"].split(";")
    if scheme != "AWS4-HMAC-SHA256" or key != KEY or scope[1:] != [REGION, "s3", "aws4_request"]:
        return "InvalidAccessKeyId"
    missing = [name.lower() for name in headers if name.lower().startswith("x-amz-") and name.lower() not in signed]
    if missing or "host" not in signed or signed != sorted(signed):
        return "AccessDenied"
    if hashlib.sha256(body).hexdigest() != headers["x-amz-content-sha256"]:
        return "XAmzContentSHA256Mismatch"
    expected = signature_of(SECRET, method, target, headers, signed, scope)
    return "" if hmac.compare_digest(expected, fields["Signature"]) else "SignatureDoesNotMatch"


class Gate(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    inner_port, requests = 0, []  # of a subclass

    def handle_request(self):
        body = self.rfile.read(int(self.headers.get("Content-Length", 0)))
        self.requests.append((self.command, urllib.parse.unquote(self.path)))
        code = "AccessDenied" if self.command == "PUT" else ""
        if "Authorization" in self.headers:
            code = complaint_of(self.command, self.path, self.headers, body)
        if code:
            return self.reply(403, [], f"<Error><Code>{code}</Code><Message>Refused</Message></Error>".encode())
        inner = http.client.HTTPConnection("127.0.0.1", self.inner_port)
        kept = {name: value for name, value in self.headers.items() if name.lower() not in ("expect", "connection")}
        inner.request(self.command, self.path, body, kept)
        answer = inner.getresponse()
        self.reply(answer.status, answer.getheaders(), answer.read())
        inner.close()

    do_GET = do_HEAD = do_PUT = handle_request

    def reply(self, status, headers, body):
        self.send_response_only(status)
        names = ("connection", "keep-alive", "transfer-encoding", "content-length")
        for name, value in headers:
            if name.lower() not in names:
                self.send_header(name, value)
        length = dict((name.lower(), value) for name, value in headers).get("content-length")
        self.send_header("Content-Length", length if self.command == "HEAD" and length else len(body))
        self.end_headers()
        if self.command != "HEAD":
            self.wfile.write(body)

    def log_message(self, *_):
        pass


class ObjectStore:
    """Both, until close()."""

    def __init__(self, processes, program, folder):
        from processes import free_ports

        (inner,) = free_ports(1)
        processes.start("node", program, "-d", folder, "-a", "127.0.0.1", "-p", str(inner), "--silent",
                        "--no-vhost-buckets", "--configure-bucket", BUCKET)
        processes.wait_for(inner)
        self.requests = []
        handler = type("OneGate", (Gate,), {"inner_port": inner, "requests": self.requests})
        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler)
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(f"{processes.folder}/server.pem", f"{processes.folder}/server.key")
        # The handshake is left to the thread of the connection.
        self.server.socket = context.wrap_socket(self.server.socket, server_side=True, do_handshake_on_connect=False)
        self.server.daemon_threads = True
        threading.Thread(target=self.server.serve_forever, daemon=True).start()
        self.endpoint = f"https://localhost:{self.server.server_address[1]}"

    def environment(self):
        return {"AWS_ACCESS_KEY_ID": KEY, "AWS_SECRET_ACCESS_KEY": SECRET, "AWS_REGION": REGION}

    def taken(self):
        """The requests since the last call: method and path below the bucket."""
        taken = [(method, path.removeprefix(f"/{BUCKET}/")) for method, path in self.requests]
        self.requests.clear()
        return taken

    def close(self):
        self.server.shutdown()
        self.server.server_close()
