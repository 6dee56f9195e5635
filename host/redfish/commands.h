// The command for Redfish.
#pragma once

#include "client/command_line/rows.h"
#include "host/common/common.h"
#include "host/redfish/redfish.h"

namespace xyl::host::redfish {

inline constexpr client::Command g_redfishCommand = {
    .name = "redfish",
    .operands = "[SAVED.xml] DIRECTORY | METHOD URI [SAVED.xml]",
    .operandsMin = 1,
    .operandsMax = 3,
    .options = client::controllerOptions | client::optionSet(client::optionOutput, client::optionForce,
                                                             client::optionIncomplete, client::optionRequest,
                                                             client::optionYes, client::optionIfMatch),
    .need = redfishNeed,
    .summary = "writes a configuration as Redfish resources, or a request as changes",
    .description = "Writes the resources of a Redfish service that tells the configuration to DIRECTORY/redfish, an "
                   "index.json each, of SAVED.xml or, without it, of the controller. With --request it writes the "
                   "change document that does what a POST, PATCH or DELETE asks for; BODY.json is the request's body, "
                   "/dev/null for none. A request that cannot be expressed is refused, and the output is the error "
                   "body that the service answers. docs/redfish.md tells what maps to what.\n"
                   "DIRECTORY - prints all "
                   "resources as one JSON document. With --yes the request is run on the controller, and the output "
                   "is one JSON document with the status and the body of the answer.",
    .hostExamples = "xyl redfish saved.xml mockup\n"
                    "xyl redfish mockup --controller lab.json --force\n"
                    "xyl redfish --request body.json PATCH /redfish/v1/Systems/1/Storage/0/Volumes/3 saved.xml -o "
                    "changes.xml",
    .run = guardedRun<runRedfish>,
};

} // namespace xyl::host::redfish
