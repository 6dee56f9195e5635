// The certificates that https trusts, and logins.
#include "base/text.h"
#include "images/network/network.h"

namespace xyl::images::network {

static constexpr EFI_GUID tlsGuid = EFI_TLS_CA_CERTIFICATE_GUID;
static constexpr EFI_GUID x509Guid = EFI_CERT_X509_GUID;
static constexpr const CHAR16 *variable = u"TlsCaCertificate";

// --- PEM ---

// Moves behind the next place where the words stand; false without one.
static bool seek(const CHAR8 **at, const CHAR8 *end, const CHAR8 *words) {
  UINTN length = textLength(words);
  for (const CHAR8 *place = *at; static_cast<UINTN>(end - place) >= length; ++place) {
    if (__builtin_memcmp(place, words, length) == 0) {
      *at = place + length;
      return true;
    }
  }
  return false;
}

static UINT32 valueOf(CHAR8 letter) {
  if (letter >= 'A' && letter <= 'Z') {
    return static_cast<UINT32>(letter - 'A');
  }
  if (letter >= 'a' && letter <= 'z') {
    return static_cast<UINT32>(letter - 'a' + 26);
  }
  if (letter >= '0' && letter <= '9') {
    return static_cast<UINT32>(letter - '0' + 52);
  }
  return letter == '+' ? 62 : letter == '/' ? 63 : 64;
}

// Base64 over lines. Returns the bytes written, or 0 for what is none.
static UINTN decode(const CHAR8 *at, const CHAR8 *end, UINT8 *to) {
  UINTN count = 0;
  UINT32 bits = 0;
  UINT32 have = 0;
  bool isOver = false;
  for (; at != end; ++at) {
    UINT32 value = valueOf(*at);
    bool isSpace = *at == '\r' || *at == '\n' || *at == ' ' || *at == '\t';
    isOver = isOver || *at == '=';
    if (!isSpace && *at != '=' && (value > 63 || isOver)) {
      return 0;
    }
    if (value < 64) {
      bits = bits << 6 | value;
      have += 6;
      if (have >= 8) {
        have -= 8;
        to[count++] = static_cast<UINT8>(bits >> have);
      }
    }
  }
  return count;
}

// A sequence of DER that is as long as it says.
static bool isDer(const UINT8 *bytes, UINTN size) {
  return size > 4 && bytes[0] == 0x30 && bytes[1] == 0x82 && (static_cast<UINTN>(bytes[2]) << 8 | bytes[3]) + 4 == size;
}

// Writes a list for each certificate; all together are shorter than the text. Returns their bytes, or 0.
static UINTN makeLists(const CHAR8 *pem, UINTN size, UINT8 *lists) {
  constexpr UINTN headSize = sizeof(EFI_SIGNATURE_LIST) + sizeof(EFI_GUID);
  UINTN written = 0;
  const CHAR8 *end = pem + size;
  for (const CHAR8 *at = pem; seek(&at, end, "-----BEGIN CERTIFICATE-----");) {
    const CHAR8 *begin = at;
    const CHAR8 *behind = end;
    if (!seek(&at, end, "-----END CERTIFICATE-----")) {
      return 0;
    }
    behind = at - textLength("-----END CERTIFICATE-----");
    UINT8 *bytes = lists + written + headSize;
    UINTN length = decode(begin, behind, bytes);
    if (!isDer(bytes, length)) {
      return 0;
    }
    EFI_SIGNATURE_LIST list = {x509Guid, static_cast<UINT32>(headSize + length), 0,
                               static_cast<UINT32>(sizeof(EFI_GUID) + length)};
    copyBytes(lists + written, &list, sizeof(list));
    zeroBytes(bytes - sizeof(EFI_GUID), sizeof(EFI_GUID));
    written += headSize + length;
  }
  return written;
}

// --- The variable ---

static EFI_STATUS setVariable(const UINT8 *data, UINTN size) {
  return g_systemTable->RuntimeServices->SetVariable(variable, &tlsGuid,
                                                     size != 0 ? EFI_VARIABLE_BOOTSERVICE_ACCESS : 0, size, data);
}

static bool isTold() {
  UINTN size = 0;
  UINT32 attributes = 0;
  return g_systemTable->RuntimeServices->GetVariable(variable, &tlsGuid, &attributes, &size, /* Data= */ nullptr) !=
         EFI_NOT_FOUND;
}

EFI_STATUS Trust::set(const CHAR8 *pem, UINTN size) {
  if (isSet_) {
    return EFI_SUCCESS;
  }
  if (isTold()) {
    return EFI_ACCESS_DENIED;
  }
  UINT8 *lists = static_cast<UINT8 *>(poolAllocate(size + 1));
  if (lists == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  UINTN length = makeLists(pem, size, lists);
  EFI_STATUS status = length == 0 ? EFI_INVALID_PARAMETER : setVariable(lists, length);
  poolFree(lists);
  isSet_ = !EFI_ERROR(status);
  return status;
}

Trust::~Trust() {
  if (isSet_) {
    setVariable(/* data= */ nullptr, 0);
  }
}

// --- Logins ---

constexpr UINTN originMax = 300;

static bool isBlank(CHAR8 letter) {
  return letter == ' ' || letter == '\t' || letter == '\r';
}

// The login of a line for the server, or null.
static const CHAR8 *loginIn(const CHAR8 *at, const CHAR8 *end, const client::jobs::Url &wanted, UINTN *length) {
  CHAR8 origin[originMax + 1];
  UINTN size = 0;
  while (at != end && isBlank(*at)) {
    ++at;
  }
  for (; at != end && !isBlank(*at) && size < originMax; ++at) {
    origin[size++] = *at;
  }
  origin[size] = 0;
  while (at != end && isBlank(*at)) {
    ++at;
  }
  while (end != at && end[-1] == '\r') {
    --end;
  }
  client::jobs::Url url;
  bool isIt = client::jobs::readUrl(origin, &url) == nullptr && client::jobs::isSameOrigin(url, wanted) && at != end;
  *length = static_cast<UINTN>(end - at);
  return isIt ? at : nullptr;
}

const CHAR8 *loginFor(const client::jobs::Url &url, const CHAR8 *text, UINTN size, UINTN *length) {
  const CHAR8 *end = text + size;
  for (const CHAR8 *at = text; at < end;) {
    const CHAR8 *next = at;
    while (next != end && *next != '\n') {
      ++next;
    }
    if (const CHAR8 *login = loginIn(at, next, url, length)) {
      return login;
    }
    at = next != end ? next + 1 : end;
  }
  return nullptr;
}

} // namespace xyl::images::network
