"""What the tests of the Redfish service share: the client's program, a running service, requests."""
import contextlib
import http.client
import json
import os
import subprocess
import sys

XYL, SOURCES = (os.path.abspath(argument) for argument in sys.argv[1:3])
SERVICE = os.path.join(SOURCES, "host", "redfish_service")
STORAGE = "/redfish/v1/Systems/1/Storage/0"
sys.dont_write_bytecode = True
faults = []


def check(holds, *words):
    if not holds:
        faults.append(" ".join(map(str, words)))


def xyl(*words, code=0):
    run = subprocess.run([XYL, *words], capture_output=True, text=True, check=False)
    check(run.returncode == code, words, run.returncode, run.stderr)
    return run.stdout


def new_box(preset="demo", name="box.json"):
    xyl("sim", "new", "--preset", preset, name, "--force")


def shown(box="box.json"):
    return json.loads(xyl("show", "--json", "--controller", box))["Adapter"]


def tree_of(*source):
    """The resources by their URIs."""
    return json.loads(xyl("redfish", "-", *(source or ("--controller", "box.json"))))["resources"]


@contextlib.contextmanager
def served(*words):
    """The address of a service that runs meanwhile, and its process."""
    command = [sys.executable, "-B", SERVICE, "--xyl", XYL, *(words or ("box.json",))]
    with open("service.log", "a", encoding="utf-8") as log, \
            subprocess.Popen(command, stdout=subprocess.PIPE, stderr=log, text=True,
                             start_new_session=True) as process:
        line = process.stdout.readline()
        try:
            yield line.split()[1].rpartition("/redfish")[0] if line else None, process
        finally:
            if process.poll() is None:
                process.terminate()
            check(process.wait(60) == 0, "the service ends with", process.returncode, words)


def place_of(address):
    host, port = address.split("//")[1].split(":")
    return host, int(port)


def ask(address, method, uri, body=None, connection=None, **headers):
    """Status, headers and body (JSON where it is that) of an answer."""
    mine = connection or http.client.HTTPConnection(*place_of(address), timeout=60)
    data = body if isinstance(body, (str, bytes, type(None))) else json.dumps(body)
    headers = {name.replace("_", "-"): value for name, value in headers.items()}
    mine.request(method, uri, data, {**({"Content-Type": "application/json"} if data else {}), **headers})
    answer = mine.getresponse()
    text = answer.read().decode()
    if not connection:
        mine.close()
    return answer.status, answer.headers, json.loads(text) if text.startswith(("{", "[")) else text


def message_of(body):
    """The key of the first message of an error."""
    told = body.get("error", body) if isinstance(body, dict) else {}
    return told.get("@Message.ExtendedInfo", [{}])[0].get("MessageId", "").rpartition(".")[2]


def drive(number):
    """The link to a disk of "demo", whose second enclosure begins with 1013."""
    return {"@odata.id": f"/redfish/v1/Chassis/{302 if number > 1012 else 301}/Drives/{number}"}


def conclude(words):
    print("\n".join(faults) or words)
    sys.exit(1 if faults else 0)
