#!/usr/bin/python3
"""protocol_test.py XYL SOURCES: the rules of the protocol, a row each."""
import base64
import json
import os
import re
import socket
import subprocess
import sys
import tempfile

from support import STORAGE, XYL, SERVICE, ask, check, conclude, message_of, new_box, place_of, served

sys.path.append(SERVICE)
import sessions  # of the service itself, whose clock no client can turn

ROOT = "/redfish/v1/"
VOLUMES, ONE = STORAGE + "/Volumes", STORAGE + "/Volumes/2"
CHECK = ONE + "/Actions/Volume.CheckConsistency"
SESSIONS, REGISTRIES = ROOT + "SessionService/Sessions", ROOT + "Registries"
LOGIN = {"UserName": "somebody", "Password": "something"}
NAME = {"DisplayName": "b"}
JSON = r"application/json(;charset=utf-8)?"
ETAG = "ETAG"  # stands for the tag of ONE

# Rule (and which assertion of DMTF's protocol validator it is), method, URI, headers, body; status, headers of the
# answer, what its body says.
ROWS = (
    ("protocol version (PROTO_STD_URIS_SUPPORTED)",
     "GET", "/redfish", {}, None, 200, {"Content-Type": JSON}, {"v1": ROOT}),
    ("protocol version, a slash", "GET", "/redfish/", {}, None, 200, {}, {"v1": ROOT}),
    ("root", "GET", ROOT, {}, None, 200, {"OData-Version": "4.0", "Content-Type": JSON}, {"@odata.id": ROOT}),
    ("root without a slash", "GET", "/redfish/v1", {}, None, 200, {}, {"@odata.id": ROOT}),
    ("service document (REQ_GET_ODATA_URI, RESP_ODATA_SERVICE_CONTEXT, RESP_ODATA_SERVICE_MIME_TYPE)", "GET",
     ROOT + "odata", {}, None, 200, {"Content-Type": JSON}, {"@odata.context": ROOT + "$metadata"}),
    ("its links (RESP_ODATA_SERVICE_VALUE_PROP)", "GET", ROOT + "odata", {}, None, 200, {}, '"value": ['),
    ("metadata (REQ_GET_METADATA_URI, RESP_ODATA_METADATA_ENTITY_CONTAINER, RESP_ODATA_METADATA_MIME_TYPE)", "GET",
     ROOT + "$metadata", {}, None, 200, {"Content-Type": "application/xml"},
     'Extends="ServiceRoot.v1_20_0.ServiceContainer"'),
    ("metadata of others", "GET", ROOT + "$metadata", {}, None, 200, {}, 'Namespace="DataStorageLoSCapabilities"'),
    ("absolute URI (RFC 9112, 3.2.2)", "GET", "http://HOST" + ONE, {}, None, 200, {}, {"Id": "2"}),
    ("absolute URI of others", "GET", "http://evil.example" + ONE, {}, None, 400, {}, "HeaderInvalid"),
    ("another name", "GET", ONE, {"Host": "evil.example"}, None, 400, {}, "HeaderInvalid"),
    ("a page of others", "POST", CHECK, {"Origin": "http://evil.example"}, None, 400, {}, "HeaderInvalid"),
    ("its own page", "GET", ONE, {"Origin": "http://HOST"}, None, 200, {}, {"Id": "2"}),
    ("OData-Version", "GET", ROOT, {"OData-Version": "4.0"}, None, 200, {}, None),
    ("another OData-Version (REQ_HEADERS_ODATA_VERSION)",
     "GET", ROOT, {"OData-Version": "4.1"}, None, 412, {}, "HeaderInvalid"),
    ("Accept", "GET", ROOT, {"Accept": "application/json, text/html"}, None, 200, {}, None),
    ("Accept of others", "GET", ROOT, {"Accept": "text/html"}, None, 406, {}, "HeaderInvalid"),
    ("Content-Type", "PATCH", ONE, {"Content-Type": "text/plain"}, NAME, 415, {}, "HeaderInvalid"),
    ("its charset", "PATCH", ONE, {"Content-Type": "application/json; charset=utf-8"}, NAME, 200, {}, NAME),
    ("chunks", "PATCH", ONE, {"Transfer-Encoding": "chunked"}, NAME, 200, {}, NAME),
    ("only", "GET", ROOT + "Systems?only", {}, None, 200, {}, {"Id": "1"}),
    ("only, of many", "GET", VOLUMES + "?only", {}, None, 200, {}, {"Members@odata.count": 5}),
    ("only, of one thing", "GET", ONE + "?only", {}, None, 400, {}, "QueryNotSupportedOnResource"),
    ("$expand", "GET", VOLUMES + "?$expand=.($levels=1)", {}, None, 200, {}, '"RAIDType"'),
    ("$expand, wrong", "GET", VOLUMES + "?$expand=x", {}, None, 400, {}, "QueryParameterValueFormatError"),
    ("$expand, far", "GET", VOLUMES + "?$expand=.($levels=99)", {}, None, 400, {}, "QueryParameterOutOfRange"),
    ("two parameters", "GET", VOLUMES + "?$expand=.&only", {}, None, 400, {}, "QueryCombinationInvalid"),
    ("$expand, too much", "GET", STORAGE + "?$expand=*($levels=6)", {}, None, 507, {}, "InsufficientStorage"),
    ("$expand, with a tag", "GET", VOLUMES + "?$expand=.", {"If-None-Match": "*"}, None, 200, {}, '"RAIDType"'),
    ("$filter", "GET", VOLUMES + "?$filter=x", {}, None, 501, {}, "QueryParameterUnsupported"),
    ("$top", "GET", VOLUMES + "?$top=1", {}, None, 501, {}, "QueryParameterUnsupported"),
    ("a parameter that is not known", "GET", ONE + "?colour=red", {}, None, 200, {}, {"Id": "2"}),
    ("a parameter with a change", "PATCH", ONE + "?only", {}, NAME, 400, {}, "QueryNotSupportedOnOperation"),
    ("HEAD", "HEAD", ONE, {}, None, 200, {"ETag": '"[0-9A-F]+"', "Content-Length": "[1-9][0-9]+"}, ""),
    ("HEAD of nothing", "HEAD", VOLUMES + "/9", {}, None, 404, {}, ""),
    ("PUT (RESP_HEADERS_ALLOW_METHOD_NOT_ALLOWED)",
     "PUT", ONE, {}, NAME, 405, {"Allow": "GET, HEAD, PATCH, DELETE, OPTIONS"}, "OperationNotAllowed"),
    ("POST", "POST", ONE, {}, NAME, 405, {"Allow": ".*PATCH.*"}, "OperationNotAllowed"),
    ("action", "GET", CHECK, {}, None, 405, {"Allow": "POST, OPTIONS"}, "OperationNotAllowed"),
    ("PATCH of a collection", "PATCH", VOLUMES, {}, NAME, 405, {"Allow": "GET, HEAD, POST, OPTIONS"},
     "OperationNotAllowed"),
    ("unknown method", "PROPFIND", ONE, {}, None, 501, {"Content-Type": JSON}, "OperationNotAllowed"),
    ("no method", "JUMP", ONE, {}, None, 501, {}, "OperationNotAllowed"),
    ("OPTIONS", "OPTIONS", ONE, {}, None, 204, {"Allow": "GET, HEAD, PATCH, DELETE, OPTIONS"}, ""),
    ("OPTIONS", "OPTIONS", VOLUMES + "/9", {}, None, 404, {}, "ResourceMissingAtURI"),
    ("too much", "PATCH", ONE, {}, json.dumps({"DisplayName": "x" * (1 << 20)}), 413, {}, "PayloadTooLarge"),
    ("PATCH of nothing", "PATCH", VOLUMES + "/9", {}, NAME, 404, {}, "ResourceMissingAtURI"),
    ("Allow (RESP_HEADERS_ALLOW_GET_OR_HEAD)",
     "GET", VOLUMES, {}, None, 200, {"Allow": "GET, HEAD, POST, OPTIONS"}, None),
    ("Cache-Control (RESP_HEADERS_CACHE_CONTROL)", "GET", ONE, {}, None, 200, {"Cache-Control": "no-cache"}, None),
    ("Link (RESP_HEADERS_LINK_REL_DESCRIBED_BY)", "GET", ONE, {}, None, 200,
     {"Link": "<http[^>]*/Volume.v1_10_2.json>; rel=describedby"}, None),
    ("If-None-Match", "GET", ONE, {"If-None-Match": ETAG}, None, 304, {"ETag": ".*"}, ""),
    ("If-None-Match, a list", "GET", ONE, {"If-None-Match": '"x", ' + ETAG}, None, 304, {}, ""),
    ("If-None-Match, weak", "GET", ONE, {"If-None-Match": "W/" + ETAG}, None, 304, {}, ""),
    ("If-None-Match, any", "GET", ONE, {"If-None-Match": "*"}, None, 304, {}, ""),
    ("If-None-Match, another", "GET", ONE, {"If-None-Match": '"x"'}, None, 200, {}, {"Id": "2"}),
    ("If-None-Match, no tag", "GET", ONE, {"If-None-Match": "x"}, None, 400, {}, "HeaderInvalid"),
    ("If-None-Match of a change", "PATCH", ONE, {"If-None-Match": ETAG}, NAME, 412, {}, "PreconditionFailed"),
    ("If-Match", "PATCH", ONE, {"If-Match": '"x"'}, NAME, 412, {}, "PreconditionFailed"),
    ("If-Match, weak", "PATCH", ONE, {"If-Match": "W/" + ETAG}, NAME, 412, {}, "PreconditionFailed"),
    ("If-Match, a list", "PATCH", ONE, {"If-Match": '"x",' + ETAG}, NAME, 200, {"ETag": '"[0-9A-F]+"'}, NAME),
    ("If-Match, any", "PATCH", ONE, {"If-Match": "*"}, NAME, 200, {}, NAME),
    ("If-Match of nothing", "PATCH", VOLUMES + "/9", {"If-Match": "*"}, NAME, 404, {}, "ResourceMissingAtURI"),
    ("registry", "GET", REGISTRIES, {}, None, 200, {}, {"Members@odata.count": 1}),
    ("registry file", "GET", REGISTRIES + "/Base", {}, None, 200, {}, {"Registry": "Base.1.22"}),
    ("registry itself", "GET", REGISTRIES + "/Base/Base.1.22.1", {}, None, 200, {}, {"RegistryVersion": "1.22.1"}),
    ("login (REQ_POST_CREATE_VIA_COLLECTION, PROTO_HTTP_SUPPORTED_METHODS)", "POST", SESSIONS, {}, LOGIN, 201,
     {"X-Auth-Token": ".{20,}", "Location": SESSIONS + "/[0-9]+"},
     {"UserName": "somebody", "Password": None}),
    ("login by Members (REQ_POST_CREATE_TO_MEMBERS_PROP)", "POST", SESSIONS + "/Members", {}, LOGIN, 201,
     {"X-Auth-Token": ".+"},
     {"UserName": "somebody"}),
    ("POST by Members", "POST", VOLUMES + "/Members", {}, {}, 400, {}, "EmptyJSON"),
    ("login without a name", "POST", SESSIONS, {}, {"Password": "x"}, 400, {}, "CreateFailedMissingReqProperties"),
    ("login with a number",
     "POST", SESSIONS, {}, {"UserName": 1, "Password": "x"}, 400, {}, "PropertyValueTypeError"),
    ("login without JSON", "POST", SESSIONS, {}, "{", 400, {}, "MalformedJSON"),
    ("login with deep JSON", "POST", SESSIONS, {}, "[" * 100000, 400, {}, "MalformedJSON"),
    ("login with half a character",
     "POST", SESSIONS, {}, {**LOGIN, "UserName": "\ud800"}, 201, {}, {"UserName": "?"}),
    ("a token of nobody", "GET", ONE, {"X-Auth-Token": "x"}, None, 401, {"WWW-Authenticate": "Basic .*"},
     "NoValidSession"),
    ("logout of nobody", "DELETE", SESSIONS + "/99", {}, None, 404, {}, "ResourceMissingAtURI"),
)


