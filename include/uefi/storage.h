// Protocols of whole disks: block access, what a disk says of itself, and the pass-through protocols that ask for more.
#ifndef RAIDXYL_UEFI_STORAGE_H
#define RAIDXYL_UEFI_STORAGE_H

#include "uefi/tables.h"

#define EFI_BLOCK_IO_PROTOCOL_GUID                                                                                     \
  {                                                                                                                    \
    0x964E5B21, 0x6459, 0x11D2, {                                                                                      \
      0x8E, 0x39, 0x00, 0xA0, 0xC9, 0x69, 0x72, 0x3B                                                                   \
    }                                                                                                                  \
  }
#define EFI_DISK_INFO_PROTOCOL_GUID                                                                                    \
  {                                                                                                                    \
    0xD432A67F, 0x14DC, 0x484B, {                                                                                      \
      0xB3, 0xBB, 0x3F, 0x02, 0x91, 0x84, 0x93, 0x27                                                                   \
    }                                                                                                                  \
  }
// Values of EFI_DISK_INFO_PROTOCOL.Interface.
#define EFI_DISK_INFO_AHCI_INTERFACE_GUID                                                                              \
  {                                                                                                                    \
    0x9E498932, 0x4ABC, 0x45AF, {                                                                                      \
      0xA3, 0x4D, 0x02, 0x47, 0x78, 0x7B, 0xE7, 0xC6                                                                   \
    }                                                                                                                  \
  }
#define EFI_DISK_INFO_NVME_INTERFACE_GUID                                                                              \
  {                                                                                                                    \
    0x3AB14680, 0x5D3F, 0x4A4D, {                                                                                      \
      0xBC, 0xDC, 0xCC, 0x38, 0x00, 0x18, 0xC7, 0xF7                                                                   \
    }                                                                                                                  \
  }
#define EFI_DISK_INFO_SCSI_INTERFACE_GUID                                                                              \
  {                                                                                                                    \
    0x08F74BAA, 0xEA36, 0x41D9, {                                                                                      \
      0x95, 0x21, 0x21, 0xA7, 0x0F, 0x87, 0x80, 0xBC                                                                   \
    }                                                                                                                  \
  }
#define EFI_DISK_INFO_USB_INTERFACE_GUID                                                                               \
  {                                                                                                                    \
    0xCB871572, 0xC11A, 0x47B5, {                                                                                      \
      0xB4, 0x92, 0x67, 0x5E, 0xAF, 0xA7, 0x77, 0x27                                                                   \
    }                                                                                                                  \
  }
#define EFI_DISK_INFO_IDE_INTERFACE_GUID                                                                               \
  {                                                                                                                    \
    0x5E948FE3, 0x26D3, 0x42B5, {                                                                                      \
      0xAF, 0x17, 0x61, 0x02, 0x87, 0x18, 0x8D, 0xEC                                                                   \
    }                                                                                                                  \
  }
#define EFI_NVM_EXPRESS_PASS_THRU_PROTOCOL_GUID                                                                        \
  {                                                                                                                    \
    0x52C78312, 0x8EDC, 0x4233, {                                                                                      \
      0x98, 0xF2, 0x1A, 0x1A, 0xA5, 0xE3, 0x88, 0xA5                                                                   \
    }                                                                                                                  \
  }
#define EFI_SCSI_IO_PROTOCOL_GUID                                                                                      \
  {                                                                                                                    \
    0x932F47E6, 0x2362, 0x4002, {                                                                                      \
      0x80, 0x3E, 0x3C, 0xD5, 0x4B, 0x13, 0x8F, 0x85                                                                   \
    }                                                                                                                  \
  }
#define EFI_ATA_PASS_THRU_PROTOCOL_GUID                                                                                \
  {                                                                                                                    \
    0x1D3DE7F0, 0x0807, 0x424F, {                                                                                      \
      0xAA, 0x69, 0x11, 0xA5, 0x4E, 0x19, 0xA4, 0x6F                                                                   \
    }                                                                                                                  \
  }
#define EFI_DISK_IO_PROTOCOL_GUID                                                                                      \
  {                                                                                                                    \
    0xCE345171, 0xBA0B, 0x11D2, {                                                                                      \
      0x8E, 0x4F, 0x00, 0xA0, 0xC9, 0x69, 0x72, 0x3B                                                                   \
    }                                                                                                                  \
  }
#define EFI_PCI_IO_PROTOCOL_GUID                                                                                       \
  {                                                                                                                    \
    0x4CF5B200, 0x68B8, 0x4CA5, {                                                                                      \
      0x9E, 0xEC, 0xB2, 0x3E, 0x3F, 0x50, 0x02, 0x9A                                                                   \
    }                                                                                                                  \
  }

