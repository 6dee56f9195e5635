// HTTP over IPv4 as firmware offers it, and what it has to know beforehand: the address of the machine and whom it
// trusts.
#ifndef RAIDXYL_UEFI_NETWORK_H
#define RAIDXYL_UEFI_NETWORK_H

#include "uefi/tables.h"

#ifndef RAIDXYL_NO_UEFI_TYPES

#define EFI_HTTP_SERVICE_BINDING_PROTOCOL_GUID                                                                         \
  {                                                                                                                    \
    0xBDC8E6AF, 0xD9BC, 0x4379, {                                                                                      \
      0xA7, 0x2A, 0xE0, 0xC4, 0xE7, 0x5D, 0xAE, 0x1C                                                                   \
    }                                                                                                                  \
  }
#define EFI_HTTP_PROTOCOL_GUID                                                                                         \
  {                                                                                                                    \
    0x7A59B29B, 0x910B, 0x4171, {                                                                                      \
      0x82, 0x42, 0xA8, 0x5A, 0x0D, 0xF2, 0x5B, 0x5B                                                                   \
    }                                                                                                                  \
  }
#define EFI_IP4_CONFIG2_PROTOCOL_GUID                                                                                  \
  {                                                                                                                    \
    0x5B446ED1, 0xE30B, 0x4FAA, {                                                                                      \
      0x87, 0x1A, 0x36, 0x54, 0xEC, 0xA3, 0x60, 0x80                                                                   \
    }                                                                                                                  \
  }
// Of the variable with the certificates that https trusts.
#define EFI_TLS_CA_CERTIFICATE_GUID                                                                                    \
  {                                                                                                                    \
    0xFD2340D0, 0x3DAB, 0x4349, {                                                                                      \
      0xA6, 0xC7, 0x3B, 0x4F, 0x12, 0xB4, 0x8E, 0xAE                                                                   \
    }                                                                                                                  \
  }
// The type of a signature list that holds a certificate.
#define EFI_CERT_X509_GUID                                                                                             \
  {                                                                                                                    \
    0xA5C059A1, 0x94E4, 0x4AA7, {                                                                                      \
      0x87, 0xB5, 0xAB, 0x15, 0x5C, 0x2B, 0xF0, 0x72                                                                   \
    }                                                                                                                  \
  }

// What the network's protocols return beside the others.
#define EFI_NETWORK_UNREACHABLE EFI_ERROR_CODE(100)
#define EFI_HOST_UNREACHABLE EFI_ERROR_CODE(101)
#define EFI_PROTOCOL_UNREACHABLE EFI_ERROR_CODE(102)
#define EFI_PORT_UNREACHABLE EFI_ERROR_CODE(103)
#define EFI_CONNECTION_FIN EFI_ERROR_CODE(104)
#define EFI_CONNECTION_RESET EFI_ERROR_CODE(105)
#define EFI_CONNECTION_REFUSED EFI_ERROR_CODE(106)

typedef struct EFI_SERVICE_BINDING_PROTOCOL EFI_SERVICE_BINDING_PROTOCOL;
struct EFI_SERVICE_BINDING_PROTOCOL {
  EFI_STATUS(EFIAPI *CreateChild)(EFI_SERVICE_BINDING_PROTOCOL *This, EFI_HANDLE *Child); // *Child null: a new handle
  EFI_STATUS(EFIAPI *DestroyChild)(EFI_SERVICE_BINDING_PROTOCOL *This, EFI_HANDLE Child);
};
UEFI_STATIC_ASSERT(sizeof(EFI_SERVICE_BINDING_PROTOCOL) == 16, "service binding size");

// --- HTTP ---

typedef struct EFI_HTTPV4_ACCESS_POINT {
  BOOLEAN UseDefaultAddress;
  UINT8 LocalAddress[4];
  UINT8 LocalSubnet[4];
  UINT16 LocalPort;
} EFI_HTTPV4_ACCESS_POINT;
UEFI_STATIC_ASSERT(offsetof(EFI_HTTPV4_ACCESS_POINT, LocalPort) == 10, "HTTP access point layout");
UEFI_STATIC_ASSERT(sizeof(EFI_HTTPV4_ACCESS_POINT) == 12, "HTTP access point size");

#define EFI_HTTP_VERSION_11 1U

typedef struct EFI_HTTP_CONFIG_DATA {
  UINT32 HttpVersion;
  UINT32 TimeOutMillisec;
  BOOLEAN LocalAddressIsIPv6;
  EFI_HTTPV4_ACCESS_POINT *IPv4Node;
} EFI_HTTP_CONFIG_DATA;
UEFI_STATIC_ASSERT(offsetof(EFI_HTTP_CONFIG_DATA, IPv4Node) == 16, "HTTP configuration layout");
UEFI_STATIC_ASSERT(sizeof(EFI_HTTP_CONFIG_DATA) == 24, "HTTP configuration size");

// Methods.
#define EFI_HTTP_GET 0U
#define EFI_HTTP_POST 1U
#define EFI_HTTP_PUT 6U

typedef struct EFI_HTTP_REQUEST_DATA {
  UINT32 Method;
  const CHAR16 *Url;
} EFI_HTTP_REQUEST_DATA;
UEFI_STATIC_ASSERT(offsetof(EFI_HTTP_REQUEST_DATA, Url) == 8, "HTTP request layout");

