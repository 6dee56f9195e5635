// fwread.efi: reads the file read.bin of whatever file system has it, and says on QEMU's debug channel
//   bench read BYTES TICKS
//   bench ticks-a-second TICKS
// The ticks are the fewest of several runs. What was read is compared with its pattern.
#include "base/pool.h"
#include "tests/firmware/guest/machine.h"
#include "tests/firmware/guest/report.h"
#include "uefi/protocols.h"

using namespace xyl;

static constexpr EFI_GUID g_fileSystemGuid = EFI_SIMPLE_FILE_SYSTEM_PROTOCOL_GUID;
static constexpr int runs = 5;
static constexpr UINTN piece = 1024 * 1024;

static UINT64 g_piece[piece / sizeof(UINT64)];

// Every eight bytes of the file are their place in it.
static bool isPattern(UINT64 position, UINTN size) {
  for (UINTN i = 0; i < size / sizeof(UINT64); ++i) {
    if (g_piece[i] != position + i * sizeof(UINT64)) {
      return false;
    }
  }
  return true;
}

static EFI_STATUS readOnce(EFI_FILE_PROTOCOL *file, UINT64 *bytes, UINT64 *spent) {
  EFI_STATUS status = file->SetPosition(file, 0);
  *bytes = 0;
  *spent = 0;
  for (;;) {
    UINTN size = piece;
    UINT64 start = machineTicks();
    status = EFI_ERROR(status) ? status : file->Read(file, &size, g_piece);
    *spent += machineTicks() - start;
    if (EFI_ERROR(status) || size == 0) {
      return status;
    }
    if (!isPattern(*bytes, size)) {
      return EFI_DEVICE_ERROR;
    }
    *bytes += size;
  }
}

static EFI_STATUS measure(EFI_FILE_PROTOCOL *file) {
  UINT64 fewest = ~0ULL;
  UINT64 bytes = 0;
  for (int run = 0; run < runs; ++run) {
    UINT64 spent;
    EFI_STATUS status = readOnce(file, &bytes, &spent);
    if (EFI_ERROR(status)) {
      report(u"bench read failed: %r", status);
      return status;
    }
    fewest = spent < fewest ? spent : fewest;
  }
  report(u"bench read %lu %lu", bytes, fewest);
  return EFI_SUCCESS;
}

static EFI_STATUS measureOn(EFI_HANDLE handle) {
  EFI_SIMPLE_FILE_SYSTEM_PROTOCOL *system = nullptr;
  EFI_FILE_PROTOCOL *root = nullptr;
  EFI_FILE_PROTOCOL *file = nullptr;
  EFI_STATUS status = g_bootServices->HandleProtocol(handle, &g_fileSystemGuid, reinterpret_cast<void **>(&system));
  status = EFI_ERROR(status) ? status : system->OpenVolume(system, &root);
  if (EFI_ERROR(status)) {
    return status;
  }
  status = root->Open(root, &file, u"read.bin", EFI_FILE_MODE_READ, 0);
  if (!EFI_ERROR(status)) {
    status = measure(file);
    file->Close(file);
  }
  root->Close(root);
  return status;
}

extern "C" EFI_STATUS EFIAPI FwReadEntry(EFI_HANDLE, EFI_SYSTEM_TABLE *systemTable) {
  setSystemTable(systemTable);
  UINT64 start = machineTicks();
  g_bootServices->Stall(100000);
  report(u"bench ticks-a-second %lu", (machineTicks() - start) * 10);
  EFI_HANDLE *handles = nullptr;
  UINTN count = 0;
  EFI_STATUS status = g_bootServices->LocateHandleBuffer(ByProtocol, &g_fileSystemGuid, nullptr, &count, &handles);
  UINTN measured = 0;
  for (UINTN i = 0; !EFI_ERROR(status) && i < count; ++i) {
    measured += EFI_ERROR(measureOn(handles[i])) ? 0 : 1;
  }
  g_bootServices->FreePool(handles);
  return measured == 1 ? EFI_SUCCESS : EFI_NOT_FOUND;
}
