#include "client/controllers/controllers.h"

#include "base/pool.h"
#include "base/text.h"
#include "driver/request/request.h"
#include "raid_mgmt.h"
#include "uefi/protocols.h"

static const EFI_GUID g_raidXylGuid = RAID_XYL_PROTOCOL_GUID;
static const EFI_GUID g_raidMgmtGuid = RAID_MGMT_PROTOCOL_GUID;
static const EFI_GUID g_componentName2Guid = EFI_COMPONENT_NAME2_PROTOCOL_GUID;

XYL_RESULT findControllers(const XYL_CONTEXT &context, CONTROLLERS *controllers) {
  *controllers = {};
  EFI_STATUS status = g_bootServices->LocateHandleBuffer(ByProtocol, &g_raidXylGuid, nullptr, &controllers->Count,
                                                         &controllers->Handles);
  if (status == EFI_NOT_FOUND) {
    complain(context.Front, "the driver is bound to no controller; load RaidXyl.efi and connect the controller");
    return notFound();
  }
  if (EFI_ERROR(status)) {
    complain(context.Front, "cannot look for controllers: %a", statusWords(status));
    return failed(status);
  }
  return succeeded();
}

// The driver that opened the controller's management protocol for itself, or null.
static EFI_HANDLE driverOf(EFI_HANDLE controller) {
  EFI_OPEN_PROTOCOL_INFORMATION_ENTRY *entries = nullptr;
  UINTN count = 0;
  if (EFI_ERROR(g_bootServices->OpenProtocolInformation(controller, &g_raidMgmtGuid, &entries, &count))) {
    return nullptr;
  }
  EFI_HANDLE driver = nullptr;
  for (UINTN i = 0; i < count; ++i) {
    if ((entries[i].Attributes & EFI_OPEN_PROTOCOL_BY_DRIVER) != 0) {
      driver = entries[i].AgentHandle;
    }
  }
  poolFree(entries);
  return driver;
}

const CHAR16 *controllerName(EFI_HANDLE controller) {
  EFI_HANDLE driver = driverOf(controller);
  void *found = nullptr;
  if (driver == nullptr || EFI_ERROR(g_bootServices->HandleProtocol(driver, &g_componentName2Guid, &found))) {
    return nullptr;
  }
  EFI_COMPONENT_NAME2_PROTOCOL *names = static_cast<EFI_COMPONENT_NAME2_PROTOCOL *>(found);
  CHAR16 *name = nullptr;
  if (EFI_ERROR(names->GetControllerName(names, controller, /* Child= */ nullptr, "en-US", &name))) {
    return nullptr;
  }
  return name;
}

static bool isSameText(const CHAR8 *a, const CHAR8 *b) {
  auto small = [](CHAR8 letter) { return letter >= 'A' && letter <= 'Z' ? letter - 'A' + 'a' : letter; };
  for (; *a != 0 && small(*a) == small(*b); ++a, ++b) {
  }
  return *a == 0 && *b == 0;
}

// Finds the controller that text names. One that does not tell who it is has no name.
static XYL_RESULT findNamed(const XYL_CONTEXT &context, const CONTROLLERS &controllers, const CHAR8 *text,
                            UINTN *index) {
  UINTN found = 0;
  for (UINTN i = 0; i < controllers.Count; ++i) {
    void *management = nullptr;
    CONTROLLER_IDENTITY identity;
    if (EFI_ERROR(g_bootServices->HandleProtocol(controllers.Handles[i], &g_raidMgmtGuid, &management)) ||
        EFI_ERROR(readIdentity(static_cast<RAID_MGMT_PROTOCOL *>(management), &identity))) {
      continue;
    }
    if (isSameText(text, identity.Place) || isSameText(text, identity.Wwn) || isSameText(text, identity.Name)) {
      *index = i;
      ++found;
    }
  }
  if (found == 1) {
    return succeeded();
  }
  if (found != 0) {
    complain(context.Front, "'%a' is the name of %d controllers; choose one by its WWN, 'xyl list' shows them", text,
             static_cast<UINT32>(found));
    return wrongUsage();
  }
  complain(context.Front, "there is no controller %a; 'xyl list' shows what there is", text);
  return notFound();
}

bool isControllerNumber(const CHAR8 *text) {
  UINTN digits = 0;
  while (text[digits] >= '0' && text[digits] <= '9') {
    ++digits;
  }
  return digits < sizeof(CONTROLLER_IDENTITY::Wwn) - 1 && text[digits] == 0;
}

