#include "driver/binding/instances.h"

#include "base/console.h"
#include "base/pool.h"
#include "base/text.h"
#include "driver/controller/controller.h"
#include "driver/live/live.h"

namespace xyl::driver {

static constexpr EFI_GUID g_raidXylGuid = RAID_XYL_PROTOCOL_GUID;
static constexpr EFI_GUID g_raidMgmtGuid = RAID_MGMT_PROTOCOL_GUID;

// Identities of the adapters that are not served.
static constexpr UINT16 excludedSubvendor = 0x4E54;
static constexpr RAID_PCI_IDENTITY g_excludedModel = {0x1F4E, excludedSubvendor, 0x0073, excludedSubvendor, 0, 0, 0, 0,
                                                      0};
static constexpr UINT16 excludedSetVendor = 0x8086;
static constexpr UINT16 g_excludedDevices[] = {0x3A25, 0x3B24, 0x3B25};
static constexpr UINT16 g_excludedSubdevices[] = {0x0251, 0x0252, 0x0253, 0x0254, 0x0255, 0x0256, 0x0257};

template <UINTN N> static bool contains(const UINT16 (&values)[N], UINT16 value) {
  for (UINT16 candidate : values) {
    if (candidate == value) {
      return true;
    }
  }
  return false;
}

// The console line that names the declined model, or null for an adapter that is served.
static const CHAR8 *declinedModel(const RAID_PCI_IDENTITY &id) {
  if (id.VendorID == g_excludedModel.VendorID && id.DeviceID == g_excludedModel.DeviceID &&
      id.SubvendorID == g_excludedModel.SubvendorID && id.SubdeviceID == g_excludedModel.SubdeviceID) {
    return "Tarn H1 adapter is not served\n";
  }
  if (id.VendorID == excludedSetVendor && contains(g_excludedDevices, id.DeviceID) &&
      id.SubvendorID == excludedSubvendor && contains(g_excludedSubdevices, id.SubdeviceID)) {
    return "Tarn S1 adapter is not served\n";
  }
  return nullptr;
}

static void printNumber(const CHAR8 *what, UINT32 value) {
  CHAR8 digits[17];
  formatShortHex(digits, value);
  printText(what, digits, "\n");
}

static EFI_STATUS EFIAPI supported(EFI_DRIVER_BINDING_PROTOCOL *, EFI_HANDLE controller, EFI_DEVICE_PATH_PROTOCOL *) {
  EFI_STATUS status =
      g_bootServices->OpenProtocol(controller, &g_raidXylGuid, /* Interface= */ nullptr, /* Agent= */ nullptr,
                                   /* Controller= */ nullptr, EFI_OPEN_PROTOCOL_TEST_PROTOCOL);
  if (!EFI_ERROR(status)) {
    return EFI_ALREADY_STARTED;
  }
  return g_bootServices->OpenProtocol(controller, &g_raidMgmtGuid, /* Interface= */ nullptr, /* Agent= */ nullptr,
                                      /* Controller= */ nullptr, EFI_OPEN_PROTOCOL_TEST_PROTOCOL);
}

// Reads the adapter record, which the caller gives back with FreeRecords and count 1, and tells its PCI identity on the
// console. EFI_UNSUPPORTED without a record. The controller's status does not matter, only whether it gave a record.
static EFI_STATUS readAdapter(RAID_MGMT_PROTOCOL *mgmt, RAID_ADAPTER_RECORD **adapter) {
  printText("About to do get Adapter");
  RAID_CMD_RESULT result;
  issueCommand(mgmt, RAID_COMMAND_GET, RAID_OBJECT_ADAPTER, &result);
  if (recordCount(&result) == 0) {
    printText("Adapter didnt return any data");
    if (result.Data != nullptr) {
      mgmt->FreeRecords(mgmt, result.Data, 1);
    }
    return EFI_UNSUPPORTED;
  }
  *adapter = static_cast<RAID_ADAPTER_RECORD *>(result.Data);
  const RAID_PCI_IDENTITY &identity = (*adapter)->PCIID;
  printNumber("Adapter VendorID : ", identity.VendorID);
  printNumber("Adapter DeviceID : ", identity.DeviceID);
  printNumber("Adapter SubVendorID : ", identity.SubvendorID);
  printNumber("Adapter SubDeviceID : ", identity.SubdeviceID);
  return EFI_SUCCESS;
}

static EFI_STATUS installTable(EFI_HANDLE controller, RAID_XYL_PROTOCOL *table) {
  table->Identify_Live = RAIDXYLIdentify_Live;
  table->Get_Live = RAIDXYLGet_Live;
  table->Set_Live = RAIDXYLSet_Live;
  table->Verify = RAIDXYLVerify;
  table->Revision = RAID_XYL_REVISION;
  return g_bootServices->InstallMultipleProtocolInterfaces(&controller, &g_raidXylGuid, table,
                                                           static_cast<void *>(nullptr));
}

// What a Start attempt keeps: all of it, or of a declined controller the open management protocol, or nothing.
enum class StartOutcome { served, declined, failed };

static EFI_STATUS serve(EFI_HANDLE controller, const RAID_PCI_IDENTITY &identity, RAID_XYL_PROTOCOL *table,
                        StartOutcome *outcome) {
  const CHAR8 *declined = declinedModel(identity);
  if (declined != nullptr) {
    printText(declined);
    *outcome = StartOutcome::declined;
    return EFI_SUCCESS;
  }
  EFI_STATUS status = installTable(controller, table);
  *outcome = EFI_ERROR(status) ? StartOutcome::failed : StartOutcome::served;
  return status;
}

static EFI_STATUS openManagement(EFI_DRIVER_BINDING_PROTOCOL *binding, EFI_HANDLE controller,
                                 RAID_MGMT_PROTOCOL **mgmt) {
  void *interface = nullptr;
  EFI_STATUS status = g_bootServices->OpenProtocol(
      controller, &g_raidMgmtGuid, &interface, binding->DriverBindingHandle, controller, EFI_OPEN_PROTOCOL_BY_DRIVER);
  if (EFI_ERROR(status)) {
    printText("Couldnt open RAID Mgmt Protocol\n");
    return status;
  }
  *mgmt = static_cast<RAID_MGMT_PROTOCOL *>(interface);
  return EFI_SUCCESS;
}

static void closeManagement(EFI_DRIVER_BINDING_PROTOCOL *binding, EFI_HANDLE controller) {
  g_bootServices->CloseProtocol(controller, &g_raidMgmtGuid, binding->DriverBindingHandle, controller);
}

static EFI_STATUS EFIAPI start(EFI_DRIVER_BINDING_PROTOCOL *binding, EFI_HANDLE controller,
                               EFI_DEVICE_PATH_PROTOCOL *) {
  if (binding == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  printText("Entered Binding start\n");
  RAID_XYL_DEV *instance = poolNew<RAID_XYL_DEV>();
  if (instance == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  instance->Signature = RAID_XYL_DEV_SIGNATURE;
  EFI_STATUS status = openManagement(binding, controller, &instance->RaidMgmtProtocol);
  if (EFI_ERROR(status)) {
    poolFree(instance);
    return status;
  }
  RAID_MGMT_PROTOCOL *mgmt = instance->RaidMgmtProtocol;
  RAID_ADAPTER_RECORD *adapter = nullptr;
  StartOutcome outcome = StartOutcome::failed;
  status = mgmt == nullptr ? EFI_UNSUPPORTED : readAdapter(mgmt, &adapter);
  if (!EFI_ERROR(status)) {
    status = serve(controller, adapter->PCIID, &instance->RaidXylProtocol, &outcome);
  }
  if (outcome == StartOutcome::failed) {
    closeManagement(binding, controller);
  }
  if (adapter != nullptr) {
    mgmt->FreeRecords(mgmt, adapter, 1);
  }
  if (outcome != StartOutcome::served) {
    poolFree(instance);
  }
  return status;
}

static EFI_STATUS EFIAPI stop(EFI_DRIVER_BINDING_PROTOCOL *binding, EFI_HANDLE controller, UINTN, EFI_HANDLE *) {
  void *interface = nullptr;
  EFI_STATUS status = g_bootServices->HandleProtocol(controller, &g_raidXylGuid, &interface);
  if (EFI_ERROR(status)) {
    return status;
  }
  if (interface == nullptr) {
    return EFI_NOT_FOUND;
  }
  status = g_bootServices->UninstallMultipleProtocolInterfaces(controller, &g_raidXylGuid, interface,
                                                               static_cast<void *>(nullptr));
  if (EFI_ERROR(status)) {
    return status;
  }
  closeManagement(binding, controller);
  poolFree(static_cast<UINT8 *>(interface) - offsetof(RAID_XYL_DEV, RaidXylProtocol));
  return EFI_SUCCESS;
}

EFI_DRIVER_BINDING_PROTOCOL g_driverBinding = {supported, start, stop, /* Version= */ 0x0A, nullptr, nullptr};

} // namespace xyl::driver
