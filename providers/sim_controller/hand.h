// What a person at the server does with a controller. EFI_NOT_FOUND for an unknown disk, enclosure, slot or rate.
#pragma once

#include "providers/sim_controller/drives.h"
#include "providers/sim_controller/state.h"

namespace xyl::sim {

// Pulls a drive, which goes to pulledDisks: virtual disks on it degrade or go offline and keep its id; foreign ones
// without any member left vanish. EFI_OUT_OF_RESOURCES changes nothing.
EFI_STATUS pullDisk(Controller *sim, UINT32 objectId);

// Puts a new drive, with an id, WWN and serial number of its own, into an empty slot. EFI_ALREADY_STARTED when it is
// taken. *objectId may be null.
EFI_STATUS insertDisk(Controller *sim, UINT32 enclosureObjectId, UINT8 slot, const Drive &drive,
                      UINT32 *objectId = nullptr);

// Puts a pulled drive into an empty slot, which gives it another Name and FQDD. It is a member again of the virtual
// disks that still have its id. One that held others comes as foreign, all else as Ready; what has failed stays so.
// EFI_ALREADY_STARTED as above.
EFI_STATUS reinsertDisk(Controller *sim, UINT32 objectId, UINT32 enclosureObjectId, UINT8 slot);

// Pulls a drive and puts a new one in its place; size 0 keeps the old one's size. Nothing is rebuilt.
EFI_STATUS replaceDisk(Controller *sim, UINT32 objectId, UINT64 size, UINT32 *newObjectId = nullptr);

// Exchanges two drives: ids, identity and contents go along; place, Name and FQDD stay.
EFI_STATUS swapDisks(Controller *sim, UINT32 objectIdA, UINT32 objectIdB);

// Marks a drive failed; virtual disks on it degrade or go offline.
EFI_STATUS failDisk(Controller *sim, UINT32 objectId);

// Turns Ready disks into foreign ones that carry one virtual disk of that level over all their space. Statuses as
// Create.
EFI_STATUS makeForeign(Controller *sim, UINT32 raidLevel, const UINT32 *objectIds, UINT32 count);

// A new adapter of the same model: another WWN, default settings, no key; virtual disks become foreign, hot spares
// Ready. EFI_OUT_OF_RESOURCES changes nothing.
EFI_STATUS replaceAdapter(Controller *sim);

// Sets the version that the adapter reports. EFI_INVALID_PARAMETER for a text that is too long.
EFI_STATUS setFirmware(Controller *sim, const CHAR16 *version);

// Sets a mode byte as it stands in the record, presence bit included.
void setMode(Controller *sim, Mode mode, UINT8 value);

// Sets the value of the adapter's rate of that name, editable or not.
EFI_STATUS setRate(Controller *sim, const CHAR16 *name, UINT8 value);

} // namespace xyl::sim
