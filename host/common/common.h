// What the sources of the host program share: failures, files, texts.
#pragma once

#include "host/common/document.h"
#include "host/common/errors.h"
#include "host/common/files.h"
#include "host/common/guarded.h"
#include "host/common/texts.h"

namespace xyl::host {} // namespace xyl::host
