#include "world.h"
#include "base/pool.h"
#include "debug_log.h"
#include "debug_log_ring.h"
#include "images.h"
#include "raid_mgmt.h"
#include "report.h"
#include "xml_protocol.h"

const EFI_GUID g_xylGuid = RAID_XYL_PROTOCOL_GUID;
const EFI_GUID g_mgmtGuid = RAID_MGMT_PROTOCOL_GUID;
static constexpr EFI_GUID g_bindingGuid = EFI_DRIVER_BINDING_PROTOCOL_GUID;
static constexpr EFI_GUID g_name2Guid = EFI_COMPONENT_NAME2_PROTOCOL_GUID;

typedef struct KNOWN_PROTOCOL {
  const CHAR16 *name;
  EFI_GUID guid;
} KNOWN_PROTOCOL;

static constexpr KNOWN_PROTOCOL g_ours[] = {
    {u"RAID_XYL_PROTOCOL", RAID_XYL_PROTOCOL_GUID},
    {u"RAID_MGMT_PROTOCOL", RAID_MGMT_PROTOCOL_GUID},
    {u"RAID_MGMT_ALT_PROTOCOL", RAID_MGMT_ALT_PROTOCOL_GUID},
    {u"XML_PROTOCOL", XML_PROTOCOL_GUID},
    {u"DEBUG_LOG_PROTOCOL", DEBUG_LOG_PROTOCOL_GUID},
    {u"DEBUG_LOG_RING_PROTOCOL", DEBUG_LOG_RING_PROTOCOL_GUID},
};

EFI_HANDLE *handlesWith(const EFI_GUID *protocol, UINTN *count) {
  EFI_HANDLE *handles = nullptr;
  *count = 0;
  int search = protocol == nullptr ? EFI_LOCATE_ALL_HANDLES : EFI_LOCATE_BY_PROTOCOL;
  if (EFI_ERROR(g_bootServices->LocateHandleBuffer(search, protocol, /* SearchKey= */ nullptr, count, &handles))) {
    *count = 0;
    return nullptr;
  }
  return handles;
}

CENSUS takeCensus() {
  CENSUS census = {0, 0};
  EFI_HANDLE *handles = handlesWith(nullptr, &census.handles);
  for (UINTN i = 0; i < census.handles; ++i) {
    EFI_GUID **protocols = nullptr;
    UINTN count = 0;
    if (!EFI_ERROR(g_bootServices->ProtocolsPerHandle(handles[i], &protocols, &count))) {
      census.protocols += count;
      poolFree(protocols);
    }
  }
  poolFree(handles);
  return census;
}

typedef struct MEMORY_DESCRIPTOR {
  UINT32 type;
  UINT64 physicalStart;
  UINT64 virtualStart;
  UINT64 pages;
  UINT64 attribute;
} MEMORY_DESCRIPTOR;

UINT64 conventionalPages() {
  static constexpr UINT32 CONVENTIONAL = 7;
  static UINT8 map[32 * 1024];
  UINTN size = sizeof(map);
  UINTN key = 0;
  UINTN step = 0;
  UINT32 version = 0;
  if (EFI_ERROR(g_bootServices->GetMemoryMap(&size, map, &key, &step, &version))) {
    return 0;
  }
  UINT64 pages = 0;
  for (UINTN offset = 0; offset + sizeof(MEMORY_DESCRIPTOR) <= size; offset += step) {
    MEMORY_DESCRIPTOR descriptor;
    copyBytes(&descriptor, map + offset, sizeof(descriptor));
    pages += descriptor.type == CONVENTIONAL ? descriptor.pages : 0;
  }
  return pages;
}

EFI_HANDLE findController() {
  UINTN count = 0;
  EFI_HANDLE *handles = handlesWith(&g_mgmtGuid, &count);
  EFI_HANDLE first = count == 0 ? nullptr : handles[0];
  poolFree(handles);
  return first;
}

RAID_XYL_PROTOCOL *findXyl(EFI_HANDLE handle) {
  void *interface = nullptr;
  if (EFI_ERROR(g_bootServices->HandleProtocol(handle, &g_xylGuid, &interface))) {
    return nullptr;
  }
  return static_cast<RAID_XYL_PROTOCOL *>(interface);
}

bool checkNothingOfOurs() {
  bool nothing = true;
  for (const KNOWN_PROTOCOL &protocol : g_ours) {
    UINTN count = 0;
    poolFree(handlesWith(&protocol.guid, &count));
    nothing = check(count == 0, u"no handle carries %s", protocol.name) && nothing;
  }
  return nothing;
}

