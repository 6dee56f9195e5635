// RAID_MGMT_PROTOCOL itself: execution, the books behind FreeRecords, installation.
#include "providers/sim_controller/sim_parts.h"

static const EFI_GUID g_mgmtGuid = RAID_MGMT_PROTOCOL_GUID;
static const EFI_GUID g_alternateGuid = RAID_MGMT_ALT_PROTOCOL_GUID;
static const EFI_GUID g_devicePathGuid = EFI_DEVICE_PATH_PROTOCOL_GUID;

#define SIM_DEVICE_PATH_GUID                                                                                           \
  {                                                                                                                    \
    0x0f3c6b1d, 0x52a7, 0x4e1b, {                                                                                      \
      0x93, 0x66, 0x2d, 0x18, 0x7a, 0xc4, 0x5e, 0x90                                                                   \
    }                                                                                                                  \
  }
#define DEVICE_PATH_TRIES 256U

SIM_CONTROLLER *simFromProtocol(RAID_MGMT_PROTOCOL *protocol) {
  return reinterpret_cast<SIM_CONTROLLER *>(reinterpret_cast<UINTN>(protocol) - offsetof(SIM_CONTROLLER, protocol));
}

// Runs the command under a fault or none; the answer is empty on failure.
static EFI_STATUS runUnder(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *block, const SIM_FAULT *fault,
                           SIM_ANSWER *answer) {
  if (fault != nullptr && fault->kind == SIM_FAULT_STATUS) {
    return fault->status;
  }
  EFI_STATUS status = simRunCommand(sim, block, answer);
  if (EFI_ERROR(status) || fault == nullptr) {
    return status;
  }
  return simShape(answer, fault);
}

