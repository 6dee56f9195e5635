#include "bench/image.h"

#include <sys/mman.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <vector>

using namespace xyl;

std::string g_imageFolder;

// Offsets within the headers: from the "PE" mark on, and within a row of the section table.
enum : size_t {
  peMarkAt = 0x3C,
  peSectionCount = 6,
  peOptionalSize = 20,
  peOptional = 24,
  peEntry = peOptional + 16,
  pePreferredBase = peOptional + 24,
  peImageSize = peOptional + 56,
  peRelocations = peOptional + 152,
  sectionAddress = 12,
  sectionFileSize = 16,
  sectionFileOffset = 20,
  sectionRow = 40,
};

template <class T> static T load(const std::vector<char> &bytes, size_t at) {
  T value = {};
  std::memcpy(&value, bytes.data() + at, sizeof value);
  return value;
}

static std::vector<char> readFile(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  std::vector<char> bytes((std::istreambuf_iterator<char>(file)), {});
  if (bytes.empty()) {
    std::fprintf(stderr, "benchmark: %s cannot be read\n", path.c_str());
    std::exit(1);
  }
  return bytes;
}

// Adds what the image was moved by to every address in it: blocks of a page, a size and 16-bit entries.
static void relocate(char *image, size_t at, size_t size, uint64_t moved) {
  for (size_t end = at + size; at < end;) {
    uint32_t head[2];
    std::memcpy(head, image + at, sizeof head);
    for (size_t entry = at + sizeof head; entry < at + head[1]; entry += 2) {
      uint16_t place = 0;
      std::memcpy(&place, image + entry, sizeof place);
      if (place >> 12 == 10) {
        char *field = image + head[0] + (place & 0xFFF);
        uint64_t address = 0;
        std::memcpy(&address, field, sizeof address);
        address += moved;
        std::memcpy(field, &address, sizeof address);
      }
    }
    at += head[1];
  }
}

host::ImageEntry imageEntry(const std::string &name) {
  std::vector<char> file = readFile(g_imageFolder + name);
  size_t pe = load<uint32_t>(file, peMarkAt);
  void *memory = mmap(nullptr, load<uint32_t>(file, pe + peImageSize), PROT_READ | PROT_WRITE | PROT_EXEC,
                      MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) {
    std::perror("benchmark: image");
    std::exit(1);
  }
  char *image = static_cast<char *>(memory);
  size_t row = pe + peOptional + load<uint16_t>(file, pe + peOptionalSize);
  for (int i = 0; i < load<uint16_t>(file, pe + peSectionCount); ++i, row += sectionRow) {
    std::memcpy(image + load<uint32_t>(file, row + sectionAddress),
                file.data() + load<uint32_t>(file, row + sectionFileOffset),
                load<uint32_t>(file, row + sectionFileSize));
  }
  relocate(image, load<uint32_t>(file, pe + peRelocations), load<uint32_t>(file, pe + peRelocations + 4),
           reinterpret_cast<uint64_t>(image) - load<uint64_t>(file, pe + pePreferredBase));
  __builtin___clear_cache(image, image + load<uint32_t>(file, pe + peImageSize));
  return reinterpret_cast<host::ImageEntry>(image + load<uint32_t>(file, pe + peEntry));
}
