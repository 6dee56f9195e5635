#include "world.h"
#include "base/pool.h"
#include "debug_log.h"
#include "debug_log_ring.h"
#include "images.h"
#include "raid_mgmt.h"
#include "report.h"
#include "xml_protocol.h"

using namespace xyl;

const EFI_GUID g_xylGuid = RAID_XYL_PROTOCOL_GUID;
const EFI_GUID g_mgmtGuid = RAID_MGMT_PROTOCOL_GUID;

typedef struct Instance {
  const CHAR16 *name;
  EFI_GUID guid;
  UINTN pointers; // function pointers at the start of the instance
  bool shared;    // other drivers have the same protocol
} Instance;

static constexpr Instance g_instances[] = {
    {u"driver binding", EFI_DRIVER_BINDING_PROTOCOL_GUID, 3, true},
    {u"component name 2", EFI_COMPONENT_NAME2_PROTOCOL_GUID, 2, true},
    {u"RAID_XYL_PROTOCOL", RAID_XYL_PROTOCOL_GUID, 4, false},
    {u"RAID_MGMT_PROTOCOL", RAID_MGMT_PROTOCOL_GUID, 3, false},
    {u"RAID_MGMT_ALT_PROTOCOL", RAID_MGMT_ALT_PROTOCOL_GUID, 3, false},
    {u"XML_PROTOCOL", XML_PROTOCOL_GUID, 6, false},
    {u"DEBUG_LOG_PROTOCOL", DEBUG_LOG_PROTOCOL_GUID, 6, false},
    {u"DEBUG_LOG_RING_PROTOCOL", DEBUG_LOG_RING_PROTOCOL_GUID, 4, false},
};

EFI_HANDLE *handlesWith(const EFI_GUID *protocol, UINTN *count) {
  EFI_HANDLE *handles = nullptr;
  *count = 0;
  int search = protocol == nullptr ? AllHandles : ByProtocol;
  if (EFI_ERROR(g_bootServices->LocateHandleBuffer(search, protocol, /* SearchKey= */ nullptr, count, &handles))) {
    *count = 0;
    return nullptr;
  }
  return handles;
}

UINTN countWith(const EFI_GUID *protocol) {
  UINTN count = 0;
  poolFree(handlesWith(protocol, &count));
  return count;
}

EFI_HANDLE findController() {
  UINTN count = 0;
  EFI_HANDLE *handles = handlesWith(&g_mgmtGuid, &count);
  EFI_HANDLE first = count == 0 ? nullptr : handles[0];
  poolFree(handles);
  return first;
}

void *interfaceOn(EFI_HANDLE handle, const EFI_GUID *protocol) {
  void *interface = nullptr;
  return EFI_ERROR(g_bootServices->HandleProtocol(handle, protocol, &interface)) ? nullptr : interface;
}

void checkNothingOfOurs() {
  for (const Instance &row : g_instances) {
    check(row.shared || countWith(&row.guid) == 0, u"no handle carries %s of ours", row.name);
  }
}

// Tables in the pool are in no section, so only code and constants are refused.
static bool isWritable(const Instance &row, void *interface) {
  UINT32 flags = sectionFlagsOf(interface);
  bool writable = flags == 0 || (flags & (sectionWritable | sectionExecutable)) == sectionWritable;
  auto pointers = static_cast<void *volatile *>(interface);
  for (UINTN i = 0; writable && i < row.pointers; ++i) {
    void *old = pointers[i];
    pointers[i] = nullptr;
    pointers[i] = old;
    writable = pointers[i] == old;
  }
  return writable;
}

void checkInstancesWritable() {
  for (const Instance &row : g_instances) {
    UINTN count = 0;
    UINTN found = 0;
    EFI_HANDLE *handles = handlesWith(&row.guid, &count);
    for (UINTN i = 0; i < count; ++i) {
      auto interface = static_cast<void **>(interfaceOn(handles[i], &row.guid));
      if (interface != nullptr && (sectionFlagsOf(*interface) & sectionExecutable) != 0) {
        found += 1;
        check(isWritable(row, interface), u"%s lies in writable data", row.name);
      }
    }
    poolFree(handles);
    check(found != 0, u"%s is ours on %lu handles", row.name, found);
  }
}
