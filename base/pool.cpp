#include "base/pool.h"

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

void wipeBytes(void *memory, UINTN size) {
  zeroBytes(memory, size);
  // Without a reader in sight the compiler would drop the fill.
  asm volatile("" : : "r"(memory) : "memory");
}
