#include "client/ensure/tell.h"

#include "base/text.h"
#include "client/ensure/work.h"
#include "driver/xml/xml.h"

namespace xyl::client::ensure {

namespace {

// Indexed by Fate.
constexpr struct {
  const CHAR8 *verb;
  const CHAR8 *loss;
  bool isOpen; // something is to be done
} fates[] = {{"keep", "", false},
             {"change", "", true},
             {"create", "", true},
             {"recreate", ": DESTROYED, with all data, and created anew", true},
             {"delete", ": DESTROYED, with all data", true},
             {"leave", "", false},
             {"refuse", "", true}};
static_assert(sizeof(fates) / sizeof(fates[0]) == static_cast<UINTN>(Fate::count));

// Takes the lines of a judgement one after the other: as JSON, as a text, or prints them.
struct Taker {
  const Front *front;
  Json *json;
  Text *text;
};

} // namespace

const CHAR8 *fateName(Fate fate) {
  return fates[static_cast<UINTN>(fate)].verb;
}

static void takeLine(const Taker &taker, const CHAR8 *verb, Text *text) {
  if (taker.json != nullptr) {
    Text line = {};
    put(&line, verb, " ", textOf(*text));
    jsonText(taker.json, nullptr, textOf(line));
    freeText(&line);
  } else if (taker.text != nullptr) {
    put(taker.text, verb, " ", textOf(*text), "\n");
    taker.text->failed = taker.text->failed || text->failed;
  } else {
    say(taker.front, "  %-8a  ", verb);
    sayText(taker.front, textOf(*text)); // may be longer than a formatted line
    say(taker.front, "\n");
  }
  freeText(text);
}

// --- Virtual disks ---

static UINT32 levelOf(const RAID_CONFIG &config, const VirtualDiskVerdict &verdict) {
  bool isNew = verdict.wish != nullptr && verdict.fate == Fate::create;
  return isNew ? verdict.wish->level : config.logicalDisks[verdict.place].RAIDLevel;
}

static void nameOf(CHAR8 (&name)[fitting::nameMax + 1], const RAID_CONFIG &config, const VirtualDiskVerdict &verdict) {
  if (verdict.wish != nullptr) {
    copyBytes(name, verdict.wish->name, sizeof(name));
  } else {
    textNarrow(name, config.logicalDisks[verdict.place].Name, sizeof(name) - 1);
  }
}

static void putMembers(Text *text, const RAID_CONFIG &config, const VirtualDiskVerdict &verdict) {
  if (verdict.size != 0) {
    putText(text, ", ");
    putBytesOf(text, verdict.size);
  }
  for (UINT32 i = 0; i < verdict.members.count; ++i) {
    putText(text, i == 0 ? " on " : ", ");
    putDisk(text, config, config.physicalDisks[verdict.members.items[i]]);
  }
}

// virtual disk 3 "data", RAID 5, 1.20 TB
static void putVirtualDisk(Text *text, const RAID_CONFIG &config, const VirtualDiskVerdict &verdict) {
  CHAR8 name[fitting::nameMax + 1];
  nameOf(name, config, verdict);
  bool isThere = verdict.place != records::noId;
  putText(text, "virtual disk ");
  if (isThere) {
    put(text, config.logicalDisks[verdict.place].ObjectID, " ");
  }
  put(text, "\"", static_cast<const CHAR8 *>(name), "\", ",
      driver::GetNameFromValue(levelOf(config, verdict), driver::g_raidLevelTable));
  if (isThere) {
    const RAID_VD_RECORD &virtualDisk = config.logicalDisks[verdict.place];
    putText(text, ", ");
    putBytesOf(text, virtualDisk.Size);
    putText(text, virtualDisk.State == RAID_STATE_DEGRADED ? ", Degraded" : "");
  }
}

static void takeVirtualDisk(const Taker &taker, const RAID_CONFIG &config, const VirtualDiskVerdict &verdict) {
  const auto &fate = fates[static_cast<UINTN>(verdict.fate)];
  Text text = {};
  putVirtualDisk(&text, config, verdict);
  put(&text, verdict.why.length != 0 ? ": " : "", textOf(verdict.why), fate.loss);
  if (verdict.fate == Fate::recreate) {
    put(&text, " as ", driver::GetNameFromValue(verdict.wish->level, driver::g_raidLevelTable));
  }
  putMembers(&text, config, verdict);
  takeLine(taker, fate.verb, &text);
}

// --- All lines ---

static void takeSpare(const Taker &taker, const RAID_CONFIG &config, const Judgement &judgement,
                      const SpareVerdict &spare) {
  Text text = {};
  putText(&text, spare.frees ? "hot spare " : "disk ");
  putDisk(&text, config, config.physicalDisks[spare.disk]);
  if (spare.virtualDisk != records::noId) {
    const VirtualDiskWish &wish = *judgement.virtualDisks.items[spare.virtualDisk].wish;
    put(&text, ", for \"", static_cast<const CHAR8 *>(wish.name), "\"");
  } else {
    putText(&text, ", for all");
  }
  takeLine(taker, spare.frees ? "free" : "spare", &text);
}

static void takeSetting(const Taker &taker, const SettingVerdict &setting) {
  Text text = {};
  put(&text, setting.element, setting.rate[0] != 0 ? " " : "", static_cast<const CHAR8 *>(setting.rate), ": ",
      static_cast<const CHAR8 *>(setting.current), " becomes ", static_cast<const CHAR8 *>(setting.wanted));
  takeLine(taker, "set", &text);
}

static void takeLines(const Taker &taker, const RAID_CONFIG &config, const Judgement &judgement, Lines lines) {
  for (UINT32 i = 0; i < judgement.virtualDisks.count; ++i) {
    const VirtualDiskVerdict &verdict = judgement.virtualDisks.items[i];
    bool isOpen = fates[static_cast<UINTN>(verdict.fate)].isOpen;
    if (verdict.fate != Fate::refuse && (isOpen || lines == Lines::all)) {
      takeVirtualDisk(taker, config, verdict);
    }
  }
  for (UINT32 i = 0; i < judgement.spares.count; ++i) {
    takeSpare(taker, config, judgement, judgement.spares.items[i]);
  }
  for (UINT32 i = 0; i < judgement.settings.count; ++i) {
    takeSetting(taker, judgement.settings.items[i]);
  }
  for (UINT32 i = 0; i < judgement.refusals.count; ++i) {
    Text text = {};
    putText(&text, textOf(judgement.refusals.items[i]));
    takeLine(taker, "refuse", &text);
  }
}

void sayJudgement(const Front *front, const RAID_CONFIG &config, const Judgement &judgement, Lines lines) {
  takeLines({front, /* json= */ nullptr, /* text= */ nullptr}, config, judgement, lines);
}

void putJudgement(Text *text, const RAID_CONFIG &config, const Judgement &judgement) {
  takeLines({/* front= */ nullptr, /* json= */ nullptr, text}, config, judgement, Lines::all);
}

// --- JSON ---

void writeOpen(Json *json, const CHAR8 *name, const RAID_CONFIG &config, const Judgement &judgement) {
  jsonArray(json, name);
  takeLines({json->front, json, /* text= */ nullptr}, config, judgement, Lines::open);
  jsonEnd(json);
}

static void writeVirtualDisk(Json *json, const RAID_CONFIG &config, const VirtualDiskVerdict &verdict) {
  CHAR8 name[fitting::nameMax + 1];
  nameOf(name, config, verdict);
  UINT32 level = verdict.wish != nullptr ? verdict.wish->level : levelOf(config, verdict);
  jsonObject(json, nullptr);
  jsonText(json, "name", name);
  if (verdict.place != records::noId) {
    jsonNumber(json, "id", config.logicalDisks[verdict.place].ObjectID);
  } else {
    jsonNull(json, "id");
  }
  jsonText(json, "level", driver::GetNameFromValue(level, driver::g_raidLevelTable));
  jsonText(json, "fate", fateName(verdict.fate));
  jsonText(json, "why", textOf(verdict.why));
  jsonArray(json, "newDisks");
  for (UINT32 i = 0; i < verdict.members.count; ++i) {
    jsonNumber(json, nullptr, config.physicalDisks[verdict.members.items[i]].ObjectID);
  }
  jsonEnd(json);
  jsonEnd(json);
}

static void writeSpare(Json *json, const RAID_CONFIG &config, const Judgement &judgement, const SpareVerdict &spare) {
  jsonObject(json, nullptr);
  jsonNumber(json, "disk", config.physicalDisks[spare.disk].ObjectID);
  jsonBool(json, "freed", spare.frees);
  if (spare.virtualDisk != records::noId) {
    jsonText(json, "virtualDisk", judgement.virtualDisks.items[spare.virtualDisk].wish->name);
  }
  jsonEnd(json);
}

static void writeSetting(Json *json, const SettingVerdict &setting) {
  jsonObject(json, nullptr);
  jsonText(json, "element", setting.element);
  if (setting.rate[0] != 0) {
    jsonText(json, "rate", setting.rate);
  }
  jsonText(json, "current", setting.current);
  jsonText(json, "wanted", setting.wanted);
  jsonEnd(json);
}

void writeJudgement(Json *json, const RAID_CONFIG &config, const Judgement &judgement) {
  jsonObject(json, "plan");
  jsonBool(json, "changes", judgement.changes());
  jsonBool(json, "destroys", judgement.destroys());
  jsonArray(json, "virtualDisks");
  for (UINT32 i = 0; i < judgement.virtualDisks.count; ++i) {
    writeVirtualDisk(json, config, judgement.virtualDisks.items[i]);
  }
  jsonEnd(json);
  jsonArray(json, "hotSpares");
  for (UINT32 i = 0; i < judgement.spares.count; ++i) {
    writeSpare(json, config, judgement, judgement.spares.items[i]);
  }
  jsonEnd(json);
  jsonArray(json, "settings");
  for (UINT32 i = 0; i < judgement.settings.count; ++i) {
    writeSetting(json, judgement.settings.items[i]);
  }
  jsonEnd(json);
  jsonArray(json, "refused");
  for (UINT32 i = 0; i < judgement.refusals.count; ++i) {
    jsonText(json, nullptr, textOf(judgement.refusals.items[i]));
  }
  jsonEnd(json);
  jsonEnd(json);
}

} // namespace xyl::client::ensure
