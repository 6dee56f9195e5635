// fwhealth.efi: a boot option that asks driver health about simulated controllers, prints what it is told, one line a
// message ("health LANGUAGE: ..."), and leaves three controllers with a failed disk behind for the firmware's own page.
#include "base/console.h"
#include "base/pool.h"
#include "images.h"
#include "machine.h"
#include "report.h"
#include "uefi/health.h"
#include "world.h"

using namespace xyl;

static constexpr EFI_GUID g_healthGuid = EFI_DRIVER_HEALTH_PROTOCOL_GUID;
static constexpr EFI_GUID g_nameGuid = EFI_COMPONENT_NAME2_PROTOCOL_GUID;
static constexpr EFI_GUID g_stringGuid = EFI_HII_STRING_PROTOCOL_GUID;
static constexpr UINTN calibrationMicroseconds = 100000;

static EFI_HANDLE load(EFI_HANDLE parent, const CHAR16 *file, const CHAR16 *options, UINTN size) {
  EFI_HANDLE image = nullptr;
  EFI_LOADED_IMAGE_PROTOCOL *loaded = nullptr;
  EFI_STATUS status = loadFile(parent, file, &image, &loaded);
  if (!EFI_ERROR(status)) {
    loaded->LoadOptions = const_cast<CHAR16 *>(options);
    loaded->LoadOptionsSize = static_cast<UINT32>(size);
    status = g_bootServices->StartImage(image, /* ExitDataSize= */ nullptr, /* ExitData= */ nullptr);
    loaded->LoadOptions = nullptr;
    loaded->LoadOptionsSize = 0;
  }
  check(!EFI_ERROR(status), u"%s starts: %r", file, status);
  return image;
}

static void unload(EFI_HANDLE image) {
  EFI_STATUS status = g_bootServices->UnloadImage(image);
  check(!EFI_ERROR(status), u"the image unloads: %r", status);
}

static EFI_DRIVER_HEALTH_PROTOCOL *locateHealth() {
  void *found = nullptr;
  g_bootServices->LocateProtocol(&g_healthGuid, /* Registration= */ nullptr, &found);
  return static_cast<EFI_DRIVER_HEALTH_PROTOCOL *>(found);
}

static EFI_DRIVER_HEALTH_STATUS healthOfAll() {
  EFI_DRIVER_HEALTH_PROTOCOL *health = locateHealth();
  EFI_DRIVER_HEALTH_STATUS result = EfiDriverHealthStatusRebootRequired;
  if (check(health != nullptr, u"driver health is published")) {
    health->GetHealthStatus(health, nullptr, nullptr, &result, nullptr, nullptr);
  }
  return result;
}

static void printMessages(const EFI_DRIVER_HEALTH_HII_MESSAGE *messages, const CHAR8 *language) {
  void *strings = nullptr;
  g_bootServices->LocateProtocol(&g_stringGuid, /* Registration= */ nullptr, &strings);
  auto texts = static_cast<EFI_HII_STRING_PROTOCOL *>(strings);
  for (; messages != nullptr && messages->HiiHandle != nullptr; messages++) {
    CHAR16 text[200];
    UINTN size = sizeof(text);
    EFI_STATUS status =
        texts->GetString(texts, language, messages->HiiHandle, messages->StringId, text, &size, nullptr);
    check(!EFI_ERROR(status), u"message %u in %a: %r", messages->StringId, language, status);
    Print(u"health %a: %s\n", language, text);
  }
}

static void checkFailed(EFI_HANDLE controller) {
  EFI_DRIVER_HEALTH_PROTOCOL *health = locateHealth();
  check(healthOfAll() == EfiDriverHealthStatusFailed, u"all together are not well");
  EFI_DRIVER_HEALTH_STATUS result = EfiDriverHealthStatusHealthy;
  EFI_DRIVER_HEALTH_HII_MESSAGE *messages = nullptr;
  EFI_STATUS status = health->GetHealthStatus(health, controller, nullptr, &result, &messages, nullptr);
  if (check(!EFI_ERROR(status) && result == EfiDriverHealthStatusFailed && messages != nullptr, u"a failed disk: %r",
            status)) {
    printMessages(messages, "en-US");
    printMessages(messages, "de-DE");
    poolFree(messages);
  }
}

