// The shell front: its entry point under the host's firmware, with a shell that keeps files in memory.
#include <fstream>
#include <map>

#include "apps/xyl/efi/xyl_entry.h"
#include "tests/support/world.h"

static const EFI_GUID g_shellGuid = EFI_SHELL_PROTOCOL_GUID;
static const EFI_GUID g_parametersGuid = EFI_SHELL_PARAMETERS_PROTOCOL_GUID;

// A file of the shell behaves as a FAT file: opening with CREATE leaves what is in it.
struct OPEN_FILE {
  std::u16string name;
  size_t place = 0;
};

static std::map<std::u16string, std::string> g_files;
static int g_openFiles;
static size_t g_room; // bytes that the disk still takes

static EFI_STATUS EFIAPI openFileByName(const CHAR16 *name, EFI_SHELL_FILE_HANDLE *file, UINT64 mode) {
  if (mode != EFI_FILE_MODE_CREATE && g_files.count(name) == 0) {
    return EFI_NOT_FOUND;
  }
  g_files[name];
  *file = new OPEN_FILE{name};
  ++g_openFiles;
  return EFI_SUCCESS;
}

static EFI_STATUS EFIAPI closeFile(EFI_SHELL_FILE_HANDLE file) {
  delete static_cast<OPEN_FILE *>(file);
  --g_openFiles;
  return EFI_SUCCESS;
}

// At most 1000 bytes at a time, as a file system may.
static EFI_STATUS EFIAPI readFile(EFI_SHELL_FILE_HANDLE handle, UINTN *size, void *buffer) {
  OPEN_FILE *file = static_cast<OPEN_FILE *>(handle);
  *size = g_files[file->name].copy(static_cast<char *>(buffer), std::min<size_t>(*size, 1000), file->place);
  file->place += *size;
  return EFI_SUCCESS;
}

static EFI_STATUS EFIAPI writeFile(EFI_SHELL_FILE_HANDLE handle, UINTN *size, void *buffer) {
  *size = std::min<size_t>(*size, g_room);
  g_files[static_cast<OPEN_FILE *>(handle)->name].replace(0, *size, static_cast<const char *>(buffer), *size);
  return EFI_SUCCESS;
}

static EFI_STATUS EFIAPI deleteFileByName(const CHAR16 *name) {
  return g_files.erase(name) != 0 ? EFI_SUCCESS : EFI_NOT_FOUND;
}

static EFI_STATUS EFIAPI flushFile(EFI_SHELL_FILE_HANDLE) {
  return EFI_SUCCESS;
}

static EFI_STATUS EFIAPI getFileSize(EFI_SHELL_FILE_HANDLE handle, UINT64 *size) {
  *size = g_files[static_cast<OPEN_FILE *>(handle)->name].size();
  return EFI_SUCCESS;
}

class XylShell : public testing::Test {
protected:
  XylShell() {
    g_files.clear();
    g_openFiles = 0;
    g_room = ~0ULL;
    shell_.OpenFileByName = openFileByName;
    shell_.CloseFile = closeFile;
    shell_.ReadFile = readFile;
    shell_.WriteFile = writeFile;
    shell_.DeleteFileByName = deleteFileByName;
    shell_.FlushFile = flushFile;
    shell_.GetFileSize = getFileSize;
    EXPECT_EQ(install(g_shellGuid, &shell_), EFI_SUCCESS);
    EXPECT_EQ(install(g_parametersGuid, &parameters_), EFI_SUCCESS);
    world_.console();
    world_.markBalance();
  }

  ~XylShell() override {
    world_.services->UninstallMultipleProtocolInterfaces(handle_, &g_shellGuid, &shell_, &g_parametersGuid,
                                                         &parameters_, static_cast<void *>(nullptr));
  }

  EFI_STATUS install(const EFI_GUID &guid, void *interface) {
    return world_.services->InstallProtocolInterface(&handle_, &guid, EFI_NATIVE_INTERFACE, interface);
  }

  // The status that the shell would see; what was shown is in console_.
  EFI_STATUS run(std::vector<std::u16string> arguments) {
    std::vector<CHAR16 *> argv;
    arguments.insert(arguments.begin(), u"fs0:\\xyl.efi");
    for (std::u16string &argument : arguments) {
      argv.push_back(argument.data());
    }
    parameters_.Argv = argv.data();
    parameters_.Argc = argv.size();
    EFI_STATUS status = XylEntry(handle_, world_.firmware.systemTable());
    console_ = world_.console();
    EXPECT_EQ(g_openFiles, 0);
    world_.expectBalanced();
    return status;
  }

