// What a job left on the system partition.
#pragma once

#include "client/command_line/command_line.h"
#include "host/common/common.h"
#include "host/stage/staging.h"

namespace xyl::host::stage {

// Takes what the job left to a folder, safely, and says what came of the job: result.json, result.lines of a job that
// was cut off, and below files what its lines wrote. Replaces files only with FileReplaces::old. Throws ClientError.
// Returns outcomeSuccess when all lines that ran were well, outcomeDifferent when one found something different,
// outcomeFailed when one failed or the job did not come to its end.
client::Result fetchResult(const client::Front &front, const Site &site, const Look &look,
                           const std::filesystem::path &folder, FileReplaces replaces);

} // namespace xyl::host::stage