EFI_STATUS EFIAPI simExecute(RAID_MGMT_PROTOCOL *protocol, RAID_CMD_BLOCK *block, RAID_CMD_RESULT *result) {
  if (protocol == nullptr || block == nullptr || result == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  SIM_CONTROLLER *sim = simFromProtocol(protocol);
  result->Data = nullptr;
  result->DataSize = 0;
  sim->justReturned.count = 0;
  SIM_LOG_ENTRY *entry = simLogCommand(sim, block);
  // Room in the books comes first: a command that has changed the state must not fail for want of it.
  if (!simReserve(sim->answers, 1)) {
    entry->status = EFI_OUT_OF_RESOURCES;
    return EFI_OUT_OF_RESOURCES;
  }
  SIM_ANSWER answer = {};
  EFI_STATUS status = runUnder(sim, block, simNextFault(sim, block), &answer);
  entry->status = status;
  if (EFI_ERROR(status)) {
    return status;
  }
  result->Data = answer.data;
  result->DataSize = answer.dataSize;
  if (answer.data != nullptr) {
    *simAppend(sim->answers) = answer;
    sim->books.handedOut += 1;
  }
  return status;
}

static EFI_STATUS noteMistake(SIM_CONTROLLER *sim, const CHAR8 *reason, UINT32 wanted, UINT32 given) {
  if (sim->books.mistakeCount < SIM_MISTAKE_CAPACITY) {
    sim->books.mistakes[sim->books.mistakeCount] = {reason, wanted, given};
  }
  sim->books.mistakeCount += 1;
  return EFI_INVALID_PARAMETER;
}

static void noteReturned(SIM_CONTROLLER *sim, void *data) {
  if (sim->justReturned.count < sim->justReturned.capacity) {
    *simAppend(sim->justReturned) = data;
  }
}

static bool wasJustReturned(const SIM_CONTROLLER *sim, const void *data) {
  for (UINT32 i = 0; i < sim->justReturned.count; i++) {
    if (sim->justReturned.items[i] == data) {
      return true;
    }
  }
  return false;
}

static EFI_STATUS takeAnswer(SIM_CONTROLLER *sim, UINT32 index, UINT32 count) {
  SIM_ANSWER *answer = &sim->answers.items[index];
  UINT32 wanted = answer->dataSize >> RAID_RECORD_SHIFT;
  bool isSingle = !answer->isText && (wanted == 0 || answer->objectType == RAID_OBJECT_ADAPTER);
  if (count != wanted && !(isSingle && count == 1)) {
    return noteMistake(sim, "an answer came back with another record count", wanted, count);
  }
  noteReturned(sim, answer->data);
  simReleaseAnswer(answer);
  simRemove(sim->answers, index);
  sim->books.returned += 1;
  return EFI_SUCCESS;
}

static EFI_STATUS takeDriverCopy(SIM_CONTROLLER *sim, void *data) {
  const RAID_PD_RECORD *record = static_cast<const RAID_PD_RECORD *>(data);
  if (record->ObjectType != RAID_OBJECT_PHYSICAL_DISK) {
    return noteMistake(sim, "neither an answer nor a disk record", 0, 1);
  }
  if (record->VDs != nullptr) {
    return noteMistake(sim, "a disk record of the driver still holds a list", 0, 1);
  }
  noteReturned(sim, data);
  poolFree(record->Name);
  poolFree(record->FQDD);
  poolFree(data);
  sim->books.driverCopies += 1;
  return EFI_SUCCESS;
}

EFI_STATUS EFIAPI simFreeRecords(RAID_MGMT_PROTOCOL *protocol, void *data, UINT32 count) {
  if (protocol == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  SIM_CONTROLLER *sim = simFromProtocol(protocol);
  if (data == nullptr) {
    return noteMistake(sim, "a null pointer", 0, count);
  }
  for (UINT32 i = 0; i < sim->answers.count; i++) {
    if (sim->answers.items[i].data == data) {
      return takeAnswer(sim, i, count);
    }
  }
  if (wasJustReturned(sim, data)) {
    return noteMistake(sim, "given back twice", 0, count);
  }
  if (count != 1) {
    return noteMistake(sim, "not an answer", 1, count);
  }
  return takeDriverCopy(sim, data);
}

bool simBooksBalanced(const SIM_CONTROLLER *sim) {
  return sim->answers.count == 0 && sim->books.mistakeCount == 0 && sim->books.handedOut == sim->books.returned;
}

static void setDevicePath(SIM_DEVICE_PATH *path, UINT32 number) {
  constexpr UINT8 NODE_SIZE = offsetof(SIM_DEVICE_PATH, end);
  path->header = {1, 4, {NODE_SIZE, 0}};
  path->vendor = SIM_DEVICE_PATH_GUID;
  path->number = number;
  path->end = {0x7F, 0xFF, {sizeof(path->end), 0}};
}

struct SIM_INTERFACES {
  const EFI_GUID *guids[3]; // ends early with null
  void *interfaces[3];
};

static SIM_INTERFACES interfacesOf(SIM_CONTROLLER *sim, UINT32 flags) {
  SIM_INTERFACES list = {};
  UINT32 count = 0;
  if ((flags & SIM_INSTALL_NO_DEVICE_PATH) == 0) {
    list.guids[count] = &g_devicePathGuid;
    list.interfaces[count++] = &sim->devicePath;
  }
  if ((flags & SIM_INSTALL_ONLY_ALTERNATE) == 0) {
    list.guids[count] = &g_mgmtGuid;
    list.interfaces[count++] = &sim->protocol;
  }
  if ((flags & SIM_INSTALL_NO_ALTERNATE) == 0) {
    list.guids[count] = &g_alternateGuid;
    list.interfaces[count++] = &sim->protocol;
  }
  return list;
}

EFI_STATUS simInstall(SIM_CONTROLLER *sim, EFI_HANDLE *handle, UINT32 flags) {
  if (sim->handle != nullptr) {
    return EFI_ALREADY_STARTED;
  }
  SIM_INTERFACES list = interfacesOf(sim, flags);
  EFI_STATUS status = EFI_ALREADY_STARTED;
  // Firmware refuses a device path that it has already, such as that of another image of ours.
  for (UINT32 number = 0; status == EFI_ALREADY_STARTED && number < DEVICE_PATH_TRIES; number++) {
    setDevicePath(&sim->devicePath, number);
    status = g_bootServices->InstallMultipleProtocolInterfaces(handle, list.guids[0], list.interfaces[0], list.guids[1],
                                                               list.interfaces[1], list.guids[2], list.interfaces[2],
                                                               /* end */ static_cast<EFI_GUID *>(nullptr));
  }
  if (!EFI_ERROR(status)) {
    sim->handle = *handle;
    sim->installFlags = flags;
  }
  return status;
}

EFI_STATUS simUninstall(SIM_CONTROLLER *sim) {
  if (sim->handle == nullptr) {
    return EFI_SUCCESS;
  }
  SIM_INTERFACES list = interfacesOf(sim, sim->installFlags);
  EFI_STATUS status = g_bootServices->UninstallMultipleProtocolInterfaces(
      sim->handle, list.guids[0], list.interfaces[0], list.guids[1], list.interfaces[1], list.guids[2],
      list.interfaces[2], /* end */ static_cast<EFI_GUID *>(nullptr));
  if (!EFI_ERROR(status)) {
    sim->handle = nullptr;
  }
  return status;
}
