// The shell front: its entry point under the host's firmware, with a shell that keeps files in memory.
#include <algorithm>
#include <functional>
#include <map>
#include <regex>

#include "base/console.h"
#include "debug_log.h"
#include "debug_log_ring.h"
#include "images/shell/shell.h"
#include "providers/sim_controller/faults.h"
#include "providers/sim_controller/hand.h"
#include "providers/sim_controller/presets.h"
#include "providers/sim_controller/sim_controller.h"
#include "tests/support/world.h"

using namespace xyl;

static const EFI_GUID g_shellGuid = EFI_SHELL_PROTOCOL_GUID, g_parametersGuid = EFI_SHELL_PARAMETERS_PROTOCOL_GUID;

// A disk whose files behave as on FAT: opening with CREATE leaves what is in them, and renaming replaces nothing.
struct Disk {
  struct Open {
    std::u16string name;
    size_t place;
  };
  static inline std::map<std::u16string, std::string> files;
  static inline int opens;
  static inline int breaks;      // of pages: 1 for on, 10 for off
  static inline size_t room;     // bytes that all files may have
  static inline int renameFault; // the rename that fails, counted from 1 on; 0: none

  static Open &of(EFI_SHELL_FILE_HANDLE file) { return *static_cast<Open *>(file); }
  static EFI_STATUS EFIAPI open(const CHAR16 *name, EFI_SHELL_FILE_HANDLE *file, UINT64 mode) {
    if (mode != EFI_FILE_MODE_CREATE && files.count(name) == 0) {
      return EFI_NOT_FOUND;
    }
    files[name];
    *file = new Open{name, 0};
    ++opens;
    return EFI_SUCCESS;
  }
  static EFI_STATUS EFIAPI close(EFI_SHELL_FILE_HANDLE file) {
    delete static_cast<Open *>(file);
    return --opens >= 0 ? EFI_SUCCESS : EFI_ABORTED;
  }
  static EFI_STATUS EFIAPI flush(EFI_SHELL_FILE_HANDLE) { return EFI_SUCCESS; }
  static EFI_STATUS EFIAPI remove(const CHAR16 *name) { return files.erase(name) != 0 ? EFI_SUCCESS : EFI_NOT_FOUND; }
  static EFI_STATUS EFIAPI removeOpen(EFI_SHELL_FILE_HANDLE file) {
    files.erase(of(file).name);
    return close(file);
  }
  static EFI_STATUS EFIAPI getSize(EFI_SHELL_FILE_HANDLE file, UINT64 *size) {
    *size = files[of(file).name].size();
    return EFI_SUCCESS;
  }
  // At most 1000 bytes at a time, as a file system may.
  static EFI_STATUS EFIAPI read(EFI_SHELL_FILE_HANDLE file, UINTN *size, void *buffer) {
    *size = files[of(file).name].copy(static_cast<char *>(buffer), std::min<size_t>(*size, 1000), of(file).place);
    of(file).place += *size;
    return EFI_SUCCESS;
  }
  static EFI_STATUS EFIAPI seek(EFI_SHELL_FILE_HANDLE file, UINT64 place) {
    of(file).place = place;
    return EFI_SUCCESS;
  }
  static EFI_STATUS EFIAPI write(EFI_SHELL_FILE_HANDLE file, UINTN *size, void *buffer) {
    files[of(file).name].replace(of(file).place, *size, static_cast<const char *>(buffer), *size);
    return EFI_SUCCESS;
  }
  static EFI_FILE_INFO *EFIAPI getInfo(EFI_SHELL_FILE_HANDLE file) {
    auto *info = static_cast<EFI_FILE_INFO *>(poolAllocateZero(sizeof(EFI_FILE_INFO) + 200));
    info->FileSize = files[of(file).name].size();
    info->Attribute = of(file).name.ends_with(u'\\') ? EFI_FILE_DIRECTORY : 0;
    std::u16string base = of(file).name.substr(of(file).name.find_last_of(u":\\") + 1);
    base.copy(info->FileName, 99);
    return info;
  }
  static EFI_STATUS EFIAPI setInfo(EFI_SHELL_FILE_HANDLE file, const EFI_FILE_INFO *info) {
    const std::u16string old = of(file).name;
    const std::u16string name = old.substr(0, old.find_last_of(u":\\") + 1) + info->FileName;
    if (name == old) {
      size_t others = 0;
      std::for_each(files.begin(), files.end(), [&](auto &row) { others += row.first == old ? 0 : row.second.size(); });
      bool fits = info->FileSize + others <= room;
      files[old].resize(fits ? info->FileSize : files[old].size());
      return fits ? EFI_SUCCESS : EFI_VOLUME_FULL;
    }
    if (files.count(name) != 0 || --renameFault == 0) {
      return EFI_ACCESS_DENIED;
    }
    files[name] = files[old];
    files.erase(old);
    of(file).name = name;
    return EFI_SUCCESS;
  }
  static const CHAR16 *EFIAPI currentFolder(const CHAR16 *) { return u"fs0:\\logs"; }
};

