"""Who asks: users, and the sessions in which they are logged in."""
import base64
import hmac
import os
import secrets
import stat
import time

from messages import Refusal

LIMIT = 64      # sessions at once
TIMEOUT = 1800  # seconds without a request, after which a session ends
DENIED = {"WWW-Authenticate": 'Basic realm="Redfish", charset="UTF-8"'}


def read_users(name):
    """The users of a file, NAME:PASSWORD a line, which nobody else may read."""
    with open(name, encoding="utf-8") as file:
        if stat.S_IMODE(os.fstat(file.fileno()).st_mode) & 0o077:
            raise OSError(f"'{name}' holds passwords; let only its owner read it (chmod 600)")
        rows = [line.rstrip("\n").partition(":") for line in file if line.strip()]
    if not rows or not all(user and password for user, _, password in rows):
        raise OSError(f"'{name}' wants lines NAME:PASSWORD")
    return {user: password for user, _, password in rows}


class Session:
    """One login."""

    def __init__(self, number, user):
        self.number, self.user, self.token = number, user, secrets.token_urlsafe(32)
        self.created, self.used = time.time(), time.monotonic()


class Sessions:
    """Without users anybody is who he says, with any password."""

    def __init__(self, users=None):
        self.users, self.open, self.count = users, {}, 0

    def are_right(self, user, password):
        if self.users is None:
            return True
        wanted = self.users.get(user, secrets.token_hex())
        return hmac.compare_digest(wanted.encode(), password.encode(errors="surrogatepass"))  # JSON has half characters

    def expire(self):
        limit = time.monotonic() - TIMEOUT
        self.open = {number: each for number, each in self.open.items() if each.used > limit}

    def login(self, user, password):
        if not self.are_right(user, password):
            raise Refusal(401, "AccessUnauthorized", headers=DENIED)
        self.expire()
        if len(self.open) >= LIMIT:
            raise Refusal(503, "SessionLimitExceeded")
        self.count += 1
        session = self.open[str(self.count)] = Session(str(self.count), user)
        return session

    def logout(self, number):
        del self.open[number]

    def check(self, headers):
        """Refuses who is nobody. A token that is given has to be one of a session."""
        token, login = headers.get("X-Auth-Token"), headers.get("Authorization")
        self.expire()
        if token is not None:
            session = next((each for each in self.open.values() if hmac.compare_digest(
                each.token.encode(), token.encode(errors="replace"))), None)
            if session is None:
                raise Refusal(401, "NoValidSession", headers=DENIED)
            session.used = time.monotonic()
        elif self.users is not None and not (login and self.are_right(*basic(login))):
            raise Refusal(401, "AccessUnauthorized", headers=DENIED)


def basic(header):
    """User and password of an Authorization header."""
    kind, _, code = header.partition(" ")
    try:
        user, _, password = base64.b64decode(code.strip(), validate=True).decode().partition(":")
    except ValueError:  # no base 64, or no UTF-8 in it; a header may be no ASCII either
        return "", ""
    return (user, password) if kind.lower() == "basic" else ("", "")
