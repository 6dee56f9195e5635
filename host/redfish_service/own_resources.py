"""What the service tells of itself: sessions, registries, and the two documents of OData."""
import datetime
import html

import messages
import query
import sessions

ROOT = "/redfish/v1/"
SERVICE, LIST = ROOT + "SessionService", ROOT + "SessionService/Sessions"
REGISTRIES = ROOT + "Registries"
BASE = REGISTRIES + "/Base"
METADATA, ODATA = ROOT + "$metadata", ROOT + "odata"
SCHEMAS = "http://redfish.dmtf.org/schemas/v1/"


def link(uri):
    return {"@odata.id": uri}


def collection(uri, kind, members):
    return {"@odata.id": uri, "@odata.type": f"#{kind}.{kind}", "Name": kind, "Members@odata.count": len(members),
            "Members": [link(member) for member in members]}


def session_resource(session):
    created = datetime.datetime.fromtimestamp(int(session.created), datetime.timezone.utc)
    return {"@odata.id": f"{LIST}/{session.number}", "@odata.type": "#Session.v1_8_0.Session", "Id": session.number,
            "Name": "Session", "UserName": session.user, "Password": None,
            "CreatedTime": created.isoformat().replace("+00:00", "Z")}


def resources(open_sessions):
    """By their URIs."""
    file = messages.registry()
    whole = {uri: each for each in map(session_resource, open_sessions) for uri in [each["@odata.id"]]}
    return whole | {
        SERVICE: {"@odata.id": SERVICE, "@odata.type": "#SessionService.v1_2_0.SessionService",
                  "Id": "SessionService", "Name": "Sessions", "ServiceEnabled": True,
                  "SessionTimeout": sessions.TIMEOUT, "Sessions": link(LIST)},
        LIST: collection(LIST, "SessionCollection", list(whole)),
        REGISTRIES: collection(REGISTRIES, "MessageRegistryFileCollection", [BASE]),
        BASE: {"@odata.id": BASE, "@odata.type": "#MessageRegistryFile.v1_1_5.MessageRegistryFile", "Id": "Base",
               "Name": file["Name"], "Languages": [file["Language"]],
               "Registry": ".".join(["Base", *file["RegistryVersion"].split(".")[:2]]),
               "Location": [{"Language": file["Language"], "Uri": f"{BASE}/{file['Id']}",
                             "PublicationUri": f"http://redfish.dmtf.org/registries/{file['Id']}.json"}]},
        f"{BASE}/{file['Id']}": file,
    }


def root_with(root):
    """The root that the controller's resources have, with what the service adds."""
    return {**root, "Registries": link(REGISTRIES), "ProtocolFeaturesSupported": query.FEATURES}


def methods(own):
    """What may be asked of these beside reading."""
    ones = {uri: ["DELETE"] for uri in own if uri.startswith(LIST + "/")}
    return ones | {LIST: ["POST"]}


def odata(root):
    """The service document."""
    names = [name for name, member in root.items() if isinstance(member, dict) and list(member) == ["@odata.id"]]
    rows = [{"name": "Service", "kind": "Singleton", "url": ROOT}]
    rows += [{"name": name, "kind": "Singleton", "url": root[name]["@odata.id"]} for name in names]
    return {"@odata.context": METADATA, "value": rows}


def metadata(tree):
    """The document that says in which schemas the types of all resources stand."""
    types = {resource["@odata.type"][1:].rpartition(".")[0] for resource in tree if "@odata.type" in resource}
    spaces = {}
    for each in sorted(types | {"RedfishExtensions.v1_0_0", "Message.v1_3_0"}):
        spaces.setdefault(each.partition(".")[0], set()).update((each.partition(".")[0], each))
    spaces["RedfishExtensions"].discard("RedfishExtensions")
    lines = []
    for name, includes in sorted(spaces.items()):
        lines.append(f'  <edmx:Reference Uri="{SCHEMAS}{html.escape(name)}_v1.xml">')
        lines += [f'    <edmx:Include Namespace="{html.escape(each)}"' +
                  (' Alias="Redfish"' if name == "RedfishExtensions" else "") + "/>" for each in sorted(includes)]
        lines.append("  </edmx:Reference>")
    lines += ['  <edmx:Reference Uri="http://redfish.dmtf.org/schemas/swordfish/v1/DataStorageLoSCapabilities_v1.xml">',
              '    <edmx:Include Namespace="DataStorageLoSCapabilities"/>', "  </edmx:Reference>"]
    root = next(each for each in types if each.startswith("ServiceRoot."))
    return "\n".join([
        '<?xml version="1.0" encoding="UTF-8"?>',
        '<edmx:Edmx xmlns:edmx="http://docs.oasis-open.org/odata/ns/edmx" Version="4.0">', *lines,
        "  <edmx:DataServices>",
        '    <Schema xmlns="http://docs.oasis-open.org/odata/ns/edm" Namespace="Service">',
        f'      <EntityContainer Name="Service" Extends="{root}.ServiceContainer"/>',
        "    </Schema>", "  </edmx:DataServices>", "</edmx:Edmx>", ""])
