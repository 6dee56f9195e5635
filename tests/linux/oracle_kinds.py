"""In what mdadm and our reader are known to differ. A difference is of a kind only where the disks' own bytes, or what
mdadm says of them, give the kind's reason."""
import collections
import re
import zlib

import snapshots
import verdicts

OURS, MDADM = "our choice", "mdadm's way"
SIGNATURES = ["ad111111", "22222222", "dddddddd", None, "33333333"]  # of the sections; that of records has slots
RECORD, SPARE_RECORD = "eeeeeeee", "55555555"
PDS, RECORDS, DISK_DATA = 1, 3, 4
UNUSED = b"\xff" * 24  # the GUID of an entry


# --- What the bytes say ---

def number(data, at, size):
    return int.from_bytes(data[at:at + size], "big")


def cut(data, size, start=0):
    return [data[at:at + size] for at in range(start, len(data) - size + 1, size)]


def has_checksum(data):
    return zlib.crc32(data[:4] + b"\xff" * 4 + data[8:], 0xFFFFFFFF) ^ 0xFFFFFFFF == number(data, 4, 4)


def read(disk, lba, count):
    return b"".join(disk.kept.get(at, snapshots.FILLER) for at in range(lba, lba + count))


def anchor(disk):
    return read(disk, disk.sectors - 1, 1)


def lba_of(disk, secondary):
    return number(anchor(disk), 104 if secondary else 96, 8)


def places(header):
    """Sectors from the header, and length, of each section."""
    return [(number(header, 192 + 8 * i, 4), number(header, 196 + 8 * i, 4)) for i in range(len(SIGNATURES))]


def has_room(header, sectors_behind):
    """Whether the sections lie behind the header, apart, and hold what the header promises."""
    length, ends = number(header, 134, 2), [0]
    for at, count in sorted(places(header)):
        if not 0 < count <= 1024 or at <= ends[-1] - (ends[-1] == 0) or at + count > sectors_behind:
            return False
        ends.append(at + count - 1)
    return 2 <= length <= places(header)[RECORDS][1] and number(header, 136, 2) <= (length - 1) * 512 // 12


def section_fault(header, section, data):
    if section == RECORDS:
        slots = cut(data, number(header, 134, 2) * 512)
        return None if all(map(has_checksum, (slot for slot in slots if slot[:4].hex() in (RECORD, SPARE_RECORD)))) else "sections"
    if data[:4].hex() != SIGNATURES[section] or not has_checksum(data):
        return "sections"
    return "room" if section in (1, 2) and number(data, 10, 2) > len(data) // 64 - 1 else None


def copy_fault(disk, secondary):
    """What is wrong with a copy of the disk's metadata, or None."""
    lba = lba_of(disk, secondary)
    header = read(disk, lba, 1)
    if header[:4].hex() != "de11de11" or not has_checksum(header):
        return "header"
    if any(header[at:end] != anchor(disk)[at:end] for at, end in ((8, 40), (96, 112), (113, 512))):
        return "mismatch"
    if not has_room(header, disk.sectors - 1 - lba):
        return "room"
    sections = (section_fault(header, i, read(disk, lba + at, count)) for i, (at, count) in enumerate(places(header)))
    return "open" if header[48] else next(filter(None, sections), None)


def copies_have(disk, fault):
    """Whether no copy is good, and one has this fault."""
    found = [copy_fault(disk, secondary) for secondary in (False, True)]
    return None not in found and fault in found


def without_primary(disk):
    """The disk with zeros in the place of the primary header."""
    changed, lba = disk.copy(), lba_of(disk, False)
    changed.kept.update({lba: bytes(snapshots.SECTOR)} if lba < disk.sectors else {})
    return changed


def section(disk, wanted):
    """One of the copy that counts."""
    lba = lba_of(disk, copy_fault(disk, False) is not None)
    at, count = places(read(disk, lba, 1))[wanted]
    return read(disk, lba + at, count)


def disks_of(case):
    return [disk.disk for disk in case.context["members"]] if case.disk is None else [case.disk]


def records_of(case, at):
    """Those of a volume, by its number in the list, on all disks of the case, and how many members each has room for."""
    guid = bytes.fromhex(case.theirs["list of volumes", at, "GUID"])
    slots = ((slot, number(anchor(disk), 136, 2)) for disk in disks_of(case)
             for slot in cut(section(disk, RECORDS), number(anchor(disk), 134, 2) * 512))
    return [(slot, room) for slot, room in slots if slot[:4].hex() == RECORD and slot[8:32] == guid]