class XylShell : public testing::Test {
protected:
  XylShell() {
    Disk::files.clear();
    Disk::opens = Disk::breaks = 0;
    Disk::room = ~0ULL;
    Disk::renameFault = 0;
    shell_.OpenFileByName = Disk::open;
    shell_.CloseFile = Disk::close;
    shell_.ReadFile = Disk::read;
    shell_.WriteFile = Disk::write;
    shell_.DeleteFileByName = Disk::remove;
    shell_.FlushFile = Disk::flush;
    shell_.GetFileSize = Disk::getSize;
    shell_.DeleteFile = Disk::removeOpen;
    shell_.SetFilePosition = Disk::seek;
    shell_.GetFileInfo = Disk::getInfo;
    shell_.SetFileInfo = Disk::setInfo;
    shell_.GetCurDir = Disk::currentFolder;
    shell_.EnablePageBreak = []() EFIAPI { Disk::breaks += 1; };
    shell_.DisablePageBreak = []() EFIAPI { Disk::breaks += 10; };
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
    std::u16string words = u"xyl " + line;
    std::vector<CHAR16 *> argv;
    for (size_t at = 0; at < words.size(); at = std::min(words.find(u' ', at), words.size() - 1) + 1) {
      argv.push_back(&words[at]);
    }
    std::replace(words.begin(), words.end(), u' ', u'\0');
    parameters_.Argv = argv.data();
    parameters_.Argc = argv.size();
    EFI_STATUS status = images::XylEntry(handle_, world_.firmware.systemTable());
    console_ = world_.console();
    EXPECT_EQ(Disk::opens, 0);
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
  Disk::files[u"no.xml"] = "<raidData/>";
  sim::setMode(world_.sim, sim::modeCopyBack, RAID_MODE_PRESENT | 0);
  expect(u"get -o fs0:\\saved.xml", EFI_SUCCESS);
  expect(u"", EFI_INVALID_PARAMETER, "no command");
  expect(u"sim presets", EFI_INVALID_PARAMETER, "unknown command");
  EXPECT_EQ(Disk::breaks, 0);
  expect(u"show -b", EFI_SUCCESS);
  EXPECT_EQ(Disk::breaks, 11); // pages are for the command alone
  expect(u"get --preset demo", EFI_INVALID_PARAMETER, "unknown option");
  expect(u"get -c 2", EFI_NOT_FOUND, "no controller 2");
  expect(u"show none.xml", EFI_NOT_FOUND, "cannot read 'none.xml': Not Found");
  expect(u"verify no.xml", EFI_ABORTED, "no saved configuration");
  expect(u"verify fs0:\\saved.xml", EFI_SUCCESS, "result 0x0");
  expect(u"help verify", EFI_SUCCESS, "  0x1B   there are differences");
  sim::setMode(world_.sim, sim::modeCopyBack, RAID_MODE_PRESENT | 1);
  expect(u"verify fs0:\\saved.xml", EFI_ERROR_CODE(27), "CopyBackMode: Off (saved) -> On (now)");
  expect(u"diff fs0:\\saved.xml", EFI_ERROR_CODE(27), "adapter changed, copy back mode: Off -> On\n");
  expect(u"plan fs0:\\saved.xml", EFI_SUCCESS, "copy back mode: On -> Off\n");
  expect(u"log --json", EFI_SUCCESS, "\n    \"TRACE RAIDXYLVerify: Exit. Success\",\n");
}

// On a console that takes no large pieces, as serial ones, and may fail.
TEST_F(XylShell, PrintsWholeDocumentsOrFails) {
  static std::string text;
  static int fault = 0; // the piece that fails, counted from 1 on; 0: none
  EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL *console = world_.firmware.systemTable()->ConOut;
  auto *put = console->OutputString;
  console->OutputString = [](EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL *, const CHAR16 *piece) EFIAPI -> EFI_STATUS {
    std::u16string wide(piece);
    std::copy_if(wide.begin(), wide.end(), std::back_inserter(text), [](CHAR16 unit) { return unit != u'\r'; });
    return wide.size() > 200 || --fault == 0 ? EFI_DEVICE_ERROR : EFI_SUCCESS;
  };
  expect(u"get", EFI_SUCCESS);
  EXPECT_EQ(text, world_.get().text);
  fault = 500;
  expect(u"get", EFI_DEVICE_ERROR);
  console->OutputString = put;
}

TEST_F(XylShell, OutputsAreWholeOrUntouched) {
  const std::u16string file = u"fs0:\\é€.xml";
  Disk::files[file] = std::string(1000000, 'x');
  expect(u"get -o " + file, EFI_ALREADY_STARTED, "'fs0:\\é€.xml' exists; write to another file, or overwrite");
  // A longer file of that name must not show through, and names are more than ASCII.
  expect(u"get --force -o " + file, EFI_SUCCESS);
  const std::string text = world_.get().text;
  EXPECT_EQ(Disk::files[file], text);
  expect(u"show " + file, EFI_SUCCESS, "Adapter      Harrier R6 Integrated\nFirmware");
  Disk::files[u"fs0:\\folder\\"];
  expect(u"get -o fs0:\\folder\\", EFI_INVALID_PARAMETER, "cannot write");
  for (int fault : {0, 1, 2}) {
    Disk::files = {{file, "old"}, {u"fs0:\\other", std::string(1000, ' ')}};
    Disk::room = fault == 0 ? text.size() + 100 : ~0ULL;
    Disk::renameFault = fault;
    expect(u"get --force -o " + file, fault == 0 ? EFI_VOLUME_FULL : EFI_ACCESS_DENIED,
           "cannot write 'fs0:\\é€.xml': ");
    EXPECT_EQ(Disk::files[file], "old");
    EXPECT_EQ(Disk::files.size(), 2u);
  }
}

TEST_F(XylShell, ChoosesAmongControllers) {
  sim::Controller *second = nullptr;
  EFI_HANDLE handle = nullptr;
  ASSERT_EQ(sim::create("sas", &second) | sim::install(second, &handle), EFI_SUCCESS);
  ASSERT_EQ(world_.services->ConnectController(handle, nullptr, nullptr, 1), EFI_SUCCESS);
  world_.console();
  world_.markBalance();
  expect(u"show", EFI_INVALID_PARAMETER, "2 controllers are bound; choose one with -c N, 'xyl list' shows them\n");
  expect(u"show -c 2", EFI_SUCCESS, "Adapter      Harrier H2 Host Adapter\n");
  second->adapter.record.PCIID.PCIBus = 4;
  second->adapter.record.WWN = 0x1234567890123456;
  expect(u"show -c 04:00.0", EFI_SUCCESS, "Adapter      Harrier H2 Host Adapter\n");
  expect(u"show -c 1234567890123456", EFI_SUCCESS, "Adapter      Harrier H2 Host Adapter\n");
  expect(u"show -c 03:00.0", EFI_SUCCESS, "Adapter      Harrier R6 Integrated\n");
  expect(u"show -c 123456789012345", EFI_NOT_FOUND, "there is no controller 123456789012345");
  second->adapter.record.PCIID.PCIBus = 3;
  expect(u"delete 3 --yes -c 03:00.0", EFI_INVALID_PARAMETER, "'03:00.0' is the name of 2 controllers");
  second->adapter.record.WWN = 0x5EEDADA000001000ULL;
  EXPECT_EQ(run(u"list", /* balanced= */ false), EFI_SUCCESS);
  EXPECT_TRUE(said("  2  Harrier H2 Host Adapter, PCI 03:00.0, WWN 5EEDADA000001000\n     virtual disks: 1 Online\n    "
                   " disks: 2 Online, 2 Ready\n"));
  // What names leave with the firmware by contract, given back for the accounting.
  for (sim::Controller *sim : {world_.sim, second}) {
    while (sim->accounting.out.count != 0) {
      ASSERT_EQ(sim->protocol.FreeRecords(&sim->protocol, sim->accounting.out.items[0].data, 1), EFI_SUCCESS);
    }
  }
  world_.expectBalanced();
  EXPECT_EQ(world_.services->DisconnectController(handle, nullptr, nullptr), EFI_SUCCESS);
  EXPECT_EQ(sim::destroy(second), EFI_SUCCESS);
}

TEST_F(XylShell, ManualIsTheHelp) {
  const std::string text = std::regex_replace(sourceFile("images/shell/xyl.man"), std::regex("(^|\n)[.].*"), "");
  ASSERT_EQ(run(u"help"), EFI_SUCCESS);
  EXPECT_EQ(text, "\n" + console_) << "images/shell/xyl.man has to say what 'xyl help' says";
}

TEST_F(XylShell, RebuildWantsATypedYes) {
  ASSERT_EQ(run(u"get -o saved.xml"), EFI_SUCCESS);
  world_.sim->adapter.Name[7] = u'\a'; // a bell
  for (const char *keys : {"no\r", "\r", "yess\r", "yesno\b\byes\r", "yes\x1b", "yex\bs\r"}) {
    bool yes = std::string(keys) == "yex\bs\r";
    world_.firmware.typeKeys(keys);
    expect(u"restore saved.xml --rebuild --partial --no-backup",
           yes ? EFI_ERROR_CODE(27) : EFI_ABORTED, // the key is lost
           "Go on with Harrier?R6 Integrated, PCI 03:00.0, WWN 5EEDADA000001000? Type yes: ");
    EXPECT_EQ(said("ResetConfig"), yes) << keys;
  }
}

// What the world looks for in freed memory.
TEST_F(XylShell, KeepsPassphrasesToItself) {
  // Refused by the controller, which has a key; refused by the client for its second method; and not even XML.
  for (const std::string rest : {"</raidData>", "<Method name=\"Destroy\"/></raidData>", ""}) {
    const char *lock =
        "<raidData><Method name=\"Lock\"><Object><Key><Mode>LKM</Mode><KeyID>k</KeyID><Passphrase>" PASSPHRASE_BASE64
        "</Passphrase></Key></Object></Method>";
    Disk::files[u"key.xml"] = lock + rest;
    for (const char16_t *verb : {u"apply", u"show", u"diff", u"verify", u"plan"}) {
      EXPECT_EQ(run(verb + std::u16string(u" key.xml")) == EFI_SUCCESS, *verb == u'p' && rest == "</raidData>");
      EXPECT_FALSE(said(PASSPHRASE) || said(PASSPHRASE_BASE64));
    }
  }
  // One that is typed, and one from a file.
  Disk::files[u"old.txt"] = "Tall-Grass-42\r\n";
  world_.firmware.typeKeys(std::string(PASSPHRASE) + "!\b\r" + PASSPHRASE + "\r");
  expect(u"key rekey --key-id k --old-passphrase-file old.txt", EFI_SUCCESS, "\nThe same again: \n");
  EXPECT_FALSE(said(PASSPHRASE) || said(PASSPHRASE_BASE64));
  Disk::files[u"old.txt"] = PASSPHRASE;
  expect(u"key rekey --key-id k --old-passphrase-file old.txt --passphrase-file old.txt", EFI_SUCCESS);
  world_.firmware.typeKeys("Tall\x1B");
  expect(u"key rekey --key-id k", EFI_ABORTED, "no passphrase was given");
}

// The firmware's clock: at every command that the controller gets, that many ticks of a timer go by.
struct Clock {
  static inline EFI_EVENT_NOTIFY notify; // null: no timer runs
  static inline void *context;
  static inline unsigned ticks, timers, commands;
  static inline std::function<void()> onCommand;
  static inline EFI_STATUS(EFIAPI *execute)(RAID_MGMT_PROTOCOL *, RAID_CMD_BLOCK *, RAID_CMD_RESULT *);

