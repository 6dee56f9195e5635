// What a guest test says: one line per check, to the debug channel at once and to \out\fwtest.txt at the end.
#pragma once

#include "uefi/protocols.h"

// Writes a line; conversions as Print has them.
void EFIAPI report(const CHAR16 *format, ...);

// Writes "pass ..." or "FAIL ..." and counts; returns passed.
bool EFIAPI check(bool passed, const CHAR16 *format, ...);

// Whether a check has failed since the start.
bool anyCheckFailed();

// The closing line "end NAME: N checks, M failed"; then all lines are appended to \out\fwtest.txt of the volume.
// Returns the status of the file.
EFI_STATUS reportEnd(const CHAR16 *name, EFI_FILE_PROTOCOL *root);
