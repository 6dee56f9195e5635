#!/usr/bin/python3
"""Writes the SPDX document of a bundle: its files with their digests, and what the .sbom sections of its images tell of
rooms and tools.

spdx.py BUNDLE NAME VERSION SECONDS OUT.json   (SECONDS since 1970, the time that it tells)
"""
import hashlib
import json
import pathlib
import re
import sys
import time
import uuid

import cbor
import coswid as tag
from pe import Image

NOT_SAID = "NOASSERTION"


def spdx_id(kind, name):
    return f"SPDXRef-{kind}-" + re.sub(r"[^A-Za-z0-9.-]", "-", name)


def package(kind, name, version, **more):
    return {"SPDXID": spdx_id(kind, f"{name}-{version}"), "name": name, "versionInfo": version, "filesAnalyzed": False,
            "downloadLocation": NOT_SAID, "licenseConcluded": NOT_SAID, "licenseDeclared": NOT_SAID,
            "copyrightText": NOT_SAID, **more}


def file_entry(path, name):
    data = path.read_bytes()
    sums = [{"algorithm": kind.upper(), "checksumValue": hashlib.new(kind, data).hexdigest()}
            for kind in ("sha1", "sha256")]
    return {"SPDXID": spdx_id("File", name), "fileName": "./" + name, "checksums": sums,
            "licenseConcluded": NOT_SAID, "copyrightText": NOT_SAID}


def relation(one, kind, other):
    return {"spdxElementId": one, "relationshipType": kind, "relatedSpdxElement": other}


class Document:
    def __init__(self, name, version):
        self.bundle = package("Package", name, version)
        self.packages, self.files = {self.bundle["SPDXID"]: self.bundle}, []
        self.relations = [relation("SPDXRef-DOCUMENT", "DESCRIBES", self.bundle["SPDXID"])]

    def add_package(self, entry):
        if self.packages.setdefault(entry["SPDXID"], entry) != entry:
            raise ValueError(f"two kinds of {entry['name']} {entry['versionInfo']}")
        return entry["SPDXID"]

    def add_file(self, path, name):
        entry = file_entry(path, name)
        self.files.append(entry)
        self.relations.append(relation(self.bundle["SPDXID"], "CONTAINS", entry["SPDXID"]))
        sbom = Image(path).section(".sbom") if name.endswith(".efi") else None
        if sbom is not None:
            self.add_image(entry, cbor.decode(sbom))

    def add_image(self, entry, sbom):
        """The rooms and tools that an image's tag names."""
        for room in sbom[tag.PAYLOAD][tag.FILE]:
            sums = [{"algorithm": "SHA256", "checksumValue": room[tag.HASH][1].hex()}]
            room_id = self.add_package(package("Room", room[tag.FILE_NAME], sbom[tag.VERSION], checksums=sums,
                                               supplier="Organization: " + sbom[tag.ENTITY][tag.ENTITY_NAME]))
            self.relations.append(relation(entry["SPDXID"], "STATIC_LINK", room_id))
        for link in sbom[tag.LINK]:
            name, _, version = link[tag.HREF].removeprefix("swid:").rpartition("-")
            tool = self.add_package(package("Tool", name, version))
            self.relations.append(relation(tool, "BUILD_TOOL_OF", entry["SPDXID"]))

    def verification_code(self):
        sums = sorted(entry["checksums"][0]["checksumValue"] for entry in self.files)
        return {"packageVerificationCodeValue": hashlib.sha1("".join(sums).encode()).hexdigest()}

    def whole(self, seconds):
        self.bundle |= {"filesAnalyzed": True, "packageVerificationCode": self.verification_code()}
        body = {"packages": list(self.packages.values()), "files": self.files, "relationships": self.relations}
        content = uuid.uuid5(uuid.NAMESPACE_URL, json.dumps(body))
        return {"spdxVersion": "SPDX-2.3", "dataLicense": "CC0-1.0", "SPDXID": "SPDXRef-DOCUMENT",
                "name": f"{self.bundle['name']}-{self.bundle['versionInfo']}", "documentNamespace": f"urn:uuid:{content}",
                "creationInfo": {"created": time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(seconds)),
                                 "creators": [f"Tool: {self.bundle['name']}-{self.bundle['versionInfo']}"]}, **body}


def main():
    bundle, name, version, seconds, out = sys.argv[1:]
    bundle, out = pathlib.Path(bundle), pathlib.Path(out)
    document = Document(name, version)
    for path in sorted(bundle.rglob("*")):
        if path.is_file() and path != out:
            document.add_file(path, path.relative_to(bundle).as_posix())
    out.write_text(json.dumps(document.whole(int(seconds)), indent=1) + "\n", encoding="utf-8")


if __name__ == "__main__":
    main()
