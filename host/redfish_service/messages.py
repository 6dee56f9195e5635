"""Messages of the standard's registry "Base", which lies beside this file as it is published, but compressed."""
import functools
import json
import lzma
import pathlib

FILE = pathlib.Path(__file__).parent / "Base.1.22.1.json.xz"


@functools.cache
def registry():
    return json.loads(lzma.decompress(FILE.read_bytes()))


def message(key, *arguments, resolution=""):
    """A message as an object of "@Message.ExtendedInfo"; the resolution is the registry's, or what is known better."""
    row = registry()["Messages"][key]
    text = row["Message"]
    for number, argument in enumerate(arguments, 1):
        text = text.replace(f"%{number}", str(argument))
    version = ".".join(registry()["RegistryVersion"].split(".")[:2])
    return {"@odata.type": "#Message.v1_3_0.Message", "MessageId": f"Base.{version}.{key}", "Message": text,
            "MessageArgs": [str(argument) for argument in arguments], "MessageSeverity": row["MessageSeverity"],
            "Resolution": resolution or row["Resolution"]}


class Refusal(Exception):
    """A request that is not done: the answer's status, message and headers."""

    def __init__(self, status, key, *arguments, resolution="", headers=None):
        super().__init__(key)
        told = message(key, *arguments, resolution=resolution)
        self.status, self.headers = status, headers or {}
        self.body = {"error": {"code": told["MessageId"], "message": told["Message"], "@Message.ExtendedInfo": [told]}}
