#!/usr/bin/env python3
"""Serves the files of a folder over HTTP, also parts of them, as loaders want it that boot an image which they do not hold.
  serve_parts.py FOLDER
Says "port N" first."""
import http.server
import os
import re
import sys

folder = sys.argv[1]


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def do_HEAD(self):
        self.answer(body=False)

    def do_GET(self):
        self.answer(body=True)

    def answer(self, body):
        try:
            content = open(os.path.join(folder, os.path.basename(self.path)), "rb")
        except OSError:
            self.send_error(404)
            return
        with content:
            size = os.fstat(content.fileno()).st_size
            part = re.fullmatch(r"bytes=(\d+)-(\d+)", self.headers.get("Range", ""))
            first, last = (int(part[1]), min(int(part[2]), size - 1)) if part else (0, size - 1)
            self.send_response(206 if part else 200)
            self.send_header("Accept-Ranges", "bytes")
            self.send_header("Content-Length", str(last + 1 - first))
            if part:
                self.send_header("Content-Range", f"bytes {first}-{last}/{size}")
            self.end_headers()
            content.seek(first)
            if body:
                self.wfile.write(content.read(last + 1 - first))


server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
print("port", server.server_port, flush=True)
server.serve_forever()
