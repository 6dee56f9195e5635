#include "images.h"
#include "base/pool.h"
#include "report.h"
#include "world.h"

using namespace xyl;

static constexpr EFI_GUID g_loadedImageGuid = EFI_LOADED_IMAGE_PROTOCOL_GUID;
static constexpr EFI_GUID g_fileSystemGuid = EFI_SIMPLE_FILE_SYSTEM_PROTOCOL_GUID;
static constexpr UINTN fileLimit = 1024 * 1024;

TestImage g_images[imageCount] = {
    {u"\\DebugLog.efi", nullptr, nullptr},
    {u"\\XmlService.efi", nullptr, nullptr},
    {u"\\RaidSim.efi", nullptr, nullptr},
    {u"\\RaidXyl.efi", nullptr, nullptr},
};

// Not through the shell, which keeps memory of every file that it opens.
EFI_STATUS readFile(EFI_HANDLE application, const CHAR16 *name, void **content, UINTN *size) {
  auto self = static_cast<EFI_LOADED_IMAGE_PROTOCOL *>(interfaceOn(application, &g_loadedImageGuid));
  auto volume = static_cast<EFI_SIMPLE_FILE_SYSTEM_PROTOCOL *>(interfaceOn(self->DeviceHandle, &g_fileSystemGuid));
  EFI_FILE_PROTOCOL *root = nullptr;
  EFI_FILE_PROTOCOL *file = nullptr;
  EFI_STATUS status = volume == nullptr ? EFI_UNSUPPORTED : volume->OpenVolume(volume, &root);
  if (EFI_ERROR(status)) {
    return status;
  }
  status = root->Open(root, &file, name, EFI_FILE_MODE_READ, 0);
  root->Close(root);
  if (EFI_ERROR(status)) {
    return status;
  }
  *content = poolAllocate(fileLimit);
  *size = fileLimit;
  status = *content == nullptr ? EFI_OUT_OF_RESOURCES : file->Read(file, size, *content);
  file->Close(file);
  if (EFI_ERROR(status)) {
    poolRelease(*content);
  }
  return status;
}

// From the file through memory, so that no device path takes part in the test.
EFI_STATUS loadFile(EFI_HANDLE parent, const CHAR16 *name, EFI_HANDLE *handle, EFI_LOADED_IMAGE_PROTOCOL **loaded) {
  void *content = nullptr;
  UINTN size = 0;
  EFI_STATUS status = readFile(parent, name, &content, &size);
  if (!EFI_ERROR(status)) {
    status = g_bootServices->LoadImage(/* BootPolicy= */ 0, parent, /* Path= */ nullptr, content, size, handle);
    poolFree(content);
  }
  return EFI_ERROR(status)
             ? status
             : g_bootServices->HandleProtocol(*handle, &g_loadedImageGuid, reinterpret_cast<void **>(loaded));
}

bool loadTestImage(EFI_HANDLE parent, UINTN index) {
  TestImage &image = g_images[index];
  EFI_STATUS status = loadFile(parent, image.file, &image.handle, &image.loaded);
  if (!check(!EFI_ERROR(status), u"%s loads: %r", image.file, status)) {
    image.handle = nullptr;
    return false;
  }
  bool unset = image.loaded->Unload == nullptr;
  status = g_bootServices->StartImage(image.handle, /* ExitDataSize= */ nullptr, /* ExitData= */ nullptr);
  if (!check(!EFI_ERROR(status), u"%s starts: %r", image.file, status)) {
    image.handle = nullptr;
    return false;
  }
  auto unload = reinterpret_cast<const void *>(image.loaded->Unload);
  return check(unset && (sectionFlagsOf(unload) & sectionExecutable) != 0, u"%s set Unload in its entry point",
               image.file);
}

bool loadTestImages(EFI_HANDLE parent) {
  for (UINTN i = 0; i < imageCount; ++i) {
    if (!loadTestImage(parent, i)) {
      return false;
    }
  }
  return true;
}

bool unloadTestImage(UINTN index) {
  TestImage &image = g_images[index];
  if (image.handle == nullptr) {
    return true;
  }
  EFI_STATUS status = g_bootServices->UnloadImage(image.handle);
  void *interface = nullptr;
  bool gone = EFI_ERROR(g_bootServices->HandleProtocol(image.handle, &g_loadedImageGuid, &interface));
  image.handle = EFI_ERROR(status) ? image.handle : nullptr;
  return check(!EFI_ERROR(status) && gone, u"%s unloads and leaves no handle: %r", image.file, status);
}

void unloadTestImages() {
  for (UINTN i = imageCount; i > 0; --i) {
    unloadTestImage(i - 1);
  }
}

template <class T> static T readAt(const UINT8 *base, UINTN offset) {
  T value;
  copyBytes(&value, base + offset, sizeof(value));
  return value;
}

// The firmware keeps the headers at the image's base.
static UINT32 sectionFlagsAt(const UINT8 *base, UINT64 rva) {
  UINT32 peOffset = readAt<UINT32>(base, 0x3C);
  UINT16 sectionCount = readAt<UINT16>(base, peOffset + 6);
  UINTN section = static_cast<UINTN>(peOffset) + 24 + readAt<UINT16>(base, peOffset + 20);
  for (UINT16 i = 0; i < sectionCount; ++i, section += 40) {
    if (rva - readAt<UINT32>(base, section + 12) < readAt<UINT32>(base, section + 8)) {
      return readAt<UINT32>(base, section + 36);
    }
  }
  return 0;
}

UINT32 sectionFlagsOf(const void *address) {
  auto value = static_cast<const UINT8 *>(address);
  for (const TestImage &image : g_images) {
    auto base = image.handle == nullptr ? nullptr : static_cast<const UINT8 *>(image.loaded->ImageBase);
    auto rva = static_cast<UINT64>(value - base);
    if (base != nullptr && rva < image.loaded->ImageSize) {
      return sectionFlagsAt(base, rva);
    }
  }
  return 0;
}
