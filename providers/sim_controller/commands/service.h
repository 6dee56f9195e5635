// The protocol's members.
#pragma once

#include "raid_mgmt.h"

namespace xyl::sim {

// RAID_MGMT_PROTOCOL.Execute. Revision is 0 to 3. Ids that no object has give EFI_NOT_FOUND (Create:
// EFI_INVALID_PARAMETER); a missing record or list, or a record of another type, EFI_INVALID_PARAMETER; a command that
// the object type does not know EFI_UNSUPPORTED; no memory EFI_OUT_OF_RESOURCES with nothing changed. All ids are
// checked before anything changes.
//
// Get Adapter, Enclosure, Physical Disk, Virtual Disk: all, or those of ObjectIds; EFI_NOT_FOUND when there are none.
// Create Virtual Disk: ObjectIds are the members. Size 0 takes all there is; a policy, stripe size, RLQ or SRL of 0
//   becomes the level's default. Members are Ready disks, or exactly the members of another virtual disk that leaves
//   room. The lowest free ObjectID and TargetID are given.
//     EFI_INVALID_PARAMETER  a member twice or unknown, member or span counts outside the limits, a value that the
//                            level does not offer, a name that is too long
//     EFI_UNSUPPORTED        a level or a mixture of disks that the adapter does not support; CacheCade where it cannot
//     EFI_ACCESS_DENIED      a member is in use, a hot spare or foreign; FDE without key or with a disk that has none
//     EFI_NOT_READY          a member has failed or is offline
//     EFI_VOLUME_FULL        not enough free space, or MaxLDs reached
// Delete Virtual Disk: its members that hold nothing else become Ready; dedicated hot spares left without one are
//   freed.
// Delete Adapter: all virtual disks and hot spares go; foreign disks and the key stay.
// Change Adapter: modes that are present on both sides (not SecurityMode), values of editable rates found by name.
//     EFI_INVALID_PARAMETER  a mode without a name
// Change Physical Disk: Hotspare, for all ids; VDs when dedicated.
//     EFI_INVALID_PARAMETER  kind unknown, dedicated to nothing
//     EFI_NOT_FOUND          dedicated to an unknown virtual disk
//     EFI_ACCESS_DENIED      in use or foreign
//     EFI_NOT_READY          failed or offline
//     EFI_VOLUME_FULL        smaller than what it would stand in for
// Change Virtual Disk: Name, CurrentCachePolicy, DiskCachePolicy, AccessPolicy; null or 0 leaves one alone.
// Clear, Import Adapter: foreign disks become Ready, or their virtual disks the controller's own. EFI_NOT_FOUND when
//   nothing is foreign; Import beyond MaxLDs EFI_VOLUME_FULL.
// Lock Adapter: sets the key. EFI_ACCESS_DENIED when there is one, EFI_UNSUPPORTED without Encryption, or for RKM
//   without RKM Capable; EFI_INVALID_PARAMETER without key id or (LKM) passphrase.
// Rekey Adapter: EFI_NOT_FOUND without key, EFI_SECURITY_VIOLATION for a wrong old passphrase; an empty new KeyID keeps
//   the old one, as Mode 0 does.
// SecureErase Adapter: removes the key. EFI_NOT_FOUND without one, EFI_ACCESS_DENIED while a virtual disk needs it.
// GetKeyID Adapter: EFI_NOT_FOUND without key.
// Check, Identify, Init, ExportLog, DiscardCache: succeed for existing objects.
EFI_STATUS EFIAPI simExecute(RAID_MGMT_PROTOCOL *protocol, RAID_CMD_BLOCK *block, RAID_CMD_RESULT *result);

// RAID_MGMT_PROTOCOL.FreeRecords, which goes by the accounting (records/answers.h).
EFI_STATUS EFIAPI simFreeRecords(RAID_MGMT_PROTOCOL *protocol, void *data, UINT32 count);

} // namespace xyl::sim
