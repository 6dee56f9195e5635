"""What mdadm --examine and our reader say of a disk or a set, in one form: values by (verdict, which one, what of it)."""
import re

LEVELS = {0: "RAID0", 1: "RAID1", 3: "RAID3", 4: "RAID4", 5: "RAID5", 6: "RAID6", 0x0F: "JBOD", 0x11: "RAID1E",
          0x15: "RAID5E", 0x1F: "CONCAT", 0x25: "RAID5EE"}
SECONDARY = {0: "Striped", 1: "Mirrored", 2: "Concat", 3: "Spanned"}
STATES = ["Optimal", "Degraded", "Deleted", "Missing", "Failed", "Partially Optimal", "-reserved-", "-reserved-"]
INIT = ["Not Initialised", "QuickInit in Progress", "Fully Initialised", "*UNKNOWN*"]
ACCESS = ["Read/Write", "Reserved", "Read Only", "Blocked (no access)"]
PD_TYPES = ["", "active", "Global-Spare", "spare", ", foreign", "pass-through"]
PD_STATES = ["", ", Failed", ", Rebuilding", ", in-transition", ", SMART-errors", ", Unrecovered-Read-Errors", ", Missing"]
UNUSED = 0xFFFFFFFF  # the reference of an entry that mdadm does not print


# --- mdadm ---

def field(text, label):
    found = re.search(r"^ *%s(?:\[\d+\])? : ?(.*)$" % label, text, re.M)
    return found and found[1]


def guid(text):
    return text.replace(":", "").lower()


def record_by_mdadm(text, pds):
    """Place of the record among its volume's, and what it says."""
    span, spans = map(int, (field(text, "Secondary Position") or "0 of 1").split(" of "))
    chunk = field(text, "Chunk Size")
    return span, {
        "spans": spans,
        "secondary level": field(text, "Secondary Level"),
        "level": field(text, "Raid Level"),
        "strip": int(chunk.split()[0]) if chunk else 0,
        "members": [(None if at == "--" else pds.get(int(at), (UNUSED,))[0], int(start))
                    for at, start in re.findall(r"(--|\d+)@(\d+)K", field(text, "Raid Devices"))],
        "member size": int(field(text, "Device Size")),
        "size": int(field(text, "Array Size")),
    }


def said_by_mdadm(text):
    """What it says of a disk; nothing where it sees no member."""
    said = {}
    if not field(text, "Magic"):
        return said
    for label in ("Controller GUID", "Container GUID"):
        said["headers", 0, label] = guid(field(text, label))
    said["headers", 0, "sequence"] = int(field(text, "Seq"), 16)
    said["headers", 0, "second header"] = field(text, "Redundant hdr") == "yes"
    # On image files it names the examined disk below, in the guest in the list.
    own = re.search(r"^ +([0-9a-f]{8}) -unknown-|^ +\d+ +([0-9a-f]{8}) +\d+K /dev/", text, re.M)
    said["headers", 0, "own reference"] = int(own[1] or own[2], 16)
    pds = {}
    for at, reference, size, states in re.findall(r"^ +(\d+) +(\w{8}) +(\d+)K (?:/dev/\S+)? *(\S.*)$", text, re.M):
        pds[int(at)] = said["list of disks", int(at), "entry"] = (int(reference, 16), int(size), states)
    for volume in re.split(r"\n(?= *VD GUID\[)", text)[1:]:
        at = int(re.search(r"\d+", volume)[0])
        said["list of volumes", at, "GUID"] = guid(field(volume, "VD GUID"))
        for label in ("unit", "state", "init state", "access", "Name"):
            said["list of volumes", at, label] = field(volume, label)
        for record in re.split(r"\n(?= *Raid Devices\[)", volume)[1:]:
            span, fields = record_by_mdadm(record, pds)
            for label, value in fields.items():
                said.setdefault(("records", (at, span), label), value)
    return said


# --- Our reader ---

