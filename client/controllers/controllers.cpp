#include "client/controllers/controllers.h"

#include "base/pool.h"
#include "base/text.h"
#include "driver/request/request.h"
#include "raid_mgmt.h"
#include "uefi/protocols.h"

namespace xyl::client {

static const EFI_GUID g_raidXylGuid = RAID_XYL_PROTOCOL_GUID;
static const EFI_GUID g_raidMgmtGuid = RAID_MGMT_PROTOCOL_GUID;
static const EFI_GUID g_componentName2Guid = EFI_COMPONENT_NAME2_PROTOCOL_GUID;

Result findControllers(const Context &context, Controllers *controllers) {
  *controllers = {};
  EFI_STATUS status = g_bootServices->LocateHandleBuffer(ByProtocol, &g_raidXylGuid, nullptr, &controllers->count,
                                                         &controllers->handles);
  if (status == EFI_NOT_FOUND) {
    complain(context.front, "the driver is bound to no controller; load RaidXyl.efi and connect the controller");
    return notFound();
  }
  if (EFI_ERROR(status)) {
    complain(context.front, "cannot look for controllers: %a", statusWords(status));
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
static Result findNamed(const Context &context, const Controllers &controllers, const CHAR8 *text, UINTN *index) {
  UINTN found = 0;
  for (UINTN i = 0; i < controllers.count; ++i) {
    void *management = nullptr;
    ControllerIdentity identity;
    if (EFI_ERROR(g_bootServices->HandleProtocol(controllers.handles[i], &g_raidMgmtGuid, &management)) ||
        EFI_ERROR(readIdentity(static_cast<RAID_MGMT_PROTOCOL *>(management), &identity))) {
      continue;
    }
    if (isSameText(text, identity.place) || isSameText(text, identity.wwn) || isSameText(text, identity.name)) {
      *index = i;
      ++found;
    }
  }
  if (found == 1) {
    return succeeded();
  }
  if (found != 0) {
    complain(context.front, "'%a' is the name of %d controllers; choose one by its WWN, 'xyl list' shows them", text,
             static_cast<UINT32>(found));
    return wrongUsage();
  }
  complain(context.front, "there is no controller %a; 'xyl list' shows what there is", text);
  return notFound();
}

bool isControllerNumber(const CHAR8 *text) {
  UINTN digits = 0;
  while (text[digits] >= '0' && text[digits] <= '9') {
    ++digits;
  }
  return digits < sizeof(ControllerIdentity::wwn) - 1 && text[digits] == 0;
}

// The place in the list that -c chooses (from 0), or of the only controller.
static Result chooseIndex(const Context &context, const Controllers &controllers, UINTN *index) {
  const CHAR8 *text = context.request->options[optionNumber];
  *index = 0;
  if (text == nullptr) {
    if (controllers.count == 1) {
      return succeeded();
    }
    complain(context.front, "%d controllers are bound; choose one with -c N, 'xyl list' shows them",
             static_cast<UINT32>(controllers.count));
    return wrongUsage();
  }
  if (!isControllerNumber(text)) {
    return findNamed(context, controllers, text, index);
  }
  UINT64 number = parseDecimal(text);
  if (number == 0 || number > controllers.count) {
    complain(context.front, "there is no controller %a; 'xyl list' shows what there is", text);
    return notFound();
  }
  *index = number - 1;
  return succeeded();
}

Result selectHandle(const Context &context, EFI_HANDLE *chosen) {
  Controllers controllers;
  Result result = findControllers(context, &controllers);
  if (isFailure(result)) {
    return result;
  }
  UINTN index = 0;
  result = chooseIndex(context, controllers, &index);
  *chosen = controllers.handles[index];
  poolFree(controllers.handles);
  return result;
}

static Result openOn(const Context &context, EFI_HANDLE handle, const EFI_GUID &guid, void **found) {
  EFI_STATUS status = g_bootServices->HandleProtocol(handle, &guid, found);
  if (EFI_ERROR(status)) {
    complain(context.front, "the controller cannot be reached: %a", statusWords(status));
    return failed(status);
  }
  return succeeded();
}

Result managementOf(const Context &context, EFI_HANDLE handle, RAID_MGMT_PROTOCOL **controller) {
  void *found = nullptr;
  Result result = openOn(context, handle, g_raidMgmtGuid, &found);
  *controller = static_cast<RAID_MGMT_PROTOCOL *>(found);
  return result;
}

static Result chooseOperations(const Context &context, EFI_HANDLE *handle, RAID_XYL_PROTOCOL **operations) {
  void *found = nullptr;
  Result result = selectHandle(context, handle);
  if (!isFailure(result)) {
    result = openOn(context, *handle, g_raidXylGuid, &found);
    *operations = static_cast<RAID_XYL_PROTOCOL *>(found);
  }
  return result;
}

Result selectController(const Context &context, RAID_XYL_PROTOCOL **operations) {
  EFI_HANDLE handle = nullptr;
  return chooseOperations(context, &handle, operations);
}

Result openController(const Context &context, Controller *controller) {
  *controller = {};
  Result result = chooseOperations(context, &controller->handle, &controller->operations);
  if (!isFailure(result)) {
    result = managementOf(context, controller->handle, &controller->management);
  }
  if (!isFailure(result)) {
    result = needXmlService(context);
  }
  if (isFailure(result)) {
    return result;
  }
  EFI_STATUS status = readIdentity(controller->management, &controller->identity);
  if (EFI_ERROR(status)) {
    complain(context.front, "the controller's adapter cannot be read: %a", statusWords(status));
    return failed(status);
  }
  return succeeded();
}

// What an inventory has to hold: all that the controller has, or all that it refers to as well.
enum class Wholeness { answers, document };

static Result readChecked(const Context &context, const Controller &controller, Wholeness wanted,
                          DocumentText *document, bool *isWhole) {
  static constexpr const CHAR8 *what = "the inventory";
  Result result = readInventory(context, controller.operations, document);
  if (isFailure(result)) {
    return result;
  }
  RAID_CONFIG *config = nullptr;
  result = readConfiguration(context, what, document->text, &config);
  if (!isFailure(result)) {
    Text gaps = {};
    EFI_STATUS status = wanted == Wholeness::document ? putGaps(&gaps, *config) : EFI_SUCCESS;
    if (wanted == Wholeness::answers) {
      putKeyGap(&gaps, *config);
    }
    status = EFI_ERROR(status) ? status : putCountGaps(&gaps, controller.management, *config);
    *isWhole = gaps.length == 0;
    result = judgeGaps(context, what, status, &gaps);
  }
  driver::releaseConfig(config);
  if (isFailure(result)) {
    releaseDocument(document);
  }
  return result;
}

Result readWholeInventory(const Context &context, const Controller &controller, DocumentText *document, bool *isWhole) {
  return readChecked(context, controller, Wholeness::document, document, isWhole);
}

Result readToldInventory(const Context &context, const Controller &controller, DocumentText *document, bool *isWhole) {
  return readChecked(context, controller, Wholeness::answers, document, isWhole);
}

} // namespace xyl::client
