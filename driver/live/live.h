// The four operations of RAID_XYL_PROTOCOL, and the instance behind a published table.
#pragma once

#include "raid_mgmt.h"
#include "raid_xyl.h"

namespace xyl::driver {

// "rXYL", first character in the lowest byte.
inline constexpr UINT64 RAID_XYL_DEV_SIGNATURE = 0x4C595872ULL;

// One served controller: allocated by the binding's Start, freed by its Stop.
// NOLINTBEGIN(readability-identifier-naming): firmware's look, as its users know it
struct RAID_XYL_DEV {
  UINTN Signature;
  RAID_MGMT_PROTOCOL *RaidMgmtProtocol; // opened BY_DRIVER
  RAID_XYL_PROTOCOL RaidXylProtocol;    // installed on the controller handle
};
// NOLINTEND(readability-identifier-naming)

// The management protocol of the instance that contains table, which must not be null.
inline RAID_MGMT_PROTOCOL *mgmtOf(RAID_XYL_PROTOCOL *table) {
  UINT8 *instance = reinterpret_cast<UINT8 *>(table) - offsetof(RAID_XYL_DEV, RaidXylProtocol);
  return reinterpret_cast<RAID_XYL_DEV *>(instance)->RaidMgmtProtocol;
}

// Contracts and statuses stand at RAID_XYL_PROTOCOL.
EFI_STATUS EFIAPI RAIDXYLIdentify_Live(RAID_XYL_PROTOCOL *table, RAID_XYL_IDENTIFY_DATA *info);
EFI_STATUS EFIAPI RAIDXYLGet_Live(RAID_XYL_PROTOCOL *table, RAID_XYL_PARAMETER *parameter, RAID_XYL_BUFFER *output);
EFI_STATUS EFIAPI RAIDXYLSet_Live(RAID_XYL_PROTOCOL *table, RAID_XYL_PARAMETER *parameter, RAID_XYL_BUFFER *input,
                                  RAID_XYL_BUFFER *output);
EFI_STATUS EFIAPI RAIDXYLVerify(RAID_XYL_PROTOCOL *table, RAID_XYL_PARAMETER *parameter, RAID_XYL_BUFFER *input,
                                RAID_XYL_BUFFER *newData, UINT32 *result);

// Below zero, zero or above zero as version a is lower than, equal to or higher than b. Pieces between "." and "-" are
// compared as numbers; a text that has run out has pieces of 0. Neither text may be null.
int VersionCompare(const CHAR16 *a, const CHAR16 *b);

} // namespace xyl::driver
