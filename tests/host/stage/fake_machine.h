// A machine of files: its mounts, its disk with a GPT, its system partition and its firmware's variables, in a folder
// of its own.
#pragma once

#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include "base/crc32.h"
#include "host/common/common.h"
#include "host/program/host_commands.h"
#include "host/stage/bytes.h"
#include "host/stage/stage.h"
#include "tests/support/memory_front.h"
#include "tests/support/world.h"

using namespace xyl;

struct PowerCut {}; // nobody catches it on the way

class FakeMachine {
public:
  using Files = std::map<std::string, std::string>;

  FakeMachine() : folder_(mkdtemp((memoryFolder() / "stage-XXXXXX").string().data())) {
    write("proc/sys/kernel/random/boot_id", "first\n");
    write("sys/firmware/efi/fw_platform_size", "64\n");
    write("sys/devices/sda/uevent", "MAJOR=8\nDEVNAME=sda\n");
    write("sys/devices/sda/queue/logical_block_size", "512\n");
    write("sys/devices/sda/sda2/partition", "2\n");
    write("sys/devices/sda/sda2/start", "4096\n");
    write("sys/devices/sda/sda2/uevent", "DEVNAME=sda2\n");
    std::filesystem::create_directories(folder_ / "sys/dev/block");
    std::filesystem::create_symlink("../../devices/sda/sda2", folder_ / "sys/dev/block/8:2");
    write("dev/sda", disk());
    mounts(efivarfs + "30 1 8:2 / /boot/efi rw shared:2 - vfat /dev/sda2 rw,umask=0077\n");
    write("boot/efi/EFI/debian/grubx64.efi", "a boot loader");
    variable("BootOrder", std::string("\3\0\1\0", 4));
    variable("Boot0000", "old");
    variable("Boot0001", "first");
    for (const char *name : {"RaidBoot.efi", "RaidXyl.efi", "XmlService.efi"}) {
      write(std::string("images/") + name, image() + name);
    }
    write("job/drivers/x64/Maker.efi", image());
    write("job/drivers/aa64/Maker.efi", "of another machine");
    write("job/results/old.json", "of another medium");
    write("job/saved/box.xml", "<Inventory/>");
    write("job/jobs.txt", "verify saved\\box.xml\nend reset\n");
  }
  FakeMachine(const FakeMachine &) = delete;
  FakeMachine &operator=(const FakeMachine &) = delete;
  ~FakeMachine() { std::filesystem::remove_all(folder_); }

