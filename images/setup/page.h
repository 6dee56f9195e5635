// A controller's page: what is kept of it between two calls of the firmware. Of the controller nothing is, but numbers
// and checksums: it may be another one, or gone, at the next call.
#pragma once

#include "images/setup/snapshot.h"
#include "images/setup/strings.h"
#include "raid_setup.h"
#include "uefi/hii.h"
#include "uefi/protocols.h"

namespace xyl::images::setup {

// --- Forms and questions; their numbers are known by, and stay what they are ---

enum class FormId : EFI_FORM_ID {
  overview = 1,
  virtualDisks,
  disks,
  spares,
  create,
  foreign,
  settings,
  virtualDisk,
  disk,
  confirm
};

enum class Ask : EFI_QUESTION_ID {
  toVirtualDisks = 1,
  toDisks,
  toSpares,
  toCreate,
  toForeign,
  toSettings,
  fromVirtualDisksToCreate, // a question stands in one form only
  fromGoneToVirtualDisks,
  fromGoneToDisks,
  // Details.
  toDelete = 0x10,
  toClear,
  back,
  makeGlobal,
  freeSpare,
  spareFor,
  makeDedicated,
  importForeign,
  sure,
  confirm,
  // A new virtual disk.
  level = 0x20,
  howMany,
  size,
  name,
  stripe,
  create,
  cache = 0x28, // and one for each group
  // Settings.
  mode = 0x40,
  rate = 0x50,
  // Objects in lists, in the order of the page's targets.
  target = 0x1000
};

// --- Objects ---

enum class Kind : UINT8 { none, virtualDisk, disk, candidate, missing, foreign };

// An object that a question stands for, as a person saw it.
struct Target {
  Kind kind;
  UINT32 id;
  UINT64 print; // of the virtual disk that lacks it for a missing disk
  UINT32 of;    // the virtual disk that lacks it
};

// --- State ---

constexpr UINTN cacheGroups = 4;
constexpr UINTN nameCapacity = fitting::nameMax + 1;

// A virtual disk as far as it is put together.
struct Creation {
  UINT32 level;
  UINT8 howMany;
  UINT8 stripe;             // number of the bit, from 1 on; 0: the controller's default
  UINT8 cache[cacheGroups]; // likewise
  UINT64 megabytes;         // 0: all there is
  CHAR16 name[nameCapacity];
  PoolArray<Target> members;
};

// What came of the last action.
struct Note {
  Text text;
  EFI_STATUS status;
  UINT32 age; // forms that have shown it and were left
  CHAR16 subjects[languageCount][nameCapacity];
};

constexpr UINTN modeCount = 7;

// The values of the settings form, as firmware keeps them until they are saved.
struct Settings {
  UINT8 modes[modeCount];
  UINT8 rates[RAID_RATE_COUNT];
  UINT8 unused;
};
static_assert(sizeof(Settings) == 16);

struct Page {
  EFI_HII_CONFIG_ACCESS_PROTOCOL access; // first: firmware's This is the page
  RAID_SETUP_PROTOCOL onController;
  Page *next;
  EFI_HANDLE controller;
  EFI_HANDLE agent;  // by which firmware knows the driver
  EFI_HANDLE handle; // the page's own
  EFI_HII_HANDLE list;
  UINT8 *path; // pool
  UINT32 number;
  UINT32 busy; // calls of the firmware that have not returned
  bool isOpen; // a person looks at it
  bool isFresh;
  bool isEntering;
  bool isGone;
  bool isOnDisks; // a controller over the machine's disks

  PoolArray<Target> targets;
  Target virtualDisk; // whose details are shown
  Target disk;
  Target doomed; // what the page that asks is about
  bool sure;
  UINT32 spareFor;
  EFI_STRING_ID nameId; // the text that the name question shows
  Creation creation;
  Note note;
};

// --- Across the room ---

// The controller's protocol now, or null.
RAID_MGMT_PROTOCOL *managementOf(const Page &page);

inline constexpr EFI_GUID g_databaseGuid = EFI_HII_DATABASE_PROTOCOL_GUID;
inline constexpr EFI_GUID g_managementGuid = RAID_MGMT_PROTOCOL_GUID;
inline constexpr EFI_GUID g_setupGuid = RAID_SETUP_PROTOCOL_GUID;

extern const EFI_GUID g_formSetId;

// Draws the page from what the controller has, as a list of packages.
void drawPage(Page *page, const Snapshot &all, Bytes *list);
// The same, and hands it to the firmware: EFI_OUT_OF_RESOURCES leaves the page as it was.
EFI_STATUS redraw(Page *page, const Snapshot &all);
// Reads all and does that.
EFI_STATUS refresh(Page *page, RAID_MGMT_PROTOCOL *mgmt);

// The target that a question stands for, or null.
const Target *targetOf(const Page &page, EFI_QUESTION_ID question);

// The protocol's members.
EFI_STATUS EFIAPI extractConfig(EFI_HII_CONFIG_ACCESS_PROTOCOL *access, const CHAR16 *request, const CHAR16 **progress,
                                CHAR16 **results);
EFI_STATUS EFIAPI routeConfig(EFI_HII_CONFIG_ACCESS_PROTOCOL *access, const CHAR16 *configuration,
                              const CHAR16 **progress);
EFI_STATUS EFIAPI callback(EFI_HII_CONFIG_ACCESS_PROTOCOL *access, UINTN action, EFI_QUESTION_ID question, UINT8 type,
                           void *value, UINTN *request);

// Marks the page as in use while it lives.
class Busy {
public:
  explicit Busy(Page *page) : page_(page) { ++page_->busy; }
  Busy(const Busy &) = delete;
  Busy &operator=(const Busy &) = delete;
  ~Busy() { --page_->busy; }

private:
  Page *page_;
};

// Takes the page of a controller that went away without a word from the firmware.
void abandon(Page *page);

// The interface on a handle, or null.
void *findInterface(EFI_HANDLE handle, const EFI_GUID &guid);
template <class Interface> Interface *interfaceOn(EFI_HANDLE handle, const EFI_GUID &guid) {
  return static_cast<Interface *>(findInterface(handle, guid));
}

// Finds an interface that firmware has once, or null.
void *findProtocol(const EFI_GUID &guid);
template <class Protocol> Protocol *locate(const EFI_GUID &guid) {
  return static_cast<Protocol *>(findProtocol(guid));
}

} // namespace xyl::images::setup
