// What an image has of its own beside what it is made of.
#pragma once

#include "uefi/tables.h"

#ifdef RAIDXYL_EFI

#define STACK_GUARD_AT_REST 0x2B992DDFA2326CA5ULL // until the image is started

// Lies in each guarded frame; another value at each start.
extern "C" uintptr_t __security_cookie;

#endif