  bool said(const std::string &part) const { return console_.find(part) != std::string::npos; }

  World world_{"demo"};
  EFI_SHELL_PROTOCOL shell_{};
  EFI_SHELL_PARAMETERS_PROTOCOL parameters_{};
  EFI_HANDLE handle_ = nullptr;
  std::string console_;
};

TEST_F(XylShell, StatusesAreThoseOfTheShell) {
  ASSERT_EQ(run({u"get", u"-o", u"fs0:\\saved.xml"}), EFI_SUCCESS) << console_;
  g_files[u"no.xml"] = "<raidData/>";
  const struct {
    std::vector<std::u16string> arguments;
    EFI_STATUS status;
    const char *said;
  } cases[] = {
      {{}, EFI_INVALID_PARAMETER, "no command"},
      {{u"sim", u"presets"}, EFI_INVALID_PARAMETER, "unknown command"},
      {{u"get", u"--preset", u"demo"}, EFI_INVALID_PARAMETER, "unknown option"},
      {{u"get", u"-c", u"2"}, EFI_NOT_FOUND, "no controller 2"},
      {{u"show", u"none.xml"}, EFI_NOT_FOUND, "cannot read 'none.xml': Not Found"},
      {{u"verify", u"no.xml"}, EFI_ABORTED, "no saved configuration"},
      {{u"verify", u"fs0:\\saved.xml"}, EFI_SUCCESS, "result 0x0"},
      {{u"get", u"-?"}, EFI_SUCCESS, "xyl get -o fs0:\\saved.xml"},
      {{u"help", u"verify"}, EFI_SUCCESS, "  0x1B   there are differences"},
      {{u"log"}, EFI_SUCCESS, "TRACE RAIDXYLVerify: Exit. Success"},
  };
  for (const auto &row : cases) {
    EXPECT_EQ(name(run(row.arguments)), name(row.status)) << row.said;
    EXPECT_TRUE(said(row.said)) << row.said << console_;
  }
  simSetMode(world_.sim, SIM_MODE_COPY_BACK, RAID_MODE_PRESENT | 0);
  EXPECT_EQ(run({u"get", u"-o", u"fs0:\\saved.xml"}), EFI_SUCCESS);
  simSetMode(world_.sim, SIM_MODE_COPY_BACK, RAID_MODE_PRESENT | 1);
  EXPECT_EQ(run({u"verify", u"fs0:\\saved.xml"}), EFI_ERROR_CODE(27));
  EXPECT_TRUE(said("CopyBackMode: Off (saved) -> On (now)")) << console_;
}

// What names leave with the firmware by contract, given back for the books.
static void takeNamesBack(SIM_CONTROLLER *sim) {
  while (sim->answers.count != 0) {
    ASSERT_EQ(sim->protocol.FreeRecords(&sim->protocol, sim->answers.items[0].data, 1), EFI_SUCCESS);
  }
}

TEST_F(XylShell, ChoosesAmongControllers) {
  SIM_CONTROLLER *second = nullptr;
  EFI_HANDLE handle = nullptr;
  ASSERT_EQ(simCreate("sas", &second), EFI_SUCCESS);
  ASSERT_EQ(simInstall(second, &handle), EFI_SUCCESS);
  ASSERT_EQ(world_.services->ConnectController(handle, nullptr, nullptr, 1), EFI_SUCCESS);
  world_.console();
  world_.markBalance();
  EXPECT_EQ(run({u"show"}), EFI_INVALID_PARAMETER);
  EXPECT_EQ(console_, "xyl: 2 controllers are bound; choose one with -c N, 'xyl list' shows them\n");
  EXPECT_EQ(run({u"show", u"-c", u"2"}), EFI_SUCCESS);
  EXPECT_TRUE(said("Adapter      Harrier H2 Host Adapter\n")) << console_;
  EXPECT_EQ(run({u"show", u"-c", u"3"}), EFI_NOT_FOUND);

  parameters_.Argc = 2;
  std::u16string words[] = {u"xyl", u"list"};
  CHAR16 *argv[] = {words[0].data(), words[1].data()};
  parameters_.Argv = argv;
  EXPECT_EQ(XylEntry(handle_, world_.firmware.systemTable()), EFI_SUCCESS);
  EXPECT_EQ(world_.console(), "  1  Harrier R6 Integrated\n  2  Harrier H2 Host Adapter\n");
  takeNamesBack(world_.sim);
  takeNamesBack(second);
  world_.expectBalanced();
  EXPECT_EQ(world_.services->DisconnectController(handle, nullptr, nullptr), EFI_SUCCESS);
  EXPECT_EQ(simDestroy(second), EFI_SUCCESS);
}

