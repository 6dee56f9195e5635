// RAID_XYL_PROTOCOL: what the driver publishes on every controller handle that it serves. Layouts are fixed.
#ifndef RAIDXYL_RAID_XYL_H
#define RAIDXYL_RAID_XYL_H

#include "uefi/types.h"

#define RAID_XYL_PROTOCOL_GUID                                                                                         \
  {                                                                                                                    \
    0xd4c091e9, 0x069d, 0x4494, {                                                                                      \
      0xa3, 0x96, 0xc0, 0x8b, 0x77, 0x5e, 0xc2, 0x00                                                                   \
    }                                                                                                                  \
  }

#define RAID_XYL_REVISION 1

typedef struct RAID_XYL_IDENTIFY_DATA {
  UINT32 Words[5]; // 1, 4, 0xDC, 0xEDCC0002, 0
} RAID_XYL_IDENTIFY_DATA;
UEFI_STATIC_ASSERT(sizeof(RAID_XYL_IDENTIFY_DATA) == 20, "identify data size");

typedef struct RAID_XYL_PARAMETER {
  UINT32 Revision; // RAID_XYL_REVISION
  UINT32 Instance; // 0
} RAID_XYL_PARAMETER;
UEFI_STATIC_ASSERT(sizeof(RAID_XYL_PARAMETER) == 8, "parameter size");

typedef struct RAID_XYL_BUFFER {
  UINT32 Revision;
  UINT32 Size; // bytes at Data; for a text its length and the terminating NUL
  void *Data;  // an 8-bit NUL-terminated text, or an array of RAID_XYL_BUFFER
} RAID_XYL_BUFFER;
UEFI_STATIC_ASSERT(sizeof(RAID_XYL_BUFFER) == 16, "buffer size");

// Bits of the result word of Verify.
#define VERIFY_PART_REPLACEMENT 0x002U
#define VERIFY_FW_LOWER 0x040U
#define VERIFY_FW_HIGHER 0x080U
#define VERIFY_CONFIG_CHANGE 0x100U

typedef struct RAID_XYL_PROTOCOL RAID_XYL_PROTOCOL;
struct RAID_XYL_PROTOCOL {
  // Fills *Info with a fixed block; the controller is not asked. EFI_INVALID_PARAMETER for a null argument.
  EFI_STATUS(EFIAPI *Identify_Live)(RAID_XYL_PROTOCOL *This, RAID_XYL_IDENTIFY_DATA *Info);

  // Reads the whole configuration and returns the inventory document in Output (Revision, Size, Data). The caller owns
  // Output->Data and frees it with FreePool.
  //   EFI_INVALID_PARAMETER  a null argument, or Parameter->Revision is not 1
  //   EFI_NOT_FOUND          Parameter->Instance is not 0, or the controller has no adapter record
  //   EFI_OUT_OF_RESOURCES   no memory for the document
  //   EFI_DEVICE_ERROR       the XML service gave no text; Output has Size 0 and Data null
  //   other                  the controller's status for reading the adapter
  EFI_STATUS(EFIAPI *Get_Live)(RAID_XYL_PROTOCOL *This, RAID_XYL_PARAMETER *Parameter, RAID_XYL_BUFFER *Output);

  // Input->Data is an array of two buffers: [0] the saved configuration document (Size 0: none), [1] the run-time
  // options document. Output null or Size 0: no new data, and a restore returns its log in Output itself. Output->Size
  // of 32 or more: Output->Data is an array of two buffers, [1] the new configuration document, [0] receives the log.
  // The operation frees every document text that it parses; the caller frees the log with FreePool.
  //   EFI_INVALID_PARAMETER  null argument, wrong revision, or a document that is missing or misshapen
  //   EFI_NOT_FOUND          Instance is not 0, no XML service, or a disk that the request names is gone
  //   EFI_UNSUPPORTED        the saved configuration belongs to another kind of adapter, or an empty raidData
  //   other                  the status of the step that failed; what was done before stays done
  EFI_STATUS(EFIAPI *Set_Live)
  (RAID_XYL_PROTOCOL *This, RAID_XYL_PARAMETER *Parameter, RAID_XYL_BUFFER *Input, RAID_XYL_BUFFER *Output);

  // Compares the saved document (element 0 of the array at Input->Data, which stays the caller's) with the live
  // adapter and sets VERIFY_ bits in *Result. Nothing is changed. With NewData of non-zero Size only its presence is
  // checked.
  //   EFI_INVALID_PARAMETER  a null argument, a missing document, or a document without an adapter
  //   EFI_ABORTED            the saved document does not parse
  //   EFI_NOT_FOUND          the controller has no adapter record
  //   other                  the controller's status for reading the adapter
  EFI_STATUS(EFIAPI *Verify)
  (RAID_XYL_PROTOCOL *This, RAID_XYL_PARAMETER *Parameter, RAID_XYL_BUFFER *Input, RAID_XYL_BUFFER *NewData,
   UINT32 *Result);

  UINT32 Revision; // RAID_XYL_REVISION
};
UEFI_STATIC_ASSERT(offsetof(RAID_XYL_PROTOCOL, Set_Live) == 0x10, "RAID_XYL_PROTOCOL layout");
UEFI_STATIC_ASSERT(offsetof(RAID_XYL_PROTOCOL, Verify) == 0x18, "RAID_XYL_PROTOCOL layout");
UEFI_STATIC_ASSERT(offsetof(RAID_XYL_PROTOCOL, Revision) == 0x20, "RAID_XYL_PROTOCOL layout");

#endif
