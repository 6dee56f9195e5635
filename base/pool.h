// Boot-services pool and raw bytes. Nothing here works before setSystemTable.
#pragma once

#include "uefi/tables.h"

namespace xyl {

// The firmware tables of the running image; set once by its entry point.
extern EFI_SYSTEM_TABLE *g_systemTable;
extern EFI_BOOT_SERVICES *g_bootServices;

void setSystemTable(EFI_SYSTEM_TABLE *systemTable);

// Returns size bytes of EfiBootServicesData, or null. The caller owns them and gives them back with poolFree.
void *poolAllocate(UINTN size);

// As poolAllocate, filled with zeros.
void *poolAllocateZero(UINTN size);

// Gives a pool allocation back; null is ignored.
void poolFree(void *memory);

// Whole pages of EfiBootServicesData, or null, for large memory that never changes hands: there is firmware whose pool
// spends thousands of instructions on every page. They go back with the same count.
void *pagesAllocate(UINTN count);
void pagesFree(void *memory, UINTN count);

// A zero-filled T or array of count Ts, or null (also when the size would overflow).
template <class T> inline T *poolNew(UINTN count = 1) {
  if (count > static_cast<UINTN>(-1) / sizeof(T)) {
    return nullptr;
  }
  return static_cast<T *>(poolAllocateZero(count * sizeof(T)));
}

// Gives back the pool memory that holder points to and sets holder to null.
template <class T> inline void poolRelease(T *&holder) {
  poolFree(holder);
  holder = nullptr;
}

// Overwrites size bytes with zeros in a way that the compiler may not drop; for keys and passphrases.
void wipeBytes(void *memory, UINTN size);

inline void copyBytes(void *to, const void *from, UINTN size) {
  __builtin_memcpy(to, from, size);
}
inline void zeroBytes(void *memory, UINTN size) {
  __builtin_memset(memory, 0, size);
}

} // namespace xyl
