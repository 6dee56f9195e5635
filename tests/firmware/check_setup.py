#!/usr/bin/python3
"""Goes through the pages in the firmware's setup by keys, in real firmware, and looks at what the screen says:
check_setup.py x64|aarch64 IMAGES WORK [SCREENS]. With SCREENS, a folder, screens are left there as they were.
"""
import os
import subprocess
import sys
import time

import screen

LIMIT = 900  # seconds, for all of it; other things may run beside
IMAGES = "XmlService RaidXyl RaidSetup RaidSim xyl guest/fwunload"
SCRIPT = """@echo -off
fs0:
load XmlService.efi
load RaidXyl.efi
load RaidSetup.efi
load RaidSim.efi
load fwunload.efi
drvcfg -o pages.bin
xyl setup -c 3
exit
"""
FIRST = "Harrier R6 Integrated, PCI 03:00.0"


def make_disk(images, work, script=SCRIPT):
    disk = f"{work}/disk.img"
    os.makedirs(work, exist_ok=True)
    with open(f"{work}/startup.nsh", "w", newline="\r\n") as file:
        file.write(script)
    with open(disk, "wb") as file:
        file.truncate(16 << 20)
    subprocess.run(["mformat", "-i", disk, "::"], check=True)
    files = [f"{images}/{name}.efi" for name in IMAGES.split()]
    subprocess.run(["mcopy", "-i", disk, *files, f"{work}/startup.nsh", "::/"], check=True)


class Setup(screen.Console):
    def __init__(self, arch, work, folder, more="", limit=LIMIT):
        super().__init__(arch, work, limit, more)
        self.folder = folder
        self.work = work

    def keep(self, name):
        """Leaves the screen for the documentation."""
        if self.folder:
            os.makedirs(self.folder, exist_ok=True)
            lines = [line.rstrip() for line in self.text().replace("\u2550", "-").splitlines()]
            with open(f"{self.folder}/{name}.txt", "w", encoding="utf-8") as file:
                file.write("\n".join(lines).strip("\n") + "\n")

    def enter(self, line, then):
        self.select(line)
        start = time.monotonic()
        self.press("enter")
        self.want(then)
        return time.monotonic() - start - screen.QUIET

    def leave(self, then):
        self.press("esc")
        self.want(then)

    def choose(self, line, option):
        """A question with options, which firmware shows in a window."""
        self.select(line)
        self.press("enter")
        self.want(option)
        for _ in range(20):
            if self.marked() == option:
                break
            self.press("down")
        self.press("enter")

    def type(self, line, text):
        self.select(line)
        self.press("enter")
        self.press(*text)
        self.press("enter")

    def wait_for_report(self, words, seconds):
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            with open(f"{self.work}/debug.txt", encoding="latin1") as file:
                if words in file.read():
                    return
            self.pump(0.5)
        self.fail(f"the guest never said \"{words}\"")


def goes_away(console):
    """A controller is unloaded while its page is open, which then says that nobody answers."""
    console.want("Harrier H2 Host Adapter", 120)
    console.enter("Disks", "Shows more of it")
    console.wait_for_report("end unload", 90)
    console.press("down", "enter")
    for _ in range(6):
        if console.has("Boot Manager"):
            return
        console.press("esc")
    console.want("Boot Manager")


def hot_spare(console):
    console.enter("Disks", "Enclosure 302")
    console.keep("disks")
    console.enter("Slot 8: 900.18", "Make it a hot spare for all")
    console.keep("disk")
    console.select("Make it a hot spare for all")
    console.press("enter")
    console.want("Disk 301:8 is a hot spare for all now.")
    console.leave("Slot 8: 900.18 GB SAS HDD, Ready, spare for all")
    console.leave("Hot spares: 3")


def create(console):
    console.enter("Create", "no level is chosen")
    console.choose("Level", "RAID 5")
    console.want("RAID 5 takes 3 to 32 disks, not 0")
    console.type("Pick so many disks", "3")
    console.want("Room on them")
    console.type("Name", "Builds")
    console.keep("create")
    console.select("Create it")
    console.press("enter")
    console.want("Builds was created.")
    console.leave("Virtual disks: 6")


def delete(console):
    console.enter("Virtual disks", "Builds: RAID 5")
    console.keep("virtual-disks")
    console.enter("Builds", "Delete this virtual disk")
    console.keep("virtual-disk")
    console.enter("Delete", "All data on this virtual disk will be lost")
    console.keep("sure")
    console.press("down", "down", "down", "enter")  # the line that deletes is out of reach
    assert console.has("All data on this virtual disk will be lost"), console.text()
    console.leave("Delete this virtual disk")
    console.leave("Builds: RAID 5")
    console.enter("Builds", "Delete this virtual disk")
    console.enter("Delete", "I am sure")
    console.select("I am sure")
    if not console.has("[X]"):
        console.press("space")
    console.want("[X]")
    console.select("Delete it")
    console.press("enter")
    console.want("Builds was deleted.")
    console.leave("Data: RAID 5")
    assert not console.has("Builds: RAID"), console.text()
    console.leave("Virtual disks: 5")


def change_rate(console):
    console.enter("Modes", "Copy back")
    console.keep("modes")
    console.type("Rebuild", "41")
    console.press("F9", "y")  # back to what the controller has, which is no zero
    console.want("[30]")
    assert not console.has("[41]") and not console.has("[0]"), console.text()
    console.type("Rebuild", "42")
    console.press("F10", "y")
    console.want("[42]")
    console.leave("Modes and rates")
    console.leave("Press ESC to exit")
    console.enter(FIRST, "Modes and rates")
    console.enter("Modes", "[42]")
    console.leave("Modes and rates")
    console.leave("Press ESC to exit")


def import_foreign(console):
    console.enter(FIRST + " (2)", "Foreign configuration")
    console.keep("overview-foreign")
    console.enter("Foreign configuration: 5 disks", "Take the virtual disks over")
    console.keep("foreign")
    console.select("Take the virtual disks over")
    console.press("enter")
    console.want("The foreign configuration was taken over.")
    console.leave("All is well.")
    console.leave("Press ESC to exit")


def main():
    arch, images, work = sys.argv[1:4]
    make_disk(images, work)
    console = Setup(arch, work, sys.argv[4] if len(sys.argv) > 4 else None)
    try:
        goes_away(console)
        console.enter("Device Manager", "Press ESC to exit")
        console.keep("device-manager")
        seconds = console.enter(FIRST, "Modes and rates")
        print(f"opening a page of 20 disks: {seconds:.2f} s until the screen is still")
        console.keep("overview")
        for part in hot_spare, create, delete, change_rate, import_foreign:
            part(console)
            print(f"setup {arch}: {part.__name__.replace('_', ' ')}")
    finally:
        console.close()
    with open(f"{work}/debug.txt", encoding="latin1") as file:
        report = file.read()
    assert "end unload" in report and "FAIL" not in report, report
    pages = subprocess.run(["mtype", "-i", f"{work}/disk.img", "::/pages.bin"], check=True, capture_output=True).stdout
    assert "Harrier".encode("utf-16-le") in pages and len(pages) > 5000, len(pages)


if __name__ == "__main__":
    main()
