"""What a job of the Linux guest left: snapshots of disks with the kernel's words on them, and files of sparse disks."""
import re
import struct

SECTOR = 512
COPY = 618  # sectors of a copy as mdadm lays it out
FILLER = b"\xff" * SECTOR  # a sector that a file need not keep


class Disk:
    """A disk's metadata: its length and the sectors that hold anything."""

    def __init__(self, sectors, kept=None):
        self.sectors = sectors
        self.kept = dict(kept or {})

    def copy(self):
        return Disk(self.sectors, self.kept)

    def pack(self):
        kept = {lba: data for lba, data in self.kept.items() if data != FILLER}
        body = b"".join(struct.pack("<Q", lba) + kept[lba] for lba in sorted(kept))
        return struct.pack("<QQ", self.sectors, len(kept)) + body


class Snapshot:
    def __init__(self):
        self.disks = {}  # by name in the guest, in order
        self.mdstat = ""

    def own_mdstat(self):
        """The kernel's words on the volumes of this snapshot's set: those with no disk of another one."""
        blocks = re.split(r"\n(?=md\d+ : )", self.mdstat)
        own = [block for block in blocks if set(re.findall(r"\b(vd[a-z])\[", block)) & set(self.disks)]
        return "\n".join(own)


def read_disk(image, sectors, at):
    """A disk of a snapshot; the pieces stand behind each other from sector at on."""
    image.seek(at * SECTOR)
    disk = Disk(sectors)
    for start, count in ((sectors - 65536, COPY), (sectors - 32768, COPY), (sectors - 1, 1)):
        for lba in range(start, start + count):
            disk.kept[lba] = image.read(SECTOR)
    return disk


def read_snapshots(results, image_path):
    """The snapshots by name, from a job's results and its snapshot disk."""
    snapshots = {}
    snapshot = lines = None
    with open(image_path, "rb") as image:
        for line in open(results, errors="replace"):
            words = line.split()
            if line.startswith("snapshot end"):
                snapshot.mdstat = "".join(lines)
                snapshot = None
            elif line.startswith("snapshot "):
                snapshot = snapshots[words[1]] = Snapshot()
                lines = []
            elif snapshot and re.match(r"disk vd\w \d+ \d+$", line):
                snapshot.disks[words[1]] = read_disk(image, int(words[2]), int(words[3]))
            elif snapshot and line.startswith("mdstat"):
                lines = []
            elif snapshot:
                lines.append(line)
    return snapshots


def unpack(data):
    """The disks of such a file."""
    at = 0
    while at < len(data):
        sectors, count = struct.unpack_from("<QQ", data, at)
        kept = {}
        for at in range(at + 16, at + 16 + count * (8 + SECTOR), 8 + SECTOR):
            kept[struct.unpack_from("<Q", data, at)[0]] = data[at + 8:at + 8 + SECTOR]
        at += 8 + SECTOR if count else 16
        yield Disk(sectors, kept)


def write_disks(path, disks):
    """A file of disks for the programs here."""
    with open(path, "wb") as out:
        for disk in disks:
            out.write(disk.pack())
