"""Answers requests by the rules of the protocol."""
import asyncio
import collections
import hashlib
import json

import yarl
from aiohttp import web

import conditions
import messages
import own_resources
import query
from messages import Refusal

BODY_PATIENCE = 30  # seconds for a body to come
METHODS = ("GET", "HEAD", "OPTIONS", "POST", "PATCH", "PUT", "DELETE")
OPEN = ("/redfish", "/redfish/v1", own_resources.ODATA, own_resources.METADATA)  # to be read by anybody
HEADERS = {"OData-Version": "4.0", "Cache-Control": "no-cache"}


class Answer:
    """A status, a body (JSON, or a text that is none) and headers."""

    def __init__(self, status, body=None, **headers):
        self.status, self.body = status, body
        self.headers = {name.replace("_", "-"): value for name, value in headers.items()}

    def response(self):
        data, kind = b"", None
        if isinstance(self.body, str):
            data, kind = self.body.encode(), "application/xml"
        elif self.body is not None:
            text = json.dumps(self.body, separators=(",", ":"), ensure_ascii=False)
            data, kind = text.encode(errors="replace"), "application/json"  # a request may have no UTF-8
        headers = {**HEADERS, **self.headers}
        if kind:
            headers["Content-Type"] = kind + ";charset=utf-8" if kind.endswith("json") else kind
        return web.Response(status=self.status, body=data, headers=headers)


def etag_of(resource):
    if resource is None:
        return None
    return resource.get("@odata.etag") or f'"{hashlib.sha256(json.dumps(resource).encode()).hexdigest()[:16]}"'


def needs_json(request, body):
    if body and request.headers.get("Content-Type", "").partition(";")[0].strip().lower() != "application/json":
        raise Refusal(415, "HeaderInvalid", "Content-Type")


def accepts(request, kind):
    wanted = [each.partition(";")[0].strip() for each in request.headers.get("Accept", "*/*").split(",")]
    if not any(each in (kind, kind.partition("/")[0] + "/*", "*/*") for each in wanted):
        raise Refusal(406, "HeaderInvalid", "Accept")