static void checkNames(EFI_HANDLE image, EFI_HANDLE controller) {
  auto names = static_cast<EFI_COMPONENT_NAME2_PROTOCOL *>(interfaceOn(image, &g_nameGuid));
  CHAR16 *name = nullptr;
  static constexpr const CHAR8 *languages[] = {"zz-ZZ", "en-US"};
  for (const CHAR8 *language : languages) {
    EFI_STATUS wanted = language == languages[0] ? EFI_UNSUPPORTED : EFI_SUCCESS;
    check(names->GetDriverName(names, language, &name) == wanted &&
              names->GetControllerName(names, controller, nullptr, language, &name) == wanted,
          u"names in %a", language);
  }
}

// Every controller that there is, which is ill; so many of them.
static void checkAllFailed(UINTN wanted) {
  UINTN count = 0;
  EFI_HANDLE *controllers = handlesWith(&g_mgmtGuid, &count);
  check(count == wanted, u"%lu controllers", count);
  for (UINTN i = 0; i < count; i++) {
    checkFailed(controllers[i]);
  }
  poolFree(controllers);
}

// The first answer about the largest controller, and one that was kept.
static void measure() {
  UINT64 start = machineTicks();
  g_bootServices->Stall(calibrationMicroseconds);
  UINT64 perCalibration = machineTicks() - start;
  start = machineTicks();
  EFI_DRIVER_HEALTH_STATUS first = healthOfAll();
  UINT64 asked = machineTicks() - start;
  start = machineTicks();
  EFI_DRIVER_HEALTH_STATUS second = healthOfAll();
  UINT64 kept = machineTicks() - start;
  check(first == EfiDriverHealthStatusHealthy && second == first, u"240 disks are healthy");
  EFI_DRIVER_HEALTH_HII_MESSAGE *messages = nullptr;
  EFI_DRIVER_HEALTH_PROTOCOL *health = locateHealth();
  health->GetHealthStatus(health, findController(), nullptr, &first, &messages, nullptr);
  check(first == EfiDriverHealthStatusHealthy && messages == nullptr, u"and there is nothing to say");
  report(u"health of 240 disks: %lu us, kept: %lu us", asked * calibrationMicroseconds / perCalibration,
         kept * calibrationMicroseconds / perCalibration);
}

static constexpr CHAR16 large[] = u"large";
static constexpr CHAR16 failedName[] = u"demo failed";
static constexpr CHAR16 other[] = u"direct failed";

extern "C" EFI_STATUS EFIAPI FwHealthEntry(EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable) {
  setSystemTable(systemTable);
  report(u"begin health");
  EFI_HANDLE health = load(image, u"\\RaidHealth.efi", nullptr, 0);
  check(healthOfAll() == EfiDriverHealthStatusHealthy, u"no controller, nothing wrong");
  EFI_HANDLE sim = load(image, u"\\RaidSim.efi", large, sizeof(large));
  measure();
  unload(sim);
  sim = load(image, u"\\RaidSim.efi", failedName, sizeof(failedName));
  check(healthOfAll() == EfiDriverHealthStatusFailed, u"a new controller is asked at once");
  EFI_HANDLE controller = findController();
  g_bootServices->DisconnectController(controller, nullptr, nullptr);
  g_bootServices->ConnectController(controller, nullptr, nullptr, /* Recursive= */ 1);
  checkFailed(controller);
  unload(health);
  check(locateHealth() == nullptr, u"nothing stays of driver health");
  health = load(image, u"\\RaidHealth.efi", nullptr, 0);
  checkNames(health, controller);
  load(image, u"\\RaidSim.efi", other, sizeof(other));
  checkAllFailed(2);
  load(image, u"\\RaidSim.efi", other, sizeof(other));
  checkAllFailed(3);
  EFI_STATUS status = reportEnd(u"health");
  Print(u"health done\n");
  return status;
}