static bool isOpenFor(EFI_HANDLE handle, const EFI_GUID *protocol, EFI_HANDLE agent) {
  EFI_OPEN_PROTOCOL_INFORMATION_ENTRY *entries = nullptr;
  UINTN count = 0;
  if (EFI_ERROR(g_bootServices->OpenProtocolInformation(handle, protocol, &entries, &count))) {
    return false;
  }
  bool open = false;
  for (UINTN i = 0; i < count; ++i) {
    open = open || entries[i].AgentHandle == agent;
  }
  poolFree(entries);
  return open;
}

// How many protocols, of all handles, are still open in the name of agent.
static UINTN countOpenFor(EFI_HANDLE agent) {
  UINTN open = 0;
  UINTN count = 0;
  EFI_HANDLE *handles = handlesWith(nullptr, &count);
  for (UINTN i = 0; i < count; ++i) {
    EFI_GUID **protocols = nullptr;
    UINTN protocolCount = 0;
    if (EFI_ERROR(g_bootServices->ProtocolsPerHandle(handles[i], &protocols, &protocolCount))) {
      continue;
    }
    for (UINTN j = 0; j < protocolCount; ++j) {
      open += isOpenFor(handles[i], protocols[j], agent) ? 1 : 0;
    }
    poolFree(protocols);
  }
  poolFree(handles);
  return open;
}

bool checkDriverGone(EFI_HANDLE driver) {
  UINTN count = 0;
  EFI_HANDLE *handles = handlesWith(&g_bindingGuid, &count);
  UINTN left = 0;
  for (UINTN i = 0; i < count; ++i) {
    void *interface = nullptr;
    g_bootServices->HandleProtocol(handles[i], &g_bindingGuid, &interface);
    auto binding = static_cast<EFI_DRIVER_BINDING_PROTOCOL *>(interface);
    left += binding->ImageHandle == driver || binding->DriverBindingHandle == driver ? 1 : 0;
  }
  poolFree(handles);
  void *name = nullptr;
  bool named = !EFI_ERROR(g_bootServices->HandleProtocol(driver, &g_name2Guid, &name));
  UINTN open = countOpenFor(driver);
  poolFree(handlesWith(&g_xylGuid, &count));
  return check(left == 0 && !named && open == 0 && count == 0,
               u"nothing is left of the driver: %lu bindings, %u names, %lu open protocols, %lu tables", left,
               named ? 1 : 0, open, count);
}

typedef struct INSTANCE {
  const CHAR16 *name;
  EFI_GUID guid;
  UINTN pointers; // function pointers at the start of the instance
} INSTANCE;

static constexpr INSTANCE g_instances[] = {
    {u"driver binding", EFI_DRIVER_BINDING_PROTOCOL_GUID, 3},
    {u"component name 2", EFI_COMPONENT_NAME2_PROTOCOL_GUID, 2},
    {u"RAID_XYL_PROTOCOL", RAID_XYL_PROTOCOL_GUID, 4},
    {u"RAID_MGMT_PROTOCOL", RAID_MGMT_PROTOCOL_GUID, 3},
    {u"RAID_MGMT_ALT_PROTOCOL", RAID_MGMT_ALT_PROTOCOL_GUID, 3},
    {u"XML_PROTOCOL", XML_PROTOCOL_GUID, 6},
    {u"DEBUG_LOG_PROTOCOL", DEBUG_LOG_PROTOCOL_GUID, 6},
    {u"DEBUG_LOG_RING_PROTOCOL", DEBUG_LOG_RING_PROTOCOL_GUID, 4},
};

static bool isOurFunction(void *pointer) {
  return (sectionFlagsOf(pointer) & SECTION_EXECUTABLE) != 0;
}

// Tables in the pool are in no section, so only code and constants are refused.
static bool checkInstance(const INSTANCE &row, void *interface) {
  UINT32 flags = sectionFlagsOf(interface);
  bool writable = flags == 0 || (flags & (SECTION_WRITABLE | SECTION_EXECUTABLE)) == SECTION_WRITABLE;
  auto pointers = static_cast<void *volatile *>(interface);
  for (UINTN i = 0; writable && i < row.pointers; ++i) {
    void *old = pointers[i];
    pointers[i] = nullptr;
    pointers[i] = old;
    writable = pointers[i] == old;
  }
  return check(writable, u"%s lies in writable data", row.name);
}

bool checkInstancesWritable() {
  bool all = true;
  for (const INSTANCE &row : g_instances) {
    UINTN count = 0;
    UINTN found = 0;
    EFI_HANDLE *handles = handlesWith(&row.guid, &count);
    for (UINTN i = 0; i < count; ++i) {
      void *interface = nullptr;
      g_bootServices->HandleProtocol(handles[i], &row.guid, &interface);
      if (interface != nullptr && isOurFunction(*static_cast<void **>(interface))) {
        found += 1;
        all = checkInstance(row, interface) && all;
      }
    }
    poolFree(handles);
    all = check(found != 0, u"%s is ours on %lu handles", row.name, found) && all;
  }
  return all;
}
