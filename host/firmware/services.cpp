// The boot and runtime services as firmware's tables offer them.

#include <algorithm>
#include <cstring>

#include "host/firmware/connect.h"
#include "host/firmware/open.h"
#include "host/firmware/state.h"

namespace xyl::host {

// Counts the call; an error when a test wants this one to fail.
static EFI_STATUS entered(Service service) {
  ServiceBook &book = g_firmware->services[service];
  ++book.calls;
  if (book.failIn != 0 && --book.failIn == 0) {
    return book.status;
  }
  return EFI_SUCCESS;
}

#define ENTER(name)                                                                                                    \
  if (EFI_STATUS wanted = entered(SERVICE_##name); EFI_ERROR(wanted)) {                                                \
    return wanted;                                                                                                     \
  }

// What fails in a test has no status here.
static EFI_TPL EFIAPI RaiseTPL(EFI_TPL wanted) {
  static_cast<void>(entered(SERVICE_RaiseTPL));
  EFI_TPL before = g_firmware->priority;
  if (wanted < before) {
    g_firmware->complaints.push_back("priority: raised to a lower one");
  }
  g_firmware->priority = wanted;
  return before;
}

static void EFIAPI restoreTpl(EFI_TPL before) {
  if (before > g_firmware->priority) {
    g_firmware->complaints.push_back("priority: restored to a higher one");
  }
  g_firmware->priority = before;
}

// A pool array of count Ts for the caller.
template <class T> static EFI_STATUS poolArray(size_t count, T **array) {
  void *memory = nullptr;
  EFI_STATUS status = g_firmware->pool.allocate(EfiBootServicesData, count * sizeof(T), &memory);
  *array = static_cast<T *>(memory);
  return status;
}

static EFI_STATUS EFIAPI AllocatePages(int allocateType, int memoryType, UINTN pages, UINT64 *memory) {
  ENTER(AllocatePages)
  if (allocateType != EFI_ALLOCATE_ANY_PAGES || memory == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  void *first = nullptr;
  EFI_STATUS status = g_firmware->pool.allocate(memoryType, pages * EFI_PAGE_SIZE, &first, EFI_PAGE_SIZE);
  *memory = reinterpret_cast<UINT64>(first);
  return status;
}

static EFI_STATUS EFIAPI FreePages(UINT64 memory, UINTN pages) {
  ENTER(FreePages)
  return g_firmware->pool.freePages(reinterpret_cast<void *>(memory), pages * EFI_PAGE_SIZE);
}

static EFI_STATUS EFIAPI GetMemoryMap(UINTN *, void *, UINTN *, UINTN *, UINT32 *) {
  ENTER(GetMemoryMap)
  return EFI_UNSUPPORTED;
}

static EFI_STATUS EFIAPI AllocatePool(int memoryType, UINTN size, void **buffer) {
  ENTER(AllocatePool)
  return g_firmware->pool.allocate(memoryType, size, buffer);
}

static EFI_STATUS EFIAPI FreePool(void *buffer) {
  ENTER(FreePool)
  return g_firmware->pool.free(buffer);
}

// Only the console's keys can come; a wait for anything else would never end.
static EFI_STATUS EFIAPI WaitForEvent(UINTN count, EFI_EVENT *events, UINTN *index) {
  ENTER(WaitForEvent)
  if (count == 0 || events == nullptr || index == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  Console &console = g_firmware->console;
  EFI_EVENT *found = std::find(events, events + count, console.in.WaitForKey);
  if (found == events + count || console.keys.empty()) {
    return EFI_UNSUPPORTED;
  }
  *index = static_cast<UINTN>(found - events);
  return EFI_SUCCESS;
}

static EFI_STATUS EFIAPI InstallProtocolInterface(EFI_HANDLE *handle, const EFI_GUID *protocol, int interfaceType,
                                                  void *interface) {
  ENTER(InstallProtocolInterface)
  if (handle == nullptr || protocol == nullptr || interfaceType != EFI_NATIVE_INTERFACE) {
    return EFI_INVALID_PARAMETER;
  }
  return g_firmware->database.install(handle, *protocol, interface);
}

static EFI_STATUS EFIAPI UninstallProtocolInterface(EFI_HANDLE handle, const EFI_GUID *protocol, void *interface) {
  ENTER(UninstallProtocolInterface)
  return protocol == nullptr ? EFI_INVALID_PARAMETER
                             : uninstallProtocol(g_firmware->database, handle, *protocol, interface);
}

static EFI_STATUS EFIAPI HandleProtocol(EFI_HANDLE handle, const EFI_GUID *protocol, void **interface) {
  ENTER(HandleProtocol)
  if (protocol == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  return openProtocol(g_firmware->database, handle, *protocol, interface, /* agent= */ nullptr,
                      /* controller= */ nullptr, EFI_OPEN_PROTOCOL_BY_HANDLE_PROTOCOL);
}

static EFI_STATUS EFIAPI LoadImage(BOOLEAN, EFI_HANDLE, EFI_DEVICE_PATH_PROTOCOL *, void *, UINTN, EFI_HANDLE *) {
  ENTER(LoadImage)
  return EFI_UNSUPPORTED;
}

static EFI_STATUS EFIAPI StartImage(EFI_HANDLE, UINTN *, CHAR16 **) {
  ENTER(StartImage)
  return EFI_UNSUPPORTED;
}

static EFI_STATUS EFIAPI Exit(EFI_HANDLE, EFI_STATUS, UINTN, CHAR16 *) {
  ENTER(Exit)
  return EFI_UNSUPPORTED;
}

static EFI_STATUS EFIAPI UnloadImage(EFI_HANDLE image) {
  ENTER(UnloadImage)
  return unloadImageOn(image);
}

// Events of a group happen when a test says so.
static EFI_STATUS EFIAPI CreateEventEx(UINT32 type, EFI_TPL, EFI_EVENT_NOTIFY notify, const void *context,
                                       const EFI_GUID *group, EFI_EVENT *event) {
  ENTER(CreateEventEx)
  if (type != EFI_EVENT_NOTIFY_SIGNAL || notify == nullptr || group == nullptr || event == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  *event = reinterpret_cast<EFI_EVENT>(uintptr_t{0xE000} + g_firmware->services[SERVICE_CreateEventEx].calls);
  g_firmware->events[*event] = {notify, context, *group};
  return EFI_SUCCESS;
}

// Nothing happens here by itself, so there are no timers.
static EFI_STATUS EFIAPI CreateEvent(UINT32, EFI_TPL, EFI_EVENT_NOTIFY, void *, EFI_EVENT *) {
  ENTER(CreateEvent)
  return EFI_UNSUPPORTED;
}

static EFI_STATUS EFIAPI SetTimer(EFI_EVENT, int, UINT64) {
  ENTER(SetTimer)
  return EFI_INVALID_PARAMETER;
}

static EFI_STATUS EFIAPI CloseEvent(EFI_EVENT event) {
  ENTER(CloseEvent)
  return g_firmware->events.erase(event) == 1 ? EFI_SUCCESS : EFI_INVALID_PARAMETER;
}

static EFI_STATUS EFIAPI GetNextMonotonicCount(UINT64 *count) {
  ENTER(GetNextMonotonicCount)
  if (count == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  *count = ++g_firmware->monotonicCount;
  return EFI_SUCCESS;
}

static EFI_STATUS EFIAPI Stall(UINTN) {
  ENTER(Stall)
  return EFI_SUCCESS;
}

static EFI_STATUS EFIAPI SetWatchdogTimer(UINTN, UINT64, UINTN, CHAR16 *) {
  ENTER(SetWatchdogTimer)
  return EFI_SUCCESS;
}

// No driver here makes child controllers, so Recursive changes nothing and Remaining is nobody's.
static EFI_STATUS EFIAPI ConnectController(EFI_HANDLE controller, EFI_HANDLE *driverImages, EFI_DEVICE_PATH_PROTOCOL *,
                                           BOOLEAN) {
  ENTER(ConnectController)
  return connectDrivers(g_firmware->database, controller, driverImages);
}

static EFI_STATUS EFIAPI DisconnectController(EFI_HANDLE controller, EFI_HANDLE driverImage, EFI_HANDLE child) {
  ENTER(DisconnectController)
  return child != nullptr ? EFI_INVALID_PARAMETER : disconnectDrivers(g_firmware->database, controller, driverImage);
}

static EFI_STATUS EFIAPI OpenProtocol(EFI_HANDLE handle, const EFI_GUID *protocol, void **interface, EFI_HANDLE agent,
                                      EFI_HANDLE controller, UINT32 attributes) {
  ENTER(OpenProtocol)
  if (protocol == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  return openProtocol(g_firmware->database, handle, *protocol, interface, agent, controller, attributes);
}

static EFI_STATUS EFIAPI CloseProtocol(EFI_HANDLE handle, const EFI_GUID *protocol, EFI_HANDLE agent,
                                       EFI_HANDLE controller) {
  ENTER(CloseProtocol)
  return protocol == nullptr ? EFI_INVALID_PARAMETER : g_firmware->database.close(handle, *protocol, agent, controller);
}

static EFI_STATUS EFIAPI OpenProtocolInformation(EFI_HANDLE handle, const EFI_GUID *protocol,
                                                 EFI_OPEN_PROTOCOL_INFORMATION_ENTRY **entries, UINTN *count) {
  ENTER(OpenProtocolInformation)
  if (protocol == nullptr || entries == nullptr || count == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  *entries = nullptr;
  *count = 0;
  ProtocolEntry *entry = g_firmware->database.find(handle, *protocol);
  if (entry == nullptr) {
    return EFI_NOT_FOUND;
  }
  EFI_STATUS status = poolArray(entry->opens.size(), entries);
  if (EFI_ERROR(status)) {
    return status;
  }
  for (const ProtocolOpen &open : entry->opens) {
    (*entries)[(*count)++] = {open.agent, open.controller, open.attributes, open.count};
  }
  return EFI_SUCCESS;
}

static EFI_STATUS EFIAPI ProtocolsPerHandle(EFI_HANDLE handle, EFI_GUID ***protocols, UINTN *count) {
  ENTER(ProtocolsPerHandle)
  std::list<ProtocolEntry> *list = g_firmware->database.protocols(handle);
  if (list == nullptr || protocols == nullptr || count == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  *count = 0;
  EFI_STATUS status = poolArray(list->size(), protocols);
  if (EFI_ERROR(status)) {
    return status;
  }
  for (ProtocolEntry &entry : *list) {
    (*protocols)[(*count)++] = &entry.guid;
  }
  return EFI_SUCCESS;
}

static EFI_STATUS EFIAPI LocateHandleBuffer(int searchType, const EFI_GUID *protocol, void *, UINTN *count,
                                            EFI_HANDLE **handles) {
  ENTER(LocateHandleBuffer)
  bool all = searchType == AllHandles;
  if (count == nullptr || handles == nullptr || (!all && (searchType != ByProtocol || protocol == nullptr))) {
    return EFI_INVALID_PARAMETER;
  }
  *count = 0;
  *handles = nullptr;
  std::vector<EFI_HANDLE> found = g_firmware->database.handles(all ? nullptr : protocol);
  if (found.empty()) {
    return EFI_NOT_FOUND;
  }
  EFI_STATUS status = poolArray(found.size(), handles);
  if (EFI_ERROR(status)) {
    return status;
  }
  std::copy(found.begin(), found.end(), *handles);
  *count = found.size();
  return EFI_SUCCESS;
}

// Of a whole device path without its end node.
static size_t pathLength(const EFI_DEVICE_PATH_PROTOCOL *path) {
  size_t length = 0;
  const UINT8 *bytes = reinterpret_cast<const UINT8 *>(path);
  while (bytes[length] != 0x7F) {
    length += bytes[length + 2] | static_cast<size_t>(bytes[length + 3]) << 8;
  }
  return length;
}

// The handle whose path is the longest beginning of the one that is given.
static EFI_STATUS EFIAPI LocateDevicePath(const EFI_GUID *protocol, EFI_DEVICE_PATH_PROTOCOL **path,
                                          EFI_HANDLE *device) {
  ENTER(LocateDevicePath)
  if (protocol == nullptr || path == nullptr || *path == nullptr || device == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  size_t wanted = pathLength(*path);
  size_t longest = 0;
  *device = nullptr;
  for (EFI_HANDLE handle : g_firmware->database.handles(protocol)) {
    ProtocolEntry *entry = g_firmware->database.find(handle, g_devicePathGuid);
    size_t length = entry == nullptr ? 0 : pathLength(static_cast<EFI_DEVICE_PATH_PROTOCOL *>(entry->interface));
    if (length > longest && length <= wanted && std::memcmp(entry->interface, *path, length) == 0) {
      longest = length;
      *device = handle;
    }
  }
  if (*device == nullptr) {
    return EFI_NOT_FOUND;
  }
  *path = reinterpret_cast<EFI_DEVICE_PATH_PROTOCOL *>(reinterpret_cast<UINT8 *>(*path) + longest);
  return EFI_SUCCESS;
}

// Nothing can be registered here, so Registration is null.
static EFI_STATUS EFIAPI LocateProtocol(const EFI_GUID *protocol, void *registration, void **interface) {
  ENTER(LocateProtocol)
  if (protocol == nullptr || interface == nullptr || registration != nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  *interface = nullptr;
  std::vector<EFI_HANDLE> found = g_firmware->database.handles(protocol);
  if (found.empty()) {
    return EFI_NOT_FOUND;
  }
  *interface = g_firmware->database.find(found.front(), *protocol)->interface;
  return EFI_SUCCESS;
}

struct InterfacePair {
  const EFI_GUID *guid;
  void *interface;
};

static std::vector<InterfacePair> pairsOf(EFI_VA_LIST arguments) {
  std::vector<InterfacePair> pairs;
  while (const EFI_GUID *guid = EFI_VA_ARG(arguments, const EFI_GUID *)) {
    pairs.push_back({guid, EFI_VA_ARG(arguments, void *)});
  }
  return pairs;
}

// Bytes of a device path with its end node, or 0 when a node is too short to walk on (real firmware then hangs).
static size_t devicePathSize(const UINT8 *path) {
  for (size_t size = 0;;) {
    const UINT8 *node = path + size;
    size_t length = node[2] + node[3] * 256U;
    if (length < 4) {
      return 0;
    }
    size += length;
    if (node[0] == 0x7F && node[1] == 0xFF) {
      return size;
    }
  }
}

// A device path names one handle only.
static EFI_STATUS checkDevicePath(const InterfacePair &pair) {
  if (!guidEqual(*pair.guid, g_devicePathGuid)) {
    return EFI_SUCCESS;
  }
  auto *path = static_cast<const UINT8 *>(pair.interface);
  size_t size = devicePathSize(path);
  if (size == 0) {
    g_firmware->complaints.push_back("protocols: device path with a node that is too short");
    return EFI_INVALID_PARAMETER;
  }
  for (EFI_HANDLE handle : g_firmware->database.handles(&g_devicePathGuid)) {
    auto *other = static_cast<const UINT8 *>(g_firmware->database.find(handle, g_devicePathGuid)->interface);
    if (devicePathSize(other) == size && std::memcmp(path, other, size) == 0) {
      return EFI_ALREADY_STARTED;
    }
  }
  return EFI_SUCCESS;
}

static EFI_STATUS EFIAPI InstallMultipleProtocolInterfaces(EFI_HANDLE *handle, ...) {
  ENTER(InstallMultipleProtocolInterfaces)
  if (handle == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  EFI_VA_LIST arguments;
  EFI_VA_START(arguments, handle);
  std::vector<InterfacePair> pairs = pairsOf(arguments);
  EFI_VA_END(arguments);
  EFI_HANDLE before = *handle;
  for (size_t i = 0; i < pairs.size(); ++i) {
    EFI_STATUS status = checkDevicePath(pairs[i]);
    status = EFI_ERROR(status) ? status : g_firmware->database.install(handle, *pairs[i].guid, pairs[i].interface);
    if (EFI_ERROR(status)) {
      while (i-- > 0) {
        uninstallProtocol(g_firmware->database, *handle, *pairs[i].guid, pairs[i].interface);
      }
      *handle = before;
      return status;
    }
  }
  return EFI_SUCCESS;
}

static EFI_STATUS EFIAPI UninstallMultipleProtocolInterfaces(EFI_HANDLE handle, ...) {
  ENTER(UninstallMultipleProtocolInterfaces)
  EFI_VA_LIST arguments;
  EFI_VA_START(arguments, handle);
  std::vector<InterfacePair> pairs = pairsOf(arguments);
  EFI_VA_END(arguments);
  for (size_t i = 0; i < pairs.size(); ++i) {
    if (EFI_ERROR(uninstallProtocol(g_firmware->database, handle, *pairs[i].guid, pairs[i].interface))) {
      while (i-- > 0) {
        g_firmware->database.install(&handle, *pairs[i].guid, pairs[i].interface);
      }
      return EFI_INVALID_PARAMETER;
    }
  }
  return EFI_SUCCESS;
}

static void EFIAPI CopyMem(void *destination, const void *source, UINTN length) {
  std::memmove(destination, source, length);
}

static void EFIAPI SetMem(void *buffer, UINTN size, UINT8 value) {
  std::memset(buffer, value, size);
}

// A fixed moment, so that what depends on the clock can be compared.
static EFI_STATUS EFIAPI getTime(EFI_TIME *time, void *) {
  if (time == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  *time = {2026, 3, 14, 9, 26, 53, 0, 0, 0, 0, 0};
  return EFI_SUCCESS;
}

static void EFIAPI resetSystem(int, EFI_STATUS, UINTN, void *) {
  g_firmware->complaints.push_back("runtime: ResetSystem was called");
}

static const char *const g_serviceNames[serviceCount] = {
#define X(name) #name,
    FIRMWARE_SERVICES(X)
#undef X
};

Service serviceNamed(const std::string &name) {
  return static_cast<Service>(std::find(g_serviceNames, g_serviceNames + serviceCount, name) - g_serviceNames);
}

void fillTables() {
  static CHAR16 vendor[] = u"RaidXyl host";
  EFI_BOOT_SERVICES &boot = g_firmware->bootServices;
  boot.Hdr = {EFI_BOOT_SERVICES_SIGNATURE, 0x00020046, sizeof boot, 0, 0};
#define X(name) boot.name = name;
  FIRMWARE_SERVICES(X)
#undef X
  boot.RestoreTPL = restoreTpl;
  boot.CopyMem = CopyMem;
  boot.SetMem = SetMem;
  EFI_RUNTIME_SERVICES &runtime = g_firmware->runtimeServices;
  runtime.GetTime = getTime;
  runtime.ResetSystem = resetSystem;
  EFI_SYSTEM_TABLE &table = g_firmware->systemTable;
  table.Hdr = {EFI_SYSTEM_TABLE_SIGNATURE, 0x00020046, sizeof table, 0, 0};
  table.FirmwareVendor = vendor;
  table.ConIn = &g_firmware->console.in;
  table.ConOut = &g_firmware->console.out;
  table.StdErr = table.ConOut;
  table.RuntimeServices = &runtime;
  table.BootServices = &boot;
}

} // namespace xyl::host
