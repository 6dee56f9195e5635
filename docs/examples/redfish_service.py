#!/usr/bin/python3
"""Serves a simulated controller, or disk images, as a Redfish service, for the development of its clients.

    redfish_service.py [--xyl PROGRAM] [--port N] [--tls CERT.pem] (BOX.json | --disk IMAGE...) [-- COMMAND...]

Serves until it is interrupted, or while COMMAND runs, which finds the address in the variable REDFISH. It asks nobody
who they are, so it serves this machine alone, on the loopback address; it is no product to expose.
"""
import argparse
import hashlib
import json
import os
import ssl
import subprocess
import sys
import tempfile
import threading
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

BODY_MAX = 1 << 20
STATUS = {"ResourceMissingAtURI": 404, "OperationNotAllowed": 405, "PreconditionFailed": 412}
NO_MATCH = "The ETag supplied did not match the ETag required to change this resource."


def error(key, text):
    """An error body, as 'xyl redfish --request' writes them."""
    message = {"MessageId": "Base.1.18." + key, "Message": text, "MessageSeverity": "Warning"}
    return {"error": {"code": message["MessageId"], "message": text, "@Message.ExtendedInfo": [message]}}


class Box:
    """The controller, by way of the client."""

    def __init__(self, xyl, files, source):
        self.xyl, self.files, self.source = xyl, files, source
        self.lock, self.stamp, self.resources = threading.Lock(), None, {}

    def run(self, *words):
        run = subprocess.run([self.xyl, *words, *self.source], capture_output=True, text=True, check=False)
        return run.returncode, run.stdout, run.stderr

    def stamps(self):
        """When the files were written; of devices that is not known, so nothing equals theirs."""
        return [(os.stat(name).st_mtime_ns, os.path.isfile(name) or object()) for name in self.files]

    def tree(self):
        """The resources by their URIs, read anew when the files have changed."""
        stamp = self.stamps()
        if stamp != self.stamp:
            with tempfile.TemporaryDirectory() as folder:
                code, _, said = self.run("redfish", folder)
                self.resources = {}
                for place, _, files in os.walk(folder):
                    for name in files:
                        with open(os.path.join(place, name), encoding="utf-8") as file:
                            self.resources[place[len(folder):]] = json.load(file)
            if code != 0:
                raise OSError(said.strip())
            self.stamp = stamp
        return self.resources

    def change(self, method, uri, body):
        """Does what a request asks for: None, or the error body."""
        with tempfile.TemporaryDirectory() as folder:
            request, changes = os.path.join(folder, "body.json"), os.path.join(folder, "changes.xml")
            with open(request, "wb") as file:
                file.write(body)
            code, answer, said = self.run("redfish", "--request", request, method, uri, "-o", changes)
            if code == 0:
                code, answer, said = self.run("apply", changes, "--yes")
            refusal = json.loads(answer) if answer.startswith("{") else error("GeneralError", said.strip())
            return refusal if code != 0 else None


class Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def answer(self, status, body=None, **headers):
        data = json.dumps(body, indent=2).encode() if body is not None else b""
        self.send_response(status)
        headers = {"OData-Version": "4.0", "Content-Type": "application/json", **headers}
        for name, value in headers.items():
            self.send_header(name, value)
        self.send_header("Content-Length", str(len(data)))
        self.send_header("Connection", "close" if self.close_connection else "keep-alive")
        self.end_headers()
        self.wfile.write(data if self.command != "HEAD" else b"")

    def refuse(self, body):
        self.answer(STATUS.get(body["error"]["code"].split(".")[-1], 400), body)

    def get(self, uri, tree, etag):
        if uri not in tree:
            self.refuse(error("ResourceMissingAtURI", f"The resource at the URI '{uri}' was not found."))
        elif self.headers["If-None-Match"] == etag:
            self.answer(304, ETag=etag)
        else:
            self.answer(200, tree[uri], ETag=etag)

    def change(self, uri, tree, body):
        refusal = self.server.box.change(self.command, uri, body)
        if refusal:
            return self.refuse(refusal)
        after = self.server.box.tree()
        made = sorted(after.keys() - tree.keys())
        if self.command == "PATCH":
            return self.answer(200, after[uri], ETag=etag_of(after[uri]))
        return self.answer(201, after[made[0]], Location=made[0]) if made else self.answer(204)

    def serve(self):
        given = self.headers["Content-Length"] or "0"
        length = int(given) if given.isdecimal() else BODY_MAX + 1
        mine = (f"127.0.0.1:{self.server.server_port}", f"localhost:{self.server.server_port}")
        if length > BODY_MAX or self.headers["Host"] not in mine:  # a name of another kind is a trick of a web page
            self.close_connection = True
            return self.answer(400, error("GeneralError", "This service takes small requests to the loopback address."))
        body = self.rfile.read(length)
        uri = self.path.rstrip("/")
        with self.server.box.lock:
            tree = self.server.box.tree()
            etag = etag_of(tree.get(uri))
            if self.command in ("GET", "HEAD"):
                return self.get(uri, tree, etag)
            if self.headers["If-Match"] not in (None, "*", etag):
                return self.refuse(error("PreconditionFailed", NO_MATCH))
            if body and not (self.headers["Content-Type"] or "").startswith("application/json"):
                return self.answer(415, error("GeneralError", "The body has to be application/json."))
            return self.change(uri, tree, body)

    do_GET = do_HEAD = do_POST = do_PATCH = do_DELETE = serve

    def log_message(self, format, *args):  # pylint: disable=redefined-builtin
        if self.server.talks:
            super().log_message(format, *args)


def etag_of(resource):
    return f'"{hashlib.sha256(json.dumps(resource).encode()).hexdigest()[:16]}"'


def start(box, port=0, tls=None, talks=False):
    """Serves in a thread: the address, and the thread."""
    box.tree()  # a source that cannot be read is told before anybody asks
    server = ThreadingHTTPServer(("127.0.0.1", port), Handler)
    server.daemon_threads, server.box, server.talks = True, box, talks
    if tls:
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(tls)
        server.socket = context.wrap_socket(server.socket, server_side=True)
    thread = threading.Thread(target=server.serve_forever, daemon=True)
    thread.start()
    return f"http{'s' if tls else ''}://127.0.0.1:{server.server_port}", thread


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("--xyl", default="xyl")
    parser.add_argument("--port", type=int, default=0)
    parser.add_argument("--tls")
    parser.add_argument("--disk", action="append", default=[])
    words = sys.argv[1:]
    split = words.index("--") if "--" in words else len(words)
    parser.add_argument("box", nargs="?")
    given = parser.parse_args(words[:split])
    if bool(given.box) == bool(given.disk):
        parser.error("give one BOX.json, or disks")
    source = ["--controller", given.box] if given.box else [word for disk in given.disk for word in ("--disk", disk)]
    box = Box(given.xyl, given.disk or [given.box], source)
    address, thread = start(box, given.port, given.tls, talks=split == len(words))
    if split < len(words):
        return subprocess.run(words[split + 1:], env={**os.environ, "REDFISH": address}, check=False).returncode
    print(f"serving {address}/redfish/v1/ to this machine alone; Ctrl-C ends it", flush=True)
    return thread.join()


if __name__ == "__main__":
    try:
        sys.exit(main())
    except KeyboardInterrupt:
        sys.exit(0)
    except OSError as problem:
        sys.exit(f"redfish_service.py: {problem}")