class Service:
    """The resources of a controller, and the service's own."""

    def __init__(self, controller, sessions, hosts):
        self.controller, self.sessions, self.hosts = controller, sessions, hosts
        self.changes, self.is_ending = set(), False  # changes that are under way

    async def handle(self, request):
        """The handler of the library."""
        try:
            answer = await self.answer(request)
        except Refusal as refusal:
            answer = Answer(refusal.status, refusal.body)
            answer.headers = refusal.headers
        return answer.response()

    async def answer(self, request):
        self.check_head(request)
        path = request.path.rstrip("/") or "/"
        if request.method == "POST":
            path = path.removesuffix("/Members")  # the same as the collection
        is_login = request.method == "POST" and path == own_resources.LIST
        if not is_login and not (request.method in ("GET", "HEAD") and path in OPEN):
            self.sessions.check(request.headers)
        body = await self.body_of(request)
        tree, methods = await self.known(path)
        allowed = ["GET", "HEAD"] * (path in tree) + methods.get(path, [])
        if not allowed:
            raise Refusal(404, "ResourceMissingAtURI", request.path)
        allow = ", ".join(allowed + ["OPTIONS"])
        if request.method == "OPTIONS":
            return Answer(204, Allow=allow)
        if request.method not in allowed:
            raise Refusal(405, "OperationNotAllowed", headers={"Allow": allow})
        if request.method in ("GET", "HEAD"):
            return self.read(request, path, tree, allow)
        needs_json(request, body)
        if request.query_string:
            raise Refusal(400, "QueryNotSupportedOnOperation")
        return await self.change(request, path, tree, body)

    def check_head(self, request):
        """What can be told before the body is there."""
        if request.method not in METHODS:
            raise Refusal(501, "OperationNotAllowed")
        if request.headers.get("OData-Version", "4.0") != "4.0":
            raise Refusal(412, "HeaderInvalid", "OData-Version")
        given = {request.headers.get("Host")}
        if request.raw_path.startswith("http"):
            given.add(yarl.URL(request.raw_path).authority)
        if self.hosts and not given <= self.hosts:  # a name of another kind is a trick of a web page
            raise Refusal(400, "HeaderInvalid", "Host")
        origin = request.headers.get("Origin", "").partition("://")[2]
        if self.hosts and "Origin" in request.headers and origin not in self.hosts:  # a page needs no answer to do harm
            raise Refusal(400, "HeaderInvalid", "Origin")

    async def body_of(self, request):
        """The whole body: a request of which a part is missing does nothing."""
        if request.headers.get("Expect", "").lower() == "100-continue" and not request.content.is_eof():
            request.transport.write(b"HTTP/1.1 100 Continue\r\n\r\n")
        try:
            return await asyncio.wait_for(request.read(), BODY_PATIENCE)
        except web.HTTPRequestEntityTooLarge as problem:
            raise Refusal(413, "PayloadTooLarge", headers={"Connection": "close"}) from problem
        except asyncio.TimeoutError as problem:
            raise Refusal(408, "UnrecognizedRequestBody", headers={"Connection": "close"}) from problem
        except (OSError, web.PayloadAccessError, web.RequestPayloadError) as problem:
            raise Refusal(400, "UnrecognizedRequestBody", resolution="The body ended before its length.") from problem

    async def known(self, path):
        """Resources and methods by their URIs; the controller is asked only when it is about it."""
        own = own_resources.resources(self.sessions.open.values())
        methods = own_resources.methods(own)
        if path in own or path in methods:
            return own, methods
        read, changing = await self.controller.read()
        root = own_resources.root_with(read["/redfish/v1"])
        more = {"/redfish/v1": root, own_resources.ODATA: own_resources.odata(root), own_resources.METADATA: {}}
        return collections.ChainMap(own, more, read), collections.ChainMap(methods, changing)

    def read(self, request, path, tree, allow):
        if path == own_resources.METADATA:
            accepts(request, "application/xml")
            return Answer(200, own_resources.metadata(tree.values()), Allow=allow)
        accepts(request, "application/json")
        resource, etag = tree[path], etag_of(tree[path])
        headers = {"Allow": allow}
        if "@odata.type" in resource:
            kind = resource["@odata.type"][1:].rpartition(".")[0]
            headers["Link"] = f"<{own_resources.SCHEMAS}{kind}.json>; rel=describedby"
        if request.query_string:  # the tag is one of the resource as it is
            return Answer(200, query.apply(request.query, resource, tree.get), **headers)
        is_known = conditions.check(request.headers, etag, reads=True)
        return Answer(304 if is_known else 200, None if is_known else resource, ETag=etag, **headers)

    async def change(self, request, path, tree, body):
        if path.startswith(own_resources.LIST):
            return self.change_sessions(request, path, tree, body)
        if self.is_ending:
            raise Refusal(503, "ServiceShuttingDown")
        target = path.partition("/Actions/")[0]
        etag = etag_of(tree.get(target))
        conditions.check(request.headers, etag, reads=False)
        condition = etag if request.headers.get("If-Match", "*").strip() != "*" else ""
        done = asyncio.ensure_future(self.controller.change(request.method, path, body, condition))
        self.changes.add(done)
        done.add_done_callback(self.changes.discard)
        told = await asyncio.shield(done)  # also when nobody waits any more
        headers = {"Location": told["location"]} if "location" in told else {}
        if "@odata.etag" in (told.get("body") or {}):
            headers["ETag"] = told["body"]["@odata.etag"]
        return Answer(told["status"], told.get("body"), **headers)

    def change_sessions(self, request, path, tree, body):
        if request.method == "DELETE":
            conditions.check(request.headers, etag_of(tree[path]), reads=False)
            self.sessions.logout(path.rpartition("/")[2])
            return Answer(204)
        try:
            asked = json.loads(body)
        except (ValueError, RecursionError) as problem:
            raise Refusal(400, "MalformedJSON") from problem
        for name in ("UserName", "Password"):
            if not isinstance(asked, dict) or name not in asked:
                raise Refusal(400, "CreateFailedMissingReqProperties", name)
            if not isinstance(asked[name], str):
                raise Refusal(400, "PropertyValueTypeError", asked[name], name)
        session = self.sessions.login(asked["UserName"], asked["Password"])
        resource = own_resources.session_resource(session)
        return Answer(201, resource, Location=resource["@odata.id"], X_Auth_Token=session.token)

    async def finish(self):
        """Waits for the changes that are under way; no others begin."""
        self.is_ending = True
        while self.changes:
            await asyncio.wait(self.changes)
