// fwunload.efi: a driver that reads and sets a rate by its keyword, and brings a simulated controller with a foreign
// configuration, which stays, and another one, which it takes away after a while, whatever is done with it then; it
// says so on the debug channel.
#include "base/pool.h"
#include "base/text.h"
#include "images.h"
#include "machine.h"
#include "report.h"

using namespace xyl;

static constexpr UINT64 duration = 300000000; // 30 s in 100 ns
static constexpr int timerRelative = 2;
static constexpr CHAR16 foreignImage[] = u"direct replaced";
static constexpr CHAR16 leaving[] = u"sas";

typedef struct KeywordHandler KeywordHandler;
struct KeywordHandler {
  EFI_STATUS(EFIAPI *setData)(KeywordHandler *This, const CHAR16 *Text, CHAR16 **Progress, UINT32 *Error);
  EFI_STATUS(EFIAPI *getData)
  (KeywordHandler *This, const CHAR16 *Namespace, const CHAR16 *Keyword, CHAR16 **Progress, UINT32 *Error,
   CHAR16 **Results);
};
static constexpr EFI_GUID g_keywordGuid = {
    0x0A8BADD5, 0x03B8, 0x4D19, {0xB1, 0x28, 0x7B, 0x8F, 0x0E, 0xDA, 0xA5, 0x96}};

static EFI_HANDLE g_sim;
static EFI_EVENT g_timer;

static void EFIAPI onTime(EFI_EVENT, void *) {
  EFI_STATUS status = g_bootServices->UnloadImage(g_sim);
  check(!EFI_ERROR(status), u"the controller goes: %r", status);
  reportEnd(u"unload");
}

// Whether the rate has that value, two hexadecimal digits, and sets it to another one.
static void swapRate(KeywordHandler *handler, const CHAR16 *from, const CHAR16 *to) {
  CHAR16 *progress = nullptr;
  CHAR16 *results = nullptr;
  UINT32 error = 0;
  EFI_STATUS status = handler->getData(handler, u"NAMESPACE=x-UEFI-redfish-StorageController.v1_7_0",
                                       u"KEYWORD=/StorageController/{1}/ControllerRates/RebuildRatePercent", &progress,
                                       &error, &results);
  UINTN length = EFI_ERROR(status) ? 0 : textLength(results);
  if (!check(length > 2 && textEqual(results + length - 2, from), u"the keyword's value is %s: %r, %x", from, status,
             error)) {
    return;
  }
  results[length - 2] = to[0];
  results[length - 1] = to[1];
  status = handler->setData(handler, results, &progress, &error);
  check(!EFI_ERROR(status), u"the keyword takes %s: %r, %x", to, status, error);
  poolFree(results);
}

static void checkKeyword() {
  void *found = nullptr;
  EFI_STATUS status = g_bootServices->LocateProtocol(&g_keywordGuid, /* Registration= */ nullptr, &found);
  if (check(!EFI_ERROR(status), u"there is a keyword handler: %r", status)) {
    auto handler = static_cast<KeywordHandler *>(found);
    swapRate(handler, u"1e", u"28");
    swapRate(handler, u"28", u"1e");
  }
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
  checkKeyword();
  EFI_HANDLE foreign = nullptr;
  EFI_STATUS status = bring(image, foreignImage, sizeof(foreignImage), &foreign);
  if (!EFI_ERROR(status)) {
    status = bring(image, leaving, sizeof(leaving), &g_sim);
  }
  if (!EFI_ERROR(status)) {
    status = g_bootServices->CreateEvent(EFI_EVENT_TIMER | EFI_EVENT_NOTIFY_SIGNAL, EFI_TPL_CALLBACK, onTime,
                                         /* NotifyContext= */ nullptr, &g_timer);
  }
  return EFI_ERROR(status) ? status : g_bootServices->SetTimer(g_timer, timerRelative, duration);
}
