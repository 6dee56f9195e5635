// A new virtual disk: what fits is offered, what does not says why.
#include "images/setup/plan.h"
#include "images/setup/policies.h"

namespace xyl::images::setup {

constexpr UINT64 megabytesMax = 9999999999; // ten million billion bytes

// --- Level ---

static UINT32 countFor(const Snapshot &all, const RAID_LEVEL_PARAMS &level) {
  fitting::Disks disks = all.disks();
  UINT32 count = 0;
  for (UINT32 i = 0; i < disks.count; ++i) {
    fitting::Kinds kinds = {};
    fitting::addKind(&kinds, disks.items[i]);
    bool fits = fitting::roomOf(disks.items[i]) != 0 && fitting::judgeKinds(level, kinds) == fitting::Verdict::fits;
    count += fits ? 1 : 0;
  }
  return count;
}

// Options for the levels that there are disks enough for, or lines that tell how many the others lack. Whether the
// level that is chosen is among them.
static bool drawLevels(Draw &draw, bool isOffered) {
  const RAID_ADAPTER_RECORD *adapter = draw.all.adapter();
  bool isThere = false;
  for (UINT32 bit = 1; adapter != nullptr && bit <= RAID_LEVEL_ALL; bit <<= 1) {
    const RAID_LEVEL_PARAMS *level =
        (adapter->SupportedRAIDLevels & bit) != 0 ? fitting::levelOf(*adapter, bit) : nullptr;
    UINT32 count = level != nullptr && level->MaxDisks != 0 ? countFor(draw.all, *level) : 0;
    if (level == nullptr || level->MaxDisks == 0 || (count >= level->MinDisks) != isOffered) {
      continue;
    }
    if (isOffered) {
      isThere = isThere || bit == draw.page.creation.level;
      draw.forms.option(draw.strings.line(levelOf(bit)), sizeof(UINT8), choiceOf(bit), false);
    } else {
      draw.line({Text::levelNotOffered, levelOf(bit), number(level->MinDisks), number(count)}, Text::chooseLevelHelp);
    }
  }
  return isThere;
}

static void drawLevel(Draw &draw) {
  draw.forms.oneOf(draw.question(Ask::level, Text::chooseLevel, Text::chooseLevelHelp), sizeof(UINT8));
  draw.forms.option(draw.strings.word(Text::noLevel), sizeof(UINT8), 0, false);
  bool isOffered = drawLevels(draw, true);
  draw.forms.end();
  drawLevels(draw, false);
  draw.page.creation.level = isOffered ? draw.page.creation.level : 0;
}

// --- Settings ---

static void drawStripe(Draw &draw, const RAID_LEVEL_PARAMS &level) {
  draw.forms.oneOf(draw.question(Ask::stripe, Text::chooseStripe, Text::chooseStripeHelp), sizeof(UINT8));
  draw.forms.option(draw.strings.word(Text::byDefault), sizeof(UINT8), 0, false);
  for (UINT32 bit = 1; bit <= RAID_STRIPE_SIZE_ALL; bit <<= 1) {
    if ((level.AvailableStripeSize & bit) != 0) {
      draw.forms.option(draw.strings.line(roomOf(stripeBytes(bit))), sizeof(UINT8), choiceOf(bit), false);
    }
  }
  draw.forms.end();
}

static void drawCache(Draw &draw, const RAID_LEVEL_PARAMS &level, UINTN number) {
  const CacheGroup &group = g_cacheGroups[number];
  UINT32 available = level.AvailableCachePolicy & group.mask;
  if ((available & (available - 1)) == 0) {
    return; // nothing to choose
  }
  Ask ask = static_cast<Ask>(static_cast<UINTN>(Ask::cache) + number);
  draw.forms.oneOf(draw.question(ask, group.name, Text::chooseCacheHelp), sizeof(UINT8));
  draw.forms.option(draw.strings.word(Text::byDefault), sizeof(UINT8), 0, false);
  for (const CacheValue &value : group.values) {
    if ((available & value.bit) != 0) {
      draw.forms.option(draw.strings.word(value.word), sizeof(UINT8), choiceOf(value.bit), false);
    }
  }
  draw.forms.end();
}

static void drawChoices(Draw &draw, const RAID_LEVEL_PARAMS *level) {
  draw.forms.number(draw.question(Ask::size, Text::chooseSize, Text::chooseSizeHelp), sizeof(UINT64), 0, megabytesMax);
  bool isOnDisks = draw.page.isOnDisks;
  draw.page.nameId = draw.strings.line(wide(draw.page.creation.name));
  draw.forms.string(
      draw.question(Ask::name, Text::chooseName, isOnDisks ? Text::chooseShortNameHelp : Text::chooseNameHelp),
      isOnDisks ? fitting::nameMaxOnDisks : fitting::nameMax);
  if (level != nullptr && level->AvailableStripeSize != 0) {
    drawStripe(draw, *level);
  }
  for (UINTN i = 0; level != nullptr && i < cacheGroups; ++i) {
    drawCache(draw, *level, i);
  }
}

// --- Disks ---

static bool isInUse(const RAID_PD_RECORD &disk) {
  return fitting::roomOf(disk) == 0;
}

// What is with a disk that cannot be taken at all.
static Phrase whyInUse(const RAID_PD_RECORD &disk) {
  if (disk.State != RAID_STATE_READY) {
    return {disk.State == RAID_STATE_ONLINE ? Text::whyUsed : Text::asIs, word(stateWord(disk.State))};
  }
  return {
      isSpare(disk) ? Text::whySpare : Text::whyLocked,
  };
}

static fitting::Verdict judgeDisk(const Plan &plan, const RAID_PD_RECORD &disk) {
  fitting::Kinds kinds = plan.kinds();
  fitting::addKind(&kinds, disk);
  return plan.level() != nullptr ? fitting::judgeKinds(*plan.level(), kinds) : fitting::Verdict::fits;
}

static void drawTicks(Draw &draw, const Plan &plan) {
  draw.heading(Text::createDisks);
  fitting::Disks disks = draw.all.disks();
  for (UINT32 i = 0; i < disks.count; ++i) {
    const RAID_PD_RECORD &disk = disks.items[i];
    bool isOffered = !isInUse(disk) && judgeDisk(plan, disk) == fitting::Verdict::fits;
    if (isOffered || isChosen(draw.page.creation, disk.ObjectID)) {
      Target target = targetOf(disk);
      target.kind = Kind::candidate;
      Phrase kind = kindOf(disk);
      draw.objectTick(
          target,
          {Text::diskTick, enclosureNumber(disk), number(disk.Slot), sizeOf(fitting::roomOf(disk)), phrase(kind)},
          Text::tickHelp);
    }
  }
}

static void drawOthers(Draw &draw, const Plan &plan) {
  fitting::Disks disks = draw.all.disks();
  bool isFirst = true;
  for (UINT32 i = 0; i < disks.count; ++i) {
    const RAID_PD_RECORD &disk = disks.items[i];
    fitting::Verdict verdict = judgeDisk(plan, disk);
    bool isOffered = !isInUse(disk) && verdict == fitting::Verdict::fits;
    if (isOffered || isChosen(draw.page.creation, disk.ObjectID)) {
      continue;
    }
    if (isFirst) {
      draw.heading(Text::otherDisks);
      isFirst = false;
    }
    Phrase why = isInUse(disk) ? whyInUse(disk) : Phrase{verdictWord(verdict), {}};
    draw.line({Text::doesNotFit, enclosureNumber(disk), number(disk.Slot), phrase(why)}, Text::tickHelp);
  }
}

static void drawEnd(Draw &draw, const Plan &plan) {
  if (plan.room() != 0) {
    draw.row(Text::createRoom, sizeOf(plan.room()), Text::createRoomHelp);
  }
  if (plan.fits()) {
    draw.action(Ask::create, Text::createNow, Text::createHelp);
  } else {
    draw.line({Text::cannotCreate, phrase(plan.why())}, Text::cannotCreateHelp);
  }
}

// A disk that has changed or gone since it was ticked is ticked no more.
static void forgetChanged(Draw &draw) {
  PoolArray<Target> &members = draw.page.creation.members;
  for (UINT32 i = members.count; draw.all.isWhole() && i-- > 0;) {
    const RAID_PD_RECORD *disk = draw.all.disk(members.items[i].id);
    if (disk == nullptr || printOf(*disk) != members.items[i].print) {
      arrayRemove(members, i);
    }
  }
}

void drawCreate(Draw &draw) {
  draw.begin(FormId::create, Text::createTitle);
  draw.note();
  drawLevel(draw);
  forgetChanged(draw);
  Plan plan(draw.page, draw.all);
  if (EFI_ERROR(plan.status())) {
    draw.failed = true;
    return;
  }
  drawChoices(draw, plan.level());
  if (plan.level() != nullptr) {
    draw.forms.number(draw.question(Ask::howMany, Text::howMany, Text::howManyHelp), sizeof(UINT8), 0, 0xFF);
  }
  drawEnd(draw, plan);
  drawTicks(draw, plan);
  drawOthers(draw, plan);
}

} // namespace xyl::images::setup
