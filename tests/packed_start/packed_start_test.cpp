// Packed images: the decoder against what the build's packer makes, and the start on pages with real attributes.
#include "xyl/packed_start/packed_start.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>

#include "base/pool.h"
#include "host_firmware/host_firmware.h"
#include "uefi/memory.h"

const PACKED_IMAGE g_packedImage = {}; // of an image's own entry point

namespace {

using BYTES = std::vector<UINT8>;

BYTES readFile(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  return BYTES(std::istreambuf_iterator<char>(file), {});
}

BYTES pack(const BYTES &data, LZMA_SHAPE shape) {
  std::string name = RAIDXYL_BINARY_DIR "/packed_start." + std::to_string(getpid());
  std::ofstream(name, std::ios::binary).write(reinterpret_cast<const char *>(data.data()), data.size());
  std::string command = "cd " RAIDXYL_SOURCE_DIR "/cmake && /usr/bin/python3 -B -c 'import pack_image, pathlib, sys\n"
                        "f = pathlib.Path(sys.argv[1])\n"
                        "f.write_bytes(pack_image.pack(f.read_bytes(), map(int, sys.argv[2:])))' " +
                        name;
  for (UINT8 bits : {shape.LiteralContext, shape.LiteralPosition, shape.Position}) {
    command += " " + std::to_string(bits);
  }
  EXPECT_EQ(system(command.c_str()), 0);
  BYTES packed = readFile(name);
  unlink(name.c_str());
  return packed;
}

// The buffers have exactly their bytes, so that the sanitizer sees every other access.
bool unpack(const BYTES &packed, LZMA_SHAPE shape, BYTES &unpacked) {
  static LZMA_MODEL model;
  return lzmaUnpack(&model, shape, packed.data(), static_cast<UINT32>(packed.size()), unpacked.data(),
                    static_cast<UINT32>(unpacked.size()));
}

TEST(Lzma, UnpacksWhatThePackerMakes) {
  BYTES page = readFile(RAIDXYL_SOURCE_DIR "/README.md");
  BYTES mixed = page; // the page twice, with noise between
  UINT32 seed = 1;
  for (int i = 0; i < 70000; ++i) {
    mixed.push_back(static_cast<UINT8>((seed = seed * 1664525 + 1013904223) >> 24));
  }
  mixed.insert(mixed.end(), page.begin(), page.end());
  for (const BYTES &data : {BYTES(), BYTES(1, 'x'), BYTES(100000), mixed}) {
    for (LZMA_SHAPE shape : {LZMA_SHAPE{3, 0, 0}, LZMA_SHAPE{2, 2, 2}, LZMA_SHAPE{0, 4, 4}}) {
      BYTES unpacked(data.size());
      EXPECT_TRUE(unpack(pack(data, shape), shape, unpacked) && unpacked == data) << data.size();
    }
  }
}

TEST(Lzma, RefusesWhatIsCutAndSurvivesDamage) {
  LZMA_SHAPE shape = {2, 2, 2};
  BYTES data = readFile(RAIDXYL_SOURCE_DIR "/CONTRIBUTING.md");
  const BYTES packed = pack(data, shape);
  for (size_t size = 0; size < packed.size(); ++size) {
    EXPECT_FALSE(unpack(BYTES(packed.begin(), packed.begin() + size), shape, data)) << size;
  }
  BYTES less(data.size() - 1), more(data.size() + 1);
  EXPECT_FALSE(unpack(packed, shape, less) || unpack(packed, shape, more));
  size_t unnoticed = 0;
  for (size_t bit = 0; bit < 8 * packed.size(); ++bit) {
    BYTES damaged = packed;
    damaged[bit / 8] ^= static_cast<UINT8>(1 << bit % 8);
    unnoticed += unpack(damaged, shape, data) ? 1 : 0;
  }
  EXPECT_LT(unnoticed, packed.size() / 10); // 1 of 80
}

// --- The start ---

constexpr EFI_STATUS RESULT = EFI_ABORTED;
constexpr UINT32 PAGE = EFI_PAGE_SIZE;

// Firmware that keeps to its attributes: what goes against them ends the test.
struct ATTRIBUTES : EFI_MEMORY_ATTRIBUTE_PROTOCOL {
  UINT64 before = 0;    // of pages that were allocated
  bool refuses = false; // to let code run
  int runs = 0;
  UINT64 memory = 0;
  UINT64 pages[3] = {};
} g_attributes;

EFI_STATUS apply(UINT64 address, UINT64 length, UINT64 set, UINT64 cleared) {
  for (UINT64 at = address; at < address + length; at += PAGE) {
    UINT64 &page = g_attributes.pages[(at - g_attributes.memory) / PAGE];
    page = (page | set) & ~cleared;
    EXPECT_TRUE(page != 0 || g_attributes.before == 0) << "can be written and run";
    int access = (page & EFI_MEMORY_RO) != 0 ? PROT_READ : PROT_READ | PROT_WRITE;
    access |= (page & EFI_MEMORY_XP) != 0 ? 0 : PROT_EXEC;
    EXPECT_EQ(mprotect(reinterpret_cast<void *>(at), PAGE, access), 0);
  }
  return EFI_SUCCESS;
}

EFI_STATUS EFIAPI getAttributes(EFI_MEMORY_ATTRIBUTE_PROTOCOL *, UINT64 address, UINT64 length, UINT64 *attributes) {
  EXPECT_EQ(length, 3 * PAGE);
  g_attributes.memory = address;
  *attributes = g_attributes.before;
  return apply(address, length, g_attributes.before, 0);
}

EFI_STATUS EFIAPI setAttributes(EFI_MEMORY_ATTRIBUTE_PROTOCOL *, UINT64 address, UINT64 length, UINT64 attributes) {
  return attributes == 0 ? EFI_INVALID_PARAMETER : apply(address, length, attributes, 0);
}

EFI_STATUS EFIAPI clearAttributes(EFI_MEMORY_ATTRIBUTE_PROTOCOL *, UINT64 address, UINT64 length, UINT64 attributes) {
  if (g_attributes.refuses && attributes == EFI_MEMORY_XP) {
    return EFI_ACCESS_DENIED;
  }
  return attributes == 0 ? EFI_INVALID_PARAMETER : apply(address, length, 0, attributes);
}

// Where the packed image's code leads.
EFI_STATUS EFIAPI inside(EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable) {
  EXPECT_TRUE(image == &g_attributes && systemTable == g_systemTable);
  EXPECT_EQ(g_attributes.pages[0], EFI_MEMORY_RO);
  EXPECT_EQ(g_attributes.pages[1], EFI_MEMORY_RO | EFI_MEMORY_XP);
  EXPECT_EQ(g_attributes.pages[2], EFI_MEMORY_XP);
  UINT64 *variable = reinterpret_cast<UINT64 **>(g_attributes.memory + PAGE)[1];
  EXPECT_EQ(reinterpret_cast<UINT64>(variable), g_attributes.memory + 2 * PAGE);
  EXPECT_EQ(*variable, 0x1234U);
  EXPECT_TRUE(std::all_of(variable + 1, variable + PAGE / sizeof(UINT64), [](UINT64 word) { return word == 0; }));
  *variable = 0; // can be written
  ++g_attributes.runs;
  return RESULT;
}

// A page of code that jumps where the constants say, these with an address of the variable, and the variable.
BYTES smallImage(UINT32 addressAt) {
#if defined(__x86_64__)
  const UINT32 code[] = {0x0FFA25FF, 0};
#else
  const UINT32 code[] = {0x10008002, 0xF9400042, 0xD61F0040};
#endif
  const UINT64 constants[] = {reinterpret_cast<UINT64>(&inside), 2 * PAGE};
  const UINT32 variableAndAddress[] = {0x1234, 0, addressAt};
  BYTES image(2 * PAGE + sizeof variableAndAddress);
  std::memcpy(&image[0], code, sizeof code);
  std::memcpy(&image[PAGE], constants, sizeof constants);
  std::memcpy(&image[2 * PAGE], variableAndAddress, sizeof variableAndAddress);
  return image;
}

TEST(PackedStart, RunsProtectedAndLeavesNothing) {
  static const EFI_GUID guid = EFI_MEMORY_ATTRIBUTE_PROTOCOL_GUID;
  static const LZMA_SHAPE shape = {3, 0, 0};
  const struct {
    const char *what;
    EFI_STATUS status;
    UINT64 before;
    UINT32 addressAt = PAGE + 8;
    UINT32 size = 3 * PAGE;
    UINT32 cut = 0;
    int failing = 0;
  } rows[] = {
      {"all allowed", RESULT, 0},
      {"no code in new pages", RESULT, EFI_MEMORY_XP},
      {"never code", EFI_ACCESS_DENIED, EFI_MEMORY_XP},
      {"no memory", EFI_OUT_OF_RESOURCES, 0, PAGE + 8, 3 * PAGE, 0, 1},
      {"cut", EFI_LOAD_ERROR, 0, PAGE + 8, 3 * PAGE, 1},
      {"an address behind the end", EFI_LOAD_ERROR, 0, 2 * PAGE + 1},
      {"no room", EFI_LOAD_ERROR, 0, PAGE + 8, 2 * PAGE},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.what);
    Firmware firmware;
    g_attributes = {{getAttributes, setAttributes, clearAttributes}, row.before, row.status == EFI_ACCESS_DENIED};
    EFI_HANDLE handle = nullptr;
    firmware.bootServices()->InstallProtocolInterface(&handle, &guid, EFI_NATIVE_INTERFACE, &g_attributes);
    BYTES packed = pack(smallImage(row.addressAt), shape);
    packed.resize(packed.size() - row.cut);
    firmware.failAllocation(row.failing);
    EXPECT_EQ(startPacked({packed.data(), static_cast<UINT32>(packed.size()), shape, 2 * PAGE + 8, 1, PAGE, 2 * PAGE,
                           row.size, 0},
                          &g_attributes, firmware.systemTable()),
              row.status);
    EXPECT_EQ(g_attributes.runs, row.status == RESULT ? 1 : 0);
    EXPECT_EQ(firmware.takeConsole().empty(), row.status == RESULT);
    EXPECT_EQ(firmware.pool().liveAllocations, 0U);
    for (UINT64 page : g_attributes.pages) {
      EXPECT_EQ(page, g_attributes.memory != 0 ? row.before : 0);
    }
  }
}

} // namespace
