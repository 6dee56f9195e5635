#!/usr/bin/python3
"""redfish_test.py XYL SOURCES: real clients read what 'xyl redfish' writes and change controllers through it.

Resources are also compared with the standard's own schemas, where the folder SOURCES/../shared/redfish has them.
"""
import json
import os
import pathlib
import subprocess
import tempfile

import jsonschema
import sushy
import sushy.auth

from support import (SOURCES, STORAGE, ask, check, conclude, drive, message_of, new_box, served, shown, tree_of, xyl)

SCHEMAS = os.path.join(SOURCES, "..", "shared", "redfish")


# --- Schemas and links ---

class Resolver(jsonschema.RefResolver):
    """Finds schemas by their file's name. Nothing is valid by one that is not there, but for the one enumeration of a
    schema that is not in the folder."""

    def resolve(self, ref):
        name = ref.split("#")[0].split("/")[-1] if "#" in ref else ""
        if name == "DataStorageLoSCapabilities.json":
            return ref, {"enum": ["Read", "Write", "WriteOnce", "Append", "Streaming"]}
        if name and not os.path.exists(os.path.join(SCHEMAS, name)):
            return ref, False
        return super().resolve(ref)

    def resolve_remote(self, uri):
        with open(os.path.join(SCHEMAS, uri.split("/")[-1]), encoding="utf-8") as file:
            self.store[uri] = json.load(file)
        return self.store[uri]


def schema_errors(resource):
    kind = resource["@odata.type"][1:].split(".")
    reference = f"http://redfish.dmtf.org/schemas/v1/{'.'.join(kind[:-1])}.json#/definitions/{kind[-1]}"
    validator = jsonschema.Draft7Validator({"$ref": reference}, resolver=Resolver("", {}))
    return [f"{error.json_path}: {error.message[:300]}" for error in validator.iter_errors(resource)]


def links(value):
    if isinstance(value, dict):
        yield from ([value["@odata.id"]] if "@odata.id" in value else [])
        value = [item for name, item in value.items() if name != "Oem"]
    for item in value if isinstance(value, list) else ():
        yield from links(item)


def check_tree(name, tree):
    for uri, resource in tree.items():
        for link in links(resource):
            path, _, inside = link.partition("#")
            target = tree.get(path.rstrip("/"), {})
            for step in inside.split("/")[1:]:
                target = target[int(step)] if isinstance(target, list) else target.get(step)
            check(target, name, uri, "leads nowhere:", link)
        if os.path.isdir(SCHEMAS) and uri != "/redfish":
            check(not schema_errors(resource), name, uri, *schema_errors(resource))


# --- Every preset and damage, read by sushy ---

CONTROLLERS = (  # preset, what happens, health of all, states of volumes
    ("demo", "", "OK", "Enabled"),
    ("direct", "", "OK", "Enabled"),
    ("sas", "", "OK", "Enabled"),
    ("empty", "", "OK", ""),
    ("large", "", "OK", "Enabled"),
    ("demo", "pull 1003", "Warning", "Enabled"),
    ("demo", "fail 1003", "Critical", "Enabled"),
    ("demo", "pull 1003,pull 1004", "Critical", "Enabled UnavailableOffline"),
    ("demo", "pull 1001,pull 1002", "Critical", "Enabled UnavailableOffline"),
    ("demo", "replace-adapter", "Warning", ""),
)


def members(volume):
    return [link["@odata.id"] for link in volume.json["Links"]["Drives"]]


def read_controller(preset, damage, health, states):
    name = f"{preset} {damage}:"
    new_box(preset)
    for step in filter(None, damage.split(",")):
        verb, *words = step.split()
        xyl("sim", verb, "box.json", *words)
    check_tree(name, tree_of())
    with served() as (address, _):
        read_service(name, address, health, states)


