// fwunload.efi: a driver that brings a simulated controller with a foreign configuration, which stays, and another one,
// which it takes away after a while, whatever is done with it then; it says so on the debug channel.
#include "base/pool.h"
#include "images.h"
#include "machine.h"
#include "report.h"

static constexpr UINT64 WHILE = 300000000; // 30 s in 100 ns
static constexpr int TIMER_RELATIVE = 2;
static constexpr CHAR16 FOREIGN[] = u"direct replaced";
static constexpr CHAR16 LEAVING[] = u"sas";

static EFI_HANDLE g_sim;
static EFI_EVENT g_timer;

static void EFIAPI onTime(EFI_EVENT, void *) {
  EFI_STATUS status = g_bootServices->UnloadImage(g_sim);
  check(!EFI_ERROR(status), u"the controller goes: %r", status);
  reportEnd(u"unload");
}

static EFI_STATUS bring(EFI_HANDLE parent, const CHAR16 *options, UINT32 size, EFI_HANDLE *sim) {
  EFI_LOADED_IMAGE_PROTOCOL *loaded = nullptr;
  EFI_STATUS status = loadFile(parent, u"\\RaidSim.efi", sim, &loaded);
  if (EFI_ERROR(status)) {
    return status;
  }
  loaded->LoadOptions = const_cast<CHAR16 *>(options);
  loaded->LoadOptionsSize = size;
  return g_bootServices->StartImage(*sim, /* ExitDataSize= */ nullptr, /* ExitData= */ nullptr);
}

extern "C" EFI_STATUS EFIAPI FwUnloadEntry(EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable) {
  setSystemTable(systemTable);
  report(u"begin unload");
  EFI_HANDLE foreign = nullptr;
  EFI_STATUS status = bring(image, FOREIGN, sizeof(FOREIGN), &foreign);
  if (!EFI_ERROR(status)) {
    status = bring(image, LEAVING, sizeof(LEAVING), &g_sim);
  }
  if (!EFI_ERROR(status)) {
    status = g_bootServices->CreateEvent(EFI_EVENT_TIMER | EFI_EVENT_NOTIFY_SIGNAL, EFI_TPL_CALLBACK, onTime,
                                         /* NotifyContext= */ nullptr, &g_timer);
  }
  return EFI_ERROR(status) ? status : g_bootServices->SetTimer(g_timer, TIMER_RELATIVE, WHILE);
}
