#include "images.h"
#include "base/pool.h"
#include "books.h"
#include "files.h"
#include "report.h"

static constexpr EFI_GUID g_loadedImageGuid = EFI_LOADED_IMAGE_PROTOCOL_GUID;
static constexpr UINTN IMAGE_SIZE_LIMIT = 1024 * 1024;

TEST_IMAGE g_images[IMAGE_COUNT] = {
    {u"\\DebugLog.efi", nullptr, nullptr},
    {u"\\XmlService.efi", nullptr, nullptr},
    {u"\\RaidSim.efi", nullptr, nullptr},
    {u"\\RaidXyl.efi", nullptr, nullptr},
};

// From the file through memory, so that no device path and no file system driver takes part in the test.
static EFI_STATUS loadFromFile(EFI_HANDLE parent, TEST_IMAGE &image) {
  EFI_FILE_PROTOCOL *root = nullptr;
  EFI_STATUS status = openTestVolume(&root);
  if (EFI_ERROR(status)) {
    return status;
  }
  void *content = nullptr;
  UINTN size = 0;
  status = readFile(root, image.file, IMAGE_SIZE_LIMIT, &content, &size);
  root->Close(root);
  if (EFI_ERROR(status)) {
    return status;
  }
  status = g_bootServices->LoadImage(/* BootPolicy= */ 0, parent, /* Path= */ nullptr, content, size, &image.handle);
  poolFree(content);
  return status;
}

static bool startTestImage(TEST_IMAGE &image, UINTN index) {
  void *interface = nullptr;
  EFI_STATUS status = g_bootServices->HandleProtocol(image.handle, &g_loadedImageGuid, &interface);
  if (!check(!EFI_ERROR(status), u"%s has a loaded image: %r", image.file, status)) {
    return false;
  }
  image.loaded = static_cast<EFI_LOADED_IMAGE_PROTOCOL *>(interface);
  booksWatch(static_cast<UINT32>(index) + 1, image.loaded->ImageBase, image.loaded->ImageSize);
  bool unset = image.loaded->Unload == nullptr;
  status = g_bootServices->StartImage(image.handle, /* ExitDataSize= */ nullptr, /* ExitData= */ nullptr);
  if (!check(!EFI_ERROR(status), u"%s starts: %r", image.file, status)) {
    image.handle = nullptr;
    return false;
  }
  auto unload = reinterpret_cast<const void *>(image.loaded->Unload);
  return check(unset && (sectionFlagsOf(unload) & SECTION_EXECUTABLE) != 0, u"%s set Unload in its entry point",
               image.file);
}

bool loadTestImage(EFI_HANDLE parent, UINTN index) {
  TEST_IMAGE &image = g_images[index];
  EFI_STATUS status = loadFromFile(parent, image);
  if (!check(!EFI_ERROR(status), u"%s loads: %r", image.file, status)) {
    image.handle = nullptr;
    return false;
  }
  return startTestImage(image, index);
}

bool loadTestImages(EFI_HANDLE parent) {
  for (UINTN i = 0; i < IMAGE_COUNT; ++i) {
    if (!loadTestImage(parent, i)) {
      return false;
    }
  }
  return true;
}

bool unloadTestImage(UINTN index) {
  TEST_IMAGE &image = g_images[index];
  if (image.handle == nullptr) {
    return true;
  }
  EFI_STATUS status = g_bootServices->UnloadImage(image.handle);
  if (!check(!EFI_ERROR(status), u"%s unloads: %r", image.file, status)) {
    return false;
  }
  void *interface = nullptr;
  bool gone = EFI_ERROR(g_bootServices->HandleProtocol(image.handle, &g_loadedImageGuid, &interface));
  image.handle = nullptr;
  image.loaded = nullptr;
  return check(gone, u"%s left no image handle", image.file);
}

bool unloadTestImages() {
  bool unloaded = true;
  for (UINTN i = IMAGE_COUNT; i > 0; --i) {
    unloaded = unloadTestImage(i - 1) && unloaded;
  }
  return unloaded;
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
  UINT16 optionalSize = readAt<UINT16>(base, peOffset + 20);
  UINTN section = static_cast<UINTN>(peOffset) + 24 + optionalSize;
  for (UINT16 i = 0; i < sectionCount; ++i, section += 40) {
    UINT32 size = readAt<UINT32>(base, section + 8);
    UINT32 start = readAt<UINT32>(base, section + 12);
    if (rva - start < size) {
      return readAt<UINT32>(base, section + 36);
    }
  }
  return 0;
}

UINT32 sectionFlagsOf(const void *address) {
  auto value = reinterpret_cast<UINT64>(address);
  for (const TEST_IMAGE &image : g_images) {
    if (image.handle == nullptr || image.loaded == nullptr) {
      continue;
    }
    auto base = static_cast<const UINT8 *>(image.loaded->ImageBase);
    UINT64 rva = value - reinterpret_cast<UINT64>(base);
    if (rva < image.loaded->ImageSize) {
      return sectionFlagsAt(base, rva);
    }
  }
  return 0;
}
