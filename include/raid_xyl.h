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
  UINT32 Revision; // RAID_XYL_REVISION; written by Get_Live, never looked at
  UINT32 Size;     // bytes at Data; for a text its length and the terminating NUL
  void *Data;      // an 8-bit NUL-terminated text, or an array of RAID_XYL_BUFFER
} RAID_XYL_BUFFER;
UEFI_STATIC_ASSERT(sizeof(RAID_XYL_BUFFER) == 16, "buffer size");

// Bits of the result word of Verify.
#define VERIFY_PART_REPLACEMENT 0x002U // another adapter: its WWN differs
#define VERIFY_FW_LOWER 0x040U         // its firmware is older than the saved one
#define VERIFY_FW_HIGHER 0x080U        // ... or newer
#define VERIFY_CONFIG_CHANGE 0x100U    // a mode or a rate differs

// Documents are 8-bit texts that end in a NUL. Statuses are those of UEFI; a controller's own comes through unchanged.
typedef struct RAID_XYL_PROTOCOL RAID_XYL_PROTOCOL;
struct RAID_XYL_PROTOCOL {
  // Fills *Info with a fixed block; the controller is not asked. EFI_INVALID_PARAMETER for a null argument.
  EFI_STATUS(EFIAPI *Identify_Live)(RAID_XYL_PROTOCOL *This, RAID_XYL_IDENTIFY_DATA *Info);

  // Reads the whole configuration and returns the inventory document in Output (Revision, Size, Data). After a success
  // Output->Data is a pool block of the caller's, who frees it with FreePool; what it held before is overwritten. A
  // list that the controller would not give (enclosures, disks, virtual disks, the key's name) is left out, without a
  // failure, and so may be parts for which there was no memory.
  //   EFI_INVALID_PARAMETER  a null argument, or Parameter->Revision is not 1; Output is untouched, as below
  //   EFI_NOT_FOUND          Parameter->Instance is not 0, or the controller has no adapter record
  //   EFI_OUT_OF_RESOURCES   no memory for the document, or no XML service
  //   EFI_DEVICE_ERROR       the XML service gave no text; Output has Size 0 and Data null
  //   other                  the controller's status for reading the adapter
  EFI_STATUS(EFIAPI *Get_Live)(RAID_XYL_PROTOCOL *This, RAID_XYL_PARAMETER *Parameter, RAID_XYL_BUFFER *Output);

  // Changes the controller. Input->Data is an array of two buffers: [0] the saved configuration document (Size 0 or
  // Data null: none), [1] the run-time options document, of which only Data is looked at. What happens is up to Output:
  //   null, or Size 0     no new document. Mode Restore restores the saved one, and the log comes back in Output itself
  //                       (Size, Data); with a null Output there is none. Mode Normal applies the saved adapter
  //                       settings, without a log.
  //   Size 1 to 31        nothing is done: the documents of Input are read and freed, Output stays as it is.
  //   Size of 32 or more  Output->Data is an array of two buffers: [1] the new configuration document, with methods to
  //                       run, in either mode; [0] receives the log (Size, Data).
  //
  // Each document is a pool block (AllocatePool) of its own. The operation frees it when it has read it, and wipes it
  // before; from then on it is gone, whatever happens next. A saved text of Size 0 is none and stays yours. In this
  // order, from the first reason that holds:
  //   what ends the call                                                     options  saved     new
  //   a null argument, a wrong Revision or Instance, no options document,    yours    yours     yours
  //   one block given as two of the texts, or Output the same as Input
  //   options that do not parse or give no mode; no XML service              gone     yours     yours
  //   a saved document that does not parse or has no adapter                 gone     gone      yours
  //   anything else, success included                                        gone     gone      gone, if Size is 32 or
  //                                                                                             more; else yours
  // The status alone does not tell the rows apart. Let Verify read the saved document first: then only a lack of memory
  // can end the call in between, and it is better to lose a block then than to free one twice.
  //
  // A log is a pool block of the caller's, who frees it with FreePool; what Data held before is overwritten, not freed.
  // It comes back after a failure too, and then ends with the step that failed. There is none (Size and Data stay as
  // they are) when no step was reached, for a document that is missing or does not parse or has no methods; when a disk
  // that a method names is gone; and when there is no memory for it. So start with Data null.
  //   EFI_SUCCESS            also when steps failed that do not stop a restore; they are in the log
  //   EFI_INVALID_PARAMETER  a null argument, a wrong Revision, the same block twice, a document that is missing or
  //                          misshapen, or a saved virtual disk with a member that is none of the saved disks
  //   EFI_NOT_FOUND          Instance is not 0, no XML service, a text that the documents do not know in the place of a
  //                          value, or a disk that a method names by the saved document is gone
  //   EFI_UNSUPPORTED        the saved configuration belongs to another kind of adapter, or an empty raidData
  //   EFI_OUT_OF_RESOURCES   no memory
  //   other                  the controller's or the XML service's status. What was done before stays done
  EFI_STATUS(EFIAPI *Set_Live)
  (RAID_XYL_PROTOCOL *This, RAID_XYL_PARAMETER *Parameter, RAID_XYL_BUFFER *Input, RAID_XYL_BUFFER *Output);

  // Compares the saved document, element 0 of the array of buffers at Input->Data, with the live adapter and sets
  // VERIFY_ bits in *Result, which is 0 after any other status than a success (untouched with a null argument). Of the
  // array and of Parameter only the pointers are looked at. Nothing is changed, and all texts stay the caller's.
  // NewData may be null. With a NewData of non-zero Size nothing is compared: from Size 32 on NewData->Data is an array
  // of two buffers, the second of which must have Data.
  //   EFI_INVALID_PARAMETER  a null argument, a missing document, or a document without an adapter
  //   EFI_ABORTED            the saved document does not parse, for whatever reason: no memory or no XML service, too
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
