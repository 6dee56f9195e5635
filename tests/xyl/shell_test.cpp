// The shell front: its entry point under the host's firmware, with a shell that keeps files in memory.
#include <algorithm>
#include <fstream>
#include <map>

#include "tests/support/world.h"
#include "xyl/shell_front/shell_front.h"

static const EFI_GUID g_shellGuid = EFI_SHELL_PROTOCOL_GUID;
static const EFI_GUID g_parametersGuid = EFI_SHELL_PARAMETERS_PROTOCOL_GUID;

// A disk whose files behave as on FAT: opening with CREATE leaves what is in them. One of them is open at a time.
struct DISK {
  static inline std::map<std::u16string, std::string> files;
  static inline int opens;
  static inline size_t place, room; // in the open file; bytes that a file may have

  static std::string &content(EFI_SHELL_FILE_HANDLE file) { return *static_cast<std::string *>(file); }
  static EFI_STATUS EFIAPI open(const CHAR16 *name, EFI_SHELL_FILE_HANDLE *file, UINT64 mode) {
    if (mode != EFI_FILE_MODE_CREATE && files.count(name) == 0) {
      return EFI_NOT_FOUND;
    }
    *file = &files[name];
    place = 0;
    return ++opens == 1 ? EFI_SUCCESS : EFI_ABORTED;
  }
  static EFI_STATUS EFIAPI close(EFI_SHELL_FILE_HANDLE) { return --opens == 0 ? EFI_SUCCESS : EFI_ABORTED; }
  static EFI_STATUS EFIAPI flush(EFI_SHELL_FILE_HANDLE) { return EFI_SUCCESS; }
  static EFI_STATUS EFIAPI remove(const CHAR16 *name) { return files.erase(name) != 0 ? EFI_SUCCESS : EFI_NOT_FOUND; }
  static EFI_STATUS EFIAPI getSize(EFI_SHELL_FILE_HANDLE file, UINT64 *size) {
    *size = content(file).size();
    return EFI_SUCCESS;
  }
  // At most 1000 bytes at a time, as a file system may.
  static EFI_STATUS EFIAPI read(EFI_SHELL_FILE_HANDLE file, UINTN *size, void *buffer) {
    *size = content(file).copy(static_cast<char *>(buffer), std::min<size_t>(*size, 1000), place);
    place += *size;
    return EFI_SUCCESS;
  }
  static EFI_STATUS EFIAPI write(EFI_SHELL_FILE_HANDLE file, UINTN *size, void *buffer) {
    *size = std::min<size_t>(*size, room);
    content(file).replace(0, *size, static_cast<const char *>(buffer), *size);
    return EFI_SUCCESS;
  }
};

class XylShell : public testing::Test {
protected:
  XylShell() {
    DISK::files.clear();
    DISK::opens = 0;
    DISK::room = ~0ULL;
    shell_.OpenFileByName = DISK::open;
    shell_.CloseFile = DISK::close;
    shell_.ReadFile = DISK::read;
    shell_.WriteFile = DISK::write;
    shell_.DeleteFileByName = DISK::remove;
    shell_.FlushFile = DISK::flush;
    shell_.GetFileSize = DISK::getSize;
    world_.services->InstallMultipleProtocolInterfaces(&handle_, &g_shellGuid, &shell_, &g_parametersGuid, &parameters_,
                                                       static_cast<void *>(nullptr));
    world_.console();
    world_.markBalance();
  }
  ~XylShell() override {
    world_.services->UninstallMultipleProtocolInterfaces(handle_, &g_shellGuid, &shell_, &g_parametersGuid,
                                                         &parameters_, static_cast<void *>(nullptr));
  }

