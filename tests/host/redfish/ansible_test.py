#!/usr/bin/python3
"""ansible_test.py XYL: Ansible's redfish_info reads a controller from which a disk was pulled, over HTTPS."""
import json
import os
import subprocess
import sys
import tempfile

XYL = os.path.abspath(sys.argv[1])
sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "..", "docs", "examples"))
import redfish_service  # pylint: disable=wrong-import-position

COMMANDS = "GetStorageControllerInventory,GetDiskInventory,GetVolumeInventory"


def ask(address):
    options = f"category=Systems command={COMMANDS} baseuri={address.split('//')[1]} username=somebody password=something"
    setting = {"ANSIBLE_LOAD_CALLBACK_PLUGINS": "1", "ANSIBLE_STDOUT_CALLBACK": "json"}
    run = subprocess.run(["ansible", "localhost", "-m", "community.general.redfish_info", "-a", options], check=True,
                         capture_output=True, text=True, env={**os.environ, **setting})
    return json.loads(run.stdout)["plays"][0]["tasks"][0]["hosts"]["localhost"]["redfish_facts"]


def main():
    subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "1", "-subj", "/CN=localhost",
                    "-keyout", "tls.pem", "-out", "certificate.pem"], check=True, capture_output=True)
    with open("tls.pem", "ab") as both, open("certificate.pem", "rb") as certificate:
        both.write(certificate.read())
    for words in (["new", "--preset", "demo", "box.json"], ["pull", "box.json", "301:2"]):
        subprocess.run([XYL, "sim", *words], check=True, capture_output=True)
    box = redfish_service.Box(XYL, ["box.json"], ["--controller", "box.json"])
    facts = ask(redfish_service.start(box, tls="tls.pem")[0])
    disks = facts["disk"]["entries"][0][1][0]["Drives"]
    volumes = facts["volume"]["entries"][0][1][0]["Volumes"]
    assert facts["storage_controller"]["entries"][0][1][0]["FirmwareVersion"] == "21.3.4-0001", facts
    assert len(disks) == 19 and {disk["Status"]["Health"] for disk in disks} == {"OK"}, disks
    told = [(volume["Name"], volume["RAIDType"], volume["Status"]["Health"]) for volume in volumes]
    assert told == [("System", "RAID1", "OK"), ("Data", "RAID5", "Warning"), ("Scratch", "RAID5", "Warning"),
                    ("Archive", "RAID10", "OK"), ("Fast", "RAID1", "OK")], told
    print("Ansible reads the controller, its disks and volumes, and sees what lost a member")


with tempfile.TemporaryDirectory() as place:
    os.chdir(place)
    main()