typedef struct EFI_BLOCK_IO_MEDIA {
  UINT32 MediaId;
  BOOLEAN RemovableMedia;
  BOOLEAN MediaPresent;
  BOOLEAN LogicalPartition;
  BOOLEAN ReadOnly;
  BOOLEAN WriteCaching;
  UINT32 BlockSize; // bytes
  UINT32 IoAlign;   // of buffers, in bytes; 0 and 1: none
  UINT64 LastBlock;
} EFI_BLOCK_IO_MEDIA;
UEFI_STATIC_ASSERT(offsetof(EFI_BLOCK_IO_MEDIA, BlockSize) == 12, "block media layout");
UEFI_STATIC_ASSERT(offsetof(EFI_BLOCK_IO_MEDIA, LastBlock) == 24, "block media layout");

typedef struct EFI_BLOCK_IO_PROTOCOL EFI_BLOCK_IO_PROTOCOL;
struct EFI_BLOCK_IO_PROTOCOL {
  UINT64 Revision;
  EFI_BLOCK_IO_MEDIA *Media;
  EFI_STATUS(EFIAPI *Reset)(EFI_BLOCK_IO_PROTOCOL *This, BOOLEAN ExtendedVerification);
  EFI_STATUS(EFIAPI *ReadBlocks)
  (EFI_BLOCK_IO_PROTOCOL *This, UINT32 MediaId, UINT64 Lba, UINTN Size, void *Buffer);
  EFI_STATUS(EFIAPI *WriteBlocks)
  (EFI_BLOCK_IO_PROTOCOL *This, UINT32 MediaId, UINT64 Lba, UINTN Size, const void *Buffer);
  EFI_STATUS(EFIAPI *FlushBlocks)(EFI_BLOCK_IO_PROTOCOL *This);
};
UEFI_STATIC_ASSERT(sizeof(EFI_BLOCK_IO_PROTOCOL) == 48, "block I/O size");

typedef struct EFI_DISK_INFO_PROTOCOL EFI_DISK_INFO_PROTOCOL;
struct EFI_DISK_INFO_PROTOCOL {
  EFI_GUID Interface;
  EFI_STATUS(EFIAPI *Inquiry)(EFI_DISK_INFO_PROTOCOL *This, void *Data, UINT32 *Size);
  EFI_STATUS(EFIAPI *Identify)(EFI_DISK_INFO_PROTOCOL *This, void *Data, UINT32 *Size);
  void *NotCalled;
  EFI_STATUS(EFIAPI *WhichIde)(EFI_DISK_INFO_PROTOCOL *This, UINT32 *Channel, UINT32 *Device);
};
UEFI_STATIC_ASSERT(offsetof(EFI_DISK_INFO_PROTOCOL, WhichIde) == 0x28, "disk information layout");

// Bits of EFI_NVM_EXPRESS_COMMAND.Flags: which of the later words count.
#define EFI_NVM_EXPRESS_CDW10_VALID 0x04U

typedef struct EFI_NVM_EXPRESS_COMMAND {
  UINT32 Cdw0; // the opcode in the lowest byte
  UINT8 Flags;
  UINT32 Nsid;
  UINT32 Cdw2;
  UINT32 Cdw3;
  UINT32 Cdw10;
  UINT32 Cdw11;
  UINT32 Cdw12;
  UINT32 Cdw13;
  UINT32 Cdw14;
  UINT32 Cdw15;
} EFI_NVM_EXPRESS_COMMAND;

typedef struct EFI_NVM_EXPRESS_COMPLETION {
  UINT32 Words[4];
} EFI_NVM_EXPRESS_COMPLETION;

typedef struct EFI_NVM_EXPRESS_PASS_THRU_COMMAND_PACKET {
  UINT64 CommandTimeout; // in 100 ns
  void *TransferBuffer;
  UINT32 TransferLength;
  void *MetadataBuffer;
  UINT32 MetadataLength;
  UINT8 QueueType; // 0: of the administrator
  EFI_NVM_EXPRESS_COMMAND *NvmeCmd;
  EFI_NVM_EXPRESS_COMPLETION *NvmeCompletion;
} EFI_NVM_EXPRESS_PASS_THRU_COMMAND_PACKET;

typedef struct EFI_NVM_EXPRESS_PASS_THRU_PROTOCOL EFI_NVM_EXPRESS_PASS_THRU_PROTOCOL;
struct EFI_NVM_EXPRESS_PASS_THRU_PROTOCOL {
  void *Mode;
  EFI_STATUS(EFIAPI *PassThru)
  (EFI_NVM_EXPRESS_PASS_THRU_PROTOCOL *This, UINT32 NamespaceId, EFI_NVM_EXPRESS_PASS_THRU_COMMAND_PACKET *Packet,
   EFI_EVENT Event);
  void *NotCalled[3];
};
UEFI_STATIC_ASSERT(sizeof(EFI_NVM_EXPRESS_PASS_THRU_PROTOCOL) == 0x28, "NVMe pass-through size");

