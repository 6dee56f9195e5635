"""What is read from a PE32+ image: its header's fields and its sections."""
import struct


class Image:
    def __init__(self, path):
        with open(path, "rb") as file:
            self.bytes = file.read()
        header = self.number("<I", 0x3C)
        if self.bytes[header:header + 4] != b"PE\0\0":
            raise ValueError(f"{path} is no PE image")
        self.machine = self.number("<H", header + 4)
        self.subsystem = self.number("<H", header + 24 + 68)
        self.table = header + 24 + self.number("<H", header + 20)
        self.count = self.number("<H", header + 6)

    def number(self, form, at):
        return struct.unpack_from(form, self.bytes, at)[0]

    def section(self, name):
        """The bytes of a section without what fills it up; None when there is none of that name."""
        for at in range(self.table, self.table + 40 * self.count, 40):
            own, size, _, stored, place = struct.unpack_from("<8sIIII", self.bytes, at)
            if own.rstrip(b"\0") == name.encode():
                return self.bytes[place:place + min(size, stored)]
        return None
