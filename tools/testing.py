"""usage: testing.py BUILD PAGE            write the counts of the tests as a page
       testing.py BUILD PAGE --check    fail when a test is of no kind, or the page leaves a kind out

BUILD is a configured build for tests, PAGE the description whose kinds are counted. Counted is what there is: how a run
of it ended is what ./run test tells.
"""

import json
import pathlib
import re
import subprocess
import sys
import tarfile

SOURCES = pathlib.Path(__file__).resolve().parent.parent
NOT_BUILT = ".NOT_BUILT"
CODE = {".cpp", ".h", ".c", ".py", ".sh"}

# A kind, and what the names of its tests begin with. The first row that fits counts.
KINDS = [
    ("sweeps", r"sweeps\."),
    ("model", r"model\."),
    ("random lives", r"soak\.|ensure\.\w+/Properties"),
    ("power cuts", r"power_cuts\."),
    ("fuzzers' inputs", r"fuzz\.replay"),
    ("XML against libxml2", r"xml_service\.XmlOracle"),
    ("disks of mdadm", r"(ddf|disk_controller)\..*(Mdadm|Recordings)"),
    ("images", r"firmware\.(images|reproducible|sizes)"),
    ("firmware", r"firmware\.([a-z]+\.)?(x64|aarch64)$"),
    ("Redfish", r"redfish\."),
    ("stories", r"readme\.|examples\.|install\."),
    ("schemas", r"schema\."),
    ("rules", r"rules\.|fuzz\.dictionary|edk2\."),
    ("client", r"client\.|ensure\.|report\."),
    ("rooms", r"[a-z_]+\."),
]


def tests_of(build):
    """The names of all tests; of a program that is not built yet, one with its name."""
    listed = subprocess.run(["ctest", "--test-dir", build, "--show-only=json-v1"], check=True, capture_output=True)
    for test in json.loads(listed.stdout)["tests"]:
        yield re.sub(r"^test_(\w+?)_NOT_BUILT.*", rf"\1{NOT_BUILT}", test["name"])


def kind_of(name):
    return next((kind for kind, names in KINDS if re.match(names, name)), None)


def lines_below(*folders):
    files = (file for folder in folders for file in (SOURCES / folder).rglob("*") if file.suffix in CODE)
    return sum(len(file.read_text().splitlines()) for file in files)


def matches(pattern, *files):
    return sum(len(re.findall(pattern, (SOURCES / file).read_text(), re.M)) for file in files)


def inputs_grown():
    count = 0
    for archive in (SOURCES / "fuzz/evolved").glob("*.tar.xz"):
        with tarfile.open(archive) as members:
            count += sum(member.isfile() for member in members)
    return count


def least_run():
    row = re.search(r"^Least was run of `(\w+)`: ([0-9,]+) executions", (SOURCES / "fuzz/RESULTS.md").read_text(), re.M)
    return row[1], int(row[2].replace(",", ""))


def files(pattern):
    return sum(1 for file in SOURCES.glob(pattern) if file.is_file())


# What a test that is one by its name has inside, and what is no test by name.
def rows():
    target, executions = least_run()
    return [
        ("jobs and expectations in firmware", "tests/firmware/jobs.txt, disks.txt, rom.txt",
         matches(r"^(?!#)\S", *(f"tests/firmware/{name}.txt" for name in ("jobs", "disks", "rom")))),
        ("jobs of the Linux guest", "tests/linux/jobs", files("tests/linux/jobs/*.sh")),
        ("models of what mdadm wrote", "tests/providers/ddf/models", files("tests/providers/ddf/models/*.txt")),
        ("stories of the client, a file each", "tests/client, tests/host", files("tests/**/*.steps")),
        ("fuzz targets", "fuzz/targets.txt", matches(r"^(?!#)\S", "fuzz/targets.txt")),
        ("inputs to keep: seeds and found faults", "fuzz/corpus", files("fuzz/corpus/**/*")),
        ("inputs that reached new code", "fuzz/evolved", inputs_grown()),
        (f"executions of `{target}`, the fuzzer that ran least", "fuzz/RESULTS.md", executions),
        ("toolchains of EDK II whose images made the same documents", "edk2/RESULTS.md",
         matches(r"\| the same \|$", "edk2/RESULTS.md")),
    ]


def counts(names):
    return {kind: sum(kind_of(name) == kind for name in names) for kind, _ in KINDS}


def faults(names, page):
    yield from (f"test {name} is of no kind" for name in names if kind_of(name) is None)
    whole = not any(name.endswith(NOT_BUILT) for name in names)
    yield from (f"{kind}: there is no such test" for kind, count in counts(names).items() if whole and count == 0)
    text = page.read_text()
    yield from (f"{page}: does not tell of {kind}" for kind, _ in KINDS if f"| {kind} |" not in text)


def write(names):
    print("# What there is of tests\n\nMade by `./run tests-table`; [testing.md](../docs/testing.md) has the kinds.")
    print("\n## Tests of `./run test`\n\n| kind | tests |\n| --- | ---: |")
    for kind, count in counts(names).items():
        print(f"| {kind} | {count:,} |")
    print(f"| all | {len(names):,} |")
    print("\n## What they hold\n\n| what | where | count |\n| --- | --- | ---: |")
    for what, where, count in rows():
        print(f"| {what} | {', '.join(f'`{place}`' for place in where.split(', '))} | {count:,} |")
    code = lines_below("base", "records", "fitting", "driver", "providers", "client", "images", "host", "include")
    print("\n## Lines\n\n| what | lines |\n| --- | ---: |")
    print(f"| sources of the product, `schema/`, `bench/` and `tools/` aside | {code:,} |")
    print(f"| `tests/` | {lines_below('tests'):,} |\n| `fuzz/` | {lines_below('fuzz'):,} |")


def main():
    names = sorted(tests_of(sys.argv[1]))
    found = list(faults(names, pathlib.Path(sys.argv[2])))
    if "--check" not in sys.argv:
        found += [f"{name}: build it first" for name in names if name.endswith(NOT_BUILT)]
    if found:
        sys.exit("\n".join(found))
    if "--check" not in sys.argv:
        write(names)


main()
