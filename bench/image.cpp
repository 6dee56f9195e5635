#include "bench/image.h"

#include <sys/mman.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <vector>

std::string g_imageFolder;

// Offsets within the headers: from the "PE" mark on, and within a row of the section table.
enum : size_t {
  PE_MARK_AT = 0x3C,
  PE_SECTION_COUNT = 6,
  PE_OPTIONAL_SIZE = 20,
  PE_OPTIONAL = 24,
  PE_ENTRY = PE_OPTIONAL + 16,
  PE_PREFERRED_BASE = PE_OPTIONAL + 24,
  PE_IMAGE_SIZE = PE_OPTIONAL + 56,
  PE_RELOCATIONS = PE_OPTIONAL + 152,
  SECTION_ADDRESS = 12,
  SECTION_FILE_SIZE = 16,
  SECTION_FILE_OFFSET = 20,
  SECTION_ROW = 40,
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

EFI_IMAGE_ENTRY imageEntry(const std::string &name) {
  std::vector<char> file = readFile(g_imageFolder + name);
  size_t pe = load<uint32_t>(file, PE_MARK_AT);
  void *memory = mmap(nullptr, load<uint32_t>(file, pe + PE_IMAGE_SIZE), PROT_READ | PROT_WRITE | PROT_EXEC,
                      MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) {
    std::perror("benchmark: image");
    std::exit(1);
  }
  char *image = static_cast<char *>(memory);
  size_t row = pe + PE_OPTIONAL + load<uint16_t>(file, pe + PE_OPTIONAL_SIZE);
  for (int i = 0; i < load<uint16_t>(file, pe + PE_SECTION_COUNT); ++i, row += SECTION_ROW) {
    std::memcpy(image + load<uint32_t>(file, row + SECTION_ADDRESS),
                file.data() + load<uint32_t>(file, row + SECTION_FILE_OFFSET),
                load<uint32_t>(file, row + SECTION_FILE_SIZE));
  }
  relocate(image, load<uint32_t>(file, pe + PE_RELOCATIONS), load<uint32_t>(file, pe + PE_RELOCATIONS + 4),
           reinterpret_cast<uint64_t>(image) - load<uint64_t>(file, pe + PE_PREFERRED_BASE));
  __builtin___clear_cache(image, image + load<uint32_t>(file, pe + PE_IMAGE_SIZE));
  return reinterpret_cast<EFI_IMAGE_ENTRY>(image + load<uint32_t>(file, pe + PE_ENTRY));
}
