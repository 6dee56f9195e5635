// Files of the test disk.
#pragma once

#include "uefi/protocols.h"

// The root of the volume that holds \fwtest.efi, whichever handle carries it now; the caller closes it.
EFI_STATUS openTestVolume(EFI_FILE_PROTOCOL **root);

// Reads a whole file of at most limit bytes into a pool block that the caller frees.
EFI_STATUS readFile(EFI_FILE_PROTOCOL *root, const CHAR16 *name, UINTN limit, void **content, UINTN *size);

// Writes behind what the file holds; creates it when it is missing.
EFI_STATUS appendFile(EFI_FILE_PROTOCOL *root, const CHAR16 *name, const void *content, UINTN size);