def covers(body, wanted):
    if isinstance(wanted, dict):
        return isinstance(body, dict) and all(body.get(name) == value for name, value in wanted.items())
    return wanted is None or (body == wanted if wanted == "" else wanted in (message_of(body), "") or
                              wanted in (body if isinstance(body, str) else json.dumps(body)))


def check_rows(address):
    host = ":".join(map(str, place_of(address)))
    for rule, method, uri, headers, body, status, told, says in ROWS:
        tag = ask(address, "GET", ONE)[1]["ETag"]
        headers = {name.replace("-", "_"): value.replace(ETAG, tag).replace("HOST", host)
                   for name, value in headers.items()}
        data = body
        if "Transfer_Encoding" in headers:
            data = json.dumps(body).encode()
            data = b"%x\r\n%s\r\n0\r\n\r\n" % (len(data), data)
        found, answered, text = ask(address, method, uri.replace("HOST", host), data, **headers)
        row = (rule, method, uri, headers)
        check(found == status, *row, "answers", found, text)
        for name, pattern in told.items():
            check(re.fullmatch(pattern, answered.get(name, "")), *row, "has", name, answered.get(name))
        check(covers(text, says), *row, "says", text)


def read_all(connection):
    return b"".join(iter(lambda: connection.recv(65536), b""))


