#include "providers/sim_controller/state/drives.h"

#include "base/text.h"
#include "providers/sim_controller/fixed_text.h"
#include "providers/sim_controller/state/objects.h"

namespace xyl::sim {

constexpr UINT32 ssdFde = RAID_PD_ATTRIBUTE_SSD | RAID_PD_ATTRIBUTE_FDE;
constexpr UINT32 speedsSas = RAID_SPEED_3_GBS | RAID_SPEED_6_GBS;
constexpr UINT32 speedsSata = RAID_SPEED_1_5_GBS | RAID_SPEED_3_GBS | RAID_SPEED_6_GBS;
constexpr UINT64 wwnPrefix = 0x5EED000000000000;

// Texts as drives report them; one model name is right-aligned, as some are.
struct DriveModel {
  UINT32 protocol;
  UINT8 kind; // SSD and FDE bits
  const CHAR8 *manufactureName;
  const CHAR8 *modelName;
  const CHAR8 *revision;
  const CHAR8 *serialPrefix;
  UINT32 speeds;
};

static constexpr DriveModel g_models[] = {
    {RAID_PROTOCOL_SAS, 0, "HARRIER", "HS10K Enterprise", "A04", "HS", speedsSas},
    {RAID_PROTOCOL_SAS, RAID_PD_ATTRIBUTE_FDE, "HARRIER", "HS10K SED", "A06", "HE", speedsSas},
    {RAID_PROTOCOL_SAS, RAID_PD_ATTRIBUTE_SSD, "GLIMMER", "GS-E12", "0021", "GE", speedsSas},
    {RAID_PROTOCOL_SATA, 0, "KESTREL", "  KT7200 Archive", "K1", "KT", speedsSata},
    {RAID_PROTOCOL_SATA, RAID_PD_ATTRIBUTE_SSD, "GLIMMER", "GS-T480", "0113", "GT", speedsSata},
};

// Any other combination of protocol and kind.
static constexpr DriveModel g_plainModel = {0, 0, "GENERIC", "Disk", "1.0", "GN", speedsSas};

static const DriveModel *findModel(const Drive &drive) {
  for (const DriveModel &model : g_models) {
    if (model.protocol == drive.protocol && model.kind == (drive.attributes & ssdFde)) {
      return &model;
    }
  }
  return &g_plainModel;
}

static void fillDrive(Disk *disk, const Drive &drive) {
  const DriveModel *model = findModel(drive);
  disk->record.ObjVersion = 1;
  disk->record.Size = drive.size;
  disk->record.Protocol = drive.protocol;
  disk->record.Attributes = drive.attributes;
  disk->record.State = RAID_STATE_READY;
  disk->record.CapableSpeeds = model->speeds;
  disk->record.WWN = wwnPrefix | static_cast<UINT64>(disk->record.ObjectID) << 8;
  setFixed(disk->record.ManufactureName, sizeof(disk->record.ManufactureName), model->manufactureName);
  setFixed(disk->record.ModelName, sizeof(disk->record.ModelName), model->modelName);
  setFixed(disk->record.Revision, sizeof(disk->record.Revision), model->revision);
  CHAR8 serialNumber[sizeof(disk->record.SerialNumber) + 1];
  UINTN prefix = textLength(model->serialPrefix);
  copyBytes(serialNumber, model->serialPrefix, prefix);
  formatHex(serialNumber + prefix, disk->record.WWN >> 8, 8);
  setFixed(disk->record.SerialNumber, sizeof(disk->record.SerialNumber), serialNumber);
  disk->record.ManufactureYear = 2012;
  disk->record.ManufactureWeek = static_cast<UINT16>(1 + disk->record.ObjectID % 52);
  disk->record.ManufactureDay = static_cast<UINT16>(1 + disk->record.ObjectID % 7);
}

const CHAR8 *driveModel(UINT32 index, Drive *drive) {
  if (index >= sizeof(g_models) / sizeof(g_models[0])) {
    return nullptr;
  }
  drive->protocol = g_models[index].protocol;
  drive->attributes = g_models[index].kind | RAID_PD_ATTRIBUTE_SMART;
  drive->attributes |= drive->protocol == RAID_PROTOCOL_SAS ? RAID_PD_ATTRIBUTE_EEDP : 0;
  return g_models[index].modelName;
}

void placeDisk(Controller *sim, Disk *disk, UINT32 enclosureObjectId, UINT8 slot) {
  const Enclosure *enclosure = findEnclosure(sim, enclosureObjectId);
  disk->record.EnclosureObjectID = enclosureObjectId;
  disk->record.EnclosureDeviceID = enclosure == nullptr ? RAID_ENCLOSURE_NONE : enclosure->record.DeviceID;
  disk->record.Port = static_cast<UINT8>(
      enclosure == nullptr ? slot / 4 : enclosure->record.MultipathPort >> RAID_ENCLOSURE_PORT_SHIFT);
  disk->record.Slot = slot;
  namePlace(sim, disk);
}

Disk *addDrive(Controller *sim, UINT32 enclosureObjectId, UINT8 slot, const Drive &drive) {
  Disk *disk = arrayAppend(sim->disks);
  if (disk == nullptr) {
    return nullptr;
  }
  disk->record.ObjectID = sim->nextDiskId;
  disk->record.DeviceID = disk->record.ObjectID > 1000 ? disk->record.ObjectID - 1000 : disk->record.ObjectID;
  sim->nextDiskId += 1;
  placeDisk(sim, disk, enclosureObjectId, slot);
  fillDrive(disk, drive);
  return disk;
}

} // namespace xyl::sim
