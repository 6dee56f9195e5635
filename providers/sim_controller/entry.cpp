// The image that brings simulated controllers to firmware.
#include "providers/sim_controller/hand.h"
#include "providers/sim_controller/presets.h"
#include "providers/sim_controller/sim_controller.h"

namespace xyl::sim {

static Controller *g_sims[imageCapacity];

static const EFI_GUID g_loadedImageGuid = EFI_LOADED_IMAGE_PROTOCOL_GUID;

// Drivers are asked to let go first: firmware refuses to uninstall what one holds open.
static EFI_STATUS removeController(Controller **sim) {
  if (*sim == nullptr) {
    return EFI_SUCCESS;
  }
  EFI_STATUS status = EFI_SUCCESS;
  if ((*sim)->handle != nullptr) {
    status = g_bootServices->DisconnectController((*sim)->handle, /* DriverImage= */ nullptr, /* Child= */ nullptr);
  }
  if (!EFI_ERROR(status)) {
    status = destroy(*sim);
  }
  if (!EFI_ERROR(status)) {
    *sim = nullptr;
  }
  return status;
}

static EFI_STATUS removeAll() {
  EFI_STATUS first = EFI_SUCCESS;
  for (Controller *&sim : g_sims) {
    EFI_STATUS status = removeController(&sim);
    first = EFI_ERROR(first) ? first : status;
  }
  return first;
}

static EFI_STATUS EFIAPI unloadSims(EFI_HANDLE) {
  return removeAll();
}

static EFI_STATUS addController(const CHAR8 *preset) {
  for (Controller *&sim : g_sims) {
    if (sim == nullptr) {
      EFI_STATUS status = create(preset, &sim);
      EFI_HANDLE handle = nullptr;
      return EFI_ERROR(status) ? status : install(sim, &handle);
    }
  }
  return EFI_SUCCESS;
}

// Load options are UCS-2 of that many bytes; a NUL is optional.
struct Options {
  const UINT8 *bytes;
  UINT32 units;
};

static CHAR16 unitAt(const Options &options, UINT32 index) {
  CHAR16 unit = 0;
  copyBytes(&unit, options.bytes + static_cast<UINTN>(index) * sizeof(unit), sizeof(unit));
  return unit;
}

static bool isBetweenWords(CHAR16 unit) {
  return unit == 0 || unit == ' ' || unit == '\t' || unit == '"';
}

static bool wordIs(const Options &options, UINT32 start, UINT32 end, const CHAR8 *name) {
  for (UINT32 i = start; i < end; ++i, name++) {
    if (*name == 0 || unitAt(options, i) != static_cast<CHAR16>(*name)) {
      return false;
    }
  }
  return *name == 0;
}

static EFI_STATUS failFirstMember(Controller *sim) {
  const VirtualDisk *first = sim->virtualDisks.items;
  bool any = sim->virtualDisks.count != 0 && first->record.PDCount != 0;
  return any ? failDisk(sim, first->PDs[0]) : EFI_NOT_FOUND;
}

// What may happen to the controller that came last.
static constexpr struct {
  const CHAR8 *word;
  EFI_STATUS (*happen)(Controller *sim);
} g_events[] = {
    {"replaced", replaceAdapter},
    {"failed", failFirstMember},
};

static EFI_STATUS happenToLast(EFI_STATUS (*happen)(Controller *sim)) {
  for (UINT32 i = imageCapacity; i-- > 0;) {
    if (g_sims[i] != nullptr) {
      return happen(g_sims[i]);
    }
  }
  return EFI_SUCCESS;
}

static EFI_STATUS applyWord(const Options &options, UINT32 start, UINT32 end, bool *any) {
  for (const auto &event : g_events) {
    if (wordIs(options, start, end, event.word)) {
      return happenToLast(event.happen);
    }
  }
  for (UINT32 p = 0; presetAt(p) != nullptr; ++p) {
    if (wordIs(options, start, end, presetAt(p)->name)) {
      *any = true;
      return addController(presetAt(p)->name);
    }
  }
  return EFI_SUCCESS;
}

// Applies each word in turn. A shell puts the image's own name first, which means nothing here.
static EFI_STATUS applyOptions(const Options &options, bool *any) {
  for (UINT32 start = 0; start < options.units;) {
    UINT32 end = start;
    while (end < options.units && !isBetweenWords(unitAt(options, end))) {
      end += 1;
    }
    EFI_STATUS status = applyWord(options, start, end, any);
    if (EFI_ERROR(status)) {
      return status;
    }
    start = end + 1;
  }
  return EFI_SUCCESS;
}

using namespace sim;

extern "C" EFI_STATUS EFIAPI RaidSimEntry(EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable) {
  setSystemTable(systemTable);
  void *found = nullptr;
  EFI_STATUS status = g_bootServices->HandleProtocol(image, &g_loadedImageGuid, &found);
  if (EFI_ERROR(status)) {
    return status;
  }
  EFI_LOADED_IMAGE_PROTOCOL *loadedImage = static_cast<EFI_LOADED_IMAGE_PROTOCOL *>(found);
  Options options = {static_cast<const UINT8 *>(loadedImage->LoadOptions),
                     static_cast<UINT32>(loadedImage->LoadOptionsSize / sizeof(CHAR16))};
  options.units = options.bytes == nullptr ? 0 : options.units;
  bool any = false;
  status = applyOptions(options, &any);
  if (!EFI_ERROR(status) && !any) {
    status = addController("demo");
  }
  if (EFI_ERROR(status)) {
    removeAll();
    return status;
  }
  loadedImage->Unload = unloadSims;
  return EFI_SUCCESS;
}

} // namespace xyl::sim
