// Found before the kit's header of that name by what is built in this package. Every source begins with it: C, which
// the kit makes itself, wants the kit's declarations, and C++ ours, which are complete without them.
#ifdef __cplusplus

#include "version.h"

#define RAIDXYL_EFI

#include "uefi/tables.h"

// What the kit's generated headers say of a module.
typedef EFI_GUID GUID;
#define IN
#define OUT

#else

#include_next <Uefi.h>

#endif