def is_impossible(record, elements):
    count, spans, strip = number(record, 64, 2), record[69], record[66]
    return (not 0 < count <= elements or spans == 0 or spans > 1 and record[70] >= spans or count * spans > 256 or
            not 0 < number(record, 72, 8) <= 1 << 48 or 22 < strip < 255)


def contradict(records):
    """Whether two of one age differ in what they describe."""
    said = collections.defaultdict(set)
    for record, room in records:
        said[record[36:40]].add(record[64:70] + record[71:80])
        said[record[36:40], record[70]].add((room, record[512:]))
    return any(len(one) > 1 for one in said.values())


# --- Whether a kind's reason holds ---

def is_unused(case, key):
    return section(case.context["disks"][0].disk if case.disk is None else case.disk, PDS)[64 + 64 * key[1]:][:24] == UNUSED


def members_by_list(case, key, theirs, ours):
    """Whether ours are the references as they lie on a disk, where the list has them, else none."""
    known = {pd[0] for name, pd in case.ours.items() if name[0] == "list of disks"} - {verdicts.UNUSED}
    for record, elements in records_of(case, key[1][0]):
        arrays = record[512:]
        raw = [(number(arrays, 4 * i, 4), number(arrays, 4 * elements + 8 * i, 8) // 2) for i in range(number(record, 64, 2))]
        if [(pd if pd in known else None, start) for pd, start in raw] == ours:
            return True
    return False


def has_other_guid(disk, newest):
    """Whether the list has another GUID beside the disk's reference."""
    identity = section(disk, DISK_DATA)
    listed = [entry[:24] for entry in cut(section(newest, PDS), 64, 64) if entry[24:28] == identity[32:36] and entry[:24] != UNUSED]
    return identity[8:32] not in listed[:1]


def went_apart(case, newest):
    """Whether a disk gave up the newest one, or lists a volume that this one does not."""
    def volumes(of):
        return {value for key, value in of.theirs.items() if key[2] == "GUID"}
    reference = newest.theirs["headers", 0, "own reference"]
    lost = any(key[0] == "list of disks" and pd[0] == reference and re.search("Failed|Missing", pd[2])
               for key, pd in case.theirs.items())
    return lost or not volumes(case) <= volumes(newest)


def listed_before(case, at):
    own = [disk.theirs["headers", 0, "own reference"] for disk in case.context["disks"]]
    return own[at] in own[:at]


def said_of(case, key):
    return {label: value for (verdict, at, label), value in case.theirs.items() if (verdict, at) == key[:2]}


def is_whole_strips(case, key, ours):
    said, (member, _) = said_of(case, key), case.context["raw"][key[1]]
    return member // 2 == said["member size"] and (member - member % max(said["strip"], 1)) // 2 == ours


def is_computed(case, key, ours):
    """Whether the volume's first record has no blocks of it, or more than its members give, and we what they give."""
    said, (member, blocks) = said_of(case, key), case.context["raw"][key[1]]
    first = min((at, raw[1]) for at, raw in case.context["raw"].items() if at[0] == key[1][0])[1]
    count, strip = len(said["members"]), max(said["strip"], 1)
    if said["spans"] > 1:  # of mirrors one each; where it is not known what parity takes, all
        given = (member - member % strip) * said["spans"] * (1 if said["level"] == "RAID1" else count)
    elif said["level"] in ("RAID1", "CONCAT"):
        given = member * (1 if said["level"] == "RAID1" else count)
    elif said["level"] == "RAID1E":
        given = (member - member % strip) * count // 2 // strip * strip
    else:
        given = (member - member % strip) * max(0, count - {"RAID4": 1, "RAID5": 1, "RAID6": 2}.get(said["level"], 0))
    return blocks // 2 == said["size"] and (first if 0 < first <= given else given) // 2 == ours


def lies_outside(case, at):
    sizes = {pd[0]: pd[1] for key, pd in case.theirs.items() if key[0] == "list of disks"}
    return any(start + case.theirs["records", key[1], "member size"] > sizes.get(reference, 0)
               for key, members in case.theirs.items() if key[2] == "members" and key[1][0] == at
               for reference, start in members)


# --- The kinds ---

# test gets the case, the difference's key, what mdadm says and what we say.
Kind = collections.namedtuple("Kind", "name whose verdict reason test")

KINDS = [
    Kind("crash", MDADM, "members", "ends by a signal on metadata that it does not expect",
         lambda case, key, theirs, ours: theirs == "crashes"),
    Kind("too many spans", MDADM, "members", "has no memory for the records of so many spans, and gives up",
         lambda case, key, theirs, ours: ours and "could not allocate" in case.complaints),
    Kind("no room", OURS, "members", "sections that overlap, or have no room for what the header promises; mdadm reads on",
         lambda case, key, theirs, ours: theirs is True and copies_have(case.disk, "room")),
    Kind("left open", OURS, "members", "a writer left the last good copy open; mdadm uses it all the same",
         lambda case, key, theirs, ours: theirs is True and copies_have(case.disk, "open")),
    Kind("sections checked", OURS, "members", "no copy has all its checksums; mdadm looks at those of headers only",
         lambda case, key, theirs, ours: theirs is True and copies_have(case.disk, "sections")),
    Kind("another copy", OURS, "copies", "the primary copy is damaged or was left open, so the secondary counts",
         lambda case, key, theirs, ours: copy_fault(case.disk, False) in ("sections", "open", "room") and
         copy_fault(case.disk, True) is None),
    Kind("second header", MDADM, "headers", "tells of one also where it is not that of the anchor",
         lambda case, key, theirs, ours: key[2] == "second header" and theirs and copy_fault(case.disk, True) == "mismatch"),
    Kind("unused entries", OURS, "list of disks", "an entry is unused by its GUID, as the format has it; for mdadm by its reference",
         lambda case, key, theirs, ours: is_unused(case, key) if ours is None else theirs is None and ours[0] == verdicts.UNUSED),
    Kind("members by list", OURS, "records", "a member is who the newest list has by its reference; mdadm also looks among "
         "unused entries, and in the list of the record's disk",
         lambda case, key, theirs, ours: key[2] == "members" and ours is not None and members_by_list(case, key, theirs, ours)),
    Kind("names", OURS, "list of volumes", "what cannot be printed is a question mark, and blanks at the end are left out",
         lambda case, key, theirs, ours: key[2] == "Name" and re.sub("[^ -~]", "?", theirs.split("\0")[0]).rstrip(" ") == ours),
    Kind("other GUID", OURS, "in the list", "a disk whose GUID the list does not have is not the one that it lists",
         lambda case, key, theirs, ours: theirs and (has_other_guid(case.disk, case.disk) if case.disk else has_other_guid(
             case.context["disks"][key[1]].disk, case.context["disks"][0].disk))),
    Kind("identity twice", OURS, "in the list", "of two disks with one identity the newer is it",
         lambda case, key, theirs, ours: theirs and case.disk is None and listed_before(case, key[1])),
    Kind("changed apart", OURS, "in the list", "a disk that was changed without the newest one waits for a decision",
         lambda case, key, theirs, ours: theirs and case.disk is None and
         went_apart(case.context["disks"][key[1]], case.context["disks"][0])),
    Kind("not listed", OURS, "records", "a disk that its set does not list has no part in a volume",
         lambda case, key, theirs, ours: ours is None and case.disk and not case.ours["in the list", 0, "is listed"]),
    Kind("impossible records", OURS, "records", "counts or sizes that cannot be meant; mdadm prints them",
         lambda case, key, theirs, ours: ours is None and any(
             is_impossible(*record) for record in records_of(case, key[1][0]))),
    Kind("contradictions", OURS, "records", "records of one age that differ count for nothing, or the first alone",
         lambda case, key, theirs, ours: ours is None and contradict(records_of(case, key[1][0]))),
    Kind("whole strips", OURS, "records", "of a member only whole strips count, as Linux uses it",
         lambda case, key, theirs, ours: key[2] == "member size" and ours is not None and is_whole_strips(case, key, ours)),
    Kind("computed size", OURS, "records", "a size that the first record lacks, or that is too large, is computed from the members",
         lambda case, key, theirs, ours: key[2] == "size" and ours is not None and is_computed(case, key, ours)),
    Kind("outside its disk", OURS, "states", "a member that does not end below its disk's limit is lost",
         lambda case, key, theirs, ours: ours != "optimal" and lies_outside(case, key[1])),
    Kind("offline", OURS, "states", "mdadm does not know the state 6, offline: such a volume has failed",
         lambda case, key, theirs, ours: ours == "failed" and case.theirs["list of volumes", key[1], "state"].startswith("-res")),
]


def kind_of(case, key, theirs, ours):
    return next((kind.name for kind in KINDS if kind.verdict == key[0] and kind.test(case, key, theirs, ours)), None)
