#!/usr/bin/env python3
"""What images take in a platform's flash: firmware volumes are built of RaidXylBinPkg, and packed as platforms pack them.

flash.py make PACKAGE FOLDER         a platform in FOLDER/RaidXylFlashPkg, with a volume for each image and one for all
flash.py table PACKAGE ARCH=FV...    a table of the volumes that were built in the folders FV, packed with LzmaCompress
"""
import pathlib
import re
import subprocess
import sys
import tempfile

PLATFORM = """[Defines]
  PLATFORM_NAME           = RaidXylFlash
  PLATFORM_GUID           = 6D5E7A0C-6B8F-4B57-8E0B-0B5E1D5B9A26
  PLATFORM_VERSION        = 0.1
  DSC_SPECIFICATION       = 0x0001001C
  OUTPUT_DIRECTORY        = Build/RaidXylFlash
  SUPPORTED_ARCHITECTURES = X64|AARCH64
  BUILD_TARGETS           = RELEASE
  SKUID_IDENTIFIER        = DEFAULT
  FLASH_DEFINITION        = RaidXylFlashPkg/Flash.fdf
"""
VOLUME = """[FV.{name}]
  BlockSize     = 0x200
  FvAlignment   = 16
  ERASE_POLARITY = 1
  READ_STATUS   = TRUE
{lines}
"""
RULE = """[Rule.Common.{kind}{binary}]
  FILE {file} = $(NAMED_GUID) {{
    DXE_DEPEX DXE_DEPEX Optional {name}.depex
    PE32      PE32 {name}.efi
    UI        STRING="$(MODULE_NAME)" Optional
    VERSION   STRING="$(INF_VERSION)" Optional BUILD_NUM=$(BUILD_NUMBER)
  }}
"""
# The groups of the package, as a platform chooses them; the last row is all of them, which share much of what they are
# made of.
ALL = "All of them"


def images_of(package):
    return re.findall(r"INF RaidXylBinPkg/(\w+)\.inf", (package / "RaidXyl.fdf.inc").read_text())


def groups_of(package):
    return re.findall(r"!ifndef (\w+)", (package / "RaidXyl.fdf.inc").read_text())


def make(package, folder):
    volumes = {image: f"  INF RaidXylBinPkg/{image}.inf" for image in images_of(package)}
    volumes["Everything"] = "!include RaidXylBinPkg/RaidXyl.fdf.inc"
    text = "[Defines]\n" + "".join(f"  DEFINE {group} = TRUE\n" for group in groups_of(package)) + "\n"
    text += "\n".join(VOLUME.format(name=name, lines=lines) for name, lines in volumes.items()) + "\n"
    for kind, file in (("UEFI_DRIVER", "DRIVER"), ("UEFI_APPLICATION", "APPLICATION")):
        text += RULE.format(kind=kind, file=file, binary="", name="$(INF_OUTPUT)/$(MODULE_NAME)")
        text += RULE.format(kind=kind, file=file, binary=".BINARY", name="|")
    platform = folder / "RaidXylFlashPkg"
    platform.mkdir(parents=True, exist_ok=True)
    (platform / "Flash.dsc").write_text(PLATFORM)
    (platform / "Flash.fdf").write_text(text)


def packed(volume):
    with tempfile.NamedTemporaryFile() as out:
        subprocess.run(["LzmaCompress", "-e", "-q", "-o", out.name, volume], check=True, stdout=subprocess.DEVNULL)
        return pathlib.Path(out.name).stat().st_size


def table(package, volumes):
    archs = [word.split("=")[0] for word in volumes]
    folders = [pathlib.Path(word.split("=")[1]) for word in volumes]
    print("| image | " + " | ".join(f"{arch} | packed" for arch in archs) + " |")
    print("| --- |" + " ---: | ---: |" * len(archs))
    for image in images_of(package) + [ALL]:
        cells = []
        for arch, folder in zip(archs, folders):
            names = images_of(package) if image == ALL else [image]
            size = sum((package / arch / f"{name}.efi").stat().st_size for name in names)
            name = "EVERYTHING" if image == ALL else image.upper()
            cells.append(f"{size:,} | {packed(folder / f'{name}.Fv'):,}")
        print(f"| {image} | " + " | ".join(cells) + " |")


def main():
    package = pathlib.Path(sys.argv[2])
    if sys.argv[1] == "make":
        make(package, pathlib.Path(sys.argv[3]))
    else:
        table(package, sys.argv[3:])


if __name__ == "__main__":
    main()