def read_service(name, address, health, states):
    wanted = shown("box.json")
    root = sushy.Sushy(address, auth=sushy.auth.BasicAuth("a", "b"))
    system = root.get_system("/redfish/v1/Systems/1")
    storage = system.storage.get_members()[0]
    disks = [disk for holder in (*wanted["Enclosure"], wanted) for disk in holder["PD"]]
    check(system.status.health_rollup.value == storage.status.health_rollup.value == health, name, "health",
          system.status.health_rollup)
    check([disk["Size"] for disk in disks] == [found.capacity_bytes for found in storage.drives], name, "disks")
    volumes = storage.volumes.get_members()
    for disk, found in zip(disks, storage.drives):
        check((found.json["Status"]["State"] == "StandbySpare") == ("Hotspare" in disk), name, "spare", disk)
        there = [link["@odata.id"] for link in found.json["Links"]["Volumes"]]
        check(there == [volume.path for volume in volumes if found.path in members(volume)], name, "volumes of", disk)
    check([volume["Size"] for volume in wanted["VD"]] == [volume.capacity_bytes for volume in volumes], name, "volumes")
    found = {volume.json["Status"]["State"] for volume in volumes}
    check(found == set(states.split()), name, "states", found)
    slots = [len(chassis.json["Links"]["Drives"]) for chassis in root.get_chassis_collection().get_members()]
    check(sum(slots) == len(disks), name, "drives by chassis", slots)
    check(len(storage.storage_controllers) == len(storage.controllers.get_members()) == 1, name, "controllers")


# --- Changes ---

VOLUME = {"Name": "Builds", "RAIDType": "RAID10", "CapacityBytes": 1000000000000, "StripSizeBytes": 131072,
          "WriteCachePolicy": "WriteThrough", "ReadCachePolicy": "Off", "Encrypted": False,
          "AccessCapabilities": ["Read"], "MediaSpanCount": 2,
          "Links": {"Drives": [drive(number) for number in (1003, 1004, 1005, 1006)],
                    "DedicatedSpareDrives": [drive(1007)]}}
CHANGE = {"DisplayName": "Data", "WriteCachePolicy": "UnprotectedWriteBack", "ReadCachePolicy": "ReadAhead",
          "AccessCapabilities": ["Read", "Write"], "Links": {"DedicatedSpareDrives": [drive(1008)]}}


def covers(resource, wanted):
    return all(covers(resource[name], value) if isinstance(value, dict) else resource[name] == value
               for name, value in wanted.items())


def spares():
    """What disks 1007 and 1008 stand by for."""
    disks = shown("box.json")["Enclosure"][0]["PD"][6:8]
    return [disk["VD"] or disk["Hotspare"] if "Hotspare" in disk else None for disk in disks]


def change_volumes():
    """Every writable property of a volume survives: request, change document, controller, document, resource."""
    new_box()
    with served() as (address, _):
        change_served(address)


