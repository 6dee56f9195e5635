// What a job left on the system partition.
#pragma once

#include "client/command_line/command_line.h"
#include "host/common/common.h"
#include "host/stage/staging.h"

namespace stage {

// Takes what the job left to a folder, safely, and says what came of the job: result.json, result.lines of a job that
// was cut off, and below files what its lines wrote. Replaces files only with FILE_REPLACES_OLD. Throws CLIENT_ERROR.
// Returns XYL_SUCCESS when all lines that ran were well, XYL_DIFFERENT when one found something different, XYL_FAILED
// when one failed or the job did not come to its end.
XYL_RESULT fetchResult(const XYL_FRONT &front, const Site &site, const Look &look, const std::filesystem::path &folder,
                       FILE_REPLACES replaces);

} // namespace stage
