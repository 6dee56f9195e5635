#!/usr/bin/python3
"""ansible_test.py XYL SOURCES: Ansible's redfish_info reads a controller from which a disk was pulled, over HTTPS."""
import json
import os
import subprocess
import tempfile

from support import check, conclude, new_box, served, xyl

COMMANDS = "GetStorageControllerInventory,GetDiskInventory,GetVolumeInventory"


def run(module, **options):
    words = " ".join(f"{name}={value}" for name, value in options.items())
    setting = {"ANSIBLE_LOAD_CALLBACK_PLUGINS": "1", "ANSIBLE_STDOUT_CALLBACK": "json"}
    done = subprocess.run(["ansible", "localhost", "-m", "community.general." + module, "-a", words], check=False,
                          capture_output=True, text=True, env={**os.environ, **setting})
    return json.loads(done.stdout)["plays"][0]["tasks"][0]["hosts"]["localhost"]


def ask(address):
    """What it reads in a session that it makes, and ends."""
    where = {"baseuri": address.split("//")[1]}
    user = {"username": "somebody", "password": "something"}
    made = run("redfish_command", category="Sessions", command="CreateSession", **where, **user)["session"]
    facts = run("redfish_info", category="Systems", command=COMMANDS, auth_token=made["token"], **where)
    run("redfish_command", category="Sessions", command="DeleteSession", auth_token=made["token"],
        session_uri=made["uri"], **where)
    after = run("redfish_info", category="Systems", command=COMMANDS, auth_token=made["token"], **where)
    check("redfish_facts" not in after, "Ansible reads in a session that has ended")
    check(run("redfish_info", category="Systems", command=COMMANDS, **where, **user)["redfish_facts"] ==
          facts["redfish_facts"], "Ansible reads another thing without a session")
    return facts["redfish_facts"]


def main():
    subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "1", "-subj", "/CN=localhost",
                    "-keyout", "tls.pem", "-out", "certificate.pem"], check=True, capture_output=True)
    with open("tls.pem", "ab") as both, open("certificate.pem", "rb") as certificate:
        both.write(certificate.read())
    new_box()
    xyl("sim", "pull", "box.json", "301:2")
    with served("--tls", "tls.pem", "box.json") as (address, _):
        facts = ask(address)
    disks = facts["disk"]["entries"][0][1][0]["Drives"]
    volumes = facts["volume"]["entries"][0][1][0]["Volumes"]
    assert facts["storage_controller"]["entries"][0][1][0]["FirmwareVersion"] == "21.3.4-0001", facts
    assert len(disks) == 19 and {disk["Status"]["Health"] for disk in disks} == {"OK"}, disks
    told = [(volume["Name"], volume["RAIDType"], volume["Status"]["Health"]) for volume in volumes]
    assert told == [("System", "RAID1", "OK"), ("Data", "RAID5", "Warning"), ("Scratch", "RAID5", "Warning"),
                    ("Archive", "RAID10", "OK"), ("Fast", "RAID1", "OK")], told


with tempfile.TemporaryDirectory() as place:
    os.chdir(place)
    main()
conclude("Ansible reads the controller, its disks and volumes, and sees what lost a member")
