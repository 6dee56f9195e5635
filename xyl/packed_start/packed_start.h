// The start of an image that is packed: unpacks the client as it was linked, and runs it. Flash has little room.
#pragma once

#include "uefi/tables.h"
#include "xyl/packed_start/lzma.h"

// What cmake/pack_image.py writes of an image. Unpacked it is the image as it lies in memory from the first section on,
// linked for address 0, up to the last byte that is not zero; behind it stand the distances from each address in it to
// the next (UINT32, the first from the image's beginning). Parts are whole pages: code first.
struct PACKED_IMAGE {
  const UINT8 *Packed;
  UINT32 PackedSize;
  LZMA_SHAPE Shape;
  UINT32 Filled;      // bytes until zeros follow; a multiple of 8
  UINT32 Addresses;   // how many there are
  UINT32 ConstantsAt; // code lies before them
  UINT32 VariablesAt;
  UINT32 Size;  // in memory, and what is unpacked has room in it
  UINT32 Entry; // of the code
};

// The image's own.
extern const PACKED_IMAGE g_packedImage;

// Unpacks packed into pages of its own, gives these the attributes that their part needs where firmware has a protocol
// for that, calls the entry point with image and systemTable, which must return, and gives the pages back. Returns what
// that returned; EFI_OUT_OF_RESOURCES without memory, EFI_LOAD_ERROR for packed data that are damaged, or what the
// firmware said of the attributes, each with a line on the console.
EFI_STATUS startPacked(const PACKED_IMAGE &packed, EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable);

// The entry point: startPacked with the image's own.
extern "C" EFI_STATUS EFIAPI PackedEntry(EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable);
