// The drivers on the medium.
#include "base/device_path.h"
#include "base/sort.h"
#include "base/text.h"
#include "images/medium/run.h"

namespace xyl::images {

static const EFI_GUID g_loadedImageGuid = EFI_LOADED_IMAGE_PROTOCOL_GUID;
static const EFI_GUID g_devicePathGuid = EFI_DEVICE_PATH_PROTOCOL_GUID;

#if defined(__x86_64__)
#define DRIVER_FOLDER "\\EFI\\raidxyl\\x64\\"
#else
#define DRIVER_FOLDER "\\EFI\\raidxyl\\aa64\\"
#endif

constexpr UINTN infoCapacity = 1024U; // a name has at most 255 units

// --- Which there are ---

static bool isImage(const EFI_FILE_INFO &info) {
  UINTN length = textLength(info.FileName);
  if ((info.Attribute & EFI_FILE_DIRECTORY) != 0 || length < 5) {
    return false;
  }
  const CHAR16 *name = info.FileName; // goes on behind the structure
  const CHAR16 *end = name + (length - 4);
  return end[0] == u'.' && (end[1] | 0x20) == u'e' && (end[2] | 0x20) == u'f' && (end[3] | 0x20) == u'i';
}

static bool addName(PoolArray<MediumDriver> *drivers, const CHAR16 *name) {
  MediumDriver *driver = arrayAppend(*drivers);
  if (driver != nullptr) {
    driver->name = textDuplicate(name);
  }
  if (driver != nullptr && driver->name == nullptr) {
    --drivers->count;
    driver = nullptr;
  }
  return driver != nullptr;
}

static EFI_STATUS listDrivers(const client::Front *front, PoolArray<MediumDriver> *drivers) {
  FirmwareFiles *files = firmwareContext(front)->files;
  OpenFile folder = nullptr;
  EFI_STATUS status = files->open(files, u"" DRIVER_FOLDER, EFI_FILE_MODE_READ, &folder);
  if (EFI_ERROR(status)) {
    return status;
  }
  EFI_FILE_INFO *info = static_cast<EFI_FILE_INFO *>(poolAllocate(infoCapacity));
  status = info == nullptr ? EFI_OUT_OF_RESOURCES : EFI_SUCCESS;
  for (UINTN size = infoCapacity; !EFI_ERROR(status) && size != 0;) {
    size = infoCapacity;
    status = files->read(files, folder, &size, info);
    if (!EFI_ERROR(status) && size != 0 && isImage(*info) && !addName(drivers, info->FileName)) {
      status = EFI_OUT_OF_RESOURCES;
    }
  }
  poolFree(info);
  files->close(files, folder);
  return status;
}

// --- One driver ---

// The path of a file in the drivers' folder; pool memory, or null.
static CHAR16 *pathOf(const CHAR16 *name) {
  constexpr UINTN length = sizeof(DRIVER_FOLDER) - 1;
  UINTN size = (textLength(name) + 1) * sizeof(CHAR16);
  CHAR16 *path = static_cast<CHAR16 *>(poolAllocate(length * sizeof(CHAR16) + size));
  if (path != nullptr) {
    copyBytes(path, u"" DRIVER_FOLDER, length * sizeof(CHAR16));
    copyBytes(path + length, name, size);
  }
  return path;
}

constexpr UINT8 nodeMedia = 4;
constexpr UINT8 nodeFile = 4;

// The device path of a file on the image's medium, so that firmware judges and lists it as what it is; pool memory, or
// null.
static EFI_DEVICE_PATH_PROTOCOL *devicePathOf(EFI_HANDLE image, const CHAR16 *file) {
  void *loaded = nullptr;
  void *device = nullptr;
  if (EFI_ERROR(g_bootServices->HandleProtocol(image, &g_loadedImageGuid, &loaded)) ||
      EFI_ERROR(g_bootServices->HandleProtocol(static_cast<EFI_LOADED_IMAGE_PROTOCOL *>(loaded)->DeviceHandle,
                                               &g_devicePathGuid, &device))) {
    return nullptr;
  }
  const UINT8 *from = static_cast<const UINT8 *>(device);
  UINTN before = pathSize(from);
  UINTN text = (textLength(file) + 1) * sizeof(CHAR16);
  UINTN node = text + 4;
  UINT8 *path = static_cast<UINT8 *>(poolAllocate(before + node + 4));
  if (path != nullptr) {
    copyBytes(path, from, before);
    const UINT8 header[4] = {nodeMedia, nodeFile, static_cast<UINT8>(node), static_cast<UINT8>(node >> 8)};
    copyBytes(path + before, header, 4);
    copyBytes(path + before + 4, file, text);
    static constexpr UINT8 end[4] = {pathEnd, 0xFF, 4, 0};
    copyBytes(path + before + node, end, 4);
  }
  return reinterpret_cast<EFI_DEVICE_PATH_PROTOCOL *>(path);
}

// What NAME.opt beside NAME.efi says, as firmware hands options over; pool memory, or null. Editors put a byte order
// mark before a text and a line feed behind it, which are no part of it.
static CHAR16 *readOptions(const client::Front *front, const CHAR16 *path) {
  CHAR8 *name = utf8FromWide(path);
  CHAR8 *text = nullptr;
  UINTN size = 0;
  if (name != nullptr) {
    copyBytes(name + textLength(name) - 3, "opt", 3);
  }
  if (name != nullptr && EFI_ERROR(firmwareReadFile(front, name, &text, &size))) {
    text = nullptr;
  }
  poolFree(name);
  while (text != nullptr && size != 0 && (text[size - 1] == '\n' || text[size - 1] == '\r')) {
    --size;
  }
  UINTN mark = text != nullptr && size >= 3 && __builtin_memcmp(text, "\xEF\xBB\xBF", 3) == 0 ? 3 : 0;
  CHAR16 *options = text != nullptr ? wideFromUtf8(text + mark, size - mark, /* carriageReturns= */ false) : nullptr;
  poolFree(text);
  return options;
}

static EFI_STATUS startDriver(const client::Front *front, EFI_HANDLE driver, const CHAR16 *path) {
  void *found = nullptr;
  EFI_STATUS status = g_bootServices->HandleProtocol(driver, &g_loadedImageGuid, &found);
  if (EFI_ERROR(status)) {
    return status;
  }
  auto loaded = static_cast<EFI_LOADED_IMAGE_PROTOCOL *>(found);
  CHAR16 *options = readOptions(front, path); // stays: a driver may keep the pointer
  if (options != nullptr) {
    loaded->LoadOptions = options;
    loaded->LoadOptionsSize = static_cast<UINT32>((textLength(options) + 1) * sizeof(CHAR16));
  }
  return g_bootServices->StartImage(driver, /* ExitDataSize= */ nullptr, /* ExitData= */ nullptr);
}

static EFI_STATUS loadAt(const client::Front *front, EFI_HANDLE image, const CHAR16 *path) {
  EFI_DEVICE_PATH_PROTOCOL *device = devicePathOf(image, path);
  EFI_HANDLE driver = nullptr;
  EFI_STATUS status = g_bootServices->LoadImage(/* BootPolicy= */ 0, image, device, /* Source= */ nullptr,
                                                /* SourceSize= */ 0, &driver);
  poolFree(device);
  if (!EFI_ERROR(status)) {
    return startDriver(front, driver, path);
  }
  if (driver != nullptr) {
    g_bootServices->UnloadImage(driver); // loaded, and not trusted
  }
  return status;
}

static EFI_STATUS loadDriver(const client::Front *front, EFI_HANDLE image, const CHAR16 *name) {
  CHAR16 *path = pathOf(name);
  EFI_STATUS status = path == nullptr ? EFI_OUT_OF_RESOURCES : loadAt(front, image, path);
  poolFree(path);
  return status;
}

static void tellFailure(const client::Front *front, const MediumDriver &driver) {
  CHAR8 *name = utf8FromWide(driver.name);
  client::complain(front, "driver %a: %a", name != nullptr ? name : "", client::statusWords(driver.status));
  poolFree(name);
}

static void connectAll() {
  EFI_HANDLE *handles = nullptr;
  UINTN count = 0;
  g_bootServices->LocateHandleBuffer(AllHandles, /* Protocol= */ nullptr, /* SearchKey= */ nullptr, &count, &handles);
  for (UINTN i = 0; handles != nullptr && i < count; ++i) {
    // Most handles are no controllers, which is no fault.
    g_bootServices->ConnectController(handles[i], /* DriverImages= */ nullptr, /* Remaining= */ nullptr,
                                      /* Recursive= */ 1);
  }
  poolFree(handles);
}

void loadDrivers(const client::Front *front, EFI_HANDLE image, PoolArray<MediumDriver> *drivers) {
  EFI_STATUS status = listDrivers(front, drivers);
  if (EFI_ERROR(status)) {
    client::complain(front, "cannot read '%a': %a", DRIVER_FOLDER, client::statusWords(status));
  }
  sortArray(drivers->items, drivers->count,
            [](const MediumDriver &a, const MediumDriver &b) { return textCompare(a.name, b.name) < 0; });
  for (UINT32 i = 0; i < drivers->count; ++i) {
    MediumDriver &driver = drivers->items[i];
    driver.status = loadDriver(front, image, driver.name);
    if (EFI_ERROR(driver.status)) {
      tellFailure(front, driver);
    }
  }
  connectAll();
}

void freeDrivers(PoolArray<MediumDriver> *drivers) {
  for (UINT32 i = 0; i < drivers->count; ++i) {
    poolFree(drivers->items[i].name);
  }
  poolRelease(drivers->items);
  *drivers = {};
}

} // namespace xyl::images
