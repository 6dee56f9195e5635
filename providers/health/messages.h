// Findings as texts that firmware can show.
#pragma once

#include "providers/health/findings.h"
#include "uefi/health.h"

namespace xyl::health {

// Of the text of the first finding; the others follow in order.
constexpr EFI_STRING_ID messageFirst = 2;

// Hands the texts of the findings, in every language, to the firmware's database in the name of the driver. Firmware
// takes a driver's second list only under another GUID, which the number makes: it has to differ among those not yet
// removed. The caller takes *handle back with removeMessages; null when the firmware has no such database.
//   EFI_OUT_OF_RESOURCES   no memory, or more findings than texts can be numbered
EFI_STATUS publishMessages(const PoolArray<Finding> &findings, EFI_HANDLE driver, UINT32 number,
                           EFI_HII_HANDLE *handle);

// null is ignored.
void removeMessages(EFI_HII_HANDLE handle);

} // namespace xyl::health
