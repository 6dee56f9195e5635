#!/usr/bin/python3
"""Boots guest/fwhealth.efi in real firmware, reads what it prints, then goes with keys to the firmware's Driver Health
page and looks for the same lines there: check_health.py x64|aarch64 IMAGES WORK.
Environment: LIMIT, MEMORY, and for x64 FIRMWARE and ACCEL, as in run_firmware.sh.
"""
import os
import re
import select
import subprocess
import sys
import time

LIMIT = int(os.environ.get("LIMIT", "150"))  # seconds, for all of it
OTHERS = {"accel": os.environ.get("ACCEL", "tcg"), "memory": os.environ.get("MEMORY", "256"),
          "firmware": os.environ.get("FIRMWARE", "/usr/share/ovmf/OVMF.fd")}
DOWN = b"\x1b[B"
FIRMWARE = {
    "x64": ("BOOTX64.EFI", "qemu-system-x86_64 -accel {accel} -machine q35 -bios {firmware} "
            "-device ide-hd,drive=d0,bootindex=0 -debugcon file:{work}/debug.txt -global isa-debugcon.iobase=0x402"),
    "aarch64": ("BOOTAA64.EFI", "qemu-system-aarch64 -accel tcg -machine virt -cpu cortex-a57 "
                "-bios /usr/share/qemu-efi-aarch64/QEMU_EFI.fd -boot menu=on,splash-time=0 "
                "-device virtio-blk-device,drive=d0,bootindex=0 -chardev file,id=debug,path={work}/debug.txt "
                "-semihosting-config enable=on,target=native,chardev=debug"),
}
COMMON = " -m {memory} -nodefaults -display none -no-reboot -serial stdio -drive if=none,id=d0,format=raw,file={work}/disk.img"


def make_disk(images, work, boot_file):
    disk = f"{work}/disk.img"
    os.makedirs(work, exist_ok=True)
    with open(disk, "wb") as file:
        file.truncate(16 << 20)
    subprocess.run(["mformat", "-i", disk, "::"], check=True)
    subprocess.run(["mmd", "-i", disk, "::/EFI", "::/EFI/BOOT"], check=True)
    subprocess.run(["mcopy", "-i", disk, f"{images}/RaidHealth.efi", f"{images}/RaidSim.efi", "::/"], check=True)
    subprocess.run(["mcopy", "-i", disk, f"{images}/guest/fwhealth.efi", f"::/EFI/BOOT/{boot_file}"], check=True)


class Console:
    def __init__(self, command):
        self.deadline = time.monotonic() + LIMIT
        self.process = subprocess.Popen(command.split(), stdin=subprocess.PIPE, stdout=subprocess.PIPE, bufsize=0)
        self.raw = b""

    def text(self):
        """What was written since the last key, with what steers the terminal and runs of blanks as one blank."""
        text = re.sub(rb"\x1b\[[0-9;?=]*[A-Za-z]", b" ", self.raw).decode("latin1")
        return re.sub(r" +", " ", text.replace("\r", ""))

    def read_until(self, words, seconds=LIMIT):
        """Waits until words were written; False when they were not in that time."""
        end = min(self.deadline, time.monotonic() + seconds)
        while words not in self.text():
            ready = select.select([self.process.stdout], [], [], max(end - time.monotonic(), 0))[0]
            data = os.read(self.process.stdout.fileno(), 65536) if ready else b""
            if not data:
                return False
            self.raw += data
        return True

    def want(self, words):
        if not self.read_until(words):
            sys.exit(f"waited in vain for \"{words}\"; the console says:\n{self.text()}")

    def press(self, key):
        self.raw = b""
        self.process.stdin.write(key)

    def select(self, help_text):
        """Goes down until the help of the selected line says this."""
        for _ in range(12):
            if self.read_until(help_text, seconds=1.5):
                return
            self.press(DOWN)
        sys.exit(f"no line of the menu says \"{help_text}\":\n{self.text()}")


def health_page(console):
    """The firmware's page, with the messages beside the first and, once it is selected, the second controller."""
    console.want("Device Manager")
    console.select("take you to the Device Manager")
    console.press(b"\r")
    console.select("List all the Driver Health instances")
    console.press(b"\r")
    console.want("RAID health Harrier R6 Integrated")
    console.want("Failed.")
    console.read_until("nothing more", seconds=3)
    page = console.text()
    assert page.count("RAID health Harrier R6 Integrated") == 3, f"not three controllers on the page:\n{page}"
    console.press(DOWN)
    console.read_until("nothing more", seconds=3)
    return page + console.text()


def printed_lines(console, language):
    return re.findall(rf"health {language}: (.*?)\n", console.text())


def main():
    arch, images, work = sys.argv[1:]
    boot_file, machine = FIRMWARE[arch]
    make_disk(images, work, boot_file)
    console = Console((machine + COMMON).format(work=work, **OTHERS))
    try:
        console.want("health done")
        lines = printed_lines(console, "en-US")
        translated = printed_lines(console, "de-DE")
        page = health_page(console)
    finally:
        console.process.kill()
    with open(f"{work}/debug.txt", encoding="latin1") as file:
        report = file.read()
    print(report, *lines, *translated, sep="\n")
    assert "end health:" in report and "FAIL" not in report, "the guest's checks"
    assert lines[:2] == ["Virtual disk System, RAID 1: Degraded", "Physical Disk 0:0: Failed"], lines
    assert len(lines) == len(translated) and translated[0].startswith("Virtuelles Laufwerk System, RAID 1"), translated
    for line in lines:
        assert line in page, f"\"{line}\" is not on the page:\n{page}"


if __name__ == "__main__":
    main()
