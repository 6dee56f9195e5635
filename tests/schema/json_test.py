#!/usr/bin/python3
"""json_test.py XYL SCHEMAS: what every command prints with --json is valid, and the schemas refuse what is not."""
import copy
import json
import os
import re
import subprocess
import sys
import tempfile

import jsonschema

XYL, SCHEMAS = (os.path.abspath(argument) for argument in sys.argv[1:])
faults, seen = [], {}


def xyl(line, codes=(0,)):
    run = subprocess.run([XYL, *line.split()], capture_output=True, text=True)
    if run.returncode not in codes:
        faults.append(f"{line}: exit code {run.returncode}: {run.stderr}")
    return run.stdout


def closed(schema):
    """The schema without room for members that it does not name; a reader has to take new ones."""
    if isinstance(schema, dict):
        schema = {key: closed(value) for key, value in schema.items()}
        if "properties" in schema and schema.get("type") == "object":
            schema["additionalProperties"] = False
    return [closed(item) for item in schema] if isinstance(schema, list) else schema


def validator(name):
    with open(os.path.join(SCHEMAS, name + ".schema.json"), encoding="ascii") as file:
        schema = json.load(file)
    jsonschema.Draft202012Validator.check_schema(schema)
    return jsonschema.Draft202012Validator(closed(schema))


def members(document, path=""):
    """The paths of all members, without the numbers of array items, bare and with their values."""
    if isinstance(document, list):
        for item in document:
            yield from members(item, path)
    elif isinstance(document, dict):
        for name, value in document.items():
            yield path + "/" + name
            yield f"{path}/{name}={json.dumps(value, separators=(',', ':'))}"
            yield from members(value, path + "/" + name)


def damaged(document):
    """Copies with a member left out, and with a value of another type."""
    for name in document:
        other = copy.deepcopy(document)
        del other[name]
        yield f"without {name}", other
        other = copy.deepcopy(document)
        other[name] = 1.5
        yield f"with {name} 1.5", other
    yield "with a new member", {**document, "new member": 0}


LINES = (  # schema, command line, exit codes, members that have to be there, some with the value of one
    ("list", "list --preset demo", 0, '/controllers/disks={"Online":12,"Ready":8}'),
    ("identify", "identify --preset demo", 0, "/words=[1,4,220,3989569538,0]"),
    ("show", "show --preset demo", 0,
     "/Adapter/Enclosure/PD/FQDD /Adapter/Enclosure/PD/VD=[2,3] /Adapter/Enclosure/PD/Size=2000398934016 "
     '/Adapter/VD/CurrentCachePolicy/WritePolicy=["Write Back"] /Adapter/Rate/Value=30 '
     '/Adapter/CorrectUnconfiguredAreas=true /Adapter/Keyid="demo-key-1"'),
    ("show", "show --preset empty", 0, ""),
    ("show", "show --preset sas", 0, ""),
    ("show", "show --preset large", 0, ""),
    ("show", "show saved.xml", 0, "/PCILocation /Adapter/Keyid /Adapter/RAIDLevelParams/MaxDisks"),
    ("sim-show", "sim show box.json", 0,
     '/pulledDisks/place="302:0" /foreignVirtualDisks/disks /pendingFaults /enclosures/emptySlots=["301:2","301:11"]'),
    ("sim-presets", "sim presets", 0, ""),
    ("verify", "verify saved.xml --preset demo", 0, "/differences=[]"),
    ("verify", "verify saved.xml --controller box.json", 1,
     '/result=256 /differences/what="rate changed" /differences/name="Rebuild" /differences/saved="30" '
     '/differences/current="31"'),
    ("diff", "diff saved.xml --controller box.json", 1,
     '/differences/kind="changed" /differences/object="adapter" /differences/name="adapter" /differences/oldId=0 '
     '/differences/newId=0 /differences/element="FirmwareVersion" /differences/what="firmware version" '
     '/differences/old="21.3.4-0001" /differences/new="22.0"'),
    ("plan", "plan saved.xml --controller box.json", 1,
     '/settings/rate /disks/current /steps/step="Validate" /destroyed=[]'),
    ("plan", "plan saved.xml --rebuild --controller box.json", 1,
     '/virtualDisks/reason="no partner for saved disks 1012" /virtualDisks/disks=[1001,1002] /commands/ids '
     "/destroyed/disks=[1003,1004,1005,1006] /securityKeyRemoved=true /complete=false "
     '/hotSpares=[1007,1008] /disks/reason="the same disk in the same place" /verdict/notDone/kind="removed"'),
    ("plan", "plan saved.xml --rebuild --preset empty", 1, "/hotSparesNotMade/saved=1007"),
    ("plan", "plan saved.xml --controller replaced.json", 1, "/missing/foreignMembers /notBroughtBack"),
    ("plan", "plan delete.xml --controller box.json", 1, "/changes/wrong /changes/destroys=true"),
    ("steps", "apply delete.xml --yes --controller box.json", 4,
     '/steps/step="DELETE" /steps/result="Fail" /steps/object="virtual disk 77" /status="Not Found" /failure="failed"'),
    ("steps", "replace saved.xml --controller box.json", 0, ""),
    ("steps", "restore saved.xml --rebuild --partial --discard-foreign --no-backup --yes --controller box.json", 4,
     '/verdict/notDone/kind="removed" /verdict/notRestorable/name /failedSteps=5 /failure="half done"'),
    ("steps", "import --controller replaced.json", 0, "/steps/result"),
    ("steps", "create --level 5 --count 3 --controller replaced.json", 0, "/steps/object"),
    ("identify", "identify 1001 --preset demo", 0, "/steps/step"),
    ("failure", "restore saved.xml --rebuild --partial --discard-foreign --controller box.json", 2, '/failure="declined"'),
    ("failure", "apply rate.xml --log-file saved.xml --controller box.json", 4, '/failure="exists"'),
    ("failure", "show delete.xml", 4, '/failure="bad document"'),
    ("failure", "get --preset demo", 2, '/failure="usage" /exitCode=2'),
    ("help", "help", 0, "/options/short /options/value /commands/options"),
    ("help", "help restore", 0, "/commands/name"),
)


