#!/usr/bin/env python3
"""Makes the files of the packages for EDK II trees.

make_package.py IMAGES FOLDER           RaidXylPkg, which builds the images; IMAGES is what the build wrote of them
make_package.py IMAGES FOLDER --check   says what of FOLDER is behind, and fails then
make_package.py IMAGES FOLDER --binary  RaidXylBinPkg, beside images in X64/ and AARCH64/
"""
import collections
import pathlib
import re
import sys
import uuid

ROOT = pathlib.Path(__file__).resolve().parents[2]
NAMESPACE = uuid.UUID("d4c091e9-069d-4494-a396-c08b775ec200")
SERVICES = "UefiBootServicesTableLib"

# The groups that a platform chooses from: macro, whether it is chosen by default, images in the order of a firmware
# volume, which is that in which firmware starts them: the driver looks for the log once.
Group = collections.namedtuple("Group", "macro default images in_flash what")
GROUPS = [
    Group("RAIDXYL_DRIVER", "TRUE", ["DebugLog", "XmlService", "RaidXyl", "RaidHealth", "RaidSetup"], True,
          "the driver and services"),
    Group("RAIDXYL_SIMULATOR", "FALSE", ["RaidSim"], True, "a simulated controller"),
    Group("RAIDXYL_DISKS", "FALSE", ["RaidDisks", "RaidVolumes"], True, "a controller over disks, and their volumes"),
    Group("RAIDXYL_CLIENT", "FALSE", ["xyl"], True, "the client for the shell"),
    Group("RAIDXYL_MEDIUM", "FALSE", ["RaidBoot"], False, "the client on a boot medium"),
]
TYPES = {"efi_boot_service_driver": "UEFI_DRIVER", "efi_application": "UEFI_APPLICATION"}

# The routines that copy are not to be made of calls of themselves, which only GCC does.
FLAGS = ("[BuildOptions]\n"
         "  GCC:*_*_*_CC_FLAGS = -std=gnu++20 -ffreestanding -fno-exceptions -fno-rtti -fno-threadsafe-statics"
         " -I$(MODULE_DIR)/../../..{more}\n" +
         "".join(f"  GCC:*_{tag}_*_CC_FLAGS = -fno-tree-loop-distribute-patterns\n"
                 for tag in ("GCC49", "GCC5", "GCC", "GCCNOLTO")))
# The compiler calls these when everything else has been linked.
LATE = "base/efi_runtime.cpp"
NOT_FOR_KITS = ["base/efi_entry.cpp"]  # the kit has an entry point of its own


class Images:
    def __init__(self, file):
        self.version, self.images, self.sources = "", {}, collections.defaultdict(list)
        for line in pathlib.Path(file).read_text().splitlines():
            kind, name, *words = line.split()
            if kind == "version":
                self.version = name
            elif kind == "image":
                self.images[name] = (TYPES[words[0]], words[1], words[2:])
            elif words[0] == LATE:
                self.sources["runtime"].append(LATE)
            elif words[0] not in NOT_FOR_KITS:
                self.sources[name].append(words[0])
        grouped = [image for group in GROUPS for image in group.images]
        if sorted(grouped) != sorted(self.images):
            sys.exit(f"images and those of the groups differ: {set(grouped) ^ set(self.images)}")

    def rooms_of(self, image):
        return [room for room in [*self.images[image][2], "runtime"] if room in self.sources]


def guid_of(name):
    return str(uuid.uuid5(NAMESPACE, name)).upper()


def library_of(room):
    return "RaidXyl" + "".join(word.capitalize() for word in room.split("_")) + "Lib"


def heading(name, **more):
    lines = {"INF_VERSION": "1.27", "BASE_NAME": name, **more}
    return "[Defines]\n" + "".join(f"  {key} = {value}\n" for key, value in lines.items()) + "\n"


def section(name, lines):
    return f"[{name}]\n" + "".join(f"  {line}\n" for line in lines) + "\n"


def library_inf(images, room):
    name = library_of(room)
    return (heading(name, FILE_GUID=guid_of(name), MODULE_TYPE="UEFI_DRIVER", VERSION_STRING=images.version,
                    LIBRARY_CLASS=f"{name}|UEFI_DRIVER UEFI_APPLICATION") +
            section("Sources", [f"../../../{source}" for source in sorted(images.sources[room])]) +
            # Ours first: its private Uefi.h stands in front of the kit's.
            section("Packages", ["RaidXylPkg/RaidXylPkg.dec", "MdePkg/MdePkg.dec"]) +
            FLAGS.format(more=" -fno-lto" if room == "runtime" else ""))


def image_inf(images, image):
    kind, entry, _ = images.images[image]
    kit = "UefiDriverEntryPoint" if kind == "UEFI_DRIVER" else "UefiApplicationEntryPoint"
    return (heading(image, FILE_GUID=guid_of(image), MODULE_TYPE=kind, VERSION_STRING=images.version, ENTRY_POINT=entry) +
            section("Sources", ["Image.c"]) +
            section("Packages", ["MdePkg/MdePkg.dec", "RaidXylPkg/RaidXylPkg.dec"]) +
            section("LibraryClasses", [kit] + [library_of(room) for room in images.rooms_of(image)])).rstrip() + "\n"