def no_request(address):
    """What is no HTTP is answered in JSON, too, and two requests may come in one piece."""
    with socket.create_connection(place_of(address), timeout=30) as connection:
        connection.sendall(b"GET / nonsense\r\n\r\n")
        answer = read_all(connection)
        check(b" 400 " in answer and b"Base.1.22.UnrecognizedRequestBody" in answer, "no HTTP:", answer)
    host = ":".join(map(str, place_of(address)))
    head = f"PATCH {ONE} HTTP/1.1\r\nHost: {host}\r\nContent-Type: application/json\r\nExpect: 100-continue\r\n"
    with socket.create_connection(place_of(address), timeout=30) as connection:
        connection.sendall(f"{head}Connection: close\r\nContent-Length: 19\r\n\r\n".encode())
        check(b" 100 " in connection.recv(99), "a client that waits to be asked for the body")
        connection.sendall(b'{"DisplayName":"b"}')
        check(b" 200 " in read_all(connection), "the body behind it")
    both = f"GET {ONE} HTTP/1.1\r\nHost: {host}\r\n\r\n"
    with socket.create_connection(place_of(address), timeout=30) as connection:
        connection.sendall((both + both.replace("\r\n\r\n", "\r\nConnection: close\r\n\r\n")).encode())
        answer = read_all(connection)
    check(answer.count(b"HTTP/1.1 200") == 2, "two requests in one piece")
    tag = ask(address, "GET", ONE)[1]["ETag"]
    with socket.create_connection(place_of(address), timeout=30) as connection:
        lines = "".join(f"If-None-Match: {each}\r\n" for each in ('"x"', tag)) + "Connection: close\r\n\r\n"
        connection.sendall(both.split("\r\n\r\n", maxsplit=1)[0].encode() + b"\r\n" + lines.encode())
        check(b" 304 " in read_all(connection), "a list in two lines")


