#!/usr/bin/env python3
"""Checks report pages as text: page_test.py XYL. Every page has to be well-formed, whole in itself and escaped."""
import os
import re
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ET

XYL = os.path.abspath(sys.argv[1])
HTML = "{http://www.w3.org/1999/xhtml}"
HOSTILE = "<script>alert(1)</script>\"'&<b> 100% \u00e9"
faults = []


def check(fine, page, what):
    if not fine:
        faults.append(f"{page}: {what}")


def xyl(line, code=0):
    run = subprocess.run([XYL, *line.split()], capture_output=True)
    check(run.returncode == code, line, f"exit code {run.returncode}, wanted {code}: {run.stderr.decode()}")
    return run.stdout, run.stderr.decode()


def text_of(node):
    return " ".join("".join(node.itertext()).split())


def escape(text, encoding):
    for character, entity in (("&", "&amp;"), ("<", "&lt;"), (">", "&gt;"), ('"', "&quot;")):
        text = text.replace(character, entity)
    return text.encode(encoding)


def edit(source, target, *changes):
    with open(source, "rb") as file:
        text = file.read()
    for old, new in changes:
        check(old in text, target, f"no {old} in {source}")
        text = text.replace(old, new)
    with open(target, "wb") as file:
        file.write(text)


def check_page(name, data):
    """What holds for every page; returns its tree."""
    linted = subprocess.run(["xmllint", "--nonet", "--noout", "-"], input=data, capture_output=True)
    check(linted.returncode == 0, name, linted.stderr.decode())
    if linted.returncode:
        return ET.Element("html")
    root = ET.fromstring(data)
    nodes = list(root.iter())
    ids = [node.get("id") for node in nodes if node.get("id") is not None]
    check(len(ids) == len(set(ids)), name, "an id is there twice")
    for node in nodes:
        for attribute in ("href", "aria-labelledby"):
            target = node.get(attribute)
            if target is not None and target != "data:,":
                is_link = attribute == "href"
                check(not is_link or target[0] == "#", name, f"a link leaves the page: {target}")
                check(target.lstrip("#") in ids, name, f"{attribute} {target} leads nowhere")
        check(node.get("src") is None, name, "something is loaded")
        check(not any(key.startswith("on") for key in node.keys()), name, "an event handler")
    tags = [node.tag.replace(HTML, "") for node in nodes]
    check("script" not in tags, name, "a script")
    check(not re.search("url\\(|@import|expression", data.decode()), name, "a style that loads something")
    check((root.get("lang"), tags.count("h1"), tags.count("main")) == ("en", 1, 1), name, "language, h1 or main")
    levels = [int(tag[1]) for tag in tags if re.fullmatch("h[1-6]", tag)]
    check(all(b <= a + 1 for a, b in zip(levels, levels[1:])), name, f"headings skip a level: {levels}")
    for table in root.iter(HTML + "table"):
        check(table.find(HTML + "caption") is not None, name, "a table without a caption")
        check(all(cell.get("scope") for cell in table.iter(HTML + "th")), name, "a heading cell without scope")
        columns = len(table.find(f"{HTML}thead/{HTML}tr"))
        check(all(len(row) == columns for row in table.iter(HTML + "tr")), name, "rows of different lengths")
    return root


def report(line, *wanted):
    data, _ = xyl("report " + line)
    root = check_page(line, data)
    shown = text_of(root)
    for part in wanted:
        check(part in shown, line, f"no '{part}'")
    return root


def slots(root):
    """The style of every slot, by what is said of it."""
    return [((node.get("aria-label") or "Slot " + text_of(node)).replace("\u00a0", " "), node.get("class")) for node in root.iter()
            if (node.get("class") or "").startswith("slot ")]


