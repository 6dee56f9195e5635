// Drives as they come out of the box, and the places that they go to.
#include "providers/sim_controller/sim_parts.h"

#include "base/text.h"

#define PROTOCOL_SATA 0x10U
#define PROTOCOL_SAS 0x20U
#define PD_ATTRIBUTE_SSD_FDE (RAID_PD_ATTRIBUTE_SSD | RAID_PD_ATTRIBUTE_FDE)
#define PD_ATTRIBUTE_SMART 0x01U
#define PD_ATTRIBUTE_EEDP 0x10U
#define SPEEDS_SAS 0x6U
#define SPEEDS_SATA 0x7U
#define WWN_PREFIX 0x5EED000000000000ULL

// Texts as drives report them; one model name is right-aligned, as some are.
struct DRIVE_MODEL {
  UINT32 protocol;
  UINT8 kind; // SSD and FDE bits
  const CHAR8 *manufactureName;
  const CHAR8 *modelName;
  const CHAR8 *revision;
  const CHAR8 *serialPrefix;
  UINT32 speeds;
};

static constexpr DRIVE_MODEL g_models[] = {
    {PROTOCOL_SAS, 0, "HARRIER", "HS10K Enterprise", "A04", "HS", SPEEDS_SAS},
    {PROTOCOL_SAS, RAID_PD_ATTRIBUTE_FDE, "HARRIER", "HS10K SED", "A06", "HE", SPEEDS_SAS},
    {PROTOCOL_SAS, RAID_PD_ATTRIBUTE_SSD, "GLIMMER", "GS-E12", "0021", "GE", SPEEDS_SAS},
    {PROTOCOL_SATA, 0, "KESTREL", "  KT7200 Archive", "K1", "KT", SPEEDS_SATA},
    {PROTOCOL_SATA, RAID_PD_ATTRIBUTE_SSD, "GLIMMER", "GS-T480", "0113", "GT", SPEEDS_SATA},
};

// Any other combination of protocol and kind.
static constexpr DRIVE_MODEL g_plainModel = {0, 0, "GENERIC", "Disk", "1.0", "GN", SPEEDS_SAS};

static const DRIVE_MODEL *findModel(const SIM_DRIVE &drive) {
  for (const DRIVE_MODEL &model : g_models) {
    if (model.protocol == drive.protocol && model.kind == (drive.attributes & PD_ATTRIBUTE_SSD_FDE)) {
      return &model;
    }
  }
  return &g_plainModel;
}

static void copyField(CHAR8 *field, UINT32 size, const CHAR8 *text) {
  UINTN length = textLength(text);
  length = length < size ? length : size - 1;
  copyBytes(field, text, length);
  field[length] = 0;
}

static void fillDrive(SIM_DISK *disk, const SIM_DRIVE &drive) {
  const DRIVE_MODEL *model = findModel(drive);
  disk->objVersion = 1;
  disk->size = drive.size;
  disk->protocol = drive.protocol;
  disk->attributes = drive.attributes;
  disk->state = SIM_STATE_READY;
  disk->capableSpeeds = model->speeds;
  disk->wwn = WWN_PREFIX | static_cast<UINT64>(disk->objectId) << 8;
  copyField(disk->manufactureName, sizeof(disk->manufactureName), model->manufactureName);
  copyField(disk->modelName, sizeof(disk->modelName), model->modelName);
  copyField(disk->revision, sizeof(disk->revision), model->revision);
  copyField(disk->serialNumber, sizeof(disk->serialNumber), model->serialPrefix);
  formatHex(disk->serialNumber + textLength(model->serialPrefix), disk->wwn >> 8, 8);
  disk->manufactureYear = 2012;
  disk->manufactureWeek = static_cast<UINT16>(1 + disk->objectId % 52);
  disk->manufactureDay = static_cast<UINT16>(1 + disk->objectId % 7);
}

const CHAR8 *simDriveModel(UINT32 index, SIM_DRIVE *drive) {
  if (index >= sizeof(g_models) / sizeof(g_models[0])) {
    return nullptr;
  }
  drive->protocol = g_models[index].protocol;
  drive->attributes = g_models[index].kind | PD_ATTRIBUTE_SMART;
  drive->attributes |= drive->protocol == PROTOCOL_SAS ? PD_ATTRIBUTE_EEDP : 0;
  return g_models[index].modelName;
}

void simPlaceDisk(SIM_CONTROLLER *sim, SIM_DISK *disk, UINT32 enclosureObjectId, UINT8 slot) {
  const SIM_ENCLOSURE *enclosure = simFindEnclosure(sim, enclosureObjectId);
  disk->enclosureObjectId = enclosureObjectId;
  disk->enclosureDeviceId = enclosure == nullptr ? RAID_ENCLOSURE_NONE : enclosure->deviceId;
  disk->port = enclosure == nullptr ? static_cast<UINT8>(slot / 4) : enclosure->port;
  disk->slot = slot;
  simNamePlace(sim, disk);
}

SIM_DISK *simAddDrive(SIM_CONTROLLER *sim, UINT32 enclosureObjectId, UINT8 slot, const SIM_DRIVE &drive) {
  SIM_DISK *disk = simAppend(sim->disks);
  if (disk == nullptr) {
    return nullptr;
  }
  disk->objectId = sim->nextDiskId;
  disk->deviceId = disk->objectId > 1000 ? disk->objectId - 1000 : disk->objectId;
  sim->nextDiskId += 1;
  simPlaceDisk(sim, disk, enclosureObjectId, slot);
  fillDrive(disk, drive);
  return disk;
}
