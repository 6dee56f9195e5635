#!/usr/bin/python3
"""json_test.py XYL SCHEMAS: what every command prints with --json is valid, and the schemas refuse what is not.

Documents whose row has a file's name are as that file of json/ has them. With GOLDEN in the environment the files get
what is printed instead, and whoever set it reads what 'git diff' then shows.
"""
import copy
import difflib
import json
import os
import pathlib
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


def compare(line, printed, name):
    if "GOLDEN" in os.environ:
        (GOLDEN / name).write_text(printed, encoding="ascii")
    wanted = (GOLDEN / name).read_text(encoding="ascii")
    if printed != wanted:
        lines = difflib.unified_diff(wanted.splitlines(), printed.splitlines(), name, "printed", n=1, lineterm="")
        faults.extend([f"{line}:", *lines])


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


TESTS = pathlib.Path(__file__).resolve().parents[1]
GOLDEN = TESTS / "schema/json"
LINES = (  # schema, command line, exit code, the document's file
    ("list", "list --preset demo", 0, "list"),
    ("identify", "identify --preset demo", 0, "identify"),
    ("show", f"show {TESTS / 'driver/inventory/document.xml'}", 0, "show"),
    ("show", "show --preset demo", 0, None),
    ("show", "show --preset empty", 0, None),
    ("show", "show --preset sas", 0, None),
    ("show", "show --preset large", 0, None),
    ("show", "show saved.xml", 0, None),
    ("sim-show", "sim show box.json", 0, "sim-show"),
    ("sim-presets", "sim presets", 0, None),
    ("verify", "verify saved.xml --preset demo", 0, None),
    ("verify", "verify saved.xml --controller box.json", 1, "verify"),
    ("diff", "diff saved.xml --controller box.json", 1, "diff"),
    ("fleet", "fleet .", 1, None),
    ("fleet", "fleet . --layout layout.xml", 1, None),
    ("plan", "plan saved.xml --controller box.json", 1, None),
    ("plan", "plan saved.xml --rebuild --controller box.json", 1, "plan-rebuild"),
    ("plan", "plan saved.xml --rebuild --preset empty", 1, None),
    ("plan", "plan saved.xml --controller replaced.json", 1, "plan-replaced"),
    ("plan", "plan delete.xml --controller box.json", 1, "plan-change"),
    ("steps", "apply delete.xml --yes --controller box.json", 4, "steps-delete"),
    ("steps", "replace saved.xml --controller box.json", 0, None),
    ("steps", "restore saved.xml --rebuild --partial --discard-foreign --no-backup --yes --controller box.json", 4,
     "steps-restore"),
    ("steps", "import --controller replaced.json", 0, "steps-import"),
    ("steps", "create --level 5 --count 3 --controller replaced.json", 0, "steps-create"),
    ("identify", "identify 1001 --preset demo", 0, "identify-disk"),
    ("ensure", "ensure layout.xml --plan --controller replaced.json", 1, "ensure-plan"),
    ("ensure", "ensure layout.xml --yes --controller replaced.json", 0, "ensure"),
    ("failure", "restore saved.xml --rebuild --partial --discard-foreign --controller box.json", 2, "declined"),
    ("failure", "apply rate.xml --log-file saved.xml --controller box.json", 4, "exists"),
    ("failure", "show delete.xml", 4, "bad-document"),
    ("failure", "get --preset demo", 2, "usage"),
    ("help", "help", 0, None),
    ("help", "help restore", 0, None),
)


# Members that some documents of the schema do not have.
OPTIONAL = {("show", "without PCILocation"), ("steps", "without verdict"), ("diff", "without controller"),
            ("steps", "without failure"), *(("ensure", f"without {name}") for name in
                                            ("steps", "failedSteps", "status", "failure", "left"))}


def main():
    xyl("sim new --preset demo box.json")
    xyl("sim new --preset demo replaced.json")
    xyl("sim replace-adapter replaced.json")
    xyl("get --controller box.json -o saved.xml")
    for step in ("pull box.json 1003", "pull box.json 302:0", "pull box.json 1008", "foreign box.json 1 1009 1010",
                 "firmware box.json 22.0"):
        xyl("sim " + step)
    for name, methods in (
        ("delete", "<Method name='Delete'><ObjectType>Virtual Disk</ObjectType><OID>77</OID></Method>"),
        ("rate", "<Method name='Change'><ObjectType>Adapter</ObjectType><Object><Adapter><ObjectID>0</ObjectID>"
                 "<Rate><Name>Rebuild</Name><Editable>true</Editable><Value>31</Value></Rate></Adapter></Object></Method>"),
    ):
        with open(name + ".xml", "w", encoding="ascii") as file:
            file.write(f"<raidData>{methods}</raidData>")
    with open("layout.xml", "w", encoding="ascii") as file:
        file.write("<RaidLayout others='delete'>"
                   "<VD differs='recreate'><Name>Fast</Name><RAIDLevel>RAID 0</RAIDLevel></VD>"
                   "<VD><Name>System</Name><RAIDLevel>RAID 1</RAIDLevel><Spares/></VD>"
                   "<Adapter><CopyBackMode>Off</CopyBackMode><Rate><Name>Rebuild</Name><Value>1</Value></Rate></Adapter>"
                   "</RaidLayout>")
    xyl("apply rate.xml --controller box.json")
    xyl("sim fail-next box.json create")
    for name, line, code, file in LINES:
        printed = xyl(line + " --json", (code,))
        check = validator(name)
        document = json.loads(printed or "{}")
        errors = sorted(check.iter_errors(document), key=lambda error: -len(error.path))
        faults.extend(f"{line}: {error.json_path}: {error.message[:200]}" for error in errors[:3])
        if file is not None:
            compare(line, printed, file + ".json")
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
