#include <algorithm>

#include "base/pool.h"
#include "controller/controller.h"
#include "inventory/inventory.h"
#include "tests/request/model.h"
#include "tests/request/parsed.h"

namespace {

void zeroReserved(MODEL &model) {
  forRecords(model, [](void *record, const FIELD_TABLE &fields) {
    forReserved(record, fields, [](UINT8 &byte) { byte = 0; });
  });
}

void orderDisks(MODEL &model) {
  std::vector<RAID_PD_RECORD> ordered;
  auto take = [&](UINT32 enclosure) {
    for (const auto &disk : model.disks) {
      if (disk.EnclosureDeviceID == enclosure) {
        ordered.push_back(disk);
      }
    }
  };
  for (auto &enclosure : model.enclosures) {
    size_t before = ordered.size();
    take(enclosure.DeviceID);
    enclosure.PDCount = static_cast<UINT8>(ordered.size() - before);
  }
  take(RAID_ENCLOSURE_NONE);
  if (!model.enclosures.empty()) {
    model.disks = ordered;
  }
}

void copyObjectIds(MODEL &model) {
  for (auto &disk : model.disks) {
    disk.DeviceID = disk.ObjectID;
  }
}

void dropVersioned(MODEL &model) {
  forRows(model, [](const VISIT &at) {
    if ((at.row->Flags & FIELD_WHEN_VERSIONED) != 0 && !at.versioned()) {
      memset(at.bytes(), 0, at.row->Place.Width);
    }
  });
}

void cutNumbers(MODEL &model) {
  forRows(model, [](const VISIT &at) {
    if (at.row->Format == FORMAT_DECIMAL) {
      at.setValue(std::stoull(std::to_string(at.value()).substr(0, at.row->Length)));
    }
  });
}

void narrowTexts(MODEL &model) {
  forRows(model, [](const VISIT &at) {
    if (at.row->Format != FORMAT_WIDE_TEXT || at.text() == nullptr) {
      return;
    }
    std::u16string text;
    for (const CHAR16 *unit = at.text(); (*unit & 0xFF) != 0; ++unit) {
      text += static_cast<CHAR16>(static_cast<signed char>(*unit & 0xFF));
    }
    at.setText(text);
  });
}

void dropEmptyTexts(MODEL &model) {
  forRows(model, [](const VISIT &at) {
    if (at.row->Format == FORMAT_WIDE_TEXT && at.text() != nullptr && *at.text() == 0) {
      fieldStorePointer(at.base, at.row->Place, nullptr);
    }
  });
}

void closeUpRates(MODEL &model) {
  auto first = std::begin(model.adapter.Rates);
  auto end = std::remove_if(first, std::end(model.adapter.Rates), [](const RAID_RATE &r) { return r.Name == nullptr; });
  std::fill(end, std::end(model.adapter.Rates), RAID_RATE{});
}

void dropNamelessRates(MODEL &model) {
  for (auto &rate : model.adapter.Rates) {
    rate.Name = rate.Name != nullptr && (rate.Name[0] & 0xFF) == 0 ? nullptr : rate.Name;
  }
}

void dropAbsentModes(MODEL &model) {
  forRows(model, [](const VISIT &at) {
    if (at.row->Format == FORMAT_NAME && (at.row->Flags & FIELD_MODE) != 0) {
      UINT64 mark = at.row->Mask == RAID_PATROL_READ_MASK ? RAID_PATROL_CORRECT_AREAS : 0;
      bool present = (at.field() & RAID_MODE_PRESENT) != 0;
      at.setField(present ? at.field() & (RAID_MODE_PRESENT | at.row->Mask | mark) : 0);
    }
  });
}

// The text as it is written.
std::string fixedText(const VISIT &at) {
  std::string field(reinterpret_cast<char *>(at.bytes()), at.row->Place.Width);
  if ((at.row->Flags & FIELD_TRIMMED) != 0) {
    size_t begin = field.find_first_not_of(' ');
    field = begin == std::string::npos ? "" : field.substr(begin, field.find_last_not_of(' ') + 1 - begin);
  }
  field = field.substr(0, field.find('\0'));
  return (at.row->Flags & FIELD_TO_BLANK) != 0 ? field.substr(0, field.find(' ')) : field;
}

void cutFixedTexts(MODEL &model) {
  forRows(model, [](const VISIT &at) {
    if (at.row->Format == FORMAT_FIXED_TEXT) {
      std::string text = fixedText(at);
      memset(at.bytes(), 0, at.row->Place.Width);
      memcpy(at.bytes(), text.data(), text.size());
    }
  });
}

void dropBlankTexts(MODEL &model) {
  forRows(model, [](const VISIT &at) {
    if (at.row->Format == FORMAT_FIXED_TEXT && fixedText(at).empty()) {
      memset(at.bytes(), 0, at.row->Place.Width);
    }
  });
}

void reverseLists(MODEL &model) {
  forRows(model, [](const VISIT &at) {
    UINT64 count = at.row->Format == FORMAT_ID_LIST ? fieldLoad(at.base, at.row->Count) : 0;
    if (count != 0) {
      UINT32 *ids = static_cast<UINT32 *>(fieldPointer(at.base, at.row->Place));
      std::vector<UINT32> reversed(std::reverse_iterator(ids + count), std::reverse_iterator(ids));
      std::transform(reversed.begin(), reversed.end(), reversed.begin(),
                     [](UINT32 id) { return static_cast<UINT32>(std::stoul(std::to_string(id).substr(0, 7))); });
      fieldStorePointer(at.base, at.row->Place, keep(reversed.data(), 4 * count));
    }
  });
}

void fillLevels(MODEL &model) {
  static RAID_LEVEL_PARAMS nothing[32];
  if (model.adapter.RAIDLevelParams == nullptr) {
    model.adapter.RAIDLevelParams = nothing;
  }
}

void cutKey(MODEL &model) {
  model.keyId.resize(std::min<size_t>(model.keyId.size(), RAID_KEY_ID_SIZE));
}

void attachDisks(MODEL &model) {
  for (auto &disk : model.disks) {
    disk.EnclosureDeviceID = disk.EnclosureDeviceID == RAID_ENCLOSURE_NONE ? 4294967U : disk.EnclosureDeviceID;
  }
}

// How a record that was read differs from the one that was written, in this order, and nothing else.
struct EXCEPTION {
  const char *what;
  const char *why;
  void (*apply)(MODEL &model);
  bool changesText; // writing what was read gives another text
};

const EXCEPTION g_exceptions[] = {
    {"reserved bytes", "no element carries them", zeroReserved, false},
    {"disks", "stand inside their enclosure, which counts them; those of no listed one are not written", orderDisks,
     false},
    {"DeviceID of a disk", "read from ObjectID, since a document addresses disks by it", copyObjectIds, true},
    {"direct disks", "0xFFFFFFFF has more than seven digits", attachDisks, true},
    {"versioned fields", "written only with an ObjVersion", dropVersioned, false},
    {"unset rates", "not written, so later ones move up", closeUpRates, false},
    {"rates with an empty name", "read as unset", dropNamelessRates, true},
    {"long numbers", "cut to the digits that the element has", cutNumbers, false},
    {"wide texts", "only low bytes are written, and read back with their sign", narrowTexts, false},
    {"empty wide texts", "not told from missing ones", dropEmptyTexts, false},
    {"modes", "not written without their presence bit, and only with bits that have an element", dropAbsentModes,
     false},
    {"padding of fixed texts", "cut off", cutFixedTexts, false},
    {"fixed texts of blanks", "an empty element is read as no text", dropBlankTexts, true},
    {"id lists", "written last id first", reverseLists, true},
    {"missing level descriptors", "read as empty ones", fillLevels, true},
    {"long key identifiers", "cut to what a key record holds", cutKey, true},
};

std::string written(const RAID_CONFIG &config) {
  CHAR8 *text = nullptr;
  EXPECT_EQ(name(cacheToXML(&config, &text)), name(EFI_SUCCESS));
  std::string document = text == nullptr ? "" : text;
  poolFree(text);
  return document;
}

// The configuration after a round trip, by the table; only the exceptions that a second text shows when onlyText.
MODEL expected(const MODEL &original, bool onlyText) {
  MODEL model = original.copy();
  for (const EXCEPTION &exception : g_exceptions) {
    if (!onlyText || exception.changesText) {
      exception.apply(model);
    }
  }
  return model;
}

void expectRoundTrip(MODEL original) {
  std::string document = written(original.config());
  Parsed parsed(document);
  ASSERT_EQ(name(parsed.status), name(EFI_SUCCESS)) << document;
  ASSERT_EQ(parsed.count, 1U);
  MODEL read = modelOf(*parsed.config);
  MODEL wanted = expected(original, false);
  ASSERT_EQ(describe(read), describe(wanted)) << document;
  ASSERT_EQ(written(*parsed.config), written(expected(original, true).config()));
}

class Presets : public testing::TestWithParam<const char *> {};

TEST_P(Presets, ReadBackAsTheControllerAnswered) {
  World world(GetParam());
  RAID_MGMT_PROTOCOL *mgmt = &world.sim->protocol;
  RAID_CMD_RESULT answers[5] = {};
  const UINT32 types[] = {RAID_OBJECT_ADAPTER, RAID_OBJECT_ENCLOSURE, RAID_OBJECT_PHYSICAL_DISK,
                          RAID_OBJECT_VIRTUAL_DISK};
  for (int i = 0; i < 4; ++i) {
    issueCommand(mgmt, RAID_COMMAND_GET, types[i], &answers[i]);
  }
  issueCommand(mgmt, RAID_COMMAND_GET_KEY_ID, RAID_OBJECT_ADAPTER, &answers[4]);
  RAID_CONFIG config = {};
  config.adapter = static_cast<RAID_ADAPTER_RECORD *>(answers[0].Data);
  config.enclosureCount = recordCount(&answers[1]);
  config.enclosures = static_cast<RAID_ENCLOSURE_RECORD *>(answers[1].Data);
  config.physicalDiskCount = recordCount(&answers[2]);
  config.physicalDisks = static_cast<RAID_PD_RECORD *>(answers[2].Data);
  config.logicalDiskCount = recordCount(&answers[3]);
  config.logicalDisks = static_cast<RAID_VD_RECORD *>(answers[3].Data);
  config.keyId = static_cast<CHAR8 *>(answers[4].Data);
  EXPECT_EQ(world.get().text, written(config));
  expectRoundTrip(modelOf(config));
  for (RAID_CMD_RESULT &answer : answers) {
    giveBack(mgmt, &answer);
  }
  world.expectBalanced();
}

INSTANTIATE_TEST_SUITE_P(RoundTrip, Presets, testing::Values("demo", "direct", "sas", "empty", "large"));

TEST(RoundTrip, RandomConfigurations) {
  World world({.preset = nullptr, .debugLog = false, .connect = false});
  for (UINT64 seed = 1; seed <= 2000 && !HasFatalFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937_64 random(seed);
    expectRoundTrip(randomModel(random));
    world.expectBalanced();
  }
}

} // namespace
