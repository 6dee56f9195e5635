// The documents' vocabulary: every enumeration and mask bit with its text. Rows keep their order, since both lookups
// take the first match; a row with a null name ends a table.
#pragma once

#include "uefi/types.h"

typedef struct VALUE_NAME_TABLE {
  const CHAR8 *Name;
  UINT64 Value;
} VALUE_NAME_TABLE;

// What GetValueFromName gives for a text without a row.
#define VALUE_NOT_FOUND (~0ULL)

// Enumerations have one row a value; mask tables one row a bit.
extern const VALUE_NAME_TABLE g_boolTable[];
extern const VALUE_NAME_TABLE g_objectTypeTable[];
extern const VALUE_NAME_TABLE g_raidLevelTable[];
extern const VALUE_NAME_TABLE g_protocolTable[];
extern const VALUE_NAME_TABLE g_secureStateTable[];
extern const VALUE_NAME_TABLE g_adapterAttribTable[];
extern const VALUE_NAME_TABLE g_levelAttribTable[];
extern const VALUE_NAME_TABLE g_vdAttribTable[];
extern const VALUE_NAME_TABLE g_pdAttribTable[];
extern const VALUE_NAME_TABLE g_srlTable[];
extern const VALUE_NAME_TABLE g_rlqTable[];
extern const VALUE_NAME_TABLE g_boundsTable[];
extern const VALUE_NAME_TABLE g_stripeSizeTable[];
extern const VALUE_NAME_TABLE g_cachePolicyTable[];
extern const VALUE_NAME_TABLE g_writePolicyTable[];
extern const VALUE_NAME_TABLE g_readPolicyTable[];
extern const VALUE_NAME_TABLE g_diskCachePolicyTable[];
extern const VALUE_NAME_TABLE g_ccModeTable[];
extern const VALUE_NAME_TABLE g_securityModeTable[];
extern const VALUE_NAME_TABLE g_keyModeTable[];
extern const VALUE_NAME_TABLE g_copyBackModeTable[];
extern const VALUE_NAME_TABLE g_uncertifiedModeTable[];
extern const VALUE_NAME_TABLE g_loadBalanceModeTable[];
extern const VALUE_NAME_TABLE g_learnModeTable[];
extern const VALUE_NAME_TABLE g_patrolReadModeTable[];
extern const VALUE_NAME_TABLE g_speedTable[];
extern const VALUE_NAME_TABLE g_stateTable[];
extern const VALUE_NAME_TABLE g_hotspareTable[];
extern const VALUE_NAME_TABLE g_accessPolicyTable[];
extern const VALUE_NAME_TABLE g_commandTable[];

// The value of the first row whose name is name, exactly; VALUE_NOT_FOUND without one or for a null argument.
UINT64 GetValueFromName(const CHAR8 *name, const VALUE_NAME_TABLE *table);

// The name of the first row with value, a constant text; "Unknown" without one or for a null table.
const CHAR8 *GetNameFromValue(UINT64 value, const VALUE_NAME_TABLE *table);
