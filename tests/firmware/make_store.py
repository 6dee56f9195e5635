#!/usr/bin/env python3
"""Makes a variable store for firmware in QEMU. Of STORE only the form is taken: its variables go.
  make_store.py STORE OUT key CERTIFICATE.der   the certificate is the platform's only key: its owner's, that of those who
                                                may change the others, and the one that images have to be signed with; so
                                                Secure Boot is on
  make_store.py STORE OUT boot URL              the firmware boots what the network has there"""
import struct
import sys
import uuid

GLOBAL = uuid.UUID("8be4df61-93ca-11d2-aa0d-00e098032b8c")
SECURITY = uuid.UUID("d719b2cb-3d3a-4596-a3bc-dad00e67656f")
X509 = uuid.UUID("a5c059a1-94e4-4aa7-87b5-ab155c2bf072")
OWNER = uuid.UUID("6b3f9d0e-52c1-4e07-9b53-2f0c3f2b7a11")
STORE_HEADER = 28  # behind the volume's header
KEPT = 7  # and for boot and run time
SIGNED = 0x27  # changed with a signature only


def key_variables(file):
    owned = OWNER.bytes_le + open(file, "rb").read()
    keys = X509.bytes_le + struct.pack("<III", 28 + len(owned), 0, len(owned)) + owned
    return [("PK", GLOBAL, SIGNED, keys), ("KEK", GLOBAL, SIGNED, keys), ("db", SECURITY, SIGNED, keys)]


def boot_variables(url):
    path = struct.pack("<BBH", 3, 24, 4 + len(url)) + url.encode() + b"\x7f\xff\x04\x00"
    option = struct.pack("<IH", 1, len(path)) + "network\0".encode("utf-16-le") + path
    return [("Boot0007", GLOBAL, KEPT, option), ("BootOrder", GLOBAL, KEPT, b"\x07\x00")]


store_name, out, kind, value = sys.argv[1:]
store = bytearray(open(store_name, "rb").read())
volume = struct.unpack_from("<H", store, 48)[0]
size = struct.unpack_from("<I", store, volume + 16)[0]
at = volume + STORE_HEADER
store[at:volume + size] = b"\xff" * (size - STORE_HEADER)
for name, vendor, attributes, data in {"key": key_variables, "boot": boot_variables}[kind](value):
    text = (name + "\0").encode("utf-16-le")
    time = struct.pack("<HBBBBBBIhBB", 2026, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0)
    variable = struct.pack("<HBBIQ16sIII", 0x55AA, 0x3F, 0, attributes, 0, time, 0, len(text), len(data))
    variable += vendor.bytes_le + text + data
    store[at:at + len(variable)] = variable
    at += (len(variable) + 3) & ~3
open(out, "wb").write(store)