// Registers of an ATA command, the second half of each being that of 48-bit commands.
typedef struct EFI_ATA_COMMAND_BLOCK {
  UINT8 Reserved1[2];
  UINT8 AtaCommand;
  UINT8 AtaFeatures;
  UINT8 AtaSectorNumber;
  UINT8 AtaCylinderLow;
  UINT8 AtaCylinderHigh;
  UINT8 AtaDeviceHead;
  UINT8 AtaSectorNumberExp;
  UINT8 AtaCylinderLowExp;
  UINT8 AtaCylinderHighExp;
  UINT8 AtaFeaturesExp;
  UINT8 AtaSectorCount;
  UINT8 AtaSectorCountExp;
  UINT8 Reserved2[6];
} EFI_ATA_COMMAND_BLOCK;
UEFI_STATIC_ASSERT(sizeof(EFI_ATA_COMMAND_BLOCK) == 20, "ATA command size");

typedef struct EFI_ATA_STATUS_BLOCK {
  UINT8 Reserved1[2];
  UINT8 AtaStatus;
  UINT8 AtaError;
  UINT8 Registers[16];
} EFI_ATA_STATUS_BLOCK;
UEFI_STATIC_ASSERT(sizeof(EFI_ATA_STATUS_BLOCK) == 20, "ATA status size");

#define EFI_ATA_PASS_THRU_PROTOCOL_ATA_NON_DATA 0x02
#define EFI_ATA_PASS_THRU_LENGTH_NO_DATA_TRANSFER 0x00

typedef struct EFI_ATA_PASS_THRU_COMMAND_PACKET {
  EFI_ATA_STATUS_BLOCK *Asb;  // aligned as Mode says
  EFI_ATA_COMMAND_BLOCK *Acb; // likewise
  UINT64 Timeout;             // in 100 ns
  void *InDataBuffer;
  void *OutDataBuffer;
  UINT32 InTransferLength;
  UINT32 OutTransferLength;
  UINT8 Protocol;
  UINT8 Length; // what the transfer lengths count
} EFI_ATA_PASS_THRU_COMMAND_PACKET;
UEFI_STATIC_ASSERT(offsetof(EFI_ATA_PASS_THRU_COMMAND_PACKET, Protocol) == 48, "ATA packet layout");

typedef struct EFI_ATA_PASS_THRU_PROTOCOL EFI_ATA_PASS_THRU_PROTOCOL;
struct EFI_ATA_PASS_THRU_PROTOCOL {
  void *Mode;
  EFI_STATUS(EFIAPI *PassThru)
  (EFI_ATA_PASS_THRU_PROTOCOL *This, UINT16 Port, UINT16 PortMultiplierPort, EFI_ATA_PASS_THRU_COMMAND_PACKET *Packet,
   EFI_EVENT Event);
  void *NotCalled[6];
};
UEFI_STATIC_ASSERT(sizeof(EFI_ATA_PASS_THRU_PROTOCOL) == 64, "ATA pass-through size");

#define EFI_SCSI_IO_DATA_DIRECTION_READ 0

typedef struct EFI_SCSI_IO_SCSI_REQUEST_PACKET {
  UINT64 Timeout; // in 100 ns
  void *InDataBuffer;
  void *OutDataBuffer;
  void *SenseData;
  void *Cdb;
  UINT32 InTransferLength;
  UINT32 OutTransferLength;
  UINT8 CdbLength;
  UINT8 DataDirection;
  UINT8 HostAdapterStatus;
  UINT8 TargetStatus;
  UINT8 SenseDataLength;
} EFI_SCSI_IO_SCSI_REQUEST_PACKET;
UEFI_STATIC_ASSERT(sizeof(EFI_SCSI_IO_SCSI_REQUEST_PACKET) == 56, "SCSI request size");

typedef struct EFI_SCSI_IO_PROTOCOL EFI_SCSI_IO_PROTOCOL;
struct EFI_SCSI_IO_PROTOCOL {
  void *NotCalled1[4];
  EFI_STATUS(EFIAPI *ExecuteScsiCommand)
  (EFI_SCSI_IO_PROTOCOL *This, EFI_SCSI_IO_SCSI_REQUEST_PACKET *Packet, EFI_EVENT Event);
  UINT32 IoAlign;
};
UEFI_STATIC_ASSERT(offsetof(EFI_SCSI_IO_PROTOCOL, ExecuteScsiCommand) == 0x20, "SCSI I/O layout");

typedef struct EFI_PCI_IO_PROTOCOL EFI_PCI_IO_PROTOCOL;
struct EFI_PCI_IO_PROTOCOL {
  void *NotCalled1[14];
  EFI_STATUS(EFIAPI *GetLocation)
  (EFI_PCI_IO_PROTOCOL *This, UINTN *Segment, UINTN *Bus, UINTN *Device, UINTN *Function);
};
UEFI_STATIC_ASSERT(offsetof(EFI_PCI_IO_PROTOCOL, GetLocation) == 0x70, "PCI I/O layout");

#endif
