// Saved configurations that a change goes by.
#pragma once

#include "client/controllers/controllers.h"
#include "raid_records.h"

namespace xyl::client {

// Refuses a configuration that lacks what it refers to, unless --incomplete is given.
Result checkGaps(const Context &context, const CHAR8 *name, const RAID_CONFIG &config);

// Reads a saved configuration and makes sure that it is one, and complete: the driver then takes over all texts of the
// call. After a failure there is nothing to give back.
Result readSaved(const Context &context, const CHAR8 *file, DocumentText *saved, RAID_CONFIG **config);

} // namespace xyl::client
