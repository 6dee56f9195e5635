"""Conditions of requests: If-Match and If-None-Match (RFC 9110, 13.1)."""
import re

from messages import Refusal

TAG = re.compile(r'\s*((?:W/)?"[\x21\x23-\x7e\x80-\xff]*")\s*(?:,|$)')


def tags_of(header):
    """The entity tags of a list; "*" alone is that."""
    if header.strip() == "*":
        return ["*"]
    tags, at = [], 0
    while at < len(header):
        found = TAG.match(header, at)
        if not found:
            raise Refusal(400, "HeaderInvalid", header)
        tags.append(found[1])
        at = found.end()
    return tags


def whole(headers, name):
    """A list may come in several lines."""
    return ", ".join(headers.getall(name)) if name in headers else None


def holds(header, etag, weakly):
    """Whether a list names the tag, which is None where there is no resource. A weak tag is another one but where tags
    are compared weakly."""
    bare = [tag.removeprefix("W/") if weakly else tag for tag in tags_of(header)]
    return etag is not None and ("*" in bare or etag in bare)


def check(headers, etag, reads):
    """Whether a read has to tell nothing, since the client has it. Refuses changes of what is not as they want it."""
    wanted, other = whole(headers, "If-Match"), whole(headers, "If-None-Match")
    if wanted is not None and not holds(wanted, etag, weakly=False):
        raise Refusal(412, "PreconditionFailed")
    known = other is not None and holds(other, etag, weakly=True)
    if known and not reads:
        raise Refusal(412, "PreconditionFailed")
    return known
