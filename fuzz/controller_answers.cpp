// Every operation against a controller whose answers come from the input. The first byte tells the operation, the
// second where its saved document comes from.

#include "driver/binding.h"
#include "fuzz/fake_controller.h"

static const char *const RESTORE = "<RunMode><Mode>Restore</Mode><StopOnError>True</StopOnError></RunMode>";
static const char *const REBUILD =
    "<RunMode><Mode>Restore</Mode><Raid><PreserveVDConfig>False</PreserveVDConfig></Raid></RunMode>";
static const char *const NORMAL = "<RunMode><Mode>Normal</Mode></RunMode>";

// Commands of all kinds on what the controller usually has.
static const char *const CHANGES =
    "<raidData>"
    "<Method name='Create'><ObjectType>Virtual Disk</ObjectType><OID>1001</OID><OID>1002</OID><Object><VD>"
    "<TargetID>1048576</TargetID><RAIDLevel>RAID 1</RAIDLevel></VD></Object></Method>"
    "<Method name='Change'><ObjectType>Physical Disk</ObjectType><OID>1003</OID><Object><PD>"
    "<Hotspare>Dedicated</Hotspare><VD>1048576</VD></PD></Object></Method>"
    "<Method name='Rekey'><ObjectType>Adapter</ObjectType><Object><Key><OldPassphrase>c2VjcmV0</OldPassphrase>"
    "<NewPassphrase>bmV3</NewPassphrase></Key></Object></Method>"
    "<Method name='Get'><ObjectType>Enclosure</ObjectType></Method>"
    "<Method name='Delete'><ObjectType>Virtual Disk</ObjectType><OID>1</OID></Method>"
    "</raidData>";

// The driver leaves its controller and takes it again; afterwards it serves it in any case.
static void reconnect(FAKE_CONTROLLER &fake) {
  static EFI_GUID mgmtGuid = RAID_MGMT_PROTOCOL_GUID;
  EFI_BOOT_SERVICES *services = fuzzFirmware().bootServices();
  mustHold(services->DisconnectController(fake.handle, fuzzDriver(), nullptr) == EFI_SUCCESS, "disconnect");
  fake.starting = true;
  services->ConnectController(fake.handle, nullptr, nullptr, /* Recursive= */ 1);
  fake.input = nullptr;
  if (fuzzTable(fake.handle) == nullptr) {
    // A declined model stays held.
    services->CloseProtocol(fake.handle, &mgmtGuid, fuzzDriver(), fake.handle);
    services->ConnectController(fake.handle, nullptr, nullptr, /* Recursive= */ 1);
  }
  fake.starting = false;
  fake.xyl = fuzzTable(fake.handle);
  mustHold(fake.xyl != nullptr, "not served again");
}

// The record with the name stays out.
static void askName(FAKE_CONTROLLER &fake) {
  CHAR16 *name = nullptr;
  EFI_STATUS status = g_componentName2.GetControllerName(&g_componentName2, fake.handle, nullptr, "en", &name);
  mustHold(status == EFI_SUCCESS || status == EFI_UNSUPPORTED, "status of the name query");
  mustHold(fake.out.size() <= (EFI_ERROR(status) ? 0U : 1U), "answers of the name query");
  fake.out.clear();
}

static std::string savedDocument(FAKE_CONTROLLER &fake, FuzzInput &input) {
  static std::string usual;
  if (usual.empty()) {
    fuzzGet(fake.xyl, &usual);
  }
  std::string document = usual;
  if (input.byte() % 2 != 0) {
    fake.input = &input;
    fuzzGet(fake.xyl, &document);
  }
  return document.empty() ? usual : document;
}

FUZZ_TARGET(controller_answers) {
  FAKE_CONTROLLER &fake = fakeController();
  FuzzBalance balance;
  uint8_t operation = input.byte() % 7;
  std::string saved = operation < 2 ? "" : savedDocument(fake, input);
  fake.input = &input;
  switch (operation) {
  case 0:
    reconnect(fake);
    break;
  case 1:
    askName(fake);
    break;
  case 2:
    fuzzVerify(fake.xyl, saved);
    break;
  case 3:
    fuzzSet(fake.xyl, {RESTORE, saved, {}}, OUTPUT_EMPTY);
    break;
  case 4:
    fuzzSet(fake.xyl, {REBUILD, saved, {}}, OUTPUT_EMPTY);
    break;
  case 5:
    fuzzSet(fake.xyl, {NORMAL, saved, {}}, OUTPUT_NULL);
    break;
  default:
    fuzzSet(fake.xyl, {NORMAL, saved, CHANGES}, OUTPUT_NEW_DATA);
    break;
  }
  fake.input = nullptr;
  judgeFakeController();
}
