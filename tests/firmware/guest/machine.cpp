#include "machine.h"

#if defined(__x86_64__)

static constexpr UINT16 debugExitPort = 0xF4;     // -device isa-debug-exit
static constexpr UINT16 debugConsolePort = 0x402; // -global isa-debugcon.iobase

[[noreturn]] void machineExit(UINT32 code) {
  for (;;) {
    asm volatile("outl %0, %1" : : "a"(code), "d"(debugExitPort));
  }
}

void machineText(const CHAR8 *text) {
  for (; *text != 0; ++text) {
    asm volatile("outb %0, %1" : : "a"(*text), "d"(debugConsolePort));
  }
}

UINT64 machineTicks() {
  UINT32 low;
  UINT32 high;
  asm volatile("lfence; rdtsc" : "=a"(low), "=d"(high) : : "memory");
  return static_cast<UINT64>(high) << 32 | low;
}

#else

static constexpr UINT64 SEMIHOSTING_WRITE = 0x04;
static constexpr UINT64 SEMIHOSTING_EXIT = 0x18;
static constexpr UINT64 SEMIHOSTING_APPLICATION_EXIT = 0x20026;

static void semihosting(UINT64 operation, const void *argument) {
  register UINT64 x0 asm("x0") = operation;
  register const void *x1 asm("x1") = argument;
  asm volatile("hlt #0xf000" : "+r"(x0) : "r"(x1) : "memory");
}

[[noreturn]] void machineExit(UINT32 code) {
  UINT64 block[2] = {SEMIHOSTING_APPLICATION_EXIT, code};
  for (;;) {
    semihosting(SEMIHOSTING_EXIT, block);
  }
}

void machineText(const CHAR8 *text) {
  semihosting(SEMIHOSTING_WRITE, text);
}

UINT64 machineTicks() {
  UINT64 count;
  asm volatile("isb; mrs %0, cntvct_el0" : "=r"(count) : : "memory");
  return count;
}

#endif