  // The status that the shell would see of "xyl" and the words of line; what was shown is in console_.
  EFI_STATUS run(const std::u16string &line, bool balanced = true) {
    std::vector<std::u16string> words = {u"xyl"};
    for (size_t at = 0, end = 0; at < line.size(); at = end + 1) {
      end = std::min(line.find(u' ', at), line.size());
      words.push_back(line.substr(at, end - at));
    }
    std::vector<CHAR16 *> argv;
    std::transform(words.begin(), words.end(), std::back_inserter(argv), [](auto &word) { return word.data(); });
    parameters_.Argv = argv.data();
    parameters_.Argc = argv.size();
    EFI_STATUS status = XylEntry(handle_, world_.firmware.systemTable());
    console_ = world_.console();
    EXPECT_EQ(DISK::opens, 0);
    if (balanced) {
      world_.expectBalanced();
    }
    return status;
  }
  void expect(const std::u16string &line, EFI_STATUS status, const std::string &part = {}) {
    EXPECT_EQ(name(run(line)), name(status)) << part;
    EXPECT_TRUE(said(part)) << part << console_;
  }
  bool said(const std::string &part) const { return console_.find(part) != std::string::npos; }

  World world_{"demo"};
  EFI_SHELL_PROTOCOL shell_{};
  EFI_SHELL_PARAMETERS_PROTOCOL parameters_{};
  EFI_HANDLE handle_ = nullptr;
  std::string console_;
};

TEST_F(XylShell, StatusesAreThoseOfTheShellAndFilesWhole) {
  DISK::files[u"no.xml"] = "<raidData/>";
  simSetMode(world_.sim, SIM_MODE_COPY_BACK, RAID_MODE_PRESENT | 0);
  expect(u"get -o fs0:\\saved.xml", EFI_SUCCESS);
  expect(u"", EFI_INVALID_PARAMETER, "no command");
  expect(u"sim presets", EFI_INVALID_PARAMETER, "unknown command");
  expect(u"get --preset demo", EFI_INVALID_PARAMETER, "unknown option");
  expect(u"get -c 2", EFI_NOT_FOUND, "no controller 2");
  expect(u"show none.xml", EFI_NOT_FOUND, "cannot read 'none.xml': Not Found");
  expect(u"verify no.xml", EFI_ABORTED, "no saved configuration");
  expect(u"verify fs0:\\saved.xml", EFI_SUCCESS, "result 0x0");
  expect(u"get -?", EFI_SUCCESS, "xyl get -o fs0:\\saved.xml");
  expect(u"help verify", EFI_SUCCESS, "  0x1B   there are differences");
  expect(u"log", EFI_SUCCESS, "TRACE RAIDXYLVerify: Exit. Success");
  simSetMode(world_.sim, SIM_MODE_COPY_BACK, RAID_MODE_PRESENT | 1);
  expect(u"verify fs0:\\saved.xml", EFI_ERROR_CODE(27), "CopyBackMode: Off (saved) -> On (now)");
  expect(u"diff fs0:\\saved.xml", EFI_ERROR_CODE(27), "adapter changed, copy back mode: Off -> On\n");
  expect(u"plan fs0:\\saved.xml", EFI_SUCCESS, "copy back mode: On -> Off\n");
  expect(u"log --json", EFI_SUCCESS, "\n    \"TRACE RAIDXYLVerify: Exit. Success\",\n");
  // A longer file of that name must not show through, and names are more than ASCII.
  std::u16string file = u"fs0:\\é€.xml";
  DISK::files[file] = std::string(1000000, 'x');
  expect(u"get -o " + file, EFI_SUCCESS);
  EXPECT_EQ(DISK::files[file], world_.get().text);
  expect(u"show " + file, EFI_SUCCESS, "Adapter      Harrier R6 Integrated\nFirmware");
  DISK::room = 100;
  expect(u"get -o " + file, EFI_VOLUME_FULL, "cannot write 'fs0:\\é€.xml': Volume Full");
}