TEST_F(XylShell, ManualIsTheHelp) {
  std::ifstream manual(RAIDXYL_SOURCE_DIR "/apps/xyl/efi/xyl.man");
  std::string text;
  for (std::string line; std::getline(manual, line);) {
    text += line[0] == '.' ? "" : line + "\n";
  }
  ASSERT_EQ(run({u"help"}), EFI_SUCCESS);
  EXPECT_EQ(text, console_) << "apps/xyl/efi/xyl.man has to say what 'xyl help' says";
}

TEST_F(XylShell, WritesFilesWhole) {
  // A longer file of that name must not show through, and names are more than ASCII.
  std::u16string file = u"fs0:\\é€.xml";
  g_files[file] = std::string(1000000, 'x');
  ASSERT_EQ(run({u"get", u"-o", file}), EFI_SUCCESS) << console_;
  EXPECT_EQ(g_files[file], world_.get().text);
  ASSERT_EQ(run({u"show", file}), EFI_SUCCESS) << console_;
  EXPECT_TRUE(said("Adapter      Harrier R6 Integrated\nFirmware")) << console_;
  g_room = 100;
  EXPECT_EQ(name(run({u"get", u"-o", file})), name(EFI_VOLUME_FULL));
  EXPECT_TRUE(said("cannot write 'fs0:\\é€.xml': Volume Full")) << console_;
}

TEST_F(XylShell, RebuildWantsATypedYes) {
  ASSERT_EQ(run({u"get", u"-o", u"saved.xml"}), EFI_SUCCESS);
  const struct {
    const char *keys;
    EFI_STATUS status;
  } cases[] = {{"no\r", EFI_ABORTED},
               {"\r", EFI_ABORTED},
               {"yess\r", EFI_ABORTED},
               {"yesno\b\byes\r", EFI_ABORTED},
               {"yex\bs\r", EFI_SUCCESS}};
  for (const auto &row : cases) {
    simClearLog(world_.sim);
    world_.firmware.typeKeys(row.keys);
    EXPECT_EQ(name(run({u"restore", u"saved.xml", u"--rebuild"})), name(row.status)) << row.keys << console_;
    EXPECT_EQ(said("ResetConfig"), row.status == EFI_SUCCESS) << row.keys;
    EXPECT_TRUE(said("Go on? Type yes: ")) << console_;
  }
}

TEST_F(XylShell, LeavesNoPassphraseInFreedMemory) {
  const std::string secret = "Secret-17-Word";
  const std::string encoded = "U2VjcmV0LTE3LVdvcmQ=";
  std::string key =
      "<Object><Key><Mode>LKM</Mode><KeyID>k</KeyID><Passphrase>" + encoded + "</Passphrase></Key></Object></Method>";
  size_t leaks = 0;
  world_.firmware.onFree([&](const void *memory, uint64_t size) {
    std::string block(static_cast<const char *>(memory), size);
    leaks += countOf(block, secret) + countOf(block, encoded);
  });
  // Refused by the controller, which has a key; refused by the client for its second method; and not even XML.
  for (const char *rest : {"</raidData>", "<Method name=\"Destroy\"/></raidData>", ""}) {
    g_files[u"key.xml"] = "<raidData><Method name=\"Lock\">" + key + rest;
    EXPECT_NE(run({u"apply", u"key.xml"}), EFI_SUCCESS) << console_;
    EXPECT_EQ(leaks, 0u) << rest;
    EXPECT_FALSE(said(secret) || said(encoded));
  }
  world_.firmware.onFree(nullptr);
}

TEST_F(XylShell, SurvivesEveryFailingAllocation) {
  ASSERT_EQ(run({u"get", u"-o", u"saved.xml"}), EFI_SUCCESS);
  simSetMode(world_.sim, SIM_MODE_LEARN, RAID_MODE_PRESENT | 1);
  for (const std::vector<std::u16string> &arguments :
       {std::vector<std::u16string>{u"show"}, {u"show", u"saved.xml"}, {u"verify", u"saved.xml"}}) {
    // The console needs memory for every line, so a lost line is no failure, but nothing may stay behind. Behind the
    // first places the sweep takes longer and longer steps.
    for (uint64_t n = 1;; n += n < 60 ? 1 : n / 10) {
      world_.firmware.failAllocation(n);
      run(arguments);
      if (!world_.firmware.allocationFailed()) {
        EXPECT_GT(n, 10u);
        break;
      }
      world_.firmware.failAllocation(0);
    }
    world_.firmware.failAllocation(0);
  }
}
