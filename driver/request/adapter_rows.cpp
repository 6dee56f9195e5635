// The adapter's rows that need more than their field: the rates' slots, the level mask, the configuration.
#include "base/bits.h"
#include "base/log.h"
#include "base/pool.h"
#include "driver/request/reader.h"

namespace xyl::driver {

// The children's order tells the fields, and a child with another name gives nothing. A rate always succeeds: without
// memory it has no name.
EFI_STATUS readRate(const XML_NODE *element, const FieldRow &row, ObjectReading &reading) {
  UINT32 slot = reading.rateCount++;
  if (slot >= RAID_RATE_COUNT) {
    return EFI_SUCCESS;
  }
  UINT8 *rate = static_cast<UINT8 *>(reading.record) + row.place.offset + slot * sizeof(RAID_RATE);
  const XML_NODE *child = element->FirstChild;
  for (UINT32 i = 0; i < row.fields->rowCount && child != nullptr; ++i, child = child->NextSibling) {
    if (isNamed(child, row.fields->rows[i].element)) {
      readField(child, row.fields->rows[i], rate);
    }
  }
  return EFI_SUCCESS;
}

static UINT32 levelCount(const RAID_ADAPTER_RECORD *adapter) {
  return countBits(adapter->SupportedRAIDLevels);
}

// Gives the adapter an array of one descriptor per level bit, which begins with those it had.
static EFI_STATUS resizeLevelParams(ObjectReading &reading) {
  RAID_ADAPTER_RECORD *adapter = static_cast<RAID_ADAPTER_RECORD *>(reading.record);
  UINT32 count = levelCount(adapter);
  RAID_LEVEL_PARAMS *params = nullptr;
  if (count != 0) {
    params = poolNew<RAID_LEVEL_PARAMS>(count);
    if (params == nullptr) {
      return EFI_OUT_OF_RESOURCES;
    }
    UINT32 kept = reading.levelCount < count ? reading.levelCount : count;
    for (UINT32 i = 0; i < kept; ++i) {
      params[i] = adapter->RAIDLevelParams[i];
    }
  }
  poolFree(adapter->RAIDLevelParams);
  adapter->RAIDLevelParams = params;
  reading.levelCount = count;
  return EFI_SUCCESS;
}

EFI_STATUS readLevelParams(const XML_NODE *element, const FieldRow &row, ObjectReading &reading) {
  reading.hasLevelParams = true;
  reading.levelCount = 0; // descriptors of an earlier element do not stay
  EFI_STATUS status = resizeLevelParams(reading);
  RAID_LEVEL_PARAMS *params = static_cast<RAID_ADAPTER_RECORD *>(reading.record)->RAIDLevelParams;
  const XML_NODE *child = element->FirstChild;
  for (UINT32 i = 0; !EFI_ERROR(status) && i < reading.levelCount && child != nullptr; ++i) {
    if (!isNamed(child, row.item)) {
      return EFI_INVALID_PARAMETER;
    }
    status = readFields(child, *row.fields, &params[i]);
    child = child->NextSibling;
  }
  return status;
}

EFI_STATUS finishLevelParams(ObjectReading &reading) {
  const RAID_ADAPTER_RECORD *adapter = static_cast<const RAID_ADAPTER_RECORD *>(reading.record);
  bool fits = !reading.hasLevelParams || reading.levelCount == levelCount(adapter);
  return fits ? EFI_SUCCESS : resizeLevelParams(reading);
}

EFI_STATUS readKeyId(const XML_NODE *element, RAID_CONFIG *config) {
  LogPrint(LOG_TRACE, "parseAdapter", "ParsingKeyid");
  releaseKeys(config->keyId, sizeof(RAID_KEY_RECORD));
  RAID_KEY_RECORD *key = poolNew<RAID_KEY_RECORD>();
  config->keyId = reinterpret_cast<CHAR8 *>(key);
  if (key == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  copyFixedText(key->KeyID, element->Content, sizeof(key->KeyID));
  return EFI_SUCCESS;
}

} // namespace xyl::driver
