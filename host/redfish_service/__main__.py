"""Serves a simulated controller, or disk images, as a Redfish service, for the development of its clients.

    redfish_service [--xyl PROGRAM] [--port N] [--host ADDRESS] [--users FILE] [--tls CERT.pem]
                    (BOX.json | --disk IMAGE...) [-- COMMAND...]

Serves until it is interrupted, or while COMMAND runs, which finds the address in the variable REDFISH. Without --host
it serves this machine alone, on the loopback address, and asks nobody who they are; any other address wants users and
TLS.
"""
import argparse
import asyncio
import contextlib
import ipaddress
import logging
import os
import signal
import ssl
import sys

from aiohttp import web

from connection import Server
from controller import Controller
from messages import Refusal
from service import Service
from sessions import Sessions, read_users

BACKLOG = 512
ANSWER_PATIENCE = 2  # seconds that clients have at the end to take their answers


def arguments(words):
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("--xyl", default="xyl")
    parser.add_argument("--port", type=int, default=0)
    parser.add_argument("--host", default="127.0.0.1")
    parser.add_argument("--users")
    parser.add_argument("--tls")
    parser.add_argument("--disk", action="append", default=[])
    parser.add_argument("box", nargs="?")
    given = parser.parse_args(words)
    if bool(given.box) == bool(given.disk):
        parser.error("give one BOX.json, or disks")
    try:
        is_open = not ipaddress.ip_address(given.host).is_loopback
    except ValueError:
        parser.error("--host wants an address in numbers")
    if is_open and not (given.users and given.tls):
        parser.error("--host of others than this machine wants --users and --tls")
    return given


def controller_of(given):
    source = ["--controller", given.box] if given.box else [word for disk in given.disk for word in ("--disk", disk)]
    return Controller(given.xyl, given.disk or [given.box], source)


def tls_of(given):
    if not given.tls:
        return None
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(given.tls)
    return context


@contextlib.asynccontextmanager
async def serving(controller, given, log=None):
    """Serves meanwhile: the address."""
    try:
        await controller.read()  # a source that cannot be read is told before anybody asks
    except Refusal as refusal:
        raise OSError(refusal.body["error"]["@Message.ExtendedInfo"][0]["Resolution"]) from refusal
    hosts = set()
    service = Service(controller, Sessions(read_users(given.users) if given.users else None), hosts)
    runner = web.ServerRunner(Server(service.handle, access_log=log, access_log_format='"%r" %s'))
    await runner.setup()
    site = web.TCPSite(runner, given.host, given.port, ssl_context=tls_of(given), backlog=BACKLOG,
                       shutdown_timeout=ANSWER_PATIENCE)
    await site.start()
    name = f"[{given.host}]" if ":" in given.host else given.host
    port = runner.addresses[0][1]
    if not given.users:
        hosts |= {f"{name}:{port}", f"localhost:{port}"}
    try:
        yield f"http{'s' if given.tls else ''}://{name}:{port}"
    finally:
        await service.finish()
        await runner.cleanup()


async def run_command(command, address, ended):
    """The exit code of a command that runs until it ends, or is ended."""
    process = await asyncio.create_subprocess_exec(*command, env={**os.environ, "REDFISH": address})
    waits = {asyncio.ensure_future(process.wait()), asyncio.ensure_future(ended.wait())}
    await asyncio.wait(waits, return_when=asyncio.FIRST_COMPLETED)
    if process.returncode is None:
        process.terminate()
    return await process.wait()


async def main(words):
    split = words.index("--") if "--" in words else len(words)
    given, command = arguments(words[:split]), words[split + 1:]
    ended, loop = asyncio.Event(), asyncio.get_running_loop()

    def end(*_):
        with contextlib.suppress(RuntimeError):  # the loop has ended already
            loop.call_soon_threadsafe(ended.set)

    for number in (signal.SIGINT, signal.SIGTERM):
        signal.signal(number, end)  # stays when the loop's own handlers go
    log = logging.getLogger("requests")
    if not command:
        logging.basicConfig(level=logging.INFO, format="%(asctime)s %(message)s")
    async with serving(controller_of(given), given, log if not command else None) as address:
        if command:
            return await run_command(command, address, ended)
        print(f"serving {address}/redfish/v1/; Ctrl-C ends it", flush=True)
        await ended.wait()
    return 0


if __name__ == "__main__":
    try:
        result = asyncio.run(main(sys.argv[1:]))
        for ending in (signal.SIGINT, signal.SIGTERM):
            signal.signal(ending, signal.SIG_IGN)  # the interpreter would take its handlers away at its end
        sys.exit(result)
    except OSError as fault:
        sys.exit(f"redfish_service: {fault}")
