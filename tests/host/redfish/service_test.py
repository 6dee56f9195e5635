#!/usr/bin/python3
"""service_test.py XYL SOURCES: the service's answers are whole, its own and true, whoever else is there."""
import concurrent.futures
import json
import os
import shutil
import signal
import socket
import ssl
import subprocess
import tempfile
import threading
import time

from support import (STORAGE, XYL, ask, check, conclude, drive, message_of, new_box, place_of, served, shown, xyl)

VOLUMES = STORAGE + "/Volumes"
ONE = VOLUMES + "/2"


def names():
    return {volume["Name"] for volume in shown()["VD"]}


def raw(address, text, half_close=True):
    """The status of the answer to these bytes, behind which nothing comes."""
    with socket.create_connection(place_of(address), timeout=30) as connection:
        connection.sendall(text.encode())
        if half_close:
            connection.shutdown(socket.SHUT_WR)
        answer = b""
        while part := connection.recv(65536):
            answer += part
    return int(answer.split()[1]) if answer else None


# --- Half a request does nothing ---

PAIR = json.dumps({"RAIDType": "RAID1", "Name": "half", "Links": {"Drives": [drive(1018), drive(1019)]}})
HALVES = (  # request line, header, and what comes of the body
    (f"DELETE {ONE}", "Content-Length: 50", ""),
    (f"DELETE {ONE}", "Content-Length: 50", "{}"),
    (f"POST {VOLUMES}", f"Content-Length: {len(PAIR) + 9}", PAIR),
    (f"PATCH {ONE}", "Transfer-Encoding: chunked", "11\r\n{\"DisplayName\":\"h\"}"),
    (f"PATCH {ONE}", "Transfer-Encoding: chunked", "13\r\n{\"DisplayName\":\"half\"}\r\n"),
    (f"PATCH {ONE}", "Content-Length: x", "{}"),
)


def refuse_halves(address):
    before = names()
    for line, header, body in HALVES:
        host = ":".join(map(str, place_of(address)))
        text = f"{line} HTTP/1.1\r\nHost: {host}\r\nContent-Type: application/json\r\n{header}\r\n\r\n{body}"
        check(raw(address, text) == 400, line, header, "is no 400")
    check(names() == before, "half a request has done something:", names() ^ before)


# --- Nobody waits for others ---

def read_beside_slow_clients(address):
    """A client that begins a request, or nothing, holds up nobody."""
    slow = [socket.create_connection(place_of(address)) for _ in range(200)]
    for number, each in enumerate(slow):
        each.sendall(f"POST {VOLUMES} HTTP/1.1\r\nContent-Length: 9\r\n\r\n{{".encode()[:number])
    begin = time.monotonic()
    check(ask(address, "GET", ONE)[0] == 200 and time.monotonic() - begin < 10, "a read waits for slow clients")
    for each in slow:
        each.close()


def read_beside_silent_tls():
    subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "1", "-subj", "/CN=localhost",
                    "-keyout", "tls.pem", "-out", "certificate.pem"], check=True, capture_output=True)
    with open("tls.pem", "ab") as both, open("certificate.pem", "rb") as certificate:
        both.write(certificate.read())
    context = ssl.create_default_context(cafile="certificate.pem")
    context.check_hostname = False
    with served("--tls", "tls.pem", "box.json") as (address, _):
        with socket.create_connection(place_of(address)):
            with context.wrap_socket(socket.create_connection(place_of(address), timeout=20)) as connection:
                host = ":".join(map(str, place_of(address)))
                connection.sendall(f"GET {ONE} HTTP/1.1\r\nHost: {host}\r\n\r\n".encode())
                check(b" 200 " in connection.recv(99), "a silent TLS connection holds up others")


def read_at_once(address):
    with concurrent.futures.ThreadPoolExecutor(200) as pool:
        answers = list(pool.map(lambda _: ask(address, "GET", ONE)[0], range(200)))
    check(answers == [200] * 200, "200 connections at once:", answers)


# --- Everybody gets his own answer ---

def create_at_once(address):
    """Volumes that several make at once, while disks go and come: each is told the one of its name."""
    ended = threading.Event()

    def handle_disks():
        while not ended.is_set():
            for verb in ("pull", "insert"):
                subprocess.run([XYL, "sim", verb, "box.json", "1002"], capture_output=True, check=False)

    def create(number):
        body = {"RAIDType": "RAID0", "Name": f"mine {number}", "CapacityBytes": 10 ** 9,
                "Links": {"Drives": [drive(number)]}}
        return body["Name"], *ask(address, "POST", VOLUMES, body)

    beside = threading.Thread(target=handle_disks)
    beside.start()
    free = [disk["ObjectID"] for shelf in shown()["Enclosure"] for disk in shelf["PD"]
            if disk["State"] == "Ready" and "Hotspare" not in disk]
    with concurrent.futures.ThreadPoolExecutor(20) as pool:
        for name, status, headers, body in pool.map(create, free):
            check(status == 201 and body["Name"] == name and headers["Location"] == body["@odata.id"], name, "is told",
                  status, body)
            check(status != 201 or ask(address, "GET", headers["Location"])[2]["Name"] == name, name, "is not there")
    ended.set()
    beside.join()