  static EFI_STATUS EFIAPI create(UINT32 type, EFI_TPL, EFI_EVENT_NOTIFY called, void *with, EFI_EVENT *event) {
    notify = (type & EFI_EVENT_TIMER) != 0 ? called : nullptr;
    context = with;
    *event = &notify;
    ++timers;
    return EFI_SUCCESS;
  }
  static EFI_STATUS EFIAPI set(EFI_EVENT, int, UINT64) { return EFI_SUCCESS; }
  static EFI_STATUS EFIAPI close(EFI_EVENT) {
    notify = nullptr;
    --timers;
    return EFI_SUCCESS;
  }
  static EFI_STATUS EFIAPI pass(RAID_MGMT_PROTOCOL *controller, RAID_CMD_BLOCK *block, RAID_CMD_RESULT *result) {
    for (unsigned i = 0; notify != nullptr && i < ticks; ++i) {
      EFI_TPL before = g_bootServices->RaiseTPL(EFI_TPL_CALLBACK);
      notify(&notify, context);
      g_bootServices->RestoreTPL(before);
    }
    if (notify != nullptr) {
      ++commands;
      onCommand();
    }
    return execute(controller, block, result);
  }
};

TEST_F(XylShell, TellsStepsAsTheyAreDone) {
  static const EFI_GUID ringGuid = DEBUG_LOG_RING_PROTOCOL_GUID, logGuid = DEBUG_LOG_PROTOCOL_GUID;
  static const EFI_GUID graphicsGuid = EFI_GRAPHICS_OUTPUT_PROTOCOL_GUID, pathGuid = EFI_DEVICE_PATH_PROTOCOL_GUID,
                        textGuid = EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL_GUID;
  static uint8_t uart[] = {2, 1, 12, 0, 0, 0, 0, 0, 0, 0, 0, 0, 3, 14,   19,   0, 0, 0,
                           0, 0, 0,  0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x7F, 0xFF, 4, 0};
  DEBUG_LOG_RING_PROTOCOL *ring = nullptr;
  DEBUG_LOG_PROTOCOL *log = nullptr;
  ASSERT_EQ(world_.services->LocateProtocol(&ringGuid, nullptr, reinterpret_cast<void **>(&ring)), EFI_SUCCESS);
  ASSERT_EQ(world_.services->LocateProtocol(&logGuid, nullptr, reinterpret_cast<void **>(&log)), EFI_SUCCESS);
  ASSERT_EQ(run(u"get -o saved.xml"), EFI_SUCCESS);
  run(u"restore saved.xml --rebuild --partial --no-backup --yes"); // the key goes, which later ones need not remove
  world_.services->CreateEvent = Clock::create;
  world_.services->SetTimer = Clock::set;
  world_.services->CloseEvent = Clock::close;
  Clock::execute = world_.sim->protocol.Execute;
  world_.sim->protocol.Execute = Clock::pass;
  auto restore = [&](
                     unsigned ticks, const std::u16string &more = {}, std::function<void()> onCommand = [] {}) {
    sim::clearFaults(world_.sim);
    ASSERT_TRUE(sim::addFault(world_.sim, {sim::faultStatus, RAID_COMMAND_CREATE, sim::anyCode, 1, /* once= */ true,
                                           EFI_OUT_OF_RESOURCES, 0}));
    Clock::ticks = ticks;
    Clock::commands = 0;
    Clock::onCommand = std::move(onCommand);
    run(u"restore saved.xml --rebuild --partial --no-backup --yes" + more);
    EXPECT_EQ(Clock::timers, 0u);
  };
  const std::string third = "step 3 of 13: Validate\n", failure = "step 7 of 13: CreateVD, Out of Resources\n",
                    last = "step 13 of 13: ChangePD\n      Step                  Result";

  // A line is there before the next command is sent, and the others that are no steps leave no trace.
  restore(1, u"", [] { Print(u"%d;\r\n", Clock::commands); });
  for (const std::string &part :
       {"1;\nstep 1 of 13: GetLive\n2;\nstep 2 of 13: GetLive\n" + third + "3;\n", failure + "7;\n", last}) {
    EXPECT_TRUE(said(part)) << part << console_;
  }
  restore(5); // a dot for each second without a step
  EXPECT_TRUE(said(".\nstep 1 of 13: GetLive\n.\nstep 2 of") && said(last)) << console_;
  restore(0); // all of it within a tick
  EXPECT_TRUE(said(third) && said(failure) && said(last)) << console_;
  for (const char16_t *option : {u" --quiet", u" --json"}) {
    restore(5, option);
    EXPECT_FALSE(said("step 1") || said("..")) << console_;
  }

  // What the ring has lost cannot be counted; lines that it never gets are no steps.
  restore(1, u"", [&] {
    for (int i = 0; Clock::commands == 5 && i < 5000; ++i) {
      log->LogPrint(LOG_TRACE, "noise", u"%060d", i);
    }
  });
  EXPECT_TRUE(said("step 5 of 13") && !said("step 6") && !said(last)) << console_;
  ring->SetLevel(ring, LOG_WARN);
  restore(5);
  EXPECT_TRUE(!said("step 1") && said("..")) << console_;
  ring->SetLevel(ring, LOG_TRACE);

  // A screen has a bar, which goes; beside a serial line it has none.
  EFI_HANDLE screen = nullptr, line = nullptr;
  world_.services->InstallMultipleProtocolInterfaces(&screen, &textGuid, &screen, &graphicsGuid, &screen, nullptr);
  restore(5);
  EXPECT_TRUE(said("[##########----------] 7 of 13, 1 failed, CreateVD, ") && !said("step 7")) << console_;
  EXPECT_TRUE(said(std::string(78, ' ') + "      Step")) << console_;
  world_.services->InstallMultipleProtocolInterfaces(&line, &textGuid, &line, &pathGuid, uart, nullptr);
  restore(1);
  EXPECT_TRUE(said(failure) && !said("] 7 of")) << console_;
  world_.services->UninstallMultipleProtocolInterfaces(line, &textGuid, &line, &pathGuid, uart, nullptr);
  world_.services->UninstallMultipleProtocolInterfaces(screen, &textGuid, &screen, &graphicsGuid, &screen, nullptr);
  world_.sim->protocol.Execute = Clock::execute;
}

TEST_F(XylShell, SurvivesEveryFailure) {
  ASSERT_EQ(run(u"get -o saved.xml"), EFI_SUCCESS);
  sim::replaceAdapter(world_.sim); // so that much differs
  world_.markBalance();
  for (const char16_t *line : {u"show", u"show saved.xml", u"verify saved.xml", u"diff saved.xml",
                               u"plan saved.xml --rebuild", u"create --level 1 --count 2 --show"}) {
    // The console needs memory for every line, so a lost line is no failure, but nothing may stay behind. Behind the
    // first places the sweep takes longer steps.
    bool failed = true;
    for (uint64_t n = 1; failed; n += 1 + n / 60) {
      world_.firmware.failAllocation(n);
      run(line);
      failed = world_.firmware.allocationFailed();
      world_.firmware.failAllocation(0);
      EXPECT_TRUE(failed || n > 10);
    }
    for (UINT64 n = 1; n < 12; ++n) {
      sim::failCommand(world_.sim, n, /* once= */ true, EFI_DEVICE_ERROR);
      run(line);
      sim::clearFaults(world_.sim);
    }
  }
}
