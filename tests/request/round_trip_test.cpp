#include <algorithm>

#include "base/pool.h"
#include "controller/controller.h"
#include "inventory/inventory.h"
#include "tests/request/model.h"
#include "tests/request/parsed.h"

namespace {

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

void addressDisks(MODEL &model) {
  for (auto &disk : model.disks) {
    disk.DeviceID = disk.ObjectID;
    disk.EnclosureDeviceID = disk.EnclosureDeviceID == RAID_ENCLOSURE_NONE ? 4294967U : disk.EnclosureDeviceID;
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
    text.empty() ? fieldStorePointer(at.base, at.row->Place, nullptr) : at.setText(text);
  });
}

void closeUpRates(MODEL &model) {
  auto first = std::begin(model.adapter.Rates);
  auto end = std::remove_if(first, std::end(model.adapter.Rates), [](const RAID_RATE &r) { return r.Name == nullptr; });
  std::fill(end, std::end(model.adapter.Rates), RAID_RATE{});
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

// How a record that was read differs from the one that was written, in this order, and nothing else.
struct EXCEPTION {
  const char *what;
  const char *why;
  void (*apply)(MODEL &model);
  bool changesText; // writing what was read gives another text
};

const EXCEPTION g_exceptions[] = {
    {"disks", "stand inside their enclosure, which counts them; those of no listed one are not written", orderDisks,
     false},
    {"addresses of disks", "DeviceID is read from ObjectID, and 0xFFFFFFFF has more than seven digits", addressDisks,
     true},
    {"versioned fields", "written only with an ObjVersion", dropVersioned, false},
    {"unset rates", "not written, so later ones move up", closeUpRates, false},
    {"long numbers", "cut to the digits that the element has", cutNumbers, false},
    {"wide texts",
     "only low bytes are written, and read back with their sign; empty ones are read as none, and a rate "
     "of that name is then unset",
     narrowTexts, true},
    {"modes", "not written without their presence bit, and only with bits that have an element", dropAbsentModes,
     false},
    {"fixed texts", "padding is cut off, and an empty element is read as no text", cutFixedTexts, true},
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
  for (UINT32 i = 0; i < 4; ++i) { // the types are 0, 2, 3 and 4
    issueCommand(mgmt, RAID_COMMAND_GET, i == 0 ? i : i + 1, &answers[i]);
  }
  issueCommand(mgmt, RAID_COMMAND_GET_KEY_ID, RAID_OBJECT_ADAPTER, &answers[4]);
  MODEL model;
  model.adapter = *static_cast<RAID_ADAPTER_RECORD *>(answers[0].Data);
  auto take = [](auto &records, const RAID_CMD_RESULT &answer) {
    auto *first = static_cast<decltype(records.data())>(answer.Data);
    records.assign(first, first + recordCount(&answer));
  };
  take(model.enclosures, answers[1]);
  take(model.disks, answers[2]);
  take(model.volumes, answers[3]);
  model.hasKey = answers[4].Data != nullptr;
  model.keyId = model.hasKey ? static_cast<CHAR8 *>(answers[4].Data) : "";
  EXPECT_EQ(world.get().text, written(model.config()));
  expectRoundTrip(model);
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
