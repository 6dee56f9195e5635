#include "client/verbs/create_disks.h"

#include "base/pool.h"
#include "base/text.h"

// --- Disks that are picked: --count ---

static fitting::Disks disksOf(const RAID_CONFIG &config) {
  return {config.physicalDisks, config.physicalDiskCount};
}

static bool isChosen(const CHOICE &choice, UINT32 place) {
  for (UINT32 i = 0; i < choice.Count; ++i) {
    if (choice.Places[i] == place) {
      return true;
    }
  }
  return false;
}

// The free disks that the level takes and that have the room, sorted.
static void collectCandidates(const RAID_CONFIG &config, const CREATION &creation, CHOICE *candidates) {
  for (UINT32 i = 0; i < config.physicalDiskCount; ++i) {
    const RAID_PD_RECORD &disk = config.physicalDisks[i];
    fitting::Kinds kinds = {};
    fitting::addKind(&kinds, disk);
    if (fitting::isFree(disk) && !isChosen(creation.Spares, i) &&
        fitting::judgeKinds(*creation.Level, kinds) == fitting::Verdict::fits &&
        disk.Size >= fitting::shareOf(creation.Layout, creation.Size)) {
      candidates->Places[candidates->Count++] = i;
    }
  }
  fitting::sortByKind(disksOf(config), candidates->Places, candidates->Count);
}

static void sayMembers(const XYL_CONTEXT &context, const RAID_CONFIG &config, const CHOICE &members) {
  if (hasOption(context, XYL_OPTION_JSON) || hasOption(context, XYL_OPTION_SHOW)) {
    return; // the document has them
  }
  const RAID_PD_RECORD &first = config.physicalDisks[members.Places[0]];
  WORD_LIST names = {};
  WORD_LIST kind = {};
  CHAR8 size[SIZE_TEXT_CAPACITY];
  formatSize(size, first.Size);
  appendKind(kind, "", first);
  for (UINT32 i = 0; i < members.Count; ++i) {
    appendDisk(names, ", ", config, config.physicalDisks[members.Places[i]]);
  }
  say(context.Front, "Picked %d of the kind %a, %a: %a\n", members.Count, kind.Text, size, names.Text);
}

static XYL_RESULT pickMembers(const XYL_CONTEXT &context, const RAID_CONFIG &config, UINT32 count, CREATION *creation) {
  CHOICE candidates = {};
  if (!makeChoice(&candidates, config.physicalDiskCount) || !makeChoice(&creation->Members, config.physicalDiskCount)) {
    freeChoice(&candidates);
    complain(context.Front, "there is not enough memory");
    return failed(EFI_OUT_OF_RESOURCES);
  }
  collectCandidates(config, *creation, &candidates);
  UINT32 at = fitting::bestRow(disksOf(config), candidates.Places, candidates.Count, count);
  bool found = at < candidates.Count;
  if (found) {
    copyBytes(creation->Members.Places, candidates.Places + at, count * sizeof(UINT32));
    creation->Members.Count = count;
    fitting::sortByPlace(disksOf(config), creation->Members.Places, count);
    sayMembers(context, config, creation->Members);
  } else {
    WORD_LIST ready = {};
    appendFree(ready, config);
    complain(context.Front,
             "there are no %d Ready disks of one medium, protocol and encryption with the room; Ready "
             "are %a",
             count, orNone(ready.Text));
  }
  freeChoice(&candidates);
  return found ? succeeded() : refused();
}

// --- Disks that are named ---

// Members may be disks that others are on, too; spares may not.
static XYL_RESULT checkFree(const XYL_CONTEXT &context, const RAID_CONFIG &config, const CHOICE &disks, bool shared) {
  for (UINT32 i = 0; i < disks.Count; ++i) {
    const RAID_PD_RECORD &disk = config.physicalDisks[disks.Places[i]];
    if (!fitting::isFree(disk) && (!shared || fitting::roomOf(disk) == 0)) {
      WORD_LIST name = {};
      WORD_LIST ready = {};
      appendDisk(name, "", config, disk);
      appendFree(ready, config);
      complain(context.Front, "disk %a is %a; Ready are %a", name.Text, stateOf(disk), orNone(ready.Text));
      return refused();
    }
  }
  return succeeded();
}

