// A simulated controller made of an inventory document.
#pragma once

#include "apps/xyl/core/commands.h"
#include "apps/xyl/host/controller_file.h"

// Makes the controller that the document in file describes. What documents do not hold gets values that fit: disks that
// are inserted later get ids above all that occur, the key gets SIM_DOCUMENT_PASSPHRASE. Needs the XML service. A file
// that cannot be read is told and gives its result; throws CLIENT_ERROR for a document that makes no controller.
XYL_RESULT makeFromDocument(const XYL_CONTEXT &context, const CHAR8 *file, SIM_OWNER *owner);

#define SIM_DOCUMENT_PASSPHRASE "simulated"