def change_served(address):
    storage = sushy.Sushy(address, auth=sushy.auth.BasicAuth("a", "b")).get_system("/redfish/v1/Systems/1").storage
    volumes = storage.get_members()[0].volumes
    for number in (2, 3):
        volumes.get_member(f"{STORAGE}/Volumes/{number}").delete()
    check([volume["ObjectID"] for volume in shown("box.json")["VD"]] == [1, 4, 5], "volumes are not deleted")
    made = volumes.create({**VOLUME, "@Redfish.OperationApplyTime": "Immediate"})
    check(made and covers(made.json, VOLUME), "not as asked for:", made and made.json)
    volume = shown("box.json")["VD"][-1]
    check(covers(volume, {"Name": "Builds", "RAIDLevel": "RAID 10", "PDsPerSpan": 2, "StripeSize": "128 Kb"}), volume)
    request(address, "PATCH", made.path, CHANGE, 200)
    made.refresh(force=True)
    wanted = {**VOLUME, "Name": "Data", **CHANGE, "Links": {**VOLUME["Links"], **CHANGE["Links"]}}
    check(covers(made.json, wanted), made.json)
    check(spares() == [None, [made.json["Oem"]["RaidXyl"]["ObjectID"]]], "spares", spares())
    request(address, "PATCH", made.path, {"ReadCachePolicy": "Off"}, 200)
    check(shown("box.json")["VD"][-1]["CurrentCachePolicy"] ==
          {"CachePolicy": ["Direct I/O"], "WritePolicy": ["Force Write Back"], "ReadPolicy": ["No Read Ahead"],
           "DiskPolicy": ["Default"]}, "cache groups", shown("box.json")["VD"][-1])
    request(address, "PATCH", f"{STORAGE}/Volumes/5", {"Links": CHANGE["Links"]}, 200)
    request(address, "PATCH", made.path, {"Links": {"DedicatedSpareDrives": []}}, 200)
    check(spares() == [None, [5]], "a spare of others", spares())
    request(address, "POST", made.path + "/Actions/Volume.CheckConsistency", None, 204)
    request(address, "PATCH", drive(1007)["@odata.id"], {"HotspareType": "Global"}, 200)
    request(address, "PATCH", drive(1008)["@odata.id"], {"HotspareType": "None"}, 200)
    request(address, "PATCH", f"{STORAGE}/Controllers/0", {"ControllerRates": {"RebuildRatePercent": 77}}, 200)
    adapter = shown("box.json")
    check(spares() == ["Global", None], "spares", spares())
    check([rate["Value"] for rate in adapter["Rate"]][:2] == [77, 30], "rates", adapter["Rate"])
    encrypted = {"RAIDType": "RAID1", "Encrypted": True, "Links": {"Drives": [drive(1009), drive(1010)]}}
    answer, _ = request(address, "POST", f"{STORAGE}/Volumes", encrypted, 201)
    check(covers(answer, encrypted), answer)


def request(address, method, uri, body, wanted, **headers):
    status, told, answer = ask(address, method, uri, body, **headers)
    check(status == wanted, method, uri, body, "answers", status, answer)
    return answer or None, told


