#include "client/verbs/create_disks.h"

#include "base/pool.h"
#include "base/text.h"

namespace xyl::client {

// --- Disks that are picked: --count ---

static fitting::Disks disksOf(const RAID_CONFIG &config) {
  return {config.physicalDisks, config.physicalDiskCount};
}

static bool isChosen(const Choice &choice, UINT32 place) {
  for (UINT32 i = 0; i < choice.count; ++i) {
    if (choice.places[i] == place) {
      return true;
    }
  }
  return false;
}

// The free disks that the level takes and that have the room, sorted.
static void collectCandidates(const RAID_CONFIG &config, const Creation &creation, Choice *candidates) {
  for (UINT32 i = 0; i < config.physicalDiskCount; ++i) {
    const RAID_PD_RECORD &disk = config.physicalDisks[i];
    fitting::Kinds kinds = {};
    fitting::addKind(&kinds, disk);
    if (fitting::isFree(disk) && !isChosen(creation.spares, i) &&
        fitting::judgeKinds(*creation.level, kinds) == fitting::Verdict::fits &&
        disk.Size >= fitting::shareOf(creation.layout, creation.size)) {
      candidates->places[candidates->count++] = i;
    }
  }
  fitting::sortByKind(disksOf(config), candidates->places, candidates->count);
}

static void sayMembers(const Context &context, const RAID_CONFIG &config, const Choice &members) {
  if (hasOption(context, optionJson) || hasOption(context, optionShow)) {
    return; // the document has them
  }
  const RAID_PD_RECORD &first = config.physicalDisks[members.places[0]];
  WordList names = {};
  WordList kind = {};
  CHAR8 size[sizeTextCapacity];
  formatSize(size, first.Size);
  appendKind(kind, "", first);
  for (UINT32 i = 0; i < members.count; ++i) {
    appendDisk(names, ", ", config, config.physicalDisks[members.places[i]]);
  }
  say(context.front, "Picked %d of the kind %a, %a: %a\n", members.count, kind.text, size, names.text);
}

static Result pickMembers(const Context &context, const RAID_CONFIG &config, UINT32 count, Creation *creation) {
  Choice candidates = {};
  if (!makeChoice(&candidates, config.physicalDiskCount) || !makeChoice(&creation->members, config.physicalDiskCount)) {
    freeChoice(&candidates);
    complain(context.front, "there is not enough memory");
    return failed(EFI_OUT_OF_RESOURCES);
  }
  collectCandidates(config, *creation, &candidates);
  UINT32 at = fitting::bestRow(disksOf(config), candidates.places, candidates.count, count);
  bool found = at < candidates.count;
  if (found) {
    copyBytes(creation->members.places, candidates.places + at, count * sizeof(UINT32));
    creation->members.count = count;
    fitting::sortByPlace(disksOf(config), creation->members.places, count);
    sayMembers(context, config, creation->members);
  } else {
    WordList ready = {};
    appendFree(ready, config);
    complain(context.front,
             "there are no %d Ready disks of one medium, protocol and encryption with the room; Ready "
             "are %a",
             count, orNone(ready.text));
  }
  freeChoice(&candidates);
  return found ? succeeded() : refused();
}

// --- Disks that are named ---

// Members may be disks that others are on, too; spares may not.
static Result checkFree(const Context &context, const RAID_CONFIG &config, const Choice &disks, bool shared) {
  for (UINT32 i = 0; i < disks.count; ++i) {
    const RAID_PD_RECORD &disk = config.physicalDisks[disks.places[i]];
    if (!fitting::isFree(disk) && (!shared || fitting::roomOf(disk) == 0)) {
      WordList name = {};
      WordList ready = {};
      appendDisk(name, "", config, disk);
      appendFree(ready, config);
      complain(context.front, "disk %a is %a; Ready are %a", name.text, stateOf(disk), orNone(ready.text));
      return refused();
    }
  }
  return succeeded();
}

static Result checkSpares(const Context &context, const RAID_CONFIG &config, const Creation &creation) {
  for (UINT32 i = 0; i < creation.spares.count; ++i) {
    if (isChosen(creation.members, creation.spares.places[i])) {
      complain(context.front, "disk %d cannot be a member and the spare",
               config.physicalDisks[creation.spares.places[i]].ObjectID);
      return wrongUsage();
    }
  }
  return succeeded();
}

static Result checkKinds(const Context &context, const RAID_CONFIG &config, const Creation &creation) {
  fitting::Kinds kinds = {};
  const Choice *choices[] = {&creation.members, &creation.spares};
  for (const Choice *disks : choices) {
    for (UINT32 i = 0; i < disks->count; ++i) {
      const RAID_PD_RECORD &disk = config.physicalDisks[disks->places[i]];
      fitting::addKind(&kinds, disk);
      fitting::Verdict verdict = fitting::judgeKinds(*creation.level, kinds);
      if (verdict != fitting::Verdict::fits) {
        WordList kind = {};
        appendKind(kind, "", disk);
        complain(context.front, "disk %d, a %a, cannot be in it: %a", disk.ObjectID, kind.text,
                 whyNotTogether(verdict));
        return refused();
      }
    }
  }
  return succeeded();
}

static UINT64 smallestOf(const RAID_CONFIG &config, const Choice &disks) {
  UINT64 smallest = ~0ULL;
  for (UINT32 i = 0; i < disks.count; ++i) {
    UINT64 size = fitting::roomOf(config.physicalDisks[disks.places[i]]);
    smallest = size < smallest ? size : smallest;
  }
  return smallest;
}

static Result checkRoom(const Context &context, const RAID_CONFIG &config, const Creation &creation) {
  UINT64 member = smallestOf(config, creation.members);
  UINT64 share = fitting::shareOf(creation.layout, creation.size);
  CHAR8 size[sizeTextCapacity];
  if (share > member) {
    formatSize(size, member * creation.layout.dataMembers);
    complain(context.front, "--size %a is more than the disks have room for, which is %a",
             context.request->options[optionSize], size);
    return refused();
  }
  UINT64 wanted = creation.size != 0 ? share : member;
  if (creation.layout.dataMembers != 0 && smallestOf(config, creation.spares) < wanted) {
    formatSize(size, wanted);
    complain(context.front, "the spare is smaller than what each member holds, which is %a", size);
    return refused();
  }
  return succeeded();
}

static Result readCount(const Context &context, UINT32 *count) {
  const CHAR8 *text = context.request->options[optionHowMany];
  UINT64 number = parseDecimal(text);
  if (!isNumber(text) || number == 0 || number > 0xFFFFFFFFU) {
    complain(context.front, "--count wants a number of disks, not '%a'", text);
    return wrongUsage();
  }
  *count = static_cast<UINT32>(number);
  return succeeded();
}

Result chooseMembers(const Context &context, const RAID_CONFIG &config, Creation *creation) {
  bool picks = hasOption(context, optionHowMany);
  if (picks == hasOption(context, optionDisks)) {
    complain(context.front, "give either --disks DISK,DISK or --count N");
    return wrongUsage();
  }
  Result result = chooseDisks(context, config, context.request->options[optionSpare], &creation->spares);
  UINT32 count = 0;
  if (!isFailure(result)) {
    result = picks ? readCount(context, &count)
                   : chooseDisks(context, config, context.request->options[optionDisks], &creation->members);
  }
  if (!isFailure(result)) {
    result = checkCount(context, *config.adapter, *creation->level, picks ? count : creation->members.count,
                        &creation->layout);
  }
  if (!isFailure(result) && picks) {
    result = pickMembers(context, config, count, creation);
  }
  if (!isFailure(result)) {
    result = checkFree(context, config, creation->members, /* shared= */ true);
  }
  if (!isFailure(result)) {
    result = checkFree(context, config, creation->spares, /* shared= */ false);
  }
  if (!isFailure(result)) {
    result = checkSpares(context, config, *creation);
  }
  if (!isFailure(result)) {
    result = checkKinds(context, config, *creation);
  }
  return isFailure(result) ? result : checkRoom(context, config, *creation);
}

} // namespace xyl::client