  std::filesystem::path path(const std::string &file) const { return folder_ / file; }
  void write(const std::string &file, const std::string &content) {
    std::filesystem::create_directories(path(file).parent_path());
    std::ofstream(path(file), std::ios::binary) << content;
  }
  std::string read(const std::string &file) const {
    std::ifstream stream(path(file), std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  bool has(const std::string &file) const { return std::filesystem::exists(path(file)); }
  void mounts(const std::string &lines) { write("proc/self/mountinfo", lines); }
  static std::string variableFile(const std::string &name) {
    return "sys/firmware/efi/efivars/" + name +
           (name == "RaidXylJob" ? "-303ab25c-d761-402c-bfbd-aa155b7bc093" : "-8be4df61-93ca-11d2-aa0d-00e098032b8c");
  }
  void variable(const std::string &name, const std::string &value) {
    write(variableFile(name), std::string("\7\0\0\0", 4) + value);
  }
  std::string value(const std::string &name) const {
    std::string content = read(variableFile(name));
    return content.substr(std::min<size_t>(4, content.size()));
  }

  // All files of the system partition and all variables; folders are empty files with a slash.
  Files state() const {
    Files files;
    for (const char *folder : {"boot/efi", "sys/firmware/efi/efivars"}) {
      for (const auto &entry : std::filesystem::recursive_directory_iterator(path(folder))) {
        std::string name = entry.path().lexically_relative(folder_).string();
        entry.is_directory() ? files[name + "/"] : files[name] = read(name);
      }
    }
    return files;
  }

  // Runs 'xyl stage' with arguments, in which @ stands for the machine's folder: the exit code. before is called before
  // each change.
  int run(
      const std::vector<std::string> &arguments, std::function<void()> before = [] {}) {
    MemoryFront memory;
    client::Front front = memory.as(client::frontHost, host::g_hostCommands);
    std::vector<std::string> words = {"stage", "--images", path("images").string()};
    for (std::string word : arguments) {
      word = word.starts_with('@') ? path(word.substr(1)).string() : word;
      words.push_back(word);
    }
    std::vector<const CHAR8 *> texts;
    for (const std::string &word : words) {
      texts.push_back(word.c_str());
    }
    client::Request request;
    host::stage::Changes changes(std::move(before));
    client::Result result = client::xylParse(&front, texts.size(), texts.data(), &request);
    if (!client::isFailure(result)) {
      result = host::guarded(front, [&] { return stageOn({&front, &request}, {folder_, processor, room}, &changes); });
    }
    said = memory.out + memory.errors;
    return result.outcome;
  }
  // The firmware follows the order and forgets it; the job's files come onto the partition.
  void boot(const Files &files) {
    std::filesystem::remove(path(variableFile("BootNext")));
    write("proc/sys/kernel/random/boot_id", "second\n");
    for (const auto &[name, content] : files) {
      write("boot/efi/raidxyl/" + name, content);
    }
  }
  // A result as the medium writes it.
  std::string result(const std::string &rest) const {
    std::string jobs = read("job/jobs.txt");
    char text[64];
    std::snprintf(text, sizeof text, "{\"job\": \"%08X\", \"state\": ", crc32Of(jobs.data(), jobs.size()));
    return text + rest + "}\n";
  }

  // The smallest that has all that is looked at.
  static std::string image(bool isSigned = false, char machine = '\x64') {
    std::string bytes(600, 0);
    bytes.replace(0, 2, "MZ");
    bytes[0x3C] = 0x40;
    bytes.replace(0x40, 6, std::string("PE\0\0", 4) + machine + (machine == '\x64' ? '\x86' : '\xAA'));
    bytes.replace(0x58, 2, "\x0B\x02");
    bytes[0x58 + 108] = 16;
    if (isSigned) {
      bytes.replace(0x58 + 144, 8, std::string("\0\2\0\0\x20\0\0\0", 8));
    }
    return bytes;
  }
  // With a system partition as the second of two, from block 4096 to 8191; its GUID's bytes are 0x80 to 0x8F.
  static std::string disk() {
    std::string rows(128 * 128, 0);
    for (int i = 0; i < 16; ++i) {
      rows[static_cast<size_t>(128 + 16 + i)] = static_cast<char>(0x80 + i);
    }
    rows.replace(0, 16, std::string(16, '\x55'));
    rows.replace(128, 16, "\x28\x73\x2A\xC1\x1F\xF8\xD2\x11\xBA\x4B\x00\xA0\xC9\x3E\xC9\x3B", 16);
    rows.replace(128 + 32, 16, host::stage::littleEndian(uint64_t{4096}) + host::stage::littleEndian(uint64_t{8191}));
    std::string header = "EFI PART" + std::string("\0\0\1\0\x5C\0\0\0", 8) + std::string(56, 0) +
                         host::stage::littleEndian(uint64_t{2}) + host::stage::littleEndian(128U) +
                         host::stage::littleEndian(128U) + host::stage::littleEndian(crc32Of(rows.data(), rows.size()));
    header.replace(16, 4, host::stage::littleEndian(crc32Of(header.data(), header.size())));
    return std::string(512, 0) + header + std::string(512 - header.size(), 0) + rows;
  }

  inline static const std::string efivarfs =
      "25 1 0:22 / /sys/firmware/efi/efivars rw,nosuid shared:1 - efivarfs efivarfs rw\n";
  std::string said;
  std::string processor = "x86_64";
  host::stage::Room (*room)(const std::filesystem::path &) = host::stage::roomOf;

private:
  // Where it costs nothing to see to it that a disk has what was written.
  static std::filesystem::path memoryFolder() {
    return access("/dev/shm", W_OK) == 0 ? "/dev/shm" : std::filesystem::temp_directory_path();
  }

  std::filesystem::path folder_;
};
