#!/usr/bin/env python3
"""Makes a variable store in which a certificate is the platform's only key: its owner's, that of those who may change the
others, and the one that images have to be signed with. The firmware then boots with Secure Boot on.
  enroll_keys.py STORE CERTIFICATE.der OUT
Of STORE only the form is taken: its variables go."""
import struct
import sys
import uuid

GLOBAL = uuid.UUID("8be4df61-93ca-11d2-aa0d-00e098032b8c")
SECURITY = uuid.UUID("d719b2cb-3d3a-4596-a3bc-dad00e67656f")
X509 = uuid.UUID("a5c059a1-94e4-4aa7-87b5-ab155c2bf072")
OWNER = uuid.UUID("6b3f9d0e-52c1-4e07-9b53-2f0c3f2b7a11")
STORE_HEADER = 28  # behind the volume's header
ATTRIBUTES = 0x27  # kept, for boot and run time, changed with a signature only

store = bytearray(open(sys.argv[1], "rb").read())
certificate = open(sys.argv[2], "rb").read()
owned = OWNER.bytes_le + certificate
keys = X509.bytes_le + struct.pack("<III", 28 + len(owned), 0, len(owned)) + owned
volume = struct.unpack_from("<H", store, 48)[0]
size = struct.unpack_from("<I", store, volume + 16)[0]
store[volume + STORE_HEADER:volume + size] = b"\xff" * (size - STORE_HEADER)
at = volume + STORE_HEADER
for name, vendor in (("PK", GLOBAL), ("KEK", GLOBAL), ("db", SECURITY)):
    text = (name + "\0").encode("utf-16-le")
    time = struct.pack("<HBBBBBBIhBB", 2026, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0)
    variable = struct.pack("<HBBIQ16sIII", 0x55AA, 0x3F, 0, ATTRIBUTES, 0, time, 0, len(text), len(keys))
    variable += vendor.bytes_le + text + keys
    store[at:at + len(variable)] = variable
    at += (len(variable) + 3) & ~3
open(sys.argv[3], "wb").write(store)