# Members that some documents of the schema do not have.
OPTIONAL = {("show", "without PCILocation"), ("steps", "without verdict"), ("diff", "without controller"),
            ("steps", "without failure")}


def main():
    xyl("sim new --preset demo box.json")
    xyl("sim new --preset demo replaced.json")
    xyl("sim replace-adapter replaced.json")
    xyl("get --controller box.json -o saved.xml")
    for step in ("pull box.json 1003", "pull box.json 302:0", "foreign box.json 1 1009 1010", "firmware box.json 22.0"):
        xyl("sim " + step)
    for name, methods in (
        ("delete", "<Method name='Delete'><ObjectType>Virtual Disk</ObjectType><OID>77</OID></Method>"),
        ("rate", "<Method name='Change'><ObjectType>Adapter</ObjectType><Object><Adapter><ObjectID>0</ObjectID>"
                 "<Rate><Name>Rebuild</Name><Editable>true</Editable><Value>31</Value></Rate></Adapter></Object></Method>"),
    ):
        with open(name + ".xml", "w", encoding="ascii") as file:
            file.write(f"<raidData>{methods}</raidData>")
    xyl("apply rate.xml --controller box.json")
    xyl("sim fail-next box.json create")
    for name, line, code, wanted in LINES:
        printed = xyl(line + " --json", (code,))
        check = validator(name)
        document = json.loads(printed or "{}")
        errors = sorted(check.iter_errors(document), key=lambda error: -len(error.path))
        faults.extend(f"{line}: {error.json_path}: {error.message[:200]}" for error in errors[:3])
        absent = set(re.split(" (?=/)", wanted)) - {"", *members(document)}
        if absent:
            faults.append(f"{line}: the document has no {absent}, so the test is none")
        faults.extend(f"{line}: the schema takes it {how}" for how, other in damaged(document)
                      if check.is_valid(other) and (name, how) not in OPTIONAL)
        seen[name] = True
    for file in os.listdir(SCHEMAS):
        name = file.removesuffix(".schema.json")
        if name != file and name not in seen and name != "log":
            faults.append(f"no document is compared with {file}")


with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    main()
print("\n".join(faults) or "all documents are valid")
sys.exit(1 if faults else 0)