typedef struct EFI_HTTP_RESPONSE_DATA {
  UINT32 StatusCode; // numbered in the protocol's own way
} EFI_HTTP_RESPONSE_DATA;

typedef struct EFI_HTTP_HEADER {
  const CHAR8 *FieldName;
  const CHAR8 *FieldValue;
} EFI_HTTP_HEADER;
UEFI_STATIC_ASSERT(sizeof(EFI_HTTP_HEADER) == 16, "HTTP header size");

typedef struct EFI_HTTP_MESSAGE {
  void *Data; // an EFI_HTTP_REQUEST_DATA or EFI_HTTP_RESPONSE_DATA, or null when only a body goes on
  UINTN HeaderCount;
  EFI_HTTP_HEADER *Headers; // of an answer: pool memory of the caller's
  UINTN BodyLength;         // in: the room; out: what came
  void *Body;
} EFI_HTTP_MESSAGE;
UEFI_STATIC_ASSERT(offsetof(EFI_HTTP_MESSAGE, Body) == 32, "HTTP message layout");
UEFI_STATIC_ASSERT(sizeof(EFI_HTTP_MESSAGE) == 40, "HTTP message size");

typedef struct EFI_HTTP_TOKEN {
  EFI_EVENT Event; // signalled when Status counts
  EFI_STATUS Status;
  EFI_HTTP_MESSAGE *Message;
} EFI_HTTP_TOKEN;
UEFI_STATIC_ASSERT(sizeof(EFI_HTTP_TOKEN) == 24, "HTTP token size");

typedef struct EFI_HTTP_PROTOCOL EFI_HTTP_PROTOCOL;
struct EFI_HTTP_PROTOCOL {
  void *NotCalled;
  EFI_STATUS(EFIAPI *Configure)(EFI_HTTP_PROTOCOL *This, EFI_HTTP_CONFIG_DATA *Data);
  EFI_STATUS(EFIAPI *Request)(EFI_HTTP_PROTOCOL *This, EFI_HTTP_TOKEN *Token); // connects, which takes up to minutes
  EFI_STATUS(EFIAPI *Cancel)(EFI_HTTP_PROTOCOL *This, EFI_HTTP_TOKEN *Token);
  EFI_STATUS(EFIAPI *Response)(EFI_HTTP_PROTOCOL *This, EFI_HTTP_TOKEN *Token);
  EFI_STATUS(EFIAPI *Poll)(EFI_HTTP_PROTOCOL *This);
};
UEFI_STATIC_ASSERT(sizeof(EFI_HTTP_PROTOCOL) == 48, "HTTP protocol size");

// --- The address ---

// Types of data, and what they are.
#define EFI_IP4_CONFIG2_INTERFACE_INFO_TYPE 0 // EFI_IP4_CONFIG2_INTERFACE_INFO
#define EFI_IP4_CONFIG2_POLICY 1              // a UINT32
#define EFI_IP4_CONFIG2_MANUAL_ADDRESS 2      // address and mask of 4 bytes each
#define EFI_IP4_CONFIG2_GATEWAY 3             // addresses
#define EFI_IP4_CONFIG2_DNS_SERVER 4          // addresses

#define EFI_IP4_CONFIG2_STATIC 0U
#define EFI_IP4_CONFIG2_DHCP 1U

typedef struct EFI_IP4_CONFIG2_INTERFACE_INFO {
  UINT8 NotRead[68];
  UINT32 HwAddressSize;
  UINT8 HwAddress[32];
  UINT8 StationAddress[4]; // zeros: none yet
  UINT8 SubnetMask[4];
  // Routes follow.
} EFI_IP4_CONFIG2_INTERFACE_INFO;
UEFI_STATIC_ASSERT(offsetof(EFI_IP4_CONFIG2_INTERFACE_INFO, StationAddress) == 104, "interface information layout");
UEFI_STATIC_ASSERT(offsetof(EFI_IP4_CONFIG2_INTERFACE_INFO, SubnetMask) == 108, "interface information layout");

typedef struct EFI_IP4_CONFIG2_PROTOCOL EFI_IP4_CONFIG2_PROTOCOL;
struct EFI_IP4_CONFIG2_PROTOCOL {
  EFI_STATUS(EFIAPI *SetData)(EFI_IP4_CONFIG2_PROTOCOL *This, int Type, UINTN Size, const void *Data);
  EFI_STATUS(EFIAPI *GetData)(EFI_IP4_CONFIG2_PROTOCOL *This, int Type, UINTN *Size, void *Data);
  void *NotCalled[2];
};
UEFI_STATIC_ASSERT(sizeof(EFI_IP4_CONFIG2_PROTOCOL) == 32, "IPv4 configuration size");

// --- Certificates ---

// Behind it, for each signature, the owner's GUID and the certificate; all of one list are of one size.
typedef struct EFI_SIGNATURE_LIST {
  EFI_GUID SignatureType;
  UINT32 SignatureListSize; // with this header
  UINT32 SignatureHeaderSize;
  UINT32 SignatureSize; // with the owner
} EFI_SIGNATURE_LIST;
UEFI_STATIC_ASSERT(sizeof(EFI_SIGNATURE_LIST) == 28, "signature list size");

#endif

#endif