VOLUMES, ONE = STORAGE + "/Volumes", STORAGE + "/Volumes/2"
FIRST, FREE = drive(1003)["@odata.id"], drive(1018)["@odata.id"]
INITIALIZE = ONE + "/Actions/Volume.Initialize"
PAIR = {"RAIDType": "RAID1", "Links": {"Drives": [drive(1018), drive(1019)]}}
REFUSED = (  # method, URI, body, status, message, property
    ("PATCH", ONE, "{", 400, "MalformedJSON", ""),
    ("PATCH", ONE, "[]", 400, "UnrecognizedRequestBody", ""),
    ("PATCH", ONE, '{"DisplayName":' + "[" * 100000 + "]" * 100000 + "}", 400, "UnrecognizedRequestBody", ""),
    ("PATCH", ONE, {}, 400, "EmptyJSON", ""),
    ("PATCH", ONE, {"@odata.etag": "x"}, 400, "NoOperation", ""),
    ("PATCH", ONE, {"Colour": "red", "Shape": 7}, 400, "PropertyUnknown", "Colour"),  # both, the first one first
    ("PATCH", ONE, {"Links": {"Oem": {}}}, 400, "PropertyUnknown", "Links/Oem"),
    ("PATCH", ONE, {"RAIDType": "RAID6"}, 400, "PropertyNotWritable", "RAIDType"),
    ("PATCH", ONE, {"Status": {}}, 400, "PropertyNotWritable", "Status"),
    ("PATCH", ONE, {"DisplayName": 7}, 400, "PropertyValueTypeError", "DisplayName"),
    ("PATCH", ONE, {"DisplayName": "Bücher"}, 400, "PropertyValueFormatError", "DisplayName"),
    ("PATCH", ONE, {"DisplayName": "x" * 99 + "ü"}, 400, "PropertyValueFormatError", "DisplayName"),
    ("PATCH", ONE, {"ReadCachePolicy": "Always"}, 400, "PropertyValueNotInList", "ReadCachePolicy"),
    ("PATCH", ONE, {"Links": {"DedicatedSpareDrives": [drive(1001)]}}, 400, "PropertyValueResourceConflict",
     "Links/DedicatedSpareDrives"),
    ("PATCH", ONE, {"Links": {"DedicatedSpareDrives": [drive(77)]}}, 400, "PropertyValueNotInList",
     "Links/DedicatedSpareDrives"),
    ("DELETE", STORAGE + "/Volumes/9", None, 404, "ResourceMissingAtURI", ""),
    ("DELETE", drive(1001)["@odata.id"], None, 405, "OperationNotAllowed", ""),
    ("PATCH", ONE + "/Actions/Volume.CheckConsistency", {}, 405, "OperationNotAllowed", ""),
    ("DELETE", ONE, {"@Redfish.OperationApplyTime": "OnReset"}, 400, "PropertyValueNotInList",
     "@Redfish.OperationApplyTime"),
    ("POST", VOLUMES, {"RAIDType": "RAID1"}, 400, "CreateFailedMissingReqProperties", "Links/Drives"),
    ("POST", VOLUMES, {**PAIR, "CapacityBytes": -1}, 400, "PropertyValueOutOfRange", "CapacityBytes"),
    ("POST", VOLUMES, {**PAIR, "StripSizeBytes": 512}, 400, "PropertyValueNotInList", "StripSizeBytes"),
    ("POST", VOLUMES, {**PAIR, "RAIDType": "RAID4"}, 400, "PropertyValueNotInList", "RAIDType"),
    ("POST", VOLUMES, {**PAIR, "MediaSpanCount": 3}, 400, "PropertyValueConflict", "MediaSpanCount"),
    ("POST", VOLUMES, {**PAIR, "Name": "a", "DisplayName": "b"}, 400, "PropertyValueConflict", "DisplayName"),
    ("POST", VOLUMES, {**PAIR, "Links": {"Drives": [drive(1001), drive(1018)]}}, 400, "PropertyValueResourceConflict",
     "Links/Drives"),
    ("POST", VOLUMES, {**PAIR, "Links": {**PAIR["Links"], "DedicatedSpareDrives": [drive(1019)]}}, 400,
     "PropertyValueConflict", "Links/DedicatedSpareDrives"),
    ("POST", VOLUMES, {**PAIR, "Links": {"Drives": [drive(1018), drive(1018)]}}, 400, "PropertyValueNotInList",
     "Links/Drives"),
    ("POST", VOLUMES, {**PAIR, "RAIDType": "RAID60"}, 400, "GeneralError", ""),  # of the controller itself
    ("PATCH", FIRST, {"HotspareType": "Global"}, 400, "PropertyValueResourceConflict", "HotspareType"),
    ("PATCH", FREE, {"HotspareType": "Dedicated"}, 400, "PropertyValueConflict", "HotspareType"),
    ("POST", VOLUMES, {**PAIR, "Links": {"Drives": [drive(1018), {"@odata.id": FREE.replace("1018", "0001019")}]}}, 400,
     "PropertyValueNotInList", "Links/Drives"),
    ("POST", VOLUMES, {**PAIR, "Links": {"Drives": [drive(1018), {"@odata.id": f"{STORAGE}/Drives/1019"}]}}, 400,
     "PropertyValueNotInList", "Links/Drives"),
    ("POST", VOLUMES, {**PAIR, "Links": {**PAIR["Links"], "@Redfish.OperationApplyTime": "OnReset"}}, 400,
     "PropertyValueNotInList", "Links/@Redfish.OperationApplyTime"),
    ("POST", INITIALIZE, {"InitializeType": "Skip"}, 400, "ActionParameterValueNotInList", "InitializeType"),
    ("POST", INITIALIZE, {"InitializeType": 1}, 400, "ActionParameterValueTypeError", "InitializeType"),
    ("POST", INITIALIZE, {"Colour": "red"}, 400, "ActionParameterUnknown", "Colour"),
    ("POST", VOLUMES + "/Capabilities/Actions/Volume.Initialize", {}, 404, "ResourceMissingAtURI", ""),
    ("DELETE", VOLUMES + "/Capabilities", None, 405, "OperationNotAllowed", ""),
    ("PATCH", "/redfish/v1/Systems/1", {"Boot": {"BootSourceOverrideTarget": "Pxe"}}, 400, "PropertyValueNotInList",
     "Boot/BootSourceOverrideTarget"),
    ("PATCH", "/redfish/v1/Systems/1", {"PowerState": "Off"}, 400, "PropertyNotWritable", "PowerState"),
    ("PATCH", STORAGE + "/Controllers/0", {"ControllerRates": {"RebuildRatePercent": 101}}, 400,
     "PropertyValueOutOfRange", "ControllerRates/RebuildRatePercent"),
)


