#include "base/console.h"
#include "base/log.h"
#include "base/text.h"
#include "driver/controller/controller.h"
#include "driver/live/live.h"
#include "driver/request/request.h"
#include "driver/xml/xml.h"

namespace xyl::driver {

static constexpr const CHAR8 *verifyName = "RAIDXYLVerify";

// A mode byte that Verify compares when both adapters have the mode.
struct ModeCheck {
  UINT16 offset;
  UINT8 mask; // the bits that count
  const CHAR8 *logLine;
  const CHAR8 *consoleLine; // in place of logLine, behind the operation's name
};

#define MODE(member) offsetof(RAID_ADAPTER_RECORD, member)

static constexpr ModeCheck g_modeChecks[] = {
    {MODE(CheckConsistencyMode), 0xFF, "Config change detected: CC Mode changed", nullptr},
    {MODE(PatrolReadMode), RAID_PATROL_READ_MODE_MASK, "Config change detected: patrolReadMode changed", nullptr},
    {MODE(UncertifiedMode), 0xFF, nullptr, ":Config change detected : Uncertified Mode changed \n"},
    {MODE(LoadBalanceMode), 0xFF, nullptr, ":Config change detected : Load Balance Mode changed \n"},
    {MODE(LearnMode), 0xFF, nullptr, ":Config change detected : Learn Mode changed \n"},
    {MODE(CopyBackMode), 0xFF, "Config change detected: copyBackMode changed", nullptr},
};

static UINT32 compareModes(const RAID_ADAPTER_RECORD *live, const RAID_ADAPTER_RECORD *saved) {
  UINT32 result = 0;
  for (const ModeCheck &check : g_modeChecks) {
    UINT64 now = fieldLoad(live, {check.offset, 1});
    UINT64 then = fieldLoad(saved, {check.offset, 1});
    if ((now & then & RAID_MODE_PRESENT) == 0 || ((now ^ then) & check.mask) == 0) {
      continue;
    }
    if (check.logLine != nullptr) {
      LogPrint(LOG_WARN, verifyName, check.logLine);
    } else {
      printText(verifyName, check.consoleLine);
    }
    result = VERIFY_CONFIG_CHANGE;
  }
  return result;
}

static UINT32 compareRates(const RAID_ADAPTER_RECORD *live, const RAID_ADAPTER_RECORD *saved) {
  UINT32 result = 0;
  for (UINTN i = 0; i < RAID_RATE_COUNT; ++i) {
    RAID_RATE now = live->Rates[i];
    RAID_RATE then = saved->Rates[i];
    bool sameRate = now.Name != nullptr && then.Name != nullptr && textEqual(now.Name, then.Name);
    if (sameRate && (now.EditableValue ^ then.EditableValue) >> RAID_RATE_VALUE_SHIFT != 0) {
      LogPrint(LOG_WARN, verifyName, "Config change detected: %s changed", static_cast<CHAR16 *>(now.Name));
      result = VERIFY_CONFIG_CHANGE;
    }
  }
  return result;
}

// Whether the texts are equal up to their first "." or, without one, their end.
static bool sameMajorVersion(const CHAR16 *a, const CHAR16 *b) {
  while (*a == *b && *a != 0 && *a != '.') {
    ++a;
    ++b;
  }
  return (*a == 0 || *a == '.') && (*b == 0 || *b == '.');
}

static UINT32 compareFirmware(const RAID_ADAPTER_RECORD *live, const RAID_ADAPTER_RECORD *saved) {
  const CHAR16 *now = live->FirmwareVersion;
  const CHAR16 *then = saved->FirmwareVersion;
  if (live->PCIID.VendorID != saved->PCIID.VendorID || live->PCIID.SubvendorID != saved->PCIID.SubvendorID ||
      now == nullptr || then == nullptr || !sameMajorVersion(now, then)) {
    return 0;
  }
  int order = textLength(now) == textLength(then) ? textCompare(now, then) : VersionCompare(now, then);
  return order == 0 ? 0 : (order < 0 ? VERIFY_FW_LOWER : VERIFY_FW_HIGHER);
}

static UINT32 compareAdapters(const RAID_ADAPTER_RECORD *live, const RAID_ADAPTER_RECORD *saved) {
  UINT32 result = 0;
  if (live->WWN != saved->WWN) {
    LogPrint(LOG_WARN, verifyName, "Part Replacement detected");
    result |= VERIFY_PART_REPLACEMENT;
  }
  result |= compareModes(live, saved);
  result |= compareRates(live, saved);
  result |= compareFirmware(live, saved);
  return result;
}

static EFI_STATUS compareWithLive(RAID_MGMT_PROTOCOL *mgmt, const RAID_ADAPTER_RECORD *saved, UINT32 *result) {
  RAID_CMD_RESULT answer = {};
  EFI_STATUS status = issueCommand(mgmt, RAID_COMMAND_GET, RAID_OBJECT_ADAPTER, &answer);
  if (EFI_ERROR(status)) {
    LogPrint(LOG_WARN, verifyName, "Get Adapter returned error %r", status);
    return status;
  }
  if (recordCount(&answer) == 0) {
    LogPrint(LOG_ERROR, verifyName, "Adapter returned no data");
    status = EFI_NOT_FOUND;
  } else {
    *result = compareAdapters(static_cast<RAID_ADAPTER_RECORD *>(answer.Data), saved);
    status = EFI_SUCCESS;
  }
  giveBack(mgmt, &answer);
  return status;
}

static EFI_STATUS verifySaved(RAID_MGMT_PROTOCOL *mgmt, const CHAR8 *document, UINT32 *result) {
  if (document == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  RAID_CONFIG *config = nullptr;
  UINT32 count = 1;
  EFI_STATUS status = ParseXMLBlob(document, &config, &count);
  if (EFI_ERROR(status)) {
    status = EFI_ABORTED;
  } else if (count == 0) {
    status = EFI_INVALID_PARAMETER;
  } else {
    status = compareWithLive(mgmt, config->adapter, result);
  }
  releaseConfig(config);
  return status;
}

// New data is only looked for: the array of at least two buffers must hold a document in its second one.
static EFI_STATUS checkNewData(const RAID_XYL_BUFFER *newData) {
  if (newData->Size < 2 * sizeof(RAID_XYL_BUFFER)) {
    return EFI_SUCCESS;
  }
  const RAID_XYL_BUFFER *buffers = static_cast<const RAID_XYL_BUFFER *>(newData->Data);
  return buffers == nullptr || buffers[1].Data == nullptr ? EFI_INVALID_PARAMETER : EFI_SUCCESS;
}

static EFI_STATUS verify(RAID_XYL_PROTOCOL *table, const RAID_XYL_PARAMETER *parameter, const RAID_XYL_BUFFER *input,
                         const RAID_XYL_BUFFER *newData, UINT32 *result) {
  if (table == nullptr || parameter == nullptr || input == nullptr || result == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  *result = 0;
  RAID_MGMT_PROTOCOL *mgmt = mgmtOf(table);
  if (mgmt == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  if (newData != nullptr && newData->Size != 0) {
    return checkNewData(newData);
  }
  const RAID_XYL_BUFFER *buffers = static_cast<const RAID_XYL_BUFFER *>(input->Data);
  return buffers == nullptr ? EFI_INVALID_PARAMETER
                            : verifySaved(mgmt, static_cast<const CHAR8 *>(buffers[0].Data), result);
}

EFI_STATUS EFIAPI RAIDXYLVerify(RAID_XYL_PROTOCOL *table, RAID_XYL_PARAMETER *parameter, RAID_XYL_BUFFER *input,
                                RAID_XYL_BUFFER *newData, UINT32 *result) {
  logEntered(verifyName);
  return logExit(verifyName, verify(table, parameter, input, newData, result));
}

static bool isSeparator(CHAR16 unit) {
  return unit == '.' || unit == '-';
}

// Reads the number of the next piece, at most 31 characters of it, and steps over the separator behind it.
static UINT64 nextPiece(const CHAR16 **version) {
  const CHAR16 *from = *version;
  CHAR8 piece[32];
  UINTN length = 0;
  for (; length < sizeof(piece) - 1 && *from != 0 && !isSeparator(*from); ++from) {
    piece[length++] = static_cast<CHAR8>(*from);
  }
  piece[length] = 0;
  *version = isSeparator(*from) ? from + 1 : from;
  return parseDecimal(piece);
}

int VersionCompare(const CHAR16 *a, const CHAR16 *b) {
  do {
    UINT64 numberA = nextPiece(&a);
    UINT64 numberB = nextPiece(&b);
    if (numberA != numberB) {
      return numberA < numberB ? -1 : 1;
    }
  } while (*a != 0 || *b != 0);
  return 0;
}

} // namespace xyl::driver