def expand(address):
    """Links lead to what they name, as far as asked for."""
    system = ask(address, "GET", ROOT + "Systems/1?$expand=.($levels=2)")[2]
    check(system["Storage"]["Members"][0]["Id"] == "0", "two levels", system["Storage"])
    check(list(system["Links"]["Chassis"][0]) == ["@odata.id"], "links are not asked for", system["Links"])
    links = ask(address, "GET", ROOT + "Systems/1?$expand=~")[2]
    check("ChassisType" in links["Links"]["Chassis"][0] and list(links["Storage"]) == ["@odata.id"], "links", links)


def log_in(address):
    """A session is there from login to logout."""
    _, headers, session = ask(address, "POST", SESSIONS, LOGIN)
    token, uri = headers["X-Auth-Token"], headers["Location"]
    check(ask(address, "GET", uri, X_Auth_Token=token)[2] == session, "no session", session)
    check(uri in json.dumps(ask(address, "GET", SESSIONS)[2]), "the session is not among the members")
    check(ask(address, "DELETE", uri, X_Auth_Token=token)[0] == 204, "logout")
    check(ask(address, "GET", uri, X_Auth_Token=token)[0] == 401, "a session that has ended")


def stay_away():
    """A session that nobody uses ends, and gives its place to another one."""
    store = sessions.Sessions()
    opened = [store.login("somebody", "something") for _ in range(sessions.LIMIT)]
    for used, status in ((0, None), (sessions.TIMEOUT + 1, 401)):
        opened[0].used -= used
        try:
            store.check({"X-Auth-Token": opened[0].token})
            found = None
        except sessions.Refusal as refusal:
            found = refusal.status
        check(found == status, "a session after", used, "seconds:", found)
    store.login("somebody", "else")
    try:
        store.login("somebody", "more")
        check(False, "more sessions than there may be")
    except sessions.Refusal as refusal:
        check(refusal.status == 503, "one session too many:", refusal.status)