def check_own(address):
    """What the service tells of itself is valid, too."""
    session = request(address, "POST", "/redfish/v1/SessionService/Sessions", {"UserName": "a", "Password": "b"}, 201)
    for uri in ("", "SessionService", "SessionService/Sessions", session[1]["Location"].removeprefix("/redfish/v1/"),
                "Registries", "Registries/Base", "Registries/Base/Base.1.22.1"):
        resource, _ = request(address, "GET", "/redfish/v1/" + uri, None, 200)
        if os.path.isdir(SCHEMAS):
            check(not schema_errors(resource), uri, *schema_errors(resource))
        for link in links(resource):
            request(address, "GET", link, None, 200)


def refuse_requests():
    """What cannot be done is told, with the property, and changes nothing."""
    new_box()
    with served() as (address, _):
        check_own(address)
        refuse_served(address)


def refuse_served(address):
    before = shown("box.json")
    for method, uri, body, status, message, name in REFUSED:
        answer, _ = request(address, method, uri, body, status)
        told = (answer or {}).get("error", {}).get("@Message.ExtendedInfo", [{}])[0]
        check(message_of(answer) == message, method, uri, body, told)
        check(told.get("RelatedProperties", ["#/"]) == ["#/" + name], method, uri, body, told)
        if "@odata.type" in told and os.path.isdir(SCHEMAS):
            check(not schema_errors(told), told, *schema_errors(told))
    etag = request(address, "GET", ONE, None, 200)[1]["ETag"]
    request(address, "GET", ONE, None, 304, If_None_Match=etag)
    request(address, "PATCH", ONE, {"DisplayName": "b"}, 412, If_Match='"other"')
    request(address, "PATCH", ONE, {"DisplayName": "b"}, 415, Content_Type="text/plain")
    request(address, "GET", ONE, None, 400, Host="evil.example")
    check(shown("box.json") == before, "a refused request changes the controller")
    answer, headers = request(address, "PATCH", ONE, {"DisplayName": "b"}, 200, If_Match=etag)
    check(answer["Name"] == "b" and headers["ETag"] != etag, "ETag", answer)


