// The adapter element.
#include "base/log.h"
#include "base/pool.h"
#include "driver/request/reader.h"
#include "driver/request/request.h"

namespace xyl::driver {

static constexpr const CHAR8 *parseAdapterName = "parseAdapter";

static EFI_STATUS readAdapter(const XML_NODE *element, RAID_ADAPTER_RECORD *adapter, RAID_CONFIG *config) {
  if (!makeRoomForAll(element, config)) {
    return EFI_OUT_OF_RESOURCES;
  }
  ObjectReading reading = {};
  reading.kind = RAID_OBJECT_ADAPTER;
  reading.record = adapter;
  reading.config = config;
  EFI_STATUS status = readObject(element, reading);
  return EFI_ERROR(status) ? status : finishLevelParams(reading);
}

static void releaseFailed(RAID_ADAPTER_RECORD *adapter) {
  if (adapter->ObjectType != RAID_OBJECT_ADAPTER) {
    LogPrint(LOG_ERROR, parseAdapterName, "Incorrect object type %X!\n", static_cast<UINT32>(adapter->ObjectType));
    adapter->ObjectType = RAID_OBJECT_ADAPTER;
  } else {
    LogPrint(LOG_ERROR, parseAdapterName, "End error!");
  }
  releaseRecordMembers(adapter);
  poolFree(adapter);
}

EFI_STATUS parseAdapter(const XML_NODE *element, RAID_CONFIG *config) {
  logEntered(parseAdapterName);
  if (element == nullptr || config == nullptr) {
    LogPrint(LOG_ERROR, parseAdapterName, "Invalid parameters adapter = %lX cache = %lX\n",
             reinterpret_cast<UINTN>(element), reinterpret_cast<UINTN>(config));
    return logExit(parseAdapterName, EFI_INVALID_PARAMETER);
  }
  config->adapter = newCommandObject<RAID_ADAPTER_RECORD>();
  if (config->adapter == nullptr) {
    return logExit(parseAdapterName, EFI_OUT_OF_RESOURCES);
  }
  EFI_STATUS status = readAdapter(element, config->adapter, config);
  if (EFI_ERROR(status)) {
    releaseFailed(config->adapter);
    config->adapter = nullptr;
  }
  return logExit(parseAdapterName, status);
}

} // namespace xyl::driver