def with_users():
    """With users everything but the way in wants one of them."""
    with open("users", "w", encoding="utf-8") as file:
        file.write("admin:se:cret\n")
    for mode, words, tells in ((0o644, ("--users", "users", "box.json"), "chmod"),
                               (0o600, ("--host", "0.0.0.0", "--users", "users", "box.json"), "--tls"),
                               (0o600, ("--host", "0.0.0.0", "--tls", "x", "box.json"), "--users")):
        os.chmod("users", mode)
        run = subprocess.run(["/usr/bin/python3", "-B", SERVICE, "--xyl", XYL, *words], capture_output=True, text=True,
                             check=False)
        check(run.returncode != 0 and tells in run.stderr, words, run)
    rows = (("GET", "/redfish", {}, None, 200), ("GET", ROOT, {}, None, 200), ("GET", ROOT + "odata", {}, None, 200),
            ("GET", ROOT + "$metadata", {}, None, 200), ("GET", ONE, {}, None, 401), ("DELETE", ONE, {}, None, 401),
            ("GET", ONE, {"Authorization": "Basic " + base64.b64encode(b"admin:se:cret").decode()}, None, 200),
            ("GET", ONE, {"Authorization": "Basic " + base64.b64encode(b"admin:other").decode()}, None, 401),
            ("GET", ONE, {"Authorization": "Basic =="}, None, 401), ("GET", ROOT + "nothing", {}, None, 401),
            ("GET", ONE, {"Authorization": "Basic \xe4"}, None, 401),
            ("POST", SESSIONS, {}, {"UserName": "admin", "Password": "\ud800"}, 401),
            ("POST", SESSIONS, {}, LOGIN, 401), ("POST", ROOT, {}, LOGIN, 401),
            ("POST", SESSIONS, {}, {"UserName": "admin", "Password": "se:cret"}, 201))
    with served("--users", "users", "box.json") as (address, _):
        for method, uri, headers, body, status in rows:
            found, told, text = ask(address, method, uri, body, **headers)
            check(found == status, method, uri, headers, "answers", found, text)
            check(found != 401 or "WWW-Authenticate" in told, method, uri, "does not say how to log in")
        check(ask(address, "GET", ONE, X_Auth_Token=told["X-Auth-Token"])[0] == 200, "a token")


with tempfile.TemporaryDirectory() as place:
    os.chdir(place)
    new_box()
    with served() as (where, _):
        check_rows(where)
        no_request(where)
        expand(where)
        log_in(where)
    stay_away()
    with_users()
conclude("the rules of the protocol hold")