def binary_inf(images, image):
    kind = images.images[image][0]
    text = heading(image, FILE_GUID=guid_of(image), MODULE_TYPE=kind, VERSION_STRING=images.version)
    for arch in ("X64", "AARCH64"):
        text += section(f"Binaries.{arch}", [f"PE32|{arch}/{image}.efi|*"])
    return text.rstrip() + "\n"


def protocols():
    """Name and GUID of each protocol, as its header has them."""
    for header in sorted((ROOT / "include").glob("*.h")):
        text = header.read_text().replace("\\\n", " ")
        for name, value in re.findall(r"#define (\w+_(?:PROTOCOL|PATH)_GUID)\s+(\{.*)", text):
            numbers = re.findall(r"0x[0-9a-fA-F]+", value)
            yield name, f"{{{', '.join(numbers[:3])}, {{{', '.join(numbers[3:])}}}}}"


def camel(name):
    return "g" + "".join(word.capitalize() for word in name.split("_"))


def declarations(name, version, includes):
    text = section("Defines", ["DEC_SPECIFICATION = 0x0001001B", f"PACKAGE_NAME = {name}",
                               f"PACKAGE_GUID = {guid_of(name)}", f"PACKAGE_VERSION = {version.rpartition('.')[0]}"])
    text += includes
    found = list(protocols())
    text += section("Protocols", [f"{camel(name)} = {value}" for name, value in found if "_PROTOCOL_" in name])
    text += section("Guids", [f"{camel(name)} = {value}" for name, value in found if "_PROTOCOL_" not in name])
    return text.rstrip() + "\n"


def defaults():
    return "".join(f"!ifndef {group.macro}\n  DEFINE {group.macro} = {group.default}\n!endif\n" for group in GROUPS)


def chosen(lines_of, groups):
    text = ""
    for group in groups:
        lines = "".join(f"  {line}\n" for image in group.images for line in lines_of(image))
        text += f"# {group.what}\n!if $({group.macro}) == TRUE\n{lines}!endif\n"
    return text


def flash_lines(package):
    return ("# In a firmware volume's section of a platform's .fdf. A group is there when its macro is TRUE.\n" +
            defaults() + chosen(lambda image: [f"INF {package}/{image}.inf"], [g for g in GROUPS if g.in_flash]))


def platform_lines(images):
    libraries = [f"{library_of(room)}|RaidXylPkg/Library/{library_of(room)}.inf" for room in sorted(images.sources)]
    return ("# At the end of a platform's .dsc. A group is built when its macro is TRUE.\n" + "[Defines]\n" +
            defaults() + "\n[LibraryClasses]\n" + "".join(f"  {line}\n" for line in libraries) + "\n[Components]\n" +
            chosen(lambda image: [f"RaidXylPkg/{image}.inf"], GROUPS))


def source_package(images):
    files = {f"{image}.inf": image_inf(images, image) for image in images.images}
    files.update({f"Library/{library_of(room)}.inf": library_inf(images, room) for room in images.sources})
    files["RaidXylPkg.dec"] = declarations(
        "RaidXylPkg", images.version,
        section("Includes", ["../../include"]) + section("Includes.Common.Private", ["Private"]))
    files["RaidXyl.dsc.inc"] = platform_lines(images)
    files["RaidXyl.fdf.inc"] = flash_lines("RaidXylPkg")
    files["Private/version.h"] = f'#define RAIDXYL_VERSION "{images.version}"\n'
    return {name: ("" if name.endswith(".h") else "# Made by the target edk2_package.\n") + text
            for name, text in files.items()}


def binary_package(images):
    files = {f"{image}.inf": binary_inf(images, image) for image in images.images}
    files["RaidXylBinPkg.dec"] = declarations("RaidXylBinPkg", images.version, section("Includes", ["Include"]))
    files["RaidXyl.fdf.inc"] = flash_lines("RaidXylBinPkg")
    return files


def behind(files, folder):
    """What FOLDER lacks, has otherwise, or has too much of what is made."""
    for name, text in files.items():
        if not (folder / name).exists() or (folder / name).read_text() != text:
            yield name
    for file in folder.rglob("*.inf"):
        if str(file.relative_to(folder)) not in files:
            yield f"{file.relative_to(folder)} (too much)"


def main():
    images, folder, mode = Images(sys.argv[1]), pathlib.Path(sys.argv[2]), sys.argv[3:]
    files = binary_package(images) if mode == ["--binary"] else source_package(images)
    if mode == ["--check"]:
        late = list(behind(files, folder))
        if late:
            sys.exit("\n".join(late) + "\nare behind; build the target edk2_package to make them anew")
        return
    for old in folder.rglob("*.inf"):
        old.unlink()
    for name, text in files.items():
        (folder / name).parent.mkdir(parents=True, exist_ok=True)
        (folder / name).write_text(text)


if __name__ == "__main__":
    main()
