// The adapter element.
#include "base/log.h"
#include "base/pool.h"
#include "driver/request/reader.h"
#include "driver/request/request.h"

static constexpr const CHAR8 *PARSE_ADAPTER = "parseAdapter";

static EFI_STATUS readAdapter(const XML_NODE *element, RAID_ADAPTER_RECORD *adapter, RAID_CONFIG *config) {
  if (!makeRoomForAll(element, config)) {
    return EFI_OUT_OF_RESOURCES;
  }
  OBJECT_READING reading = {};
  reading.Kind = RAID_OBJECT_ADAPTER;
  reading.Record = adapter;
  reading.Config = config;
  EFI_STATUS status = readObject(element, reading);
  return EFI_ERROR(status) ? status : finishLevelParams(reading);
}

static void releaseFailed(RAID_ADAPTER_RECORD *adapter) {
  if (adapter->ObjectType != RAID_OBJECT_ADAPTER) {
    LogPrint(LOG_ERROR, PARSE_ADAPTER, "Incorrect object type %X!\n", static_cast<UINT32>(adapter->ObjectType));
    adapter->ObjectType = RAID_OBJECT_ADAPTER;
  } else {
    LogPrint(LOG_ERROR, PARSE_ADAPTER, "End error!");
  }
  releaseRecordMembers(adapter);
  poolFree(adapter);
}

EFI_STATUS parseAdapter(const XML_NODE *element, RAID_CONFIG *config) {
  logEntered(PARSE_ADAPTER);
  if (element == nullptr || config == nullptr) {
    LogPrint(LOG_ERROR, PARSE_ADAPTER, "Invalid parameters adapter = %lX cache = %lX\n",
             reinterpret_cast<UINTN>(element), reinterpret_cast<UINTN>(config));
    return logExit(PARSE_ADAPTER, EFI_INVALID_PARAMETER);
  }
  config->adapter = newCommandObject<RAID_ADAPTER_RECORD>();
  if (config->adapter == nullptr) {
    return logExit(PARSE_ADAPTER, EFI_OUT_OF_RESOURCES);
  }
  EFI_STATUS status = readAdapter(element, config->adapter, config);
  if (EFI_ERROR(status)) {
    releaseFailed(config->adapter);
    config->adapter = nullptr;
  }
  return logExit(PARSE_ADAPTER, status);
}
