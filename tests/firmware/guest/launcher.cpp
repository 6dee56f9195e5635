// The boot file of the test disk: starts the firmware's own shell without its countdown, so that it runs startup.nsh at
// once, and ends QEMU with the number that the script exits with.
#include "base/pool.h"
#include "machine.h"
#include "uefi/protocols.h"

static constexpr EFI_GUID g_firmwareVolumeGuid = {
    0x220E73B6, 0x6BDB, 0x4413, {0x84, 0x05, 0xB9, 0x74, 0xB1, 0x08, 0x61, 0x9A}};
static constexpr EFI_GUID g_devicePathGuid = EFI_DEVICE_PATH_PROTOCOL_GUID;
static constexpr EFI_GUID g_loadedImageGuid = EFI_LOADED_IMAGE_PROTOCOL_GUID;

// The shell's file inside a firmware volume, and the end of the path.
static constexpr UINT8 g_shellNodes[] = {0x04, 0x06, 0x14, 0x00, 0x83, 0xA5, 0x04, 0x7C, 0x3E, 0x9E, 0x1C, 0x4F,
                                         0xAD, 0x65, 0xE0, 0x52, 0x68, 0xD0, 0xB4, 0xD1, 0x7F, 0xFF, 0x04, 0x00};
static constexpr UINT8 END_NODE_TYPE = 0x7F;

static CHAR16 g_shellOptions[] = u"-nointerrupt";

static constexpr UINT32 EXIT_NO_SHELL = 0x7E;
static constexpr UINT32 EXIT_CODE_MASK = 0x7F;

static UINTN pathLength(const EFI_DEVICE_PATH_PROTOCOL *path) {
  auto bytes = reinterpret_cast<const UINT8 *>(path);
  UINTN length = 0;
  while (bytes[length] != END_NODE_TYPE) {
    length += static_cast<UINTN>(bytes[length + 2]) | static_cast<UINTN>(bytes[length + 3]) << 8;
  }
  return length;
}

static EFI_STATUS loadShellFrom(EFI_HANDLE self, EFI_HANDLE volume, EFI_HANDLE *shell) {
  void *volumePath = nullptr;
  EFI_STATUS status = g_bootServices->HandleProtocol(volume, &g_devicePathGuid, &volumePath);
  if (EFI_ERROR(status)) {
    return status;
  }
  UINTN length = pathLength(static_cast<EFI_DEVICE_PATH_PROTOCOL *>(volumePath));
  auto path = static_cast<UINT8 *>(poolAllocate(length + sizeof(g_shellNodes)));
  if (path == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  copyBytes(path, volumePath, length);
  copyBytes(path + length, g_shellNodes, sizeof(g_shellNodes));
  status = g_bootServices->LoadImage(/* BootPolicy= */ 0, self, reinterpret_cast<EFI_DEVICE_PATH_PROTOCOL *>(path),
                                     /* Source= */ nullptr, 0, shell);
  poolFree(path);
  return status;
}

static EFI_STATUS loadShell(EFI_HANDLE self, EFI_HANDLE *shell) {
  UINTN count = 0;
  EFI_HANDLE *volumes = nullptr;
  EFI_STATUS status = g_bootServices->LocateHandleBuffer(EFI_LOCATE_BY_PROTOCOL, &g_firmwareVolumeGuid,
                                                         /* SearchKey= */ nullptr, &count, &volumes);
  if (EFI_ERROR(status)) {
    return status;
  }
  status = EFI_NOT_FOUND;
  for (UINTN i = 0; i < count && EFI_ERROR(status); ++i) {
    status = loadShellFrom(self, volumes[i], shell);
  }
  poolFree(volumes);
  return status;
}

extern "C" EFI_STATUS EFIAPI LauncherEntry(EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable) {
  setSystemTable(systemTable);
  EFI_HANDLE shell = nullptr;
  void *interface = nullptr;
  if (EFI_ERROR(loadShell(image, &shell)) ||
      EFI_ERROR(g_bootServices->HandleProtocol(shell, &g_loadedImageGuid, &interface))) {
    machineExit(EXIT_NO_SHELL);
  }
  auto loadedImage = static_cast<EFI_LOADED_IMAGE_PROTOCOL *>(interface);
  loadedImage->LoadOptions = g_shellOptions;
  loadedImage->LoadOptionsSize = sizeof(g_shellOptions);
  EFI_STATUS status = g_bootServices->StartImage(shell, /* ExitDataSize= */ nullptr, /* ExitData= */ nullptr);
  machineExit(static_cast<UINT32>(status) & EXIT_CODE_MASK);
}
