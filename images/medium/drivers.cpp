// The drivers on the medium.
#include "base/text.h"
#include "images/medium/run.h"

static const EFI_GUID g_loadedImageGuid = EFI_LOADED_IMAGE_PROTOCOL_GUID;
static const EFI_GUID g_devicePathGuid = EFI_DEVICE_PATH_PROTOCOL_GUID;

#if defined(__x86_64__)
#define DRIVER_FOLDER "\\EFI\\raidxyl\\x64\\"
#else
#define DRIVER_FOLDER "\\EFI\\raidxyl\\aa64\\"
#endif

#define INFO_CAPACITY 1024U
#define DRIVERS_MAX 64U
#define PATH_CAPACITY 128U

struct DRIVER_PATH {
  CHAR16 Text[PATH_CAPACITY];
};

// --- Which there are ---

static bool isImage(const EFI_FILE_INFO &info) {
  UINTN length = textLength(info.FileName);
  if ((info.Attribute & EFI_FILE_DIRECTORY) != 0 || length < 5 || length >= sizeof(MEDIUM_DRIVER::Name) / 2) {
    return false;
  }
  const CHAR16 *name = info.FileName; // goes on behind the structure
  const CHAR16 *end = name + (length - 4);
  return end[0] == u'.' && (end[1] | 0x20) == u'e' && (end[2] | 0x20) == u'f' && (end[3] | 0x20) == u'i';
}

// Adds the name at its place in their order.
static bool addName(POOL_ARRAY<MEDIUM_DRIVER> *drivers, const CHAR16 *name) {
  if (drivers->count == DRIVERS_MAX || arrayAppend(*drivers) == nullptr) {
    return false;
  }
  UINT32 at = drivers->count - 1;
  for (; at != 0 && textCompare(drivers->items[at - 1].Name, name) > 0; --at) {
    drivers->items[at] = drivers->items[at - 1];
  }
  copyBytes(drivers->items[at].Name, name, (textLength(name) + 1) * sizeof(CHAR16));
  return true;
}

static EFI_STATUS listDrivers(const XYL_HOST *host, POOL_ARRAY<MEDIUM_DRIVER> *drivers) {
  EFI_SHELL_PROTOCOL *files = firmwareContext(host)->Files;
  EFI_SHELL_FILE_HANDLE folder = nullptr;
  EFI_STATUS status = files->OpenFileByName(u"" DRIVER_FOLDER, &folder, EFI_FILE_MODE_READ);
  if (EFI_ERROR(status)) {
    return status;
  }
  EFI_FILE_INFO *info = static_cast<EFI_FILE_INFO *>(poolAllocate(INFO_CAPACITY));
  status = info == nullptr ? EFI_OUT_OF_RESOURCES : EFI_SUCCESS;
  for (UINTN size = INFO_CAPACITY; !EFI_ERROR(status) && size != 0;) {
    size = INFO_CAPACITY;
    status = files->ReadFile(folder, &size, info);
    if (!EFI_ERROR(status) && size != 0 && isImage(*info) && !addName(drivers, info->FileName)) {
      status = EFI_OUT_OF_RESOURCES;
    }
  }
  poolFree(info);
  files->CloseFile(folder);
  return status;
}

// --- One driver ---

static void makePath(DRIVER_PATH *path, const CHAR16 *name) {
  UINTN length = sizeof(DRIVER_FOLDER) - 1;
  copyBytes(path->Text, u"" DRIVER_FOLDER, length * sizeof(CHAR16));
  copyBytes(path->Text + length, name, (textLength(name) + 1) * sizeof(CHAR16));
}

