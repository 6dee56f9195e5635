// What a rebuild would do to a controller.
#pragma once

#include "apps/xyl/core/document.h"
#include "raid_records.h"

// Parses a configuration document that a message would call name; one without an adapter is refused. The caller gives
// *config back with releaseConfig.
XYL_RESULT readConfiguration(const XYL_CONTEXT &context, const CHAR8 *name, const CHAR8 *text, RAID_CONFIG **config);

// Shows what restoring saved with a rebuild destroys and creates, by the same disk mapping that the driver will use.
// Fails with a message when the saved configuration does not belong to this kind of adapter.
XYL_RESULT showRebuildPlan(const XYL_CONTEXT &context, RAID_XYL_PROTOCOL *operations, const RAID_CONFIG *saved);
