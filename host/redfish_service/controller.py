"""The controller, by way of 'xyl redfish', which makes resources of it and runs requests on it."""
import asyncio
import json
import os
import stat
import subprocess

from messages import Refusal

PATIENCE = 5  # seconds after which what cannot be read now may be asked for again


class Controller:
    """What 'xyl redfish' last told, read anew when the files have changed. One program runs at a time."""

    def __init__(self, xyl, files, source):
        self.xyl, self.files, self.source = xyl, files, source
        self.turn, self.stamp, self.told = asyncio.Lock(), None, None

    def stamps(self):
        """What tells that a file is another one. A device tells nothing, so nothing equals its stamp."""
        found = [os.stat(name) for name in self.files]
        return [(each.st_mtime_ns, each.st_ctime_ns, each.st_size, each.st_ino, each.st_dev)
                if stat.S_ISREG(each.st_mode) else object() for each in found]

    def run(self, words, body):
        # In a session of its own, so that Ctrl-C at the terminal of the service does not end a change halfway.
        done = subprocess.run([self.xyl, "redfish", *words, *self.source], input=body, capture_output=True, check=False,
                              start_new_session=True)
        if done.returncode != 0 or not done.stdout:
            raise OSError(done.stderr.decode(errors="replace").strip() or f"xyl ended with {done.returncode}")
        return json.loads(done.stdout)

    async def run_aside(self, *words, body=b""):
        try:
            return await asyncio.to_thread(self.run, words, body)
        except (OSError, ValueError) as problem:
            raise Refusal(503, "ServiceTemporarilyUnavailable", PATIENCE, resolution=str(problem),
                          headers={"Retry-After": str(PATIENCE)}) from problem

    def is_current(self):
        try:
            return self.told is not None and self.stamps() == self.stamp
        except OSError:
            return False

    async def read(self):
        """The resources by their URIs, and the methods that change them."""
        if not self.is_current():
            async with self.turn:
                if not self.is_current():  # nobody has read it meanwhile
                    await self.read_anew()
        return self.told["resources"], self.told["methods"]

    async def read_anew(self):
        self.told = None
        try:
            self.stamp = self.stamps()  # before it is read: what is written meanwhile has another one
        except OSError as problem:
            raise Refusal(503, "ServiceTemporarilyUnavailable", PATIENCE, resolution=str(problem),
                          headers={"Retry-After": str(PATIENCE)}) from problem
        self.told = await self.run_aside("-")

    async def change(self, method, uri, body, etag):
        """Runs the request on the controller; tells the answer's status, location and body."""
        condition = ["--if-match", etag] if etag else []
        async with self.turn:
            return await self.run_aside("--request", "-", "--yes", *condition, method, uri, body=body)