// The place in the list that -c chooses (from 0), or of the only controller.
static XYL_RESULT chooseIndex(const XYL_CONTEXT &context, const CONTROLLERS &controllers, UINTN *index) {
  const CHAR8 *text = context.Request->Options[XYL_OPTION_NUMBER];
  *index = 0;
  if (text == nullptr) {
    if (controllers.Count == 1) {
      return succeeded();
    }
    complain(context.Front, "%d controllers are bound; choose one with -c N, 'xyl list' shows them",
             static_cast<UINT32>(controllers.Count));
    return wrongUsage();
  }
  if (!isControllerNumber(text)) {
    return findNamed(context, controllers, text, index);
  }
  UINT64 number = parseDecimal(text);
  if (number == 0 || number > controllers.Count) {
    complain(context.Front, "there is no controller %a; 'xyl list' shows what there is", text);
    return notFound();
  }
  *index = number - 1;
  return succeeded();
}

XYL_RESULT selectHandle(const XYL_CONTEXT &context, EFI_HANDLE *chosen) {
  CONTROLLERS controllers;
  XYL_RESULT result = findControllers(context, &controllers);
  if (isFailure(result)) {
    return result;
  }
  UINTN index = 0;
  result = chooseIndex(context, controllers, &index);
  *chosen = controllers.Handles[index];
  poolFree(controllers.Handles);
  return result;
}

static XYL_RESULT openOn(const XYL_CONTEXT &context, EFI_HANDLE handle, const EFI_GUID &guid, void **found) {
  EFI_STATUS status = g_bootServices->HandleProtocol(handle, &guid, found);
  if (EFI_ERROR(status)) {
    complain(context.Front, "the controller cannot be reached: %a", statusWords(status));
    return failed(status);
  }
  return succeeded();
}

XYL_RESULT managementOf(const XYL_CONTEXT &context, EFI_HANDLE handle, RAID_MGMT_PROTOCOL **controller) {
  void *found = nullptr;
  XYL_RESULT result = openOn(context, handle, g_raidMgmtGuid, &found);
  *controller = static_cast<RAID_MGMT_PROTOCOL *>(found);
  return result;
}

static XYL_RESULT chooseOperations(const XYL_CONTEXT &context, EFI_HANDLE *handle, RAID_XYL_PROTOCOL **operations) {
  void *found = nullptr;
  XYL_RESULT result = selectHandle(context, handle);
  if (!isFailure(result)) {
    result = openOn(context, *handle, g_raidXylGuid, &found);
    *operations = static_cast<RAID_XYL_PROTOCOL *>(found);
  }
  return result;
}

XYL_RESULT selectController(const XYL_CONTEXT &context, RAID_XYL_PROTOCOL **operations) {
  EFI_HANDLE handle = nullptr;
  return chooseOperations(context, &handle, operations);
}

XYL_RESULT openController(const XYL_CONTEXT &context, CONTROLLER *controller) {
  *controller = {};
  XYL_RESULT result = chooseOperations(context, &controller->Handle, &controller->Operations);
  if (!isFailure(result)) {
    result = managementOf(context, controller->Handle, &controller->Management);
  }
  if (!isFailure(result)) {
    result = needXmlService(context);
  }
  if (isFailure(result)) {
    return result;
  }
  EFI_STATUS status = readIdentity(controller->Management, &controller->Identity);
  if (EFI_ERROR(status)) {
    complain(context.Front, "the controller's adapter cannot be read: %a", statusWords(status));
    return failed(status);
  }
  return succeeded();
}

// What an inventory has to hold: all that the controller has, or all that it refers to as well.
enum WHOLENESS { WHOLE_ANSWERS, WHOLE_DOCUMENT };

static XYL_RESULT readChecked(const XYL_CONTEXT &context, const CONTROLLER &controller, WHOLENESS wanted,
                              DOCUMENT_TEXT *document, bool *isWhole) {
  static constexpr const CHAR8 *NAME = "the inventory";
  XYL_RESULT result = readInventory(context, controller.Operations, document);
  if (isFailure(result)) {
    return result;
  }
  RAID_CONFIG *config = nullptr;
  result = readConfiguration(context, NAME, document->Text, &config);
  if (!isFailure(result)) {
    TEXT gaps = {};
    EFI_STATUS status = wanted == WHOLE_DOCUMENT ? putGaps(&gaps, *config) : EFI_SUCCESS;
    if (wanted == WHOLE_ANSWERS) {
      putKeyGap(&gaps, *config);
    }
    status = EFI_ERROR(status) ? status : putCountGaps(&gaps, controller.Management, *config);
    *isWhole = gaps.Length == 0;
    result = judgeGaps(context, NAME, status, &gaps);
  }
  releaseConfig(config);
  if (isFailure(result)) {
    releaseDocument(document);
  }
  return result;
}

XYL_RESULT readWholeInventory(const XYL_CONTEXT &context, const CONTROLLER &controller, DOCUMENT_TEXT *document,
                              bool *isWhole) {
  return readChecked(context, controller, WHOLE_DOCUMENT, document, isWhole);
}

XYL_RESULT readToldInventory(const XYL_CONTEXT &context, const CONTROLLER &controller, DOCUMENT_TEXT *document,
                             bool *isWhole) {
  return readChecked(context, controller, WHOLE_ANSWERS, document, isWhole);
}
