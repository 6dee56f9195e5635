#!/usr/bin/python3
"""clients_test.py XYL SOURCES [SECONDS]: sushy logs in by all ways, and twenty clients at once beside 'xyl sim'.

Every answer is about what was asked for, and every change that was acknowledged is in the file at the end.
"""
import http.client
import os
import random
import subprocess
import sys
import tempfile
import threading
import time

import sushy
import sushy.auth

from support import STORAGE, XYL, ask, check, conclude, drive, new_box, place_of, served, shown

SECONDS = float(sys.argv[3]) if len(sys.argv) > 3 else 5
VOLUMES = STORAGE + "/Volumes"
CLIENTS = 20


# --- sushy ---

LOGINS = {  # the class, and whether it works with users and without
    "basic": (sushy.auth.BasicAuth, True, True), "session": (sushy.auth.SessionAuth, True, True),
    "session or basic": (sushy.auth.SessionOrBasicAuth, True, True), "none": (None, False, True),
}


def log_in(words, has_users):
    with served(*words) as (address, _):
        for name, (kind, with_users, without) in LOGINS.items():
            for password in ("secret", "other"):
                works = (with_users and password == "secret") if has_users else without
                try:
                    auth = kind(username="admin", password=password) if kind else None
                    root = sushy.Sushy(address, auth=auth) if auth else sushy.Sushy(address)
                    volumes = root.get_system("/redfish/v1/Systems/1").storage.get_members()[0].volumes
                    found = len(volumes.get_members()) == 5
                except (sushy.exceptions.AccessError, sushy.exceptions.MissingAttributeError):
                    found = False
                check(found == works, "sushy logs in by", name, "with", words, password, "and", found)
        if not has_users:
            volumes.get_member(VOLUMES + "/2").initialize()


# --- Twenty at once ---

class Client:
    """Makes, renames and deletes volumes of its own, and keeps what was acknowledged."""

    def __init__(self, address, number, disk):
        self.connection = http.client.HTTPConnection(*place_of(address), timeout=60)
        self.address, self.number, self.disk = address, number, disk
        self.mine, self.done, self.random = {}, 0, random.Random(number)

    def ask(self, method, uri, body=None):
        status, headers, answer = ask(self.address, method, uri, body, self.connection)
        self.done += status != 503
        return status, headers, answer

    def create(self):
        name = f"{self.number}-{self.done}"
        body = {"RAIDType": "RAID0", "Name": name, "CapacityBytes": 10 ** 9, "Links": {"Drives": [drive(self.disk)]}}
        status, headers, answer = self.ask("POST", VOLUMES, body)
        if check_status(status, 201, answer):
            check(answer["Name"] == name and answer["@odata.id"] == headers["Location"], name, "is told", answer)
            self.mine[headers["Location"]] = name

    def rename(self, uri):
        name = f"{self.number}-{self.done}"
        status, _, answer = self.ask("PATCH", uri, {"DisplayName": name})
        if check_status(status, 200, answer):
            check((answer["@odata.id"], answer["Name"]) == (uri, name), uri, name, "is told", answer)
            self.mine[uri] = name

    def read(self, uri):
        status, _, answer = self.ask("GET", uri)
        if check_status(status, 200, answer):
            check((answer["@odata.id"], answer["Name"]) == (uri, self.mine[uri]), uri, "is read as", answer)

    def delete(self, uri):
        status, _, answer = self.ask("DELETE", uri)
        if check_status(status, 204, answer):
            del self.mine[uri]

    def work(self, end):
        while time.monotonic() < end or self.done == 0:
            uri = self.random.choice(list(self.mine)) if self.mine else None
            if uri is None or (len(self.mine) < 2 and self.random.random() < 0.3):
                self.create()
            else:
                self.random.choice((self.rename, self.read, self.read, self.delete))(uri)


def check_status(status, wanted, answer):
    """Whether it was done. Where somebody else has the controller it is not, which is told."""
    check(status in (wanted, 503), "answers", status, answer)
    return status == wanted


def work_at_once():
    new_box()
    before = {volume["Name"] for volume in shown()["VD"]}
    free = [disk["ObjectID"] for shelf in shown()["Enclosure"] for disk in shelf["PD"]
            if disk["State"] == "Ready" and "Hotspare" not in disk]
    end = time.monotonic() + SECONDS
    with served() as (address, _):
        clients = [Client(address, number, free[number % (len(free) - 1)]) for number in range(CLIENTS)]
        threads = [threading.Thread(target=client.work, args=(end,)) for client in clients]
        for thread in threads:
            thread.start()
        while time.monotonic() < end:
            for verb in ("pull", "insert"):
                subprocess.run([XYL, "sim", verb, "box.json", str(free[-1])], capture_output=True, check=False)
        for thread in threads:
            thread.join()
    wanted = before | {name for client in clients for name in client.mine.values()}
    check({volume["Name"] for volume in shown()["VD"]} == wanted, "the file has not what was acknowledged")
    return sum(client.done for client in clients)


with tempfile.TemporaryDirectory() as place:
    os.chdir(place)
    new_box()
    with open("users", "w", encoding="utf-8") as file:
        file.write("admin:secret\n")
    os.chmod("users", 0o600)
    log_in(("box.json",), has_users=False)
    log_in(("--users", "users", "box.json"), has_users=True)
    count = work_at_once()
conclude(f"sushy logs in by all ways; {CLIENTS} clients were answered {count} times in {SECONDS} s, each its own")
