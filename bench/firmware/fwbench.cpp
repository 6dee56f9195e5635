// fwbench.efi: the operations of the first served controller, timed inside the firmware. Writes one line an operation
// to QEMU's debug channel:
//   bench OPERATION ALLOCATIONS TICKS
// and one that says how many ticks a second has. The ticks are the fewest of several runs.
#include "base/format.h"
#include "base/pool.h"
#include "base/text.h"
#include "raid_xyl.h"
#include "tests/firmware/guest/machine.h"

static constexpr EFI_GUID g_xylGuid = RAID_XYL_PROTOCOL_GUID;
static constexpr int RUNS = 5;

static const CHAR8 REBUILD[] = "<RunMode><Mode>Restore</Mode><StopOnError>True</StopOnError><Raid>"
                               "<PreserveVDConfig>False</PreserveVDConfig></Raid></RunMode>";
static const CHAR8 NORMAL[] = "<RunMode><Mode>Normal</Mode></RunMode>";
static const CHAR8 CHANGES[] = "<raidData><Method name=\"Change\"><ObjectType>Virtual Disk</ObjectType><OID>1</OID>"
                               "<Object><VD><ObjectType>Virtual Disk</ObjectType><Name>A</Name></VD></Object>"
                               "</Method></raidData>";

// --- Allocations: the boot services' table leads here while an operation is counted ---

static decltype(EFI_BOOT_SERVICES::AllocatePool) g_allocatePool;
static UINT64 g_allocations;

static EFI_STATUS EFIAPI countedAllocatePool(int memoryType, UINTN size, void **buffer) {
  g_allocations += 1;
  return g_allocatePool(memoryType, size, buffer);
}

static decltype(EFI_BOOT_SERVICES::AllocatePages) g_allocatePages;

static EFI_STATUS EFIAPI countedAllocatePages(int allocateType, int memoryType, UINTN pages, UINT64 *memory) {
  g_allocations += 1;
  return g_allocatePages(allocateType, memoryType, pages, memory);
}

// --- The operations ---

struct BENCH {
  RAID_XYL_PROTOCOL *Operations;
  CHAR8 *Saved; // the controller's document
};

static RAID_XYL_PARAMETER g_parameter = {RAID_XYL_REVISION, 0};

static RAID_XYL_BUFFER bufferOf(CHAR8 *text) {
  return {RAID_XYL_REVISION, text == nullptr ? 0 : static_cast<UINT32>(textLength(text) + 1), text};
}

static EFI_STATUS runGet(const BENCH &bench, UINT64 *spent) {
  RAID_XYL_BUFFER output = {};
  UINT64 start = machineTicks();
  EFI_STATUS status = bench.Operations->Get_Live(bench.Operations, &g_parameter, &output);
  *spent = machineTicks() - start;
  poolFree(output.Data);
  return status;
}

static EFI_STATUS runVerify(const BENCH &bench, UINT64 *spent) {
  RAID_XYL_BUFFER documents[2] = {bufferOf(bench.Saved), {}};
  RAID_XYL_BUFFER input = {RAID_XYL_REVISION, sizeof(documents), documents};
  UINT32 result = 0;
  UINT64 start = machineTicks();
  EFI_STATUS status = bench.Operations->Verify(bench.Operations, &g_parameter, &input, nullptr, &result);
  *spent = machineTicks() - start;
  return status;
}

static EFI_STATUS runSet(const BENCH &bench, const CHAR8 *options, const CHAR8 *request, UINT64 *spent) {
  RAID_XYL_BUFFER inputs[2] = {bufferOf(textDuplicate(bench.Saved)), bufferOf(textDuplicate(options))};
  RAID_XYL_BUFFER input = {RAID_XYL_REVISION, sizeof(inputs), inputs};
  RAID_XYL_BUFFER outputs[2] = {{}, bufferOf(textDuplicate(request))};
  RAID_XYL_BUFFER output = {};
  if (request != nullptr) {
    output = {RAID_XYL_REVISION, sizeof(outputs), outputs};
  }
  g_allocations = 0;
  UINT64 start = machineTicks();
  EFI_STATUS status = bench.Operations->Set_Live(bench.Operations, &g_parameter, &input, &output);
  *spent = machineTicks() - start;
  poolFree(request != nullptr ? outputs[0].Data : output.Data);
  return status;
}

static EFI_STATUS runRestore(const BENCH &bench, UINT64 *spent) {
  return runSet(bench, REBUILD, nullptr, spent);
}

static EFI_STATUS runChange(const BENCH &bench, UINT64 *spent) {
  return runSet(bench, NORMAL, CHANGES, spent);
}

struct OPERATION {
  const CHAR8 *Name;
  EFI_STATUS (*Run)(const BENCH &bench, UINT64 *spent);
};

static constexpr OPERATION g_operations[] = {
    {"get", runGet}, {"verify", runVerify}, {"restore", runRestore}, {"change", runChange}};

// --- The report ---

static void EFIAPI say(const CHAR16 *format, ...) {
  CHAR16 wide[160];
  CHAR8 line[160];
  EFI_VA_LIST arguments;
  EFI_VA_START(arguments, format);
  formatText(wide, sizeof(wide) / sizeof(wide[0]), format, arguments);
  EFI_VA_END(arguments);
  textNarrow(line, wide, sizeof(line) - 1);
  machineText(line);
}

static EFI_STATUS measure(const BENCH &bench, const OPERATION &operation) {
  UINT64 fewest = ~0ULL;
  for (int run = 0; run < RUNS; ++run) {
    UINT64 spent = 0;
    g_allocations = 0;
    EFI_STATUS status = operation.Run(bench, &spent);
    if (EFI_ERROR(status)) {
      say(u"bench %a failed: %r\n", operation.Name, status);
      return status;
    }
    fewest = spent < fewest ? spent : fewest;
  }
  say(u"bench %a %lu %lu\n", operation.Name, g_allocations, fewest);
  return EFI_SUCCESS;
}

static EFI_STATUS measureAll(const BENCH &bench) {
  EFI_STATUS status = EFI_SUCCESS;
  for (const OPERATION &operation : g_operations) {
    if (!EFI_ERROR(status)) {
      status = measure(bench, operation);
    }
  }
  return status;
}

extern "C" EFI_STATUS EFIAPI FwBenchEntry(EFI_HANDLE, EFI_SYSTEM_TABLE *systemTable) {
  setSystemTable(systemTable);
  BENCH bench = {};
  EFI_STATUS status = g_bootServices->LocateProtocol(&g_xylGuid, nullptr, reinterpret_cast<void **>(&bench.Operations));
  if (EFI_ERROR(status)) {
    return status;
  }
  UINT64 start = machineTicks();
  g_bootServices->Stall(100000);
  say(u"bench ticks-a-second %lu\n", (machineTicks() - start) * 10);
  RAID_XYL_BUFFER document = {};
  status = bench.Operations->Get_Live(bench.Operations, &g_parameter, &document);
  if (EFI_ERROR(status)) {
    return status;
  }
  bench.Saved = static_cast<CHAR8 *>(document.Data);
  g_allocatePool = g_bootServices->AllocatePool;
  g_bootServices->AllocatePool = countedAllocatePool;
  g_allocatePages = g_bootServices->AllocatePages;
  g_bootServices->AllocatePages = countedAllocatePages;
  status = measureAll(bench);
  g_bootServices->AllocatePool = g_allocatePool;
  g_bootServices->AllocatePages = g_allocatePages;
  poolFree(bench.Saved);
  return status;
}
