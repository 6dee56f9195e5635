#include "providers/health/findings.h"
#include "providers/health/health.h"
#include "providers/health/messages.h"

namespace xyl::health {

static const EFI_GUID g_managementGuid = RAID_MGMT_PROTOCOL_GUID;

// What a controller answered.
struct Kept {
  EFI_HANDLE controller;
  RAID_MGMT_PROTOCOL *mgmt;
  UINT32 findingCount;
  EFI_HII_HANDLE texts;
};

EFI_HANDLE g_textsOwner;
static PoolArray<Kept> g_kept;
static bool g_forgotten;

void forget() {
  g_forgotten = true;
}

void release() {
  for (UINT32 i = 0; i < g_kept.count; ++i) {
    removeMessages(g_kept.items[i].texts);
  }
  poolFree(g_kept.items);
  g_kept = {};
  g_forgotten = false;
}

static RAID_MGMT_PROTOCOL *managementOf(EFI_HANDLE controller) {
  void *found = nullptr;
  EFI_STATUS status = g_bootServices->HandleProtocol(controller, &g_managementGuid, &found);
  return EFI_ERROR(status) ? nullptr : static_cast<RAID_MGMT_PROTOCOL *>(found);
}

// --- One controller ---

static const Kept *findKept(EFI_HANDLE controller, const RAID_MGMT_PROTOCOL *mgmt) {
  for (UINT32 i = 0; i < g_kept.count; ++i) {
    if (g_kept.items[i].controller == controller && g_kept.items[i].mgmt == mgmt) {
      return &g_kept.items[i];
    }
  }
  return nullptr;
}

static EFI_STATUS ask(Kept *kept) {
  PoolArray<Finding> findings = {};
  EFI_STATUS status = findFaults(kept->mgmt, &findings);
  if (!EFI_ERROR(status) && findings.count != 0) {
    status = publishMessages(findings, g_textsOwner, g_kept.count, &kept->texts);
  }
  kept->findingCount = findings.count;
  poolFree(findings.items);
  return status;
}

// *kept is good until the next question.
static EFI_STATUS answerOf(EFI_HANDLE controller, RAID_MGMT_PROTOCOL *mgmt, const Kept **kept) {
  if (g_forgotten) {
    release();
  }
  *kept = findKept(controller, mgmt);
  if (*kept != nullptr) {
    return EFI_SUCCESS;
  }
  Kept answer = {controller, mgmt, /* FindingCount= */ 0, /* Texts= */ nullptr};
  EFI_STATUS status = arrayReserve(g_kept, 1) ? ask(&answer) : EFI_OUT_OF_RESOURCES;
  if (!EFI_ERROR(status)) {
    g_kept.items[g_kept.count] = answer;
    *kept = &g_kept.items[g_kept.count++];
  }
  return status;
}

static EFI_STATUS listMessages(const Kept &kept, EFI_DRIVER_HEALTH_HII_MESSAGE **messages) {
  if (messages == nullptr || kept.texts == nullptr) {
    return EFI_SUCCESS;
  }
  EFI_DRIVER_HEALTH_HII_MESSAGE *list = poolNew<EFI_DRIVER_HEALTH_HII_MESSAGE>(kept.findingCount + UINTN{1});
  if (list == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  for (UINT32 i = 0; i < kept.findingCount; ++i) {
    list[i] = {kept.texts, static_cast<EFI_STRING_ID>(messageFirst + i), /* MessageCode= */ 0};
  }
  *messages = list;
  return EFI_SUCCESS;
}

static EFI_DRIVER_HEALTH_STATUS statusOf(const Kept &kept) {
  return kept.findingCount == 0 ? EfiDriverHealthStatusHealthy : EfiDriverHealthStatusFailed;
}

// --- All of them ---

static EFI_STATUS judgeAll(EFI_DRIVER_HEALTH_STATUS *health) {
  UINTN count = 0;
  EFI_HANDLE *handles = nullptr;
  EFI_STATUS status = g_bootServices->LocateHandleBuffer(ByProtocol, &g_managementGuid,
                                                         /* SearchKey= */ nullptr, &count, &handles);
  if (EFI_ERROR(status)) {
    return status == EFI_NOT_FOUND ? EFI_SUCCESS : status;
  }
  for (UINTN i = 0; i < count && !EFI_ERROR(status); ++i) {
    RAID_MGMT_PROTOCOL *mgmt = managementOf(handles[i]);
    const Kept *kept = nullptr;
    status = mgmt == nullptr ? EFI_SUCCESS : answerOf(handles[i], mgmt, &kept);
    if (kept != nullptr && kept->findingCount != 0) {
      *health = EfiDriverHealthStatusFailed;
    }
  }
  poolFree(handles);
  return status;
}

static EFI_STATUS EFIAPI getHealthStatus(EFI_DRIVER_HEALTH_PROTOCOL *, EFI_HANDLE controller, EFI_HANDLE child,
                                         EFI_DRIVER_HEALTH_STATUS *health, EFI_DRIVER_HEALTH_HII_MESSAGE **messages,
                                         EFI_HII_HANDLE *form) {
  if (messages != nullptr) {
    *messages = nullptr;
  }
  if (form != nullptr) {
    *form = nullptr;
  }
  if (health == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  *health = EfiDriverHealthStatusHealthy;
  if (controller == nullptr) {
    return judgeAll(health);
  }
  RAID_MGMT_PROTOCOL *mgmt = child == nullptr ? managementOf(controller) : nullptr;
  if (mgmt == nullptr) {
    return EFI_UNSUPPORTED;
  }
  const Kept *kept = nullptr;
  EFI_STATUS status = answerOf(controller, mgmt, &kept);
  if (EFI_ERROR(status)) {
    return status;
  }
  *health = statusOf(*kept);
  return listMessages(*kept, messages);
}

static EFI_STATUS EFIAPI repair(EFI_DRIVER_HEALTH_PROTOCOL *, EFI_HANDLE, EFI_HANDLE, void *) {
  return EFI_UNSUPPORTED;
}

EFI_DRIVER_HEALTH_PROTOCOL g_driverHealth = {getHealthStatus, repair};

} // namespace xyl::health
