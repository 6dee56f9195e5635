// The disks that firmware has: which count, where they are and what they say of themselves, laid out as the standards
// have it.

#include <gtest/gtest.h>

#include <cstring>
#include <map>

#include "base/pool.h"
#include "host/firmware/firmware.h"
#include "providers/disk_controller/io/disk_place.h"
#include "providers/disk_controller/io/disks.h"

using namespace xyl;

namespace {

// What a disk answers, by these and by SCSI's pages.
enum { inquiryData = -1, identifyData = -2, nvmeController = -3 };
using Answers = std::map<int, std::string>;
using Pieces = std::vector<std::pair<size_t, std::string>>;

std::string chars(std::initializer_list<int> values) {
  return {values.begin(), values.end()};
}

std::string bytes(size_t size, const Pieces &pieces) {
  std::string text(size, 0);
  for (const auto &[at, piece] : pieces) {
    text.replace(at, piece.size(), piece);
  }
  return text;
}

// ATA's words have their low byte first; of texts that is the second character of two. The name has four words.
std::string ata(const std::map<size_t, int> &words) {
  std::string texts(74, ' ');
  texts.replace(0, 5, "SN 1")
      .replace(20 + 6, 4, "2.5b")
      .replace(34, 8,
               " Mo\x01"
               "el\xE9 ");
  for (size_t i = 0; i < texts.size(); i += 2) {
    std::swap(texts[i], texts[i + 1]);
  }
  std::string identify = bytes(512, {{20, texts}, {216, chars({0, 0x50, 0, 0xC5, 0x34, 0x12, 0x78, 0x56})}});
  for (const auto &[word, value] : words) {
    identify.replace(2 * word, 2, chars({value & 0xFF, value >> 8}));
  }
  return identify;
}

std::string node(int type, int subtype, const std::string &data) {
  return chars({type, subtype, static_cast<int>(4 + data.size()), 0}) + data;
}

// --- The protocols of a disk and of its controller ---

const Answers *g_answers;

EFI_STATUS answer(int what, void *data, UINT32 *size) {
  std::memset(data, 'x', std::min<UINT32>(*size, 128)); // what a failure leaves
  auto found = g_answers->find(what);
  if (found == g_answers->end()) {
    return EFI_DEVICE_ERROR;
  }
  *size = static_cast<UINT32>(found->second.copy(static_cast<char *>(data), *size));
  return EFI_SUCCESS;
}

EFI_STATUS EFIAPI inquire(EFI_DISK_INFO_PROTOCOL *, void *data, UINT32 *size) {
  return answer(inquiryData, data, size);
}

EFI_STATUS EFIAPI identify(EFI_DISK_INFO_PROTOCOL *, void *data, UINT32 *size) {
  return answer(identifyData, data, size);
}

// A page that there is not leaves a check condition and old bytes.
EFI_STATUS EFIAPI execute(EFI_SCSI_IO_PROTOCOL *, EFI_SCSI_IO_SCSI_REQUEST_PACKET *packet, EFI_EVENT) {
  const auto *cdb = static_cast<const UINT8 *>(packet->Cdb);
  const UINT8 wanted[6] = {0x12, 1, cdb[2], 0, static_cast<UINT8>(packet->InTransferLength), 0};
  EXPECT_TRUE(packet->CdbLength == 6 && std::memcmp(cdb, wanted, 6) == 0 && packet->SenseDataLength == 18);
  EXPECT_EQ(packet->DataDirection, EFI_SCSI_IO_DATA_DIRECTION_READ);
  if (EFI_ERROR(answer(cdb[2], packet->InDataBuffer, &packet->InTransferLength))) {
    static_cast<UINT8 *>(packet->InDataBuffer)[1] = cdb[2];
    packet->TargetStatus = 2;
  }
  return EFI_SUCCESS;
}

EFI_STATUS EFIAPI passThru(EFI_NVM_EXPRESS_PASS_THRU_PROTOCOL *, UINT32 space,
                           EFI_NVM_EXPRESS_PASS_THRU_COMMAND_PACKET *packet, EFI_EVENT) {
  const EFI_NVM_EXPRESS_COMMAND &command = *packet->NvmeCmd;
  EXPECT_TRUE(space == 0 && command.Nsid == 0 && command.Cdw0 == 6 && command.Cdw10 == 1 && packet->QueueType == 0);
  EXPECT_EQ(command.Flags, EFI_NVM_EXPRESS_CDW10_VALID);
  EXPECT_TRUE(packet->TransferLength == 4096 && reinterpret_cast<UINTN>(packet->TransferBuffer) % 4096 == 0);
  return answer(nvmeController, packet->TransferBuffer, &packet->TransferLength);
}

EFI_STATUS EFIAPI getLocation(EFI_PCI_IO_PROTOCOL *, UINTN *segment, UINTN *bus, UINTN *device, UINTN *function) {
  *segment = 1, *bus = 2, *device = 3, *function = 4;
  return EFI_SUCCESS;
}

struct DiskCase {
  const char *name;
  std::string node; // of its path, behind the controller's
  Answers answers;
  std::string line; // what is found: place; identity; size
  EFI_BLOCK_IO_MEDIA media = {1, 0, 1, 0, 0, 0, 512, 0, 1999};
  EFI_GUID interface = {};
};

// What is found of the only disk, in one line.
std::string found() {
  disk_controller::DiskList list;
  EXPECT_EQ(disk_controller::findDisks(&list), EFI_SUCCESS);
  char line[256] = "none";
  for (UINT32 i = 0; i < list.count; ++i) {
    const disk_controller::Disk &disk = list.items[i];
    const disk_controller::DiskIdentity &told = disk.identity;
    snprintf(line, sizeof line, "%d %X:%X.%X %llX; %s|%s|%s|%s|%llX|%X%s%s; %llu%s%s", disk.place.bus,
             disk.place.pciBus, disk.place.pciDevice, disk.place.pciFunction,
             static_cast<unsigned long long>(disk.place.port), told.vendor, told.model, told.revision, told.serial,
             static_cast<unsigned long long>(told.wwn), told.speeds, told.solidState ? " solid" : "",
             told.shortFlush ? " short" : "", static_cast<unsigned long long>(disk.sectors),
             disk.unusable == nullptr ? "" : ", ", disk.unusable == nullptr ? "" : disk.unusable);
  }
  disk_controller::freeDisks(&list);
  return line;
}

TEST(Disks, AreFoundByEveryBus) {
  static const EFI_GUID blockGuid = EFI_BLOCK_IO_PROTOCOL_GUID, infoGuid = EFI_DISK_INFO_PROTOCOL_GUID;
  static const EFI_GUID pathGuid = EFI_DEVICE_PATH_PROTOCOL_GUID, pciGuid = EFI_PCI_IO_PROTOCOL_GUID;
  static const EFI_GUID nvmeGuid = EFI_NVM_EXPRESS_PASS_THRU_PROTOCOL_GUID, scsiGuid = EFI_SCSI_IO_PROTOCOL_GUID;
  const std::string end = chars({0x7F, 0xFF, 4, 0}), pci = node(1, 1, chars({5, 6}));
  const std::string sata = node(3, 18, chars({3, 1, 0xFF, 0xFF, 0, 0})), scsi = node(3, 2, chars({7, 1, 2, 3}));
  const std::string nvme = node(3, 23, chars({1, 2, 3, 4, 0, 0, 0, 0, 0, 0, 0, 0}));
  const std::string named = "0 102:3.4 103; |Mo?el?|2.5b|SN 1|";
  const std::string inquiry = bytes(36, {{8, "MAKER   "}, {16, "Disk of SCSI    "}, {32, "0001"}});
  const std::string space = bytes(4096, {{104, "naaaaaag"}, {120, "euieui64"}});
  const std::string unit = chars({1, 3, 0, 8}) + "unitname", port = chars({1, 0x13, 0, 8}) + "portname";
  const std::string longer = chars({1, 3, 0, 16}) + "of 128 bits, not";
  auto page = [](int number, const std::string &data, size_t told = 0) {
    return chars({0, number, 0, static_cast<int>(told == 0 ? data.size() : told)}) + data;
  };
  const DiskCase cases[] = {
      // ATA: whether there is a name, how fast it is, whether it rotates, how it flushes.
      {"ata", sata, {{identifyData, ata({{87, 0x4100}, {76, 0x0E}})}}, named + "5000C50012345678|7; 2000"},
      {"no name", sata, {{identifyData, ata({{87, 0x4000}, {76, 2}, {217, 1}})}}, named + "0|1 solid; 2000"},
      {"words that are not told", sata, {{identifyData, ata({{87, 0xC100}, {76, 0xFFFF}})}}, named + "0|0; 2000"},
      {"old flush", sata, {{identifyData, ata({{83, 0x5000}, {217, 7200}})}}, named + "0|0 short; 2000"},
      {"both flushes", sata, {{identifyData, ata({{83, 0x7000}})}}, named + "0|0; 2000"},
      {"half an answer", sata, {{identifyData, ata({}).substr(1)}}, "0 102:3.4 103; ||||0|0; 2000"},
      {"behind a multiplier", node(3, 18, chars({3, 0, 2, 0, 0, 0})), {}, "0 102:3.4 30003; ||||0|0; 2000"},
      // NVMe.
      {"nvme",
       nvme,
       {{identifyData, space},
        {nvmeController, bytes(4096, {{4, "serial of an NVMe--|"}, {24, std::string(40, 'm')}, {64, "firm8888"}})}},
       "1 102:3.4 4030201; |" + std::string(40, 'm') + "|firm8888|serial of an NVMe--||6575696575693634|0 solid; 2000"},
      {"no EUI, no controller",
       nvme,
       {{identifyData, bytes(128, {{104, "naaaaaag"}})}},
       "1 102:3.4 4030201; ||||6E61616161616167|0 solid; 2000"},
      {"no answer", nvme, {}, "1 102:3.4 4030201; ||||0|0 solid; 2000"},
      // SCSI.
      {"scsi",
       scsi,
       {{inquiryData, inquiry},
        {0x80, page(0x80, " serial  ")},
        {0x83, page(0x83, port + longer + unit)},
        {0xB1, page(0xB1, chars({0, 1, 0, 0}))}},
       "2 102:3.4 3020107; MAKER|Disk of SCSI|0001|serial|756E69746E616D65|0 solid; 2000"},
      {"pages that end too soon",
       scsi,
       {{inquiryData, inquiry},
        {0x80, page(0x80, std::string(50, 's'))},
        {0x83, page(0x83, unit.substr(0, 11), 12)},
        {0xB1, page(0xB1, chars({0}))}},
       "2 102:3.4 3020107; MAKER|Disk of SCSI|0001|" + std::string(40, 's') + "|0|0; 2000"},
      {"other pages than asked for",
       scsi,
       {{inquiryData, inquiry},
        {0x80, page(0x81, "no")},
        {0x83, page(0x83, port)},
        {0xB1, page(0xB1, chars({28, 32}))}},
       "2 102:3.4 3020107; MAKER|Disk of SCSI|0001||0|0; 2000"},
      {"no pages", scsi, {{inquiryData, inquiry}}, "2 102:3.4 3020107; MAKER|Disk of SCSI|0001||0|0; 2000"},
      {"a short inquiry", scsi, {{inquiryData, inquiry.substr(1)}}, "2 102:3.4 3020107; ||||0|0; 2000"},
      // Other places.
      {"another bus", node(3, 99, "x"), {}, "3 102:3.4 62C7310A; ||||0|0; 2000"},
      {"nodes that are too short",
       node(3, 18, "abc") + node(3, 2, "abc") + node(1, 1, "a"),
       {},
       "3 102:3.4 0; ||||0|0; 2000"},
      // What is no disk, and what holds no virtual disks.
      {"removable", sata, {}, "none", {1, 1, 1, 0, 0, 0, 512, 0, 1999}},
      {"no medium", sata, {}, "none", {1, 0, 0, 0, 0, 0, 512, 0, 1999}},
      {"a partition", sata, {}, "none", {1, 0, 1, 1, 0, 0, 512, 0, 1999}},
      {"no blocks", sata, {}, "none", {1, 0, 1, 0, 0, 0, 0, 0, 1999}},
      {"on USB", sata, {}, "none", {1, 0, 1, 0, 0, 0, 512, 0, 1999}, EFI_DISK_INFO_USB_INTERFACE_GUID},
      {"read only", sata, {}, "0 102:3.4 103; ||||0|0; 2000, it is write-protected", {1, 0, 1, 0, 1, 0, 512, 0, 1999}},
      {"large blocks",
       sata,
       {},
       "0 102:3.4 103; ||||0|0; 16000, its blocks are not of 512 bytes",
       {1, 0, 1, 0, 0, 0, 4096, 0, 1999}},
  };
  host::Firmware firmware;
  setSystemTable(firmware.systemTable());
  EFI_PCI_IO_PROTOCOL pciIo = {};
  pciIo.GetLocation = getLocation;
  EFI_NVM_EXPRESS_PASS_THRU_PROTOCOL nvmeIo = {nullptr, passThru, {}};
  EFI_SCSI_IO_PROTOCOL scsiIo = {{}, execute, 0};
  for (const DiskCase &row : cases) {
    SCOPED_TRACE(row.name);
    EFI_BLOCK_IO_MEDIA media = row.media;
    EFI_BLOCK_IO_PROTOCOL block = {0x20001, &media, nullptr, nullptr, nullptr, nullptr};
    EFI_DISK_INFO_PROTOCOL info = {row.interface, inquire, identify, nullptr, nullptr};
    std::string path = pci + row.node + end, controllerPath = pci + end;
    EFI_HANDLE controller = nullptr, disk = nullptr;
    g_answers = &row.answers;
    auto onBoth = [&](auto service, auto first, auto second) {
      service(first, &pathGuid, controllerPath.data(), &pciGuid, &pciIo, &nvmeGuid, &nvmeIo, nullptr);
      service(second, &pathGuid, path.data(), &blockGuid, &block, &infoGuid, &info, &scsiGuid, &scsiIo, nullptr);
    };
    onBoth(firmware.bootServices()->InstallMultipleProtocolInterfaces, &controller, &disk);
    EXPECT_EQ(found(), row.line);
    onBoth(firmware.bootServices()->UninstallMultipleProtocolInterfaces, controller, disk);
    EXPECT_EQ(firmware.pool().liveAllocations, 0u);
  }
}

// Which function, then which bus, then which port.
TEST(Disks, AreInTheOrderOfTheirPlaces) {
  const disk_controller::DiskPlace places[] = {
      {disk_controller::busSata, 0, 0, 0, 1ULL << 32}, {disk_controller::busSata, 0, 0, 0, 2ULL << 32},
      {disk_controller::busNvme, 0, 0, 0, 0},          {disk_controller::busSata, 0, 0, 1, 0},
      {disk_controller::busSata, 0, 1, 0, 0},          {disk_controller::busSata, 1, 0, 0, 0}};
  for (const disk_controller::DiskPlace &a : places) {
    for (const disk_controller::DiskPlace &b : places) {
      EXPECT_EQ(disk_controller::comparePlaces(a, b), &a < &b   ? -1
                                                      : &a > &b ? 1
                                                                : 0)
          << &a - places << " " << &b - places;
    }
  }
}

} // namespace
