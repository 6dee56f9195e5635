#include "base/pool.h"

namespace xyl {

EFI_SYSTEM_TABLE *g_systemTable;
EFI_BOOT_SERVICES *g_bootServices;

void setSystemTable(EFI_SYSTEM_TABLE *systemTable) {
  g_systemTable = systemTable;
  g_bootServices = systemTable->BootServices;
}

void *poolAllocate(UINTN size) {
  void *memory = nullptr;
  if (EFI_ERROR(g_bootServices->AllocatePool(EfiBootServicesData, size, &memory))) {
    return nullptr;
  }
  return memory;
}

void *poolAllocateZero(UINTN size) {
  void *memory = poolAllocate(size);
  if (memory != nullptr) {
    zeroBytes(memory, size);
  }
  return memory;
}

void poolFree(void *memory) {
  if (memory != nullptr) {
    g_bootServices->FreePool(memory);
  }
}

void *pagesAllocate(UINTN count) {
  UINT64 memory = 0;
  if (EFI_ERROR(g_bootServices->AllocatePages(EFI_ALLOCATE_ANY_PAGES, EfiBootServicesData, count, &memory))) {
    return nullptr;
  }
  return reinterpret_cast<void *>(memory);
}

void pagesFree(void *memory, UINTN count) {
  g_bootServices->FreePages(reinterpret_cast<UINT64>(memory), count);
}

void wipeBytes(void *memory, UINTN size) {
  zeroBytes(memory, size);
  // Without a reader in sight the compiler would drop the fill.
  asm volatile("" : : "r"(memory) : "memory");
}

} // namespace xyl