TEST_F(XylShell, ChoosesAmongControllers) {
  SIM_CONTROLLER *second = nullptr;
  EFI_HANDLE handle = nullptr;
  ASSERT_EQ(simCreate("sas", &second) | simInstall(second, &handle), EFI_SUCCESS);
  ASSERT_EQ(world_.services->ConnectController(handle, nullptr, nullptr, 1), EFI_SUCCESS);
  world_.console();
  world_.markBalance();
  EXPECT_EQ(run(u"show"), EFI_INVALID_PARAMETER);
  EXPECT_EQ(console_, "xyl: 2 controllers are bound; choose one with -c N, 'xyl list' shows them\n");
  expect(u"show -c 2", EFI_SUCCESS, "Adapter      Harrier H2 Host Adapter\n");
  EXPECT_EQ(run(u"list", /* balanced= */ false), EFI_SUCCESS);
  EXPECT_EQ(console_, "  1  Harrier R6 Integrated\n  2  Harrier H2 Host Adapter\n");
  // What names leave with the firmware by contract, given back for the books.
  for (SIM_CONTROLLER *sim : {world_.sim, second}) {
    while (sim->books.out.count != 0) {
      ASSERT_EQ(sim->protocol.FreeRecords(&sim->protocol, sim->books.out.items[0].data, 1), EFI_SUCCESS);
    }
  }
  world_.expectBalanced();
  EXPECT_EQ(world_.services->DisconnectController(handle, nullptr, nullptr), EFI_SUCCESS);
  EXPECT_EQ(simDestroy(second), EFI_SUCCESS);
}

TEST_F(XylShell, ManualIsTheHelp) {
  std::ifstream manual(RAIDXYL_SOURCE_DIR "/xyl/shell_front/xyl.man");
  std::string text;
  for (std::string line; std::getline(manual, line);) {
    text += line[0] == '.' ? "" : line + "\n";
  }
  ASSERT_EQ(run(u"help"), EFI_SUCCESS);
  EXPECT_EQ(text, console_) << "xyl/shell_front/xyl.man has to say what 'xyl help' says";
}

TEST_F(XylShell, RebuildWantsATypedYes) {
  ASSERT_EQ(run(u"get -o saved.xml"), EFI_SUCCESS);
  for (const char *keys : {"no\r", "\r", "yess\r", "yesno\b\byes\r", "yex\bs\r"}) {
    bool yes = std::string(keys) == "yex\bs\r";
    world_.firmware.typeKeys(keys);
    expect(u"restore saved.xml --rebuild", yes ? EFI_SUCCESS : EFI_ABORTED, "Go on? Type yes: ");
    EXPECT_EQ(said("ResetConfig"), yes) << keys;
  }
}

// What the world looks for in freed memory.
TEST_F(XylShell, KeepsPassphrasesToItself) {
  // Refused by the controller, which has a key; refused by the client for its second method; and not even XML.
  for (const char *rest : {"</raidData>", "<Method name=\"Destroy\"/></raidData>", ""}) {
    DISK::files[u"key.xml"] =
        std::string("<raidData><Method name=\"Lock\"><Object><Key><Mode>LKM</Mode><KeyID>k</KeyID>"
                    "<Passphrase>" PASSPHRASE_BASE64 "</Passphrase></Key></Object></Method>") +
        rest;
    for (const char16_t *line :
         {u"apply key.xml", u"show key.xml", u"diff key.xml", u"verify key.xml", u"plan key.xml"}) {
      EXPECT_NE(run(line), EFI_SUCCESS) << console_;
      EXPECT_FALSE(said(PASSPHRASE) || said(PASSPHRASE_BASE64));
    }
  }
}

TEST_F(XylShell, SurvivesEveryFailingAllocation) {
  ASSERT_EQ(run(u"get -o saved.xml"), EFI_SUCCESS);
  simSetMode(world_.sim, SIM_MODE_LEARN, RAID_MODE_PRESENT | 1);
  for (const char16_t *line : {u"show", u"show saved.xml", u"verify saved.xml"}) {
    // The console needs memory for every line, so a lost line is no failure, but nothing may stay behind. Behind the
    // first places the sweep takes longer and longer steps.
    bool failed = true;
    for (uint64_t n = 1; failed; n += n < 60 ? 1 : n / 10) {
      world_.firmware.failAllocation(n);
      run(line);
      failed = world_.firmware.allocationFailed();
      world_.firmware.failAllocation(0);
      EXPECT_TRUE(failed || n > 10);
    }
  }
}
