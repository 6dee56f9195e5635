"""A firmware's console in QEMU: keys go in, and a terminal emulator (python3-pyte) keeps the screen."""
import os
import select
import subprocess
import sys
import time

import pyte

KEYS = {"up": b"\x1b[A", "down": b"\x1b[B", "enter": b"\r", "esc": b"\x1b", "space": b" "}
# Each firmware takes its serial console for another kind of terminal.
FUNCTION_KEYS = {"x64": {"F9": b"\x1b[U", "F10": b"\x1b[V"}, "aarch64": {"F9": b"\x1bOp", "F10": b"\x1bOM"}}
QUIET = 0.6  # seconds without output after which a screen is taken for whole
FIRMWARE = {
    "x64": ("cp437", "qemu-system-x86_64 -accel tcg -machine q35 -bios /usr/share/ovmf/OVMF.fd "
            "-device ide-hd,drive=d0,bootindex=0 -debugcon file:{work}/debug.txt -global isa-debugcon.iobase=0x402"),
    "aarch64": ("latin1", "qemu-system-aarch64 -accel tcg -machine virt -cpu cortex-a57 "
                "-bios /usr/share/qemu-efi-aarch64/QEMU_EFI.fd -boot menu=on,splash-time=0 "
                "-device virtio-blk-device,drive=d0,bootindex=0 -chardev file,id=debug,path={work}/debug.txt "
                "-semihosting-config enable=on,target=native,chardev=debug"),
}
COMMON = (" -m 256 -nodefaults -display none -no-reboot -serial stdio "
          "-drive if=none,id=d0,format=raw,file={work}/disk.img")


class Console:
    def __init__(self, arch, work, limit, more=""):
        self.code, command = FIRMWARE[arch]
        self.keys = {**KEYS, **FUNCTION_KEYS[arch]}
        self.deadline = time.monotonic() + limit
        self.screen = pyte.Screen(80, 31)
        self.stream = pyte.Stream(self.screen)
        self.raw = open(f"{work}/console.raw", "wb")
        words = f"{command + COMMON} {more}".format(work=work).split()
        self.process = subprocess.Popen(words, stdin=subprocess.PIPE, stdout=subprocess.PIPE, bufsize=0)

    def fail(self, why):
        sys.exit(f"{why}; the screen says:\n" + self.text())

    def text(self):
        return "\n".join(line.rstrip() for line in self.screen.display)

    def has(self, words):
        return words in " ".join(self.text().split())

    def pump(self, seconds):
        """Reads what comes within that time; whether anything did."""
        ready = select.select([self.process.stdout], [], [], max(seconds, 0))[0]
        if not ready:
            return False
        data = os.read(self.process.stdout.fileno(), 65536)
        if not data:
            self.fail("the firmware ended")
        self.raw.write(data)
        self.stream.feed(data.decode(self.code))
        return True

    def settle(self, quiet=QUIET):
        while self.pump(min(quiet, self.deadline - time.monotonic())):
            if time.monotonic() > self.deadline:
                self.fail("out of time")

    def want(self, words, seconds=60):
        """Waits until the screen has these words, whatever the blanks and line ends between them."""
        end = min(self.deadline, time.monotonic() + seconds)
        while not self.has(words):
            if time.monotonic() > end:
                self.fail(f"waited in vain for \"{words}\"")
            self.pump(0.2)
        self.settle()

    def press(self, *keys):
        for key in keys:
            self.process.stdin.write(self.keys.get(key) or key.encode())
            # Alone, the escape key is told from the beginning of another one by the time that passes.
            self.settle(2.5 if key == "esc" else QUIET)

    def marked(self):
        """The option that is highlighted in a window."""
        rows = (self.screen.buffer[row] for row in range(31))
        marked = ("".join(row[column].data for column in range(80) if row[column].bg == "cyan") for row in rows)
        return next((text.strip() for text in marked if text.strip()), "")

    def selected(self):
        """The text of the line that is highlighted."""
        for row in range(3, 29):
            cells = [self.screen.buffer[row][column] for column in range(80)]
            marked = "".join(cell.data for cell in cells if cell.bg == "black")
            if marked.strip() and any(cell.bg != "black" for cell in cells):
                # The highlight of a value is on the value alone; its prompt stands on the same line.
                return "".join(cell.data for cell in cells[:58]).strip()
        return ""

    def select(self, words, key="down", most=80):
        """Goes through the lines until the highlighted one begins so."""
        seen = []
        for _ in range(most):
            line = self.selected().lstrip("> ")
            if line.startswith(words):
                return
            seen.append(line)
            self.press(key)
        self.fail(f"no line says \"{words}\", only {seen}")

    def close(self):
        self.process.kill()
        self.process.wait()
        self.raw.close()
