// The controllers that the driver is bound to.
#pragma once

#include "client/command_line/command_line.h"
#include "client/guard/guard.h"
#include "raid_mgmt.h"
#include "raid_xyl.h"

struct CONTROLLERS {
  EFI_HANDLE *Handles; // pool
  UINTN Count;
};

// Finds every bound controller; none gives XYL_NOT_FOUND with a message. The caller frees Handles.
XYL_RESULT findControllers(const XYL_CONTEXT &context, CONTROLLERS *controllers);

// The controller's name as the driver's Component Name 2 tells it, or null. It stays with the firmware.
const CHAR16 *controllerName(EFI_HANDLE controller);

// The management protocol of a controller.
XYL_RESULT managementOf(const XYL_CONTEXT &context, EFI_HANDLE handle, RAID_MGMT_PROTOCOL **controller);

// Whether what -c gives is a controller's number, not its PCI place, WWN or name.
bool isControllerNumber(const CHAR8 *text);

// The operations of the controller that -c chooses, or of the only one. Failures come with a message.
XYL_RESULT selectController(const XYL_CONTEXT &context, RAID_XYL_PROTOCOL **operations);
// The same, and its handle alone.
XYL_RESULT selectHandle(const XYL_CONTEXT &context, EFI_HANDLE *handle);

// A controller that a command works on.
struct CONTROLLER {
  EFI_HANDLE Handle;
  RAID_XYL_PROTOCOL *Operations;
  RAID_MGMT_PROTOCOL *Management;
  CONTROLLER_IDENTITY Identity;
};

// Chooses as selectController, makes sure that documents can be read, and asks the controller who it is. Failures come
// with a message.
XYL_RESULT openController(const XYL_CONTEXT &context, CONTROLLER *controller);

// Reads the inventory document and makes sure that it holds all that the controller has. One with gaps is refused, or
// with --incomplete kept; *isWhole then tells. The caller frees document->Text.
XYL_RESULT readWholeInventory(const XYL_CONTEXT &context, const CONTROLLER &controller, DOCUMENT_TEXT *document,
                              bool *isWhole);

// The same for commands that only show: a virtual disk all of whose members were pulled is as the controller tells it.
XYL_RESULT readToldInventory(const XYL_CONTEXT &context, const CONTROLLER &controller, DOCUMENT_TEXT *document,
                             bool *isWhole);

// The machine as its firmware has it; texts are the firmware's, "" where it tells none, or only what makers leave for
// others to fill in ("Default string", "To be filled by O.E.M.", zeros).
struct SERVER {
  const CHAR8 *Maker;
  const CHAR8 *Product;
  const CHAR8 *Serial;
  CHAR8 Uuid[37]; // as people write it
};
void readServer(SERVER *server, const EFI_SYSTEM_TABLE *system);

// Appends what people call the machine: the front's word for it, or maker, product and serial number as firmware has
// them. Nothing when nobody knows.
void putServerName(TEXT *name, const XYL_FRONT *front);

// The commands that read a controller: list, identify, get, log.
XYL_RESULT runList(const XYL_CONTEXT &context);
XYL_RESULT runIdentify(const XYL_CONTEXT &context);
XYL_RESULT runGet(const XYL_CONTEXT &context);
XYL_RESULT runLog(const XYL_CONTEXT &context);
// The one that shows it in the firmware's setup, which only firmware has: setup.
XYL_RESULT runSetup(const XYL_CONTEXT &context);
