// What QEMU offers beside the machine's own devices: a way out with a code, and a text channel that is no console.
#pragma once

#include "uefi/types.h"

// Ends QEMU. On x86-64 its exit code is (code << 1) | 1, on AArch64 code; code is below 128. Does not return.
[[noreturn]] void machineExit(UINT32 code);

// Writes an 8-bit text to the debug channel.
void machineText(const CHAR8 *text);

// The machine's clock, which counts at a rate of its own.
UINT64 machineTicks();