def disk_by_us(text):
    """What ddf_show --named says of a disk that was read alone."""
    found = re.search(r"^  \[(\d+) (\d+) (\d+) (\d+)\]$", text, re.M)
    context = {"kind": re.search(r"disk 0: (\w+)", text)[1]}
    if not found:
        return {}, context
    set_text = text[text.index("\nset 0:"):]
    said, more = set_by_us(set_text)
    said["headers", 0, "own reference"] = int(found[1])
    said["headers", 0, "second header"] = found[3] != "0"
    context["by secondary"] = found[4] == "2"
    return said, {**context, **more}


def words(names, bits):
    return "".join(name for bit, name in enumerate(names) if bits >> bit & 1)


def pds_by_us(text):
    pds = []
    for at, *numbers in re.findall(r"^    \[(\d+) (\d{1,10}) (\d+) (\d+) (\d+)\]$", text, re.M):
        reference, size, kind, state = map(int, numbers)
        state &= ~13 if state & 2 else ~0  # mdadm tells no more of a failed disk
        states = "%s/%s%s" % (words(PD_TYPES, kind), "Online" if state & 1 else "Offline", words(PD_STATES, state))
        pds.append((int(at), (reference, size // 2, states)))
    return pds


def records_by_us(text, pds):
    """[(place, what the record says, its sizes as they are)]."""
    about = re.search(r"^    \S.* \((\d+), .*, (\d+) blocks, (\d+) a member, strip (\d+)$", text, re.M)
    members = re.search(r"^    members (.*)$", text, re.M)
    for span, spans, secondary, strip, member, blocks in re.findall(r"^    \[span (.*)\]$".replace(
            "(.*)", " ".join([r"(\d+)"] * 6)), text, re.M):
        listed = re.findall(r"(\?|\d+)@(\d+)", members[1].split(" |")[int(span)])
        yield int(span), {
            "spans": int(spans),
            "secondary level": SECONDARY.get(int(secondary), "-unknown-") if spans != "1" else None,
            "level": LEVELS.get(int(about[1]), "-unknown-"),
            "strip": int(about[4]),
            "members": [(None if pd == "?" else pds[int(pd)][1][0], int(start) // 2) for pd, start in listed],
            "member size": int(about[3]) // 2,
            "size": int(about[2]) // 2,
        }, (int(member), int(blocks))


def set_by_us(text):
    """What it says of a set, and what mdadm has no words for: faults and states of volumes, sizes of records."""
    said, context = {}, {"newest": int(re.search(r"newest disk (\d+)", text)[1]), "volumes": {}, "raw": {}}
    said["headers", 0, "sequence"] = int(re.search(r"sequence (\d+)", text)[1])
    found = re.search(r"^  \[(\w{48}) (\w{48})\]$", text, re.M)
    said["headers", 0, "Container GUID"], said["headers", 0, "Controller GUID"] = found.groups()
    pds = pds_by_us(text)
    for at, pd in pds:
        said["list of disks", at, "entry"] = pd
    for volume in re.split(r"\n(?=  volume \d+: )", text)[1:]:
        at, name, unit, state, init = re.search(r"^    \[(\d+) (\w{48}) (\d+) (\d+) (\d+)\]$", volume, re.M).groups()
        at, state, init = int(at), int(state), int(init)
        said["list of volumes", at, "GUID"] = name
        said["list of volumes", at, "unit"] = unit
        said["list of volumes", at, "state"] = "%s, %s%s" % (
            STATES[state & 7], "Morphing, " if state & 8 else "", "Not Consistent" if state & 16 else "Consistent")
        said["list of volumes", at, "init state"] = INIT[init & 3]
        said["list of volumes", at, "access"] = ACCESS[init >> 6]
        name, ours, fault = re.search(r'volume \d+: "(.*)" ([a-z ]+) \(entry: [^)]*\)(?:, (.*))?$', volume, re.M).groups()
        said["list of volumes", at, "Name"] = name
        context["volumes"][at] = (ours, fault)
        for span, fields, raw in records_by_us(volume, pds):
            context["raw"][at, span] = raw
            for label, value in fields.items():
                said["records", (at, span), label] = value
    return said, context