def main():
    for line, count, wanted in (
        ("--preset demo", 24, ("5EEDADA000001000", "demo-key-1", "On w/ SMART", "Rebuild", "302:3", "15.08 TB")),
        ("--preset direct", 8, ("Attached to the adapter", "direct:7", "RAID 5")),
        ("--preset sas", 8, ("Harrier H2 Host Adapter", "There are no hot spares.")),
        ("--preset empty", 0, ("There are no enclosures and no disks.", "There are no virtual disks.")),
        ("--preset large", 240, ("Enclosure 310", "BL", "301:23")),
    ):
        drawn = slots(report(line, *wanted))
        check(len(drawn) == count, line, f"{len(drawn)} slots of {count}")
    xyl("sim new --preset demo box.json")
    xyl("get --controller box.json -o saved.xml")
    for step in ("fail box.json 302:1", "pull box.json 1003", "foreign box.json 1 1009 1010", "firmware box.json 22.0",
                 "replace-disk box.json 302:7", "insert box.json new 302:10"):
        xyl("sim " + step)
    xyl("get --controller box.json -o now.xml")
    drawn = slots(report("saved.xml now.xml", "Compared with saved.xml", "1003 (missing)", "302:1 Failed", "22.0",
                         "lacks its disk 1003"))
    for label, style in (
        ("Slot 1: Failed, in D Archive", "failed"), ("Slot 8: Foreign", "foreign"), ("Slot 7: Global spare", "spare"),
        ("Slot 6: Dedicated spare, for B Data", "spare"), ("Slot 2: removed, disk 1003, HARRIER", "gone"),
        ("Slot 3: Online, in B Data, in C Scratch, 2.00 TB SAS HDD, HARRIER", "online"),
    ):
        found = [kind for words, kind in drawn if words.startswith(label)]
        check(found == ["slot " + style], "saved.xml now.xml", f"{label}: {found}")
    for mark in ("disk 1021, replaced", "disk 1022, new", "disk 1010, changed"):
        check(any(words.endswith(mark) for words, _ in drawn), "saved.xml now.xml", f"no slot says {mark}")
    xyl("sim new --preset direct direct.json")
    xyl("get --controller direct.json -o direct.xml")
    xyl("sim pull direct.json direct:3")
    xyl("get --controller direct.json -o pulled.xml")
    drawn = slots(report("direct.xml pulled.xml", "Removed from elsewhere"))
    check([kind for _, kind in drawn].count("slot gone") == 1 and len(drawn) == 8, "direct", f"{drawn}")
    report("now.xml now.xml", "Nothing differs from now.xml")

    with open("changes.xml", "w", encoding="ascii") as file:
        file.write('<raidData><Method name="Clear"/></raidData>')
    xyl("apply changes.xml --yes --controller box.json --log-file change.xml")
    report("saved.xml now.xml change.xml", "Configuration change", "1 step, none failed", "With the log change.xml")
    xyl("restore saved.xml --rebuild --partial --no-backup --yes --controller box.json --log-file log.xml", 1)
    report("saved.xml log.xml", "Restore", "of 14 steps failed, the first one at step", "create a virtual disk",
           "Out of Resources", "disk 1008", "Virtual disks kept: False")

    xyl("get --controller box.json -o after.xml")
    os.utime("saved.xml", (1000000000, 1000000000))
    report("saved.xml", "From saved.xml, written 2001-09-09 01:46 UTC.")
    edit("saved.xml", "bare.xml", (b"<Hotspare>Global<", b"<Hotspare><"), (b"demo-key-1", b""))
    edit("saved.xml", "newer.xml", (b"21.3.4-0001", b"21.3.5-0001"))
    for line, style, words in (
        ("saved.xml bare.xml", "call bad", "Security key demo-key-1 of saved.xml is gone Hot spare disk 1008 of saved.xml is"),
        ("saved.xml newer.xml", "call open", "in order, and 1 difference from saved.xml"),
        ("saved.xml", "call", "Every disk and every virtual disk is in order"),
        ("saved.xml change.xml", "call open", "In saved.xml every disk"),
        ("saved.xml log.xml after.xml", "call bad", 'virtual disk 4 "Archive" of saved.xml is gone: RAID 10'),
        ("saved.xml change.xml saved.xml", "call", "Every disk and every virtual disk is in order"),
    ):
        first = next(node for node in report(line).iter() if (node.get("class") or "").startswith("call"))
        check(first.get("class") == style and words in text_of(first), line, f"begins with {text_of(first)}")

    for encoding in ("utf-8", "latin-1"):
        name = escape(HOSTILE, encoding)
        edit("saved.xml", "hostile.xml", (b"<Name>Data</Name>", b"<Name>" + name + b"</Name>"),
             (b"<ModelName>HS10K Enterprise<", b"<ModelName>" + name + b"<"), (b"Shelf 0", name), (b"Rebuild", name),
             (b"<Slot>1<", b"<Slot>" + name + b"<"), (b"<ObjectID>1002<", b"<ObjectID>1001<"),
             (b"SerialNumber>HS000003E9<", b"SerialNumber>a&#150;b<"), (b"SlotCount>12<", b"SlotCount>4000000000<"),
             (b"Harrier R6", name), (b"<State>Ready<", b"<State>" + name + b"<"))
        edit("log.xml", "hostile_log.xml", (b"<Name>System</Name>", b"<Name>" + name + b"</Name>"))
        root = report("hostile.xml hostile_log.xml", f"RAID configuration of {HOSTILE}", f"B {HOSTILE}", "a\ufffdb")
        check(text_of(root).count(HOSTILE) > 20, encoding, "hostile texts are not shown as they are")
    edit("hostile.xml", "other.xml", (b"5EED00000003", b"5EED10000003"), (b"HS000003", b"HS100003"))
    report("hostile.xml other.xml hostile_log.xml", "replaced")

    for line, code, said in (
        ("log.xml", 4, "log.xml is a log; give the configuration first"),
        ("saved.xml log.xml log.xml", 4, "log.xml is a log"),
        ("saved.xml now.xml saved.xml", 4, "saved.xml is a third configuration"),
        ("saved.xml changes.xml", 4, "changes.xml has no adapter"),
        ("none.xml", 3, "cannot read 'none.xml'"), ("box.json", 4, "not a well-formed"), ("", 2, "no controller"),
        ("saved.xml -o no/folder.html", 4, "cannot write"),
    ):
        out, error = xyl("report " + line, code)
        check(out == b"" and said in error, "report " + line, error)
    xyl("report saved.xml -o page.html")
    with open("page.html", "rb") as file:
        check_page("page.html", file.read())


with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    main()
print("\n".join(faults) or "the pages are in order")
sys.exit(1 if faults else 0)
