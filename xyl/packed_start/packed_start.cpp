#include "xyl/packed_start/packed_start.h"
#include "base/pool.h"
#include "base/print.h"
#include "uefi/memory.h"

static const EFI_GUID g_memoryAttributeGuid = EFI_MEMORY_ATTRIBUTE_PROTOCOL_GUID;

static constexpr UINT64 ACCESS = EFI_MEMORY_RO | EFI_MEMORY_XP;

typedef EFI_STATUS(EFIAPI *IMAGE_ENTRY)(EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable);

static LZMA_MODEL g_model;

// --- The image in memory ---

// Adds where the image lies to every address in it; false for one outside of it.
static bool relocate(const PACKED_IMAGE &packed, UINT8 *memory) {
  const UINT8 *distances = memory + packed.Filled;
  UINT64 at = 0;
  for (UINT32 i = 0; i < packed.Addresses; ++i) {
    UINT32 distance = 0;
    copyBytes(&distance, distances + i * sizeof(distance), sizeof(distance));
    at += distance;
    UINT64 address = 0;
    if (at > packed.Filled - sizeof(address)) {
      return false;
    }
    copyBytes(&address, memory + at, sizeof(address));
    address += reinterpret_cast<UINT64>(memory);
    copyBytes(memory + at, &address, sizeof(address));
  }
  return true;
}

// What was written as data is fetched as code from now on.
static void synchronizeCode(const UINT8 *code, UINTN size) {
#if defined(__aarch64__)
  UINT64 caches = 0; // the sizes of their lines in words, as logarithms
  asm("mrs %0, ctr_el0" : "=r"(caches));
  UINTN dataLine = 4UL << (caches >> 16 & 15);
  UINTN codeLine = 4UL << (caches & 15);
  for (UINTN at = 0; at < size; at += dataLine) {
    asm volatile("dc cvau, %0" : : "r"(code + at) : "memory");
  }
  asm volatile("dsb ish" : : : "memory");
  for (UINTN at = 0; at < size; at += codeLine) {
    asm volatile("ic ivau, %0" : : "r"(code + at) : "memory");
  }
  asm volatile("dsb ish\n\tisb" : : : "memory");
#else
  (void)code; // this processor sees by itself
  (void)size;
#endif
}

static bool unpack(const PACKED_IMAGE &packed, UINT8 *memory) {
  UINT32 unpackedSize = packed.Filled + packed.Addresses * static_cast<UINT32>(sizeof(UINT32));
  if (unpackedSize > packed.Size ||
      !lzmaUnpack(&g_model, packed.Shape, packed.Packed, packed.PackedSize, memory, unpackedSize) ||
      !relocate(packed, memory)) {
    return false;
  }
  zeroBytes(memory + packed.Filled, packed.Size - packed.Filled);
  synchronizeCode(memory, packed.ConstantsAt);
  return true;
}

// --- What its pages may be used for ---

// Takes away before it gives, so that no page can be written and run at any time.
static EFI_STATUS setAccess(EFI_MEMORY_ATTRIBUTE_PROTOCOL *protocol, UINT64 address, UINT64 size, UINT64 access) {
  EFI_STATUS status = EFI_SUCCESS;
  if (access != 0) {
    status = protocol->SetMemoryAttributes(protocol, address, size, access);
  }
  if (!EFI_ERROR(status) && access != ACCESS) {
    status = protocol->ClearMemoryAttributes(protocol, address, size, ACCESS & ~access);
  }
  return status;
}

static EFI_STATUS protect(EFI_MEMORY_ATTRIBUTE_PROTOCOL *protocol, const PACKED_IMAGE &packed, UINT64 memory) {
  const struct {
    UINT32 begin;
    UINT32 end;
    UINT64 access;
  } parts[] = {
      {0, packed.ConstantsAt, EFI_MEMORY_RO},
      {packed.ConstantsAt, packed.VariablesAt, EFI_MEMORY_RO | EFI_MEMORY_XP},
      {packed.VariablesAt, packed.Size, EFI_MEMORY_XP},
  };
  EFI_STATUS status = EFI_SUCCESS;
  for (const auto &part : parts) {
    if (!EFI_ERROR(status)) {
      status = setAccess(protocol, memory + part.begin, part.end - part.begin, part.access);
    }
  }
  return status;
}

// As they came from the firmware, whom they go back to.
static EFI_STATUS unprotect(EFI_MEMORY_ATTRIBUTE_PROTOCOL *protocol, UINT64 memory, UINT64 size, UINT64 before) {
  EFI_STATUS status = setAccess(protocol, memory, size, EFI_MEMORY_XP);
  return EFI_ERROR(status) ? status : setAccess(protocol, memory, size, before & ACCESS);
}

// --- The start ---

static EFI_STATUS failed(EFI_STATUS status) {
  printText("the program cannot be unpacked and started\n");
  return status;
}

static EFI_STATUS run(const PACKED_IMAGE &packed, UINT64 memory, EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable) {
  return reinterpret_cast<IMAGE_ENTRY>(memory + packed.Entry)(image, systemTable);
}

// Tells in mayFree whether the pages are again as they came.
static EFI_STATUS runProtected(const PACKED_IMAGE &packed, UINT64 memory, EFI_MEMORY_ATTRIBUTE_PROTOCOL *protocol,
                               EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable, bool *mayFree) {
  UINT64 before = 0;
  EFI_STATUS status = protocol->GetMemoryAttributes(protocol, memory, packed.Size, &before);
  if (EFI_ERROR(status)) {
    return failed(status);
  }
  status = protect(protocol, packed, memory);
  status = EFI_ERROR(status) ? failed(status) : run(packed, memory, image, systemTable);
  *mayFree = !EFI_ERROR(unprotect(protocol, memory, packed.Size, before));
  return status;
}

EFI_STATUS startPacked(const PACKED_IMAGE &packed, EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable) {
  setSystemTable(systemTable);
  UINT64 memory = 0;
  UINTN pages = packed.Size / EFI_PAGE_SIZE;
  EFI_STATUS status = g_bootServices->AllocatePages(EFI_ALLOCATE_ANY_PAGES, EfiLoaderCode, pages, &memory);
  if (EFI_ERROR(status)) {
    return failed(status);
  }
  bool mayFree = true;
  void *protocol = nullptr;
  if (!unpack(packed, reinterpret_cast<UINT8 *>(memory))) {
    status = failed(EFI_LOAD_ERROR);
  } else if (EFI_ERROR(g_bootServices->LocateProtocol(&g_memoryAttributeGuid, nullptr, &protocol))) {
    status = run(packed, memory, image, systemTable);
  } else {
    status = runProtected(packed, memory, static_cast<EFI_MEMORY_ATTRIBUTE_PROTOCOL *>(protocol), image, systemTable,
                          &mayFree);
  }
  if (mayFree) {
    g_bootServices->FreePages(memory, pages);
  }
  return status;
}

EFI_STATUS EFIAPI PackedEntry(EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable) {
  return startPacked(g_packedImage, image, systemTable);
}
