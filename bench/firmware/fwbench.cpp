// fwbench.efi: the operations of the first served controller, timed inside the firmware. Writes one line an operation
// to QEMU's debug channel:
//   bench OPERATION ALLOCATIONS TICKS
// and one that says how many ticks a second has. The ticks are the fewest of several runs.
#include "base/format.h"
#include "base/pool.h"
#include "base/text.h"
#include "raid_xyl.h"
#include "tests/firmware/guest/machine.h"

using namespace xyl;

static constexpr EFI_GUID g_xylGuid = RAID_XYL_PROTOCOL_GUID;
static constexpr int runs = 5;

static const CHAR8 rebuild[] = "<RunMode><Mode>Restore</Mode><StopOnError>True</StopOnError><Raid>"
                               "<PreserveVDConfig>False</PreserveVDConfig></Raid></RunMode>";
static const CHAR8 normal[] = "<RunMode><Mode>Normal</Mode></RunMode>";
static const CHAR8 changes[] = "<raidData><Method name=\"Change\"><ObjectType>Virtual Disk</ObjectType><OID>1</OID>"
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

struct Bench {
  RAID_XYL_PROTOCOL *operations;
  CHAR8 *saved; // the controller's document
};

static RAID_XYL_PARAMETER g_parameter = {RAID_XYL_REVISION, 0};

static RAID_XYL_BUFFER bufferOf(CHAR8 *text) {
  return {RAID_XYL_REVISION, text == nullptr ? 0 : static_cast<UINT32>(textLength(text) + 1), text};
}

static EFI_STATUS runGet(const Bench &bench, UINT64 *spent) {
  RAID_XYL_BUFFER output = {};
  UINT64 start = machineTicks();
  EFI_STATUS status = bench.operations->Get_Live(bench.operations, &g_parameter, &output);
  *spent = machineTicks() - start;
  poolFree(output.Data);
  return status;
}

static EFI_STATUS runVerify(const Bench &bench, UINT64 *spent) {
  RAID_XYL_BUFFER documents[2] = {bufferOf(bench.saved), {}};
  RAID_XYL_BUFFER input = {RAID_XYL_REVISION, sizeof(documents), documents};
  UINT32 result = 0;
  UINT64 start = machineTicks();
  EFI_STATUS status = bench.operations->Verify(bench.operations, &g_parameter, &input, nullptr, &result);
  *spent = machineTicks() - start;
  return status;
}

static EFI_STATUS runSet(const Bench &bench, const CHAR8 *options, const CHAR8 *request, UINT64 *spent) {
  RAID_XYL_BUFFER inputs[2] = {bufferOf(textDuplicate(bench.saved)), bufferOf(textDuplicate(options))};
  RAID_XYL_BUFFER input = {RAID_XYL_REVISION, sizeof(inputs), inputs};
  RAID_XYL_BUFFER outputs[2] = {{}, bufferOf(textDuplicate(request))};
  RAID_XYL_BUFFER output = {};
  if (request != nullptr) {
    output = {RAID_XYL_REVISION, sizeof(outputs), outputs};
  }
  g_allocations = 0;
  UINT64 start = machineTicks();
  EFI_STATUS status = bench.operations->Set_Live(bench.operations, &g_parameter, &input, &output);
  *spent = machineTicks() - start;
  poolFree(request != nullptr ? outputs[0].Data : output.Data);
  return status;
}

static EFI_STATUS runRestore(const Bench &bench, UINT64 *spent) {
  return runSet(bench, rebuild, nullptr, spent);
}

static EFI_STATUS runChange(const Bench &bench, UINT64 *spent) {
  return runSet(bench, normal, changes, spent);
}

struct Operation {
  const CHAR8 *name;
  EFI_STATUS (*run)(const Bench &bench, UINT64 *spent);
};

static constexpr Operation g_operations[] = {
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

static EFI_STATUS measure(const Bench &bench, const Operation &operation) {
  UINT64 fewest = ~0ULL;
  for (int run = 0; run < runs; ++run) {
    UINT64 spent = 0;
    g_allocations = 0;
    EFI_STATUS status = operation.run(bench, &spent);
    if (EFI_ERROR(status)) {
      say(u"bench %a failed: %r\n", operation.name, status);
      return status;
    }
    fewest = spent < fewest ? spent : fewest;
  }
  say(u"bench %a %lu %lu\n", operation.name, g_allocations, fewest);
  return EFI_SUCCESS;
}

static EFI_STATUS measureAll(const Bench &bench) {
  EFI_STATUS status = EFI_SUCCESS;
  for (const Operation &operation : g_operations) {
    if (!EFI_ERROR(status)) {
      status = measure(bench, operation);
    }
  }
  return status;
}

extern "C" EFI_STATUS EFIAPI FwBenchEntry(EFI_HANDLE, EFI_SYSTEM_TABLE *systemTable) {
  setSystemTable(systemTable);
  Bench bench = {};
  EFI_STATUS status = g_bootServices->LocateProtocol(&g_xylGuid, nullptr, reinterpret_cast<void **>(&bench.operations));
  if (EFI_ERROR(status)) {
    return status;
  }
  UINT64 start = machineTicks();
  g_bootServices->Stall(100000);
  say(u"bench ticks-a-second %lu\n", (machineTicks() - start) * 10);
  RAID_XYL_BUFFER document = {};
  status = bench.operations->Get_Live(bench.operations, &g_parameter, &document);
  if (EFI_ERROR(status)) {
    return status;
  }
  bench.saved = static_cast<CHAR8 *>(document.Data);
  g_allocatePool = g_bootServices->AllocatePool;
  g_bootServices->AllocatePool = countedAllocatePool;
  g_allocatePages = g_bootServices->AllocatePages;
  g_bootServices->AllocatePages = countedAllocatePages;
  status = measureAll(bench);
  g_bootServices->AllocatePool = g_allocatePool;
  g_bootServices->AllocatePages = g_allocatePages;
  poolFree(bench.saved);
  return status;
}