# --- True statuses ---

def tell_half_of_changes():
    """The volume is made, its spare is not: both are told."""
    new_box()
    xyl("sim", "fail-next", "box.json", "change", "device-error")
    with served() as (address, _):
        body = {"RAIDType": "RAID1", "Name": "alone", "Links": {"Drives": [drive(1018), drive(1019)],
                                                               "DedicatedSpareDrives": [drive(1020)]}}
        status, headers, answer = ask(address, "POST", VOLUMES, body)
        check(status == 201 and answer["Name"] == "alone", status, answer)
        check(headers["Location"] == answer["@odata.id"], headers, answer)
        check(message_of(answer) == "InternalError", "what failed is not told:", answer)
        for fault, wanted in (("device-error", 500), ("out-of-resources", 507), ("invalid-parameter", 400)):
            xyl("sim", "fail-next", "box.json", "delete", fault)
            check(ask(address, "DELETE", ONE)[0] == wanted, fault, "is no", wanted)


def tell_what_cannot_be_read():
    """A controller that cannot be read is told as that, and is there again when it can."""
    new_box()
    with served() as (address, _):
        shutil.copy("box.json", "kept.json")
        for break_it in (lambda: os.remove("box.json"), lambda: open("box.json", "w", encoding="utf-8").close()):
            break_it()
            for method, body in (("GET", None), ("PATCH", {"DisplayName": "x"})):
                status, headers, answer = ask(address, method, ONE, body)
                check(status == 503 and "Retry-After" in headers and message_of(answer), method, status, answer)
            shutil.copy("kept.json", "box.json")
            check(ask(address, "GET", ONE)[0] == 200, "what can be read again is not there")
        stamp = os.stat("box.json")
        with open("kept.json", encoding="utf-8") as old, open("new.json", "w", encoding="utf-8") as new:
            new.write(old.read().replace('"Data"', '"Date"'))
        os.utime("new.json", ns=(stamp.st_atime_ns, stamp.st_mtime_ns))
        os.replace("new.json", "box.json")
        check(ask(address, "GET", ONE)[2]["Name"] == "Date", "another file of the same size and time is not seen")


def tell_of_disks():
    """Disk images are served like a box, and what an image is changed by beside is seen."""
    words = []
    for name in ("a.img", "b.img"):
        with open(name, "wb") as image:
            image.truncate(128 << 20)
        words += ["--disk", name]
    with served(*words) as (address, _):
        drives = ask(address, "GET", STORAGE)[2]["Drives"]
        body = {"RAIDType": "RAID1", "Name": "images", "Links": {"Drives": drives}}
        status, headers, answer = ask(address, "POST", VOLUMES, body)
        check(status == 201 and answer["Links"]["Drives"] == drives, "no volume on images:", answer)
        check(ask(address, "GET", headers["Location"])[2]["Name"] == "images", "the volume on images is not there")
        xyl("delete", "images", "--yes", *words)
        check(ask(address, "GET", headers["Location"])[0] == 404, "what was done beside is not seen")


# --- Interrupts ---

def interrupt():
    """What has begun is done and told, whatever signal comes, also to all programs at the terminal; nothing is left."""
    with open("slow.sh", "w", encoding="utf-8") as file:
        file.write(f'#!/bin/sh\ncase "$*" in *--yes*) touch began; sleep 1 ;; esac\nexec "{XYL}" "$@"\n')
    os.chmod("slow.sh", 0o755)
    for number in (signal.SIGINT, signal.SIGTERM):
        new_box()
        left = set(os.listdir(tempfile.gettempdir()))
        with served("--xyl", "./slow.sh", "box.json") as (address, process):
            with concurrent.futures.ThreadPoolExecutor(1) as pool:
                asked = pool.submit(ask, address, "PATCH", ONE, {"DisplayName": "done"})
                while not os.path.exists("began"):
                    time.sleep(0.01)
                os.killpg(process.pid, number)
                os.killpg(process.pid, number)
                check(asked.result()[0] == 200, number, "ends a change, or takes its answer away")
        os.remove("began")
        check("done" in names(), number, "has ended a change")
        more = {name for name in set(os.listdir(tempfile.gettempdir())) - left if name.startswith("tmp")}
        check(not more, number, "leaves", more)


with tempfile.TemporaryDirectory() as place:
    os.chdir(place)
    new_box()
    with served() as (where, _):
        refuse_halves(where)
        read_beside_slow_clients(where)
        read_at_once(where)
        create_at_once(where)
    read_beside_silent_tls()
    tell_half_of_changes()
    tell_what_cannot_be_read()
    tell_of_disks()
    interrupt()
conclude("answers are whole, their own and true")
