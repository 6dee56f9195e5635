// What the sources of the host program share: failures, files, texts.
#pragma once

#include "xyl/host/errors.h"
#include "xyl/host/files.h"
#include "xyl/host/texts.h"
