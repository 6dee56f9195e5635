"""A server for machines in QEMU, which misbehaves where its paths say so, and keeps what it is sent."""
import contextlib
import hashlib
import socket
import socketserver
import ssl
import subprocess
import threading
import time

LOGIN = "Basic bWVkaXVtOmdlaGVpbSB3aXRoIGJsYW5rcw=="  # medium:geheim with blanks


def bytes_of(size):
    """Bytes that only this server knows, for a size."""
    return b"".join(hashlib.sha256(b"%d %d" % (size, i)).digest() for i in range(size // 32 + 1))[:size]


def answer(code, body=b"", *fields, length=None):
    size = len(body) if length is None else length
    lines = [f"HTTP/1.1 {code} So", f"Content-Length: {size}", *fields]
    return "\r\n".join(lines).encode() + b"\r\n\r\n" + body


def chunks(body, sizes, end=b"0\r\nTrailer: x\r\n\r\n"):
    text, at = b"", 0
    while at < len(body):
        size = sizes[len(text) % len(sizes)]
        text += b"%x;some=thing\r\n%s\r\n" % (len(body[at:at + size]), body[at:at + size])
        at += size
    return text + end


CHUNKED = b"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"


class Server:
    """One at a port of 127.0.0.1, over TLS with a certificate and its key in one file. Where there is a folder of jobs,
    GET /jobs/NAME gives them."""

    def __init__(self, certificate=None, login=False, jobs=None, port=0):
        self.kept, self.asked, self.login = {}, [], login
        self.jobs = {} if jobs is None else jobs
        outer = self

        class Handler(socketserver.StreamRequestHandler):
            def handle(self):
                with contextlib.suppress(OSError, ssl.SSLError):
                    outer.handle(self)

        class Threading(socketserver.ThreadingTCPServer):
            allow_reuse_address = daemon_threads = True

            def get_request(self):
                connection, address = super().get_request()
                return (outer.context.wrap_socket(connection, server_side=True) if outer.context else connection), address

            def handle_error(self, request, client_address):
                pass

        self.context = None
        if certificate:
            self.context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
            self.context.load_cert_chain(certificate)
            self.context.set_ciphers("ALL:@SECLEVEL=0")  # the firmware's are of another age
        self.server = Threading(("127.0.0.1", port), Handler)
        self.port = self.server.server_address[1]
        self.url = f"http{'s' if certificate else ''}://10.0.2.2:{self.port}"
        threading.Thread(target=self.server.serve_forever, daemon=True).start()

    def count(self, path):
        return self.asked.count(path)

    def handle(self, stream):
        line = stream.rfile.readline().decode()
        if not line:
            return
        method, path, _ = line.split()
        fields = {}
        while (field := stream.rfile.readline().decode().strip()):
            name, _, value = field.partition(":")
            fields[name.lower()] = value.strip()
        self.asked.append(path)
        body = stream.rfile.read(int(fields.get("content-length", "0"))) if method != "GET" else b""
        if self.login and fields.get("authorization") != LOGIN:
            stream.wfile.write(answer(401))
        elif method != "GET":
            self.keep(stream, method, path, body)
        else:
            self.give(stream, path, fields)

    def keep(self, stream, method, path, body):
        if path == "/late/503" and self.count(path) == 1:
            stream.wfile.write(answer(503, b"not now"))
        elif path == "/refused":
            stream.wfile.write(answer(403))
        else:
            self.kept[path] = (method, body)
            stream.wfile.write(b"HTTP/1.1 204 No Content\r\n\r\n" if path == "/204" else answer(201))

    def give(self, stream, path, fields):
        write = stream.wfile.write
        step, _, size = path[1:].partition("/")
        body = bytes_of(int(size)) if size.isdigit() else b""
        if step == "jobs" and size in self.jobs:
            write(answer(200, self.jobs[size].encode()))
        elif step == "bytes":
            write(answer(200, body))
        elif step == "chunks":
            write(CHUNKED + chunks(body, (1, 700, 16, 5000)))
        elif step == "broken-chunks":
            write(CHUNKED + chunks(body, (1000,), end=b"x\r\n"))
        elif step == "short-chunks":
            write(CHUNKED + chunks(body, (1000,), end=b"3e8\r\n" + body[:500]))
        elif step == "short":
            write(answer(200, body[:-1], length=len(body)))
        elif step == "endless":
            write(b"HTTP/1.1 200 OK\r\n\r\n" + body)
        elif step == "two-lengths":
            write(answer(200, body, f"Content-Length: {len(body) - 1}"))
        elif step == "huge":
            write(answer(200, length=1 << 40))
        elif step == "flaky" and self.count(path) < 3:
            write(answer(503, b"", "Retry-After: 1") if self.count(path) == 1 else b"")  # and once it hangs up
        elif step == "late":
            time.sleep(12)  # firmware gives up after five seconds
            write(answer(200, body))
        elif step == "stalls":
            write(answer(200, body[:500], length=len(body)))
            time.sleep(600)
        elif step == "silent":
            time.sleep(600)
        elif step == "elsewhere":
            write(answer(302, b"", f"Location: http://10.0.2.2:{self.port}/bytes/10"))
        elif step == "flaky":
            write(answer(200, body))
        elif step == "odd%20name%C3%A4":
            write(answer(200, fields.get("host", "").encode()))
        else:
            write(answer(404, b"no such thing"))


def run(*command):
    subprocess.run(command, check=True, capture_output=True)


def certificate(name, subject, expired=False):
    """A certificate for the subject, and its key, in one file NAME.pem; the certificate alone in NAME.crt."""
    with open(f"{name}.cnf", "w") as setting:
        setting.write(f"[ca]\ndefault_ca=it\n[it]\ndatabase={name}.index\nserial={name}.serial\nnew_certs_dir=.\n"
                      f"default_md=sha256\npolicy=any\n[any]\ncommonName=supplied\n[req]\ndistinguished_name=any\n"
                      f"[extensions]\nsubjectAltName={subject}\nbasicConstraints=CA:TRUE\n")
    open(f"{name}.index", "w").close()
    with open(f"{name}.serial", "w") as serial:
        serial.write("01\n")
    run("openssl", "req", "-new", "-newkey", "rsa:2048", "-nodes", "-subj", f"/CN={name}", "-keyout", f"{name}.key",
        "-out", f"{name}.csr", "-config", f"{name}.cnf")
    run("openssl", "ca", "-selfsign", "-batch", "-notext", "-config", f"{name}.cnf", "-extensions", "extensions",
        "-keyfile", f"{name}.key", "-in", f"{name}.csr", "-out", f"{name}.crt", "-startdate", "20200101000000Z",
        "-enddate", "20210101000000Z" if expired else "20490101000000Z")
    with open(f"{name}.pem", "wb") as both:
        both.write(open(f"{name}.key", "rb").read() + open(f"{name}.crt", "rb").read())
    return f"{name}.pem"


def closed_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]
