"""Query parameters of reads: $expand and only."""
import re

from messages import Refusal

LEVELS_MAX = 6
VALUES_MAX = 1 << 19  # in an answer, since drives and what they belong to lead to each other
EXPAND = re.compile(r"([*.~])(?:\(\$levels=([0-9]{1,9})\))?")
FEATURES = {"ExpandQuery": {"ExpandAll": True, "Levels": True, "Links": True, "NoLinks": True,
                            "MaxLevels": LEVELS_MAX},
            "OnlyMemberQuery": True, "SelectQuery": False, "FilterQuery": False, "ExcerptQuery": False}


class Expansion:
    """Copies in which links lead to what they name: those within Links are '~', others '.', '*' is both."""

    def __init__(self, find, what):
        self.find, self.what, self.room = find, what, VALUES_MAX

    def copy(self, value, levels, in_links=False):
        self.room -= 1
        if self.room < 0:
            raise Refusal(507, "InsufficientStorage")
        if isinstance(value, list):
            return [self.copy(each, levels, in_links) for each in value]
        if not isinstance(value, dict):
            return value
        if list(value) == ["@odata.id"]:
            wanted = levels > 0 and self.what in ("*", "~" if in_links else ".")
            resource = self.find(value["@odata.id"]) if wanted else None
            return self.copy(resource, levels - 1) if resource else value
        return {name: member if name == "Oem" else self.copy(member, levels, in_links or name == "Links")
                for name, member in value.items()}


def apply(parameters, resource, find):
    """The resource as the parameters want it. Those that are not known are none, but for those of the standard."""
    for name in parameters:
        if name.startswith("$") and name != "$expand":
            raise Refusal(501, "QueryParameterUnsupported", name)
    if "only" in parameters and "$expand" in parameters:
        raise Refusal(400, "QueryCombinationInvalid")
    if "only" in parameters:
        if "Members" not in resource or parameters["only"]:
            raise Refusal(400, "QueryParameterValueError" if parameters["only"] else "QueryNotSupportedOnResource",
                          *["only"] * bool(parameters["only"]))
        members = resource["Members"]
        return find(members[0]["@odata.id"]) if len(members) == 1 else resource
    if "$expand" not in parameters:
        return resource
    wanted = EXPAND.fullmatch(parameters["$expand"])
    if not wanted:
        raise Refusal(400, "QueryParameterValueFormatError", parameters["$expand"], "$expand")
    levels = int(wanted[2] or 1)
    if not 1 <= levels <= LEVELS_MAX:
        raise Refusal(400, "QueryParameterOutOfRange", levels, "$expand", f"1-{LEVELS_MAX}")
    return Expansion(find, wanted[1]).copy(resource, levels)
