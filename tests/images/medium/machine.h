// A machine that boots a medium: its entry point under the host's firmware, with a medium and a machine of the tests'
// own.
#pragma once

#include "images/medium/medium.h"
#include "tests/images/medium/stick.h"
#include "tests/support/world.h"

using namespace xyl;

static constexpr EFI_GUID g_loadedImageGuid = EFI_LOADED_IMAGE_PROTOCOL_GUID;
static constexpr EFI_GUID g_fileSystemGuid = EFI_SIMPLE_FILE_SYSTEM_PROTOCOL_GUID;

#define FIRST_RESULT u"results\\sn_42-00000000-0000-0000-0000-000000000001"

class Medium : public testing::Test {
protected:
  Medium() {
    Stick::clear();
    services_->InstallMultipleProtocolInterfaces(&handle_, &g_loadedImageGuid, &loaded_, &g_fileSystemGuid,
                                                 &Stick::system, static_cast<void *>(nullptr));
    loaded_.DeviceHandle = handle_;
    EFI_SYSTEM_TABLE *table = world_.firmware.systemTable();
    table->NumberOfTableEntries = 1;
    table->ConfigurationTable = &entry_;
    table->RuntimeServices->ResetSystem = [](int type, EFI_STATUS, UINTN, void *) EFIAPI { reset_ = type; };
    table->RuntimeServices->GetVariable = [](const CHAR16 *name, const EFI_GUID *, UINT32 *, UINTN *size, void *data)
                                              EFIAPI -> EFI_STATUS {
      const std::string &found = variable(name);
      EFI_STATUS status = found.empty() ? EFI_NOT_FOUND : *size == 0 ? EFI_BUFFER_TOO_SMALL : EFI_SUCCESS;
      *size = found.copy(static_cast<char *>(data), *size);
      return status;
    };
    table->RuntimeServices->SetVariable = [](const CHAR16 *name, const EFI_GUID *, UINT32, UINTN size, const void *data)
                                              EFIAPI -> EFI_STATUS {
      variable(name).assign(static_cast<const char *>(data), variableRoom_ ? size : 0);
      return variableRoom_ ? EFI_SUCCESS : EFI_OUT_OF_RESOURCES;
    };
    services_->SetWatchdogTimer = [](UINTN seconds, UINT64, UINTN, CHAR16 *) EFIAPI -> EFI_STATUS {
      limits_.push_back(seconds);
      return EFI_SUCCESS;
    };
    variable_.clear();
    trusted_.clear();
    variableRoom_ = true;
    describeMachine("SN/42", 1);
    world_.console();
    world_.markBalance();
  }
  ~Medium() override {
    services_->UninstallMultipleProtocolInterfaces(handle_, &g_loadedImageGuid, &loaded_, &g_fileSystemGuid,
                                                   &Stick::system, static_cast<void *>(nullptr));
  }

  // What firmware tells of the machine: the last byte of its UUID, the others being zero.
  void describeMachine(const std::string &serial, uint8_t uuid) {
    structures_ = std::string("\x01\x1B\0\0\x01\x02\0\x03", 8) + std::string(15, 0) + static_cast<char>(uuid) +
                  std::string(3, 0) + "Norvik" + '\0' + "Box" + '\0' + serial + std::string(2, 0);
    smbios_ = "_SM3_" + std::string(19, 0);
    uint64_t at = reinterpret_cast<uint64_t>(structures_.data());
    uint32_t size = static_cast<uint32_t>(structures_.size());
    smbios_.replace(0x0C, 4, reinterpret_cast<const char *>(&size), 4);
    smbios_.replace(0x10, 8, reinterpret_cast<const char *>(&at), 8);
    entry_.VendorTable = smbios_.data();
  }

  // Boots the medium; what was shown is in console_.
  EFI_STATUS boot() {
    reset_ = -1;
    limits_.clear();
    EFI_STATUS status = images::MediumEntry(handle_, world_.firmware.systemTable());
    console_ = world_.console();
    EXPECT_EQ(Stick::opens, 0);
    world_.expectBalanced();
    return status;
  }
  void expect(EFI_STATUS status, const std::string &part) {
    EXPECT_EQ(name(boot()), name(status)) << console_;
    EXPECT_TRUE(said(part)) << part << "\n" << console_;
  }
  bool said(const std::string &part) const { return console_.find(part) != std::string::npos; }

  World world_{"demo"};
  EFI_BOOT_SERVICES *services_ = world_.services;
  EFI_LOADED_IMAGE_PROTOCOL loaded_{};
  EFI_HANDLE handle_ = nullptr;
  EFI_CONFIGURATION_TABLE entry_{{0xF2FD1544, 0x9794, 0x4A2C, {0x99, 0x2E, 0xE5, 0xBB, 0xCF, 0x20, 0xE3, 0x94}}, {}};
  std::string smbios_, structures_, console_;
  static inline int reset_;
  static inline std::string variable_, trusted_; // of the job that was done, and of certificates
  static std::string &variable(const std::u16string &name) {
    return name == u"TlsCaCertificate" ? trusted_ : variable_;
  }
  static inline bool variableRoom_;
  static inline std::vector<UINTN> limits_;
};
