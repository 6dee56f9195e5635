#include "files.h"
#include "base/pool.h"

static constexpr EFI_GUID g_fileSystemGuid = EFI_SIMPLE_FILE_SYSTEM_PROTOCOL_GUID;

static EFI_STATUS openVolumeOn(EFI_HANDLE handle, EFI_FILE_PROTOCOL **root) {
  void *interface = nullptr;
  EFI_STATUS status = g_bootServices->HandleProtocol(handle, &g_fileSystemGuid, &interface);
  if (EFI_ERROR(status)) {
    return status;
  }
  auto fileSystem = static_cast<EFI_SIMPLE_FILE_SYSTEM_PROTOCOL *>(interface);
  status = fileSystem->OpenVolume(fileSystem, root);
  if (EFI_ERROR(status)) {
    return status;
  }
  EFI_FILE_PROTOCOL *marker = nullptr;
  status = (*root)->Open(*root, &marker, u"\\fwtest.efi", EFI_FILE_MODE_READ, 0);
  if (EFI_ERROR(status)) {
    (*root)->Close(*root);
    return status;
  }
  return marker->Close(marker);
}

EFI_STATUS openTestVolume(EFI_FILE_PROTOCOL **root) {
  UINTN count = 0;
  EFI_HANDLE *handles = nullptr;
  EFI_STATUS status = g_bootServices->LocateHandleBuffer(EFI_LOCATE_BY_PROTOCOL, &g_fileSystemGuid,
                                                         /* SearchKey= */ nullptr, &count, &handles);
  if (EFI_ERROR(status)) {
    return status;
  }
  status = EFI_NOT_FOUND;
  for (UINTN i = 0; i < count && EFI_ERROR(status); ++i) {
    status = openVolumeOn(handles[i], root);
  }
  poolFree(handles);
  return status;
}

EFI_STATUS readFile(EFI_FILE_PROTOCOL *root, const CHAR16 *name, UINTN limit, void **content, UINTN *size) {
  EFI_FILE_PROTOCOL *file = nullptr;
  EFI_STATUS status = root->Open(root, &file, name, EFI_FILE_MODE_READ, 0);
  if (EFI_ERROR(status)) {
    return status;
  }
  *content = poolAllocate(limit);
  *size = limit;
  status = *content == nullptr ? EFI_OUT_OF_RESOURCES : file->Read(file, size, *content);
  file->Close(file);
  if (EFI_ERROR(status)) {
    poolRelease(*content);
  }
  return status;
}

EFI_STATUS appendFile(EFI_FILE_PROTOCOL *root, const CHAR16 *name, const void *content, UINTN size) {
  EFI_FILE_PROTOCOL *file = nullptr;
  EFI_STATUS status = root->Open(root, &file, name, EFI_FILE_MODE_CREATE, 0);
  if (EFI_ERROR(status)) {
    return status;
  }
  UINT8 passed[512];
  UINTN read = sizeof(passed);
  while (!EFI_ERROR(file->Read(file, &read, passed)) && read != 0) {
    read = sizeof(passed);
  }
  status = file->Write(file, &size, content);
  EFI_STATUS closed = file->Close(file);
  return EFI_ERROR(status) ? status : closed;
}