#define NODE_END 0x7F
#define NODE_MEDIA 4
#define NODE_FILE 4

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
  UINTN before = 0;
  while (from[before] != NODE_END) {
    before += static_cast<UINTN>(from[before + 2] | from[before + 3] << 8);
  }
  UINTN text = (textLength(file) + 1) * sizeof(CHAR16);
  UINTN node = text + 4;
  UINT8 *path = static_cast<UINT8 *>(poolAllocate(before + node + 4));
  if (path != nullptr) {
    copyBytes(path, from, before);
    const UINT8 header[4] = {NODE_MEDIA, NODE_FILE, static_cast<UINT8>(node), static_cast<UINT8>(node >> 8)};
    copyBytes(path + before, header, 4);
    copyBytes(path + before + 4, file, text);
    static constexpr UINT8 end[4] = {NODE_END, 0xFF, 4, 0};
    copyBytes(path + before + node, end, 4);
  }
  return reinterpret_cast<EFI_DEVICE_PATH_PROTOCOL *>(path);
}

// What NAME.opt beside NAME.efi says, as firmware hands options over; pool memory, or null.
static CHAR16 *readOptions(const XYL_HOST *host, const DRIVER_PATH &path) {
  DRIVER_PATH name = path;
  copyBytes(name.Text + textLength(name.Text) - 3, u"opt", 3 * sizeof(CHAR16));
  CHAR8 *narrow = utf8FromWide(name.Text);
  CHAR8 *text = nullptr;
  UINTN size = 0;
  if (narrow != nullptr && EFI_ERROR(firmwareReadFile(host, narrow, &text, &size))) {
    text = nullptr;
  }
  poolFree(narrow);
  while (text != nullptr && size != 0 && (text[size - 1] == '\n' || text[size - 1] == '\r')) {
    --size;
  }
  CHAR16 *options = text != nullptr ? wideFromUtf8(text, size, /* carriageReturns= */ false) : nullptr;
  poolFree(text);
  return options;
}

static EFI_STATUS startDriver(const XYL_HOST *host, EFI_HANDLE driver, const DRIVER_PATH &path) {
  void *found = nullptr;
  EFI_STATUS status = g_bootServices->HandleProtocol(driver, &g_loadedImageGuid, &found);
  if (EFI_ERROR(status)) {
    return status;
  }
  auto loaded = static_cast<EFI_LOADED_IMAGE_PROTOCOL *>(found);
  CHAR16 *options = readOptions(host, path); // stays: a driver may keep the pointer
  if (options != nullptr) {
    loaded->LoadOptions = options;
    loaded->LoadOptionsSize = static_cast<UINT32>((textLength(options) + 1) * sizeof(CHAR16));
  }
  return g_bootServices->StartImage(driver, /* ExitDataSize= */ nullptr, /* ExitData= */ nullptr);
}

static EFI_STATUS loadDriver(const XYL_HOST *host, EFI_HANDLE image, const CHAR16 *name) {
  DRIVER_PATH path;
  makePath(&path, name);
  EFI_DEVICE_PATH_PROTOCOL *device = devicePathOf(image, path.Text);
  EFI_HANDLE driver = nullptr;
  EFI_STATUS status = g_bootServices->LoadImage(/* BootPolicy= */ 0, image, device, /* Source= */ nullptr,
                                                /* SourceSize= */ 0, &driver);
  poolFree(device);
  if (!EFI_ERROR(status)) {
    return startDriver(host, driver, path);
  }
  if (driver != nullptr) {
    g_bootServices->UnloadImage(driver); // loaded, and not trusted
  }
  return status;
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

EFI_STATUS loadDrivers(const XYL_HOST *host, EFI_HANDLE image, POOL_ARRAY<MEDIUM_DRIVER> *drivers) {
  EFI_STATUS status = listDrivers(host, drivers);
  for (UINT32 i = 0; i < drivers->count; ++i) {
    MEDIUM_DRIVER &driver = drivers->items[i];
    driver.Status = loadDriver(host, image, driver.Name);
    if (EFI_ERROR(driver.Status)) {
      CHAR8 name[sizeof(driver.Name) / 2];
      textNarrow(name, driver.Name, sizeof(name) - 1);
      complain(host, "driver %a: %a", name, statusWords(driver.Status));
    }
  }
  connectAll();
  return status;
}
