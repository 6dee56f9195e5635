// What is read of the documents of documents.txt, and said about them: readings.txt.
#include <sstream>

#include "driver/xml/xml.h"
#include "tests/driver/request/parsed.h"

using namespace xyl;
using namespace xyl::driver;

namespace {

std::string expanded(std::string line) {
  for (size_t at = 0; (at = line.find('{')) != std::string::npos;) {
    size_t colon = line.find(':', at), end = line.find('}', colon);
    std::string all;
    for (int left = std::stoi(line.substr(at + 1)); left != 0; --left) {
      all += line.substr(colon + 1, end - colon - 1);
    }
    line.replace(at, end + 1 - at, all);
  }
  return line;
}

std::string hex(UINT64 value) {
  char text[20];
  snprintf(text, sizeof text, "%llX", static_cast<unsigned long long>(value));
  return text;
}

// Characters, and what is none as its two digits.
std::string readable(const void *bytes, size_t size) {
  std::string text;
  for (size_t i = 0; i < size; ++i) {
    UINT8 byte = static_cast<const UINT8 *>(bytes)[i];
    text += byte >= 0x20 && byte < 0x7F ? std::string(1, static_cast<char>(byte)) : "\\" + hex(byte);
  }
  return "\"" + text + "\"";
}

// The fields of a record that are not zero, by their elements' names.
std::string fieldsOf(const void *record, const FieldTable &fields);

std::string fieldText(const void *record, const FieldRow &row) {
  const UINT8 *at = static_cast<const UINT8 *>(record) + row.place.offset;
  const void *pointer = row.place.width == sizeof(void *) ? fieldPointer(record, row.place) : nullptr;
  std::string text;
  switch (row.format) {
  case FieldFormat::wideText: {
    std::u16string wide = pointer == nullptr ? u"" : static_cast<const CHAR16 *>(pointer);
    return pointer == nullptr ? "" : readable(std::string(wide.begin(), wide.end()).data(), wide.size());
  }
  case FieldFormat::fixedText:
    return std::count(at, at + row.place.width, 0) == row.place.width ? "" : readable(at, row.place.width);
  case FieldFormat::idList:
    for (UINT64 i = 0; pointer != nullptr && i < fieldLoad(record, row.count); ++i) {
      text += (i == 0 ? "" : ",") + std::to_string(static_cast<const UINT32 *>(pointer)[i]);
    }
    return text;
  case FieldFormat::raidLevelParams:
    for (int i = 0; pointer != nullptr &&
                    i < __builtin_popcount(static_cast<const RAID_ADAPTER_RECORD *>(record)->SupportedRAIDLevels);
         ++i) {
      text += "{" + fieldsOf(static_cast<const RAID_LEVEL_PARAMS *>(pointer) + i, g_levelDescFields) + "}";
    }
    return text;
  case FieldFormat::rates:
    for (size_t i = 0; i < RAID_RATE_COUNT; ++i) {
      text += "{" + fieldsOf(at + i * sizeof(RAID_RATE), g_rateFields) + "}";
    }
    return text.size() == 2 * RAID_RATE_COUNT ? "" : text;
  case FieldFormat::pciIdentity:
    return fieldsOf(at, g_pciIdentityFields) + fieldsOf(at, g_pciLocationFields);
  case FieldFormat::raidLevelDesc:
    return fieldsOf(at, g_levelDescFields);
  default:
    return fieldLoad(record, row.place) == 0 ? "" : hex(fieldLoad(record, row.place));
  }
}

std::string fieldsOf(const void *record, const FieldTable &fields) {
  std::string text;
  for (UINT32 i = 0; i < fields.rowCount; ++i) {
    const FieldRow &row = fields.rows[i];
    std::string value = row.place.width == 0 || (row.flags & fieldReadOnly) != 0 ? "" : fieldText(record, row);
    text += value.empty() ? "" : std::string(" ") + row.element + "=" + value;
  }
  return text;
}

std::string recordText(const void *record) {
  UINT32 type = static_cast<const RAID_RECORD_HEADER *>(record)->ObjectType;
  return fieldsOf(record, g_headerFields) + fieldsOf(record, *objectFields(type)) + "\n";
}

template <class T> std::string recordsText(const char *what, const T *records, UINT32 count) {
  std::string text;
  for (UINT32 i = 0; records != nullptr && i < count; ++i) {
    text += std::string("  ") + what + recordText(&records[i]);
  }
  return text;
}

std::string commandText(const RAID_CMD_BLOCK &command) {
  std::string text = "  command " + hex(command.Command) + " on " + hex(command.ObjectType) + ", revision " +
                     std::to_string(command.Revision) + ", ids";
  for (UINT32 i = 0; i < command.ObjectIdCount; ++i) {
    text += " " + std::to_string(command.ObjectIds[i]);
  }
  const auto *keys = static_cast<const RAID_KEY_RECORD *>(command.ObjectData);
  if (command.Revision != 3) {
    return text + (keys == nullptr ? "\n" : ":" + recordText(keys));
  }
  for (int i = 0; i < (command.Command == RAID_COMMAND_REKEY ? 2 : 1); ++i) {
    text += "\n    key " + readable(keys[i].KeyID, strnlen(keys[i].KeyID, sizeof keys[i].KeyID)) + " mode " +
            hex(keys[i].Mode) + " " + readable(keys[i].Passphrase, sizeof keys[i].Passphrase);
  }
  return text + "\n";
}

std::string readingOf(World &world, const std::string &document) {
  world.clearLog();
  Parsed parsed(document);
  const RAID_CONFIG *config = parsed.config;
  std::string text = "  " + name(parsed.status) + ", adapters: " + std::to_string(parsed.count) + "\n";
  if (config != nullptr) {
    text += recordsText("adapter", config->adapter, 1) +
            recordsText("enclosure", config->enclosures, config->enclosureCount) +
            recordsText("disk", config->physicalDisks, config->physicalDiskCount) +
            recordsText("volume", config->logicalDisks, config->logicalDiskCount);
    text += config->keyId == nullptr ? "" : "  key id " + readable(config->keyId, strnlen(config->keyId, 256)) + "\n";
    for (UINT32 i = 0; i < config->commandCount; ++i) {
      text += commandText(config->commands[i]);
    }
  }
  std::istringstream log(world.log());
  for (std::string line; std::getline(log, line);) {
    bool isUsual = line.ends_with(": Entered.") || line.ends_with(": Exit. Success") ||
                   line.ends_with("About to Parse the XML blob...") || line.ends_with("Parsing blob Success");
    text += isUsual ? "" : "    " + line + "\n";
  }
  return text;
}

TEST(Readings, AreAsTheyWere) {
  ReadingWorld world;
  std::istringstream documents(sourceFile("tests/driver/request/documents.txt"));
  std::string readings;
  for (std::string line; std::getline(documents, line);) {
    readings += line + "\n";
    if (!line.empty() && line[0] != '#') {
      readings += readingOf(world, expanded(line));
      world.expectBalanced(line);
    }
  }
  expectGolden("driver/request/readings.txt", readings);
}

} // namespace
