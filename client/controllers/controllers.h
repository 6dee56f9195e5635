// The controllers that the driver is bound to.
#pragma once

#include "client/command_line/command_line.h"
#include "client/guard/guard.h"
#include "raid_mgmt.h"
#include "raid_xyl.h"

namespace xyl::client {

struct Controllers {
  EFI_HANDLE *handles; // pool
  UINTN count;
};

// Finds every bound controller; none gives outcomeNotFound with a message. The caller frees Handles.
Result findControllers(const Context &context, Controllers *controllers);

// The controller's name as the driver's Component Name 2 tells it, or null. It stays with the firmware.
const CHAR16 *controllerName(EFI_HANDLE controller);

// The management protocol of a controller.
Result managementOf(const Context &context, EFI_HANDLE handle, RAID_MGMT_PROTOCOL **controller);

// Whether what -c gives is a controller's number, not its PCI place, WWN or name.
bool isControllerNumber(const CHAR8 *text);

// The operations of the controller that -c chooses, or of the only one. Failures come with a message.
Result selectController(const Context &context, RAID_XYL_PROTOCOL **operations);
// The same, and its handle alone.
Result selectHandle(const Context &context, EFI_HANDLE *handle);

// A controller that a command works on.
struct Controller {
  EFI_HANDLE handle;
  RAID_XYL_PROTOCOL *operations;
  RAID_MGMT_PROTOCOL *management;
  ControllerIdentity identity;
};

// Chooses as selectController, makes sure that documents can be read, and asks the controller who it is. Failures come
// with a message.
Result openController(const Context &context, Controller *controller);

// Reads the inventory document and makes sure that it holds all that the controller has. One with gaps is refused, or
// with --incomplete kept; *isWhole then tells. The caller frees document->Text.
Result readWholeInventory(const Context &context, const Controller &controller, DocumentText *document, bool *isWhole);

// The same for commands that only show: a virtual disk all of whose members were pulled is as the controller tells it.
Result readToldInventory(const Context &context, const Controller &controller, DocumentText *document, bool *isWhole);

// The machine as its firmware has it; texts are the firmware's, "" where it tells none, or only what makers leave for
// others to fill in ("Default string", "To be filled by O.E.M.", zeros).
struct Server {
  const CHAR8 *maker;
  const CHAR8 *product;
  const CHAR8 *serial;
  CHAR8 uuid[37]; // as people write it
};
void readServer(Server *server, const EFI_SYSTEM_TABLE *system);

// Appends what people call the machine: the front's word for it, or maker, product and serial number as firmware has
// them. Nothing when nobody knows.
void putServerName(Text *name, const Front *front);

// The commands that read a controller: list, identify, get, log.
Result runList(const Context &context);
Result runIdentify(const Context &context);
Result runGet(const Context &context);
Result runLog(const Context &context);
// The one that shows it in the firmware's setup, which only firmware has: setup.
Result runSetup(const Context &context);

} // namespace xyl::client