def change_partly():
    """What is there already, and what can be written beside what cannot, is done."""
    new_box()
    same = {"BootSourceOverrideEnabled": "Disabled", "BootSourceOverrideMode": "UEFI",
            "BootSourceOverrideTarget": "None"}
    rows = (("PATCH", FREE, {"HotspareType": "None"}, 200, {}), ("PATCH", ONE, {"DisplayName": "Data"}, 200, {}),
            ("PATCH", "/redfish/v1/Systems/1", {"Boot": same}, 200, {}),
            ("PATCH", ONE, {"DisplayName": "part", "Colour": "red"}, 200, {"Colour": "PropertyUnknown"}),
            ("PATCH", ONE, {"DisplayName": "more", "Name/x": 1, "a~": 1}, 200,
             {"Name/x": "PropertyUnknown", "a~": "PropertyUnknown"}),
            ("PATCH", FREE, {"HotspareType": "None", "Model": "x"}, 200, {"Model": "PropertyNotWritable"}),
            ("POST", INITIALIZE, {"InitializeType": "Fast"}, 204, {}), ("POST", INITIALIZE, {}, 204, {}))
    with served() as (address, _):
        for method, uri, body, status, notes in rows:
            answer, _ = request(address, method, uri, body, status)
            told = {name.partition("@Message")[0]: value[0]["MessageId"].rpartition(".")[2]
                    for name, value in (answer or {}).items() if "@Message.ExtendedInfo" in name}
            check(told == notes, uri, body, "tells", told)
        check(request(address, "GET", ONE, None, 200)[0]["Name"] == "more", "what can be written is not")
        small = {"RAIDType": "RAID1", "CapacityBytes": 10 ** 9, "Links": {"Drives": [drive(1018), drive(1019)]}}
        for _ in range(2):  # the second one on disks that are Online, with room
            request(address, "POST", VOLUMES, small, 201)
        whole = {key: value for key, value in small.items() if key != "CapacityBytes"}
        request(address, "POST", VOLUMES, whole, 201)
        answer, _ = request(address, "POST", VOLUMES, small, 400)
        check(message_of(answer) == "PropertyValueResourceConflict", "disks without room", answer)


# --- Files ---

def write_files():
    """From a document as from its controller; nothing is replaced that is something else."""
    xyl("get", "--controller", "box.json", "-o", "saved.xml")
    xyl("redfish", "saved.xml", "one")
    xyl("redfish", "two/deep", "--controller", "box.json")
    check(not subprocess.run(["diff", "-r", "one", "two/deep"], check=False).returncode, "trees differ")
    server = json.loads(pathlib.Path("one/redfish/v1/Chassis/Server/index.json").read_text())
    check(not server["Links"]["Drives"], "drives in enclosures are the server's, too")
    xyl("redfish", "saved.xml", "one", code=4)
    xyl("redfish", "saved.xml", "one", "--force")
    os.makedirs("other/redfish/v1")
    xyl("redfish", "saved.xml", "other", "--force", code=4)
    check(os.listdir("other/redfish") == ["v1"] and os.listdir("one") == ["redfish"], "files are left or lost")
    words = ("redfish", "--request", "/dev/null", "DELETE", ONE, "saved.xml")
    check("<OID>2</OID>" in xyl(*words), "no change document")
    xyl(*words, "-o", "saved.xml", "--force", code=2)
    xyl("redfish", "saved.xml", "three", "-o", "x", code=2)
    xyl("redfish", "--request", "/dev/null", "DELETE", "--preset", "demo", code=2)
    saved = pathlib.Path("saved.xml").read_text()
    pathlib.Path("fixed.xml").write_text(saved.replace("<Editable>true", "<Editable>false"))
    pathlib.Path("rate.json").write_text('{"ControllerRates": {"RebuildRatePercent": 40}}')
    words = ("redfish", "--request", "rate.json", "PATCH", STORAGE + "/Controllers/0")
    check("<Value>40</Value>" in xyl(*words, "saved.xml"), "no rate")
    check("PropertyNotWritable" in xyl(*words, "fixed.xml", code=4), "a rate that cannot be set")


with tempfile.TemporaryDirectory() as place:
    os.chdir(place)
    for row in CONTROLLERS:
        read_controller(*row)
    change_volumes()
    refuse_requests()
    change_partly()
    write_files()
if not os.path.isdir(SCHEMAS):
    print(f"skipped: {SCHEMAS} is not there, so no resource was compared with the standard's schemas")
conclude("all that was asked for was told and done")
