// Where an image begins, and the guard between a frame's arrays and its return address.
#ifdef RAIDXYL_EFI

#include "base/efi_entry.h"

extern "C" {
uintptr_t __security_cookie = STACK_GUARD_AT_REST;

void __security_check_cookie(uintptr_t cookie) {
  if (cookie != __security_cookie) {
    __builtin_trap();
  }
}
}

static uint64_t clock() {
#if defined(__x86_64__)
  uint32_t low;
  uint32_t high;
  asm volatile("rdtsc" : "=a"(low), "=d"(high));
  return static_cast<uint64_t>(high) << 32 | low;
#else
  uint64_t count;
  asm volatile("mrs %0, cntvct_el0" : "=r"(count));
  return count;
#endif
}

typedef struct RANDOM_PROTOCOL RANDOM_PROTOCOL;
struct RANDOM_PROTOCOL {
  void *NotCalled;
  EFI_STATUS(EFIAPI *GetRNG)(RANDOM_PROTOCOL *This, const EFI_GUID *Algorithm, UINTN Size, void *Value);
};
static const EFI_GUID g_randomGuid = {0x3152BCA5, 0xEADE, 0x433D, {0x86, 0x2E, 0xC0, 0x1C, 0xDC, 0x29, 0x1F, 0x44}};

// Of the firmware's random numbers; without them, of the clock and of where the image lies, spread over all bits.
__attribute__((no_stack_protector)) static uint64_t newGuard(EFI_SYSTEM_TABLE *systemTable) {
  void *found = nullptr;
  uint64_t guard = 0;
  EFI_BOOT_SERVICES *services = systemTable->BootServices;
  if (!EFI_ERROR(services->LocateProtocol(&g_randomGuid, /* Registration= */ nullptr, &found))) {
    RANDOM_PROTOCOL *random = static_cast<RANDOM_PROTOCOL *>(found);
    if (!EFI_ERROR(random->GetRNG(random, /* Algorithm= */ nullptr, sizeof(guard), &guard)) && guard != 0) {
      return guard;
    }
  }
  guard = (clock() ^ reinterpret_cast<uintptr_t>(&__security_cookie)) * 0x9E3779B97F4A7C15;
  return guard ^ guard >> 29;
}

// The linker's name for the image's own entry point.
extern "C" EFI_STATUS EFIAPI ImageMain(EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable);

// Where every image begins. No frame that is guarded may be open while the guard changes.
extern "C" __attribute__((no_stack_protector)) EFI_STATUS EFIAPI ImageEntry(EFI_HANDLE image,
                                                                            EFI_SYSTEM_TABLE *systemTable) {
  __security_cookie = newGuard(systemTable);
  return ImageMain(image, systemTable);
}

#endif
