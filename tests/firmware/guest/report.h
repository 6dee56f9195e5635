// What a guest test says on the debug channel, one line per check.
#pragma once

#include "uefi/protocols.h"

// Writes a line; conversions as Print has them.
void EFIAPI report(const CHAR16 *format, ...);

// Writes "pass ..." or "failName ..." and counts; returns passed.
bool EFIAPI check(bool passed, const CHAR16 *format, ...);

// The closing line "end NAME: N checks, M failed". EFI_ABORTED when a check has failed since the start.
EFI_STATUS reportEnd(const CHAR16 *name);
