#include "providers/disk_controller/io/disk_identity.h"

#include "base/pool.h"

namespace xyl::disk_controller {

static const EFI_GUID g_diskInfoGuid = EFI_DISK_INFO_PROTOCOL_GUID;
static const EFI_GUID g_usbInterface = EFI_DISK_INFO_USB_INTERFACE_GUID;
static const EFI_GUID g_nvmePassThruGuid = EFI_NVM_EXPRESS_PASS_THRU_PROTOCOL_GUID;
static const EFI_GUID g_scsiIoGuid = EFI_SCSI_IO_PROTOCOL_GUID;

// Answers are read into whole pages: what NVMe and some SCSI adapters need.
static constexpr UINT32 answerSize = 4096;
static constexpr UINT64 timeout = 50000000; // 5 s

template <class T> static T *protocolOn(EFI_HANDLE handle, const EFI_GUID &guid) {
  void *found = nullptr;
  if (handle == nullptr || EFI_ERROR(g_bootServices->HandleProtocol(handle, &guid, &found))) {
    return nullptr;
  }
  return static_cast<T *>(found);
}

// A field of a fixed size as a text without blanks around it; to has room for size + 1.
static void copyField(CHAR8 *to, const UINT8 *field, UINTN size) {
  while (size > 0 && (field[size - 1] == ' ' || field[size - 1] == 0)) {
    --size;
  }
  while (size > 0 && *field == ' ') {
    ++field;
    --size;
  }
  for (UINTN i = 0; i < size; ++i) {
    to[i] = field[i] > ' ' && field[i] < 0x7F ? static_cast<CHAR8>(field[i]) : field[i] == ' ' ? ' ' : '?';
  }
  to[size] = 0;
}

static UINT64 bigEndian(const UINT8 *bytes, UINTN size) {
  UINT64 value = 0;
  for (UINTN i = 0; i < size; ++i) {
    value = value << 8 | bytes[i];
  }
  return value;
}

// --- ATA ---

static UINT16 ataWord(const UINT8 *identify, UINTN word) {
  return static_cast<UINT16>(identify[2 * word] | identify[2 * word + 1] << 8);
}

// The characters of each word come in reverse.
static void copyAtaText(CHAR8 *to, const UINT8 *identify, UINTN firstWord, UINTN words) {
  UINT8 bytes[40];
  for (UINTN i = 0; i < words; ++i) {
    bytes[2 * i] = identify[2 * (firstWord + i) + 1];
    bytes[2 * i + 1] = identify[2 * (firstWord + i)];
  }
  copyField(to, bytes, 2 * words);
}

static void readAta(const UINT8 *identify, DiskIdentity *identity) {
  copyAtaText(identity->serial, identify, 10, 10);
  copyAtaText(identity->revision, identify, 23, 4);
  copyAtaText(identity->model, identify, 27, 20);
  UINT16 supported = ataWord(identify, 87);
  if ((supported & 0xC000) == 0x4000 && (supported & 0x0100) != 0) {
    for (UINTN word = 108; word < 112; ++word) {
      identity->wwn = identity->wwn << 16 | ataWord(identify, word);
    }
  }
  UINT16 speeds = ataWord(identify, 76);
  identity->speeds = speeds == 0xFFFF ? 0 : speeds >> 1 & 7U;
  identity->solidState = ataWord(identify, 217) == 1;
  UINT16 commands = ataWord(identify, 83);
  identity->shortFlush = (commands & 0xF000) == 0x5000; // told, and of the two flush commands only the old one
}

// --- NVMe ---

static void readNvmeController(EFI_HANDLE controller, UINT8 *answer, DiskIdentity *identity) {
  EFI_NVM_EXPRESS_PASS_THRU_PROTOCOL *nvme =
      protocolOn<EFI_NVM_EXPRESS_PASS_THRU_PROTOCOL>(controller, g_nvmePassThruGuid);
  if (nvme == nullptr) {
    return;
  }
  EFI_NVM_EXPRESS_COMMAND command = {};
  command.Cdw0 = 6; // Identify
  command.Flags = EFI_NVM_EXPRESS_CDW10_VALID;
  command.Cdw10 = 1; // of the controller
  EFI_NVM_EXPRESS_COMPLETION completion = {};
  EFI_NVM_EXPRESS_PASS_THRU_COMMAND_PACKET packet = {};
  packet.CommandTimeout = timeout;
  packet.TransferBuffer = answer;
  packet.TransferLength = answerSize;
  packet.NvmeCmd = &command;
  packet.NvmeCompletion = &completion;
  if (EFI_ERROR(nvme->PassThru(nvme, /* NamespaceId= */ 0, &packet, /* Event= */ nullptr))) {
    return;
  }
  copyField(identity->serial, answer + 4, 20);
  copyField(identity->model, answer + 24, 40);
  copyField(identity->revision, answer + 64, 8);
}

static void readNvme(const UINT8 *identifyNamespace, DiskIdentity *identity) {
  UINT64 eui64 = bigEndian(identifyNamespace + 120, 8);
  identity->wwn = eui64 != 0 ? eui64 : bigEndian(identifyNamespace + 104, 8);
}

// --- SCSI ---

// Asks for a page of vital product data; the bytes that came, at most size.
static UINT32 readScsiPage(EFI_SCSI_IO_PROTOCOL *scsi, UINT8 page, UINT8 *answer, UINT8 size) {
  UINT8 cdb[6] = {0x12, 1, page, 0, size, 0};
  UINT8 sense[18] = {};
  EFI_SCSI_IO_SCSI_REQUEST_PACKET packet = {};
  packet.Timeout = timeout;
  packet.InDataBuffer = answer;
  packet.InTransferLength = size;
  packet.SenseData = sense;
  packet.SenseDataLength = sizeof(sense);
  packet.Cdb = cdb;
  packet.CdbLength = sizeof(cdb);
  packet.DataDirection = EFI_SCSI_IO_DATA_DIRECTION_READ;
  zeroBytes(answer, size);
  EFI_STATUS status = scsi->ExecuteScsiCommand(scsi, &packet, /* Event= */ nullptr);
  if (EFI_ERROR(status) || packet.TargetStatus != 0 || packet.InTransferLength < 4 || answer[1] != page) {
    return 0;
  }
  UINT32 told = 4U + (static_cast<UINT32>(answer[2]) << 8 | answer[3]);
  UINT32 came = packet.InTransferLength < size ? packet.InTransferLength : size;
  return told < came ? told : came;
}

// The first 8-byte NAA name of the logical unit in page 83.
static UINT64 nameFromPage83(const UINT8 *page, UINT32 size) {
  for (UINT32 at = 4; at + 4 <= size; at += 4U + page[at + 3]) {
    bool ofUnit = (page[at + 1] & 0x30) == 0;
    if (ofUnit && (page[at + 1] & 0x0F) == 3 && page[at + 3] == 8 && at + 12 <= size) {
      return bigEndian(page + at + 4, 8);
    }
  }
  return 0;
}

static void readScsi(EFI_HANDLE disk, const UINT8 *inquiry, UINT8 *answer, DiskIdentity *identity) {
  copyField(identity->vendor, inquiry + 8, 8);
  copyField(identity->model, inquiry + 16, 16);
  copyField(identity->revision, inquiry + 32, 4);
  EFI_SCSI_IO_PROTOCOL *scsi = protocolOn<EFI_SCSI_IO_PROTOCOL>(disk, g_scsiIoGuid);
  if (scsi == nullptr) {
    return;
  }
  UINT32 size = readScsiPage(scsi, 0x80, answer, 0xFC);
  if (size > 4) {
    UINT32 length =
        size - 4 < sizeof(identity->serial) - 1 ? size - 4 : static_cast<UINT32>(sizeof(identity->serial) - 1);
    copyField(identity->serial, answer + 4, length);
  }
  identity->wwn = nameFromPage83(answer, readScsiPage(scsi, 0x83, answer, 0xFC));
  identity->solidState = readScsiPage(scsi, 0xB1, answer, 64) >= 6 && answer[4] == 0 && answer[5] == 1;
}

// --- all ---

bool isOnUsb(EFI_HANDLE disk) {
  EFI_DISK_INFO_PROTOCOL *info = protocolOn<EFI_DISK_INFO_PROTOCOL>(disk, g_diskInfoGuid);
  return info != nullptr && __builtin_memcmp(&info->Interface, &g_usbInterface, sizeof(EFI_GUID)) == 0;
}

// Calls the member; the number of bytes that it wrote to the zero-filled answer.
static UINT32 ask(EFI_DISK_INFO_PROTOCOL *info, EFI_STATUS(EFIAPI *member)(EFI_DISK_INFO_PROTOCOL *, void *, UINT32 *),
                  UINT8 *answer) {
  UINT32 size = answerSize;
  zeroBytes(answer, answerSize);
  return EFI_ERROR(member(info, answer, &size)) || size > answerSize ? 0 : size;
}

void identifyDisk(Disk *disk, EFI_HANDLE controller) {
  DiskIdentity *identity = &disk->identity;
  if (disk->place.bus == busNvme) {
    identity->solidState = true;
  }
  EFI_DISK_INFO_PROTOCOL *info = protocolOn<EFI_DISK_INFO_PROTOCOL>(disk->handle, g_diskInfoGuid);
  UINT8 *memory = info == nullptr ? nullptr : static_cast<UINT8 *>(poolAllocate(2ULL * answerSize));
  if (memory == nullptr) {
    return;
  }
  UINTN misaligned = reinterpret_cast<UINTN>(memory) % answerSize;
  UINT8 *answer = memory + (misaligned == 0 ? 0 : answerSize - misaligned);
  if (disk->place.bus == busSata && ask(info, info->Identify, answer) >= 512) {
    readAta(answer, identity);
  } else if (disk->place.bus == busNvme && ask(info, info->Identify, answer) >= 128) {
    readNvme(answer, identity);
    readNvmeController(controller, answer, identity);
  } else if (disk->place.bus == busScsi && ask(info, info->Inquiry, answer) >= 36) {
    readScsi(disk->handle, answer, answer, identity);
  }
  poolFree(memory);
}

} // namespace xyl::disk_controller