static XYL_RESULT checkSpares(const XYL_CONTEXT &context, const RAID_CONFIG &config, const CREATION &creation) {
  for (UINT32 i = 0; i < creation.Spares.Count; ++i) {
    if (isChosen(creation.Members, creation.Spares.Places[i])) {
      complain(context.Front, "disk %d cannot be a member and the spare",
               config.physicalDisks[creation.Spares.Places[i]].ObjectID);
      return wrongUsage();
    }
  }
  return succeeded();
}

static XYL_RESULT checkKinds(const XYL_CONTEXT &context, const RAID_CONFIG &config, const CREATION &creation) {
  fitting::Kinds kinds = {};
  const CHOICE *choices[] = {&creation.Members, &creation.Spares};
  for (const CHOICE *disks : choices) {
    for (UINT32 i = 0; i < disks->Count; ++i) {
      const RAID_PD_RECORD &disk = config.physicalDisks[disks->Places[i]];
      fitting::addKind(&kinds, disk);
      fitting::Verdict verdict = fitting::judgeKinds(*creation.Level, kinds);
      if (verdict != fitting::Verdict::fits) {
        WORD_LIST kind = {};
        appendKind(kind, "", disk);
        complain(context.Front, "disk %d, a %a, cannot be in it: %a", disk.ObjectID, kind.Text,
                 whyNotTogether(verdict));
        return refused();
      }
    }
  }
  return succeeded();
}

static UINT64 smallestOf(const RAID_CONFIG &config, const CHOICE &disks) {
  UINT64 smallest = ~0ULL;
  for (UINT32 i = 0; i < disks.Count; ++i) {
    UINT64 size = fitting::roomOf(config.physicalDisks[disks.Places[i]]);
    smallest = size < smallest ? size : smallest;
  }
  return smallest;
}

static XYL_RESULT checkRoom(const XYL_CONTEXT &context, const RAID_CONFIG &config, const CREATION &creation) {
  UINT64 member = smallestOf(config, creation.Members);
  UINT64 share = fitting::shareOf(creation.Layout, creation.Size);
  CHAR8 size[SIZE_TEXT_CAPACITY];
  if (share > member) {
    formatSize(size, member * creation.Layout.dataMembers);
    complain(context.Front, "--size %a is more than the disks have room for, which is %a",
             context.Request->Options[XYL_OPTION_SIZE], size);
    return refused();
  }
  UINT64 wanted = creation.Size != 0 ? share : member;
  if (creation.Layout.dataMembers != 0 && smallestOf(config, creation.Spares) < wanted) {
    formatSize(size, wanted);
    complain(context.Front, "the spare is smaller than what each member holds, which is %a", size);
    return refused();
  }
  return succeeded();
}

static XYL_RESULT readCount(const XYL_CONTEXT &context, UINT32 *count) {
  const CHAR8 *text = context.Request->Options[XYL_OPTION_HOW_MANY];
  UINT64 number = parseDecimal(text);
  if (!isNumber(text) || number == 0 || number > 0xFFFFFFFFU) {
    complain(context.Front, "--count wants a number of disks, not '%a'", text);
    return wrongUsage();
  }
  *count = static_cast<UINT32>(number);
  return succeeded();
}

XYL_RESULT chooseMembers(const XYL_CONTEXT &context, const RAID_CONFIG &config, CREATION *creation) {
  bool picks = hasOption(context, XYL_OPTION_HOW_MANY);
  if (picks == hasOption(context, XYL_OPTION_DISKS)) {
    complain(context.Front, "give either --disks DISK,DISK or --count N");
    return wrongUsage();
  }
  XYL_RESULT result = chooseDisks(context, config, context.Request->Options[XYL_OPTION_SPARE], &creation->Spares);
  UINT32 count = 0;
  if (!isFailure(result)) {
    result = picks ? readCount(context, &count)
                   : chooseDisks(context, config, context.Request->Options[XYL_OPTION_DISKS], &creation->Members);
  }
  if (!isFailure(result)) {
    result = checkCount(context, *config.adapter, *creation->Level, picks ? count : creation->Members.Count,
                        &creation->Layout);
  }
  if (!isFailure(result) && picks) {
    result = pickMembers(context, config, count, creation);
  }
  if (!isFailure(result)) {
    result = checkFree(context, config, creation->Members, /* shared= */ true);
  }
  if (!isFailure(result)) {
    result = checkFree(context, config, creation->Spares, /* shared= */ false);
  }
  if (!isFailure(result)) {
    result = checkSpares(context, config, *creation);
  }
  if (!isFailure(result)) {
    result = checkKinds(context, config, *creation);
  }
  return isFailure(result) ? result : checkRoom(context, config, *creation);
}
