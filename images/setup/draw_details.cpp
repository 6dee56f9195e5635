// One virtual disk, one disk, and the page that asks before something is lost. Each is drawn anew for its object.
#include "images/setup/draw.h"
#include "images/setup/policies.h"

namespace xyl::images::setup {

static void detail(Draw &draw, Text prompt, const Phrase &value) {
  draw.row(prompt, value, Text::detailHelp);
}

static __attribute__((noinline)) void detail(Draw &draw, Text prompt, const Part &value) {
  draw.row(prompt, Phrase(value), Text::detailHelp);
}

static __attribute__((noinline)) void detail(Draw &draw, Text prompt, Text value) {
  draw.row(prompt, Phrase(value), Text::detailHelp);
}

static void textDetail(Draw &draw, Text prompt, const CHAR16 *text) {
  if (text != nullptr && text[0] != 0) {
    detail(draw, prompt, wide(text));
  }
}

// --- A virtual disk ---

static void drawPolicies(Draw &draw, const RAID_VD_RECORD &virtualDisk) {
  UINT32 stripe = stripeBytes(virtualDisk.StripeSize);
  if (stripe != 0) {
    detail(draw, Text::stripe, roomOf(stripe));
  }
  for (const CacheGroup &group : g_cacheGroups) {
    Text value = group.wordOf(virtualDisk.CurrentCachePolicy & group.mask);
    if (value != Text::none) {
      detail(draw, group.name, value);
    }
  }
}

static void drawMembers(Draw &draw, const RAID_VD_RECORD &virtualDisk) {
  draw.heading(Text::members);
  for (UINT32 i = 0; virtualDisk.PDs != nullptr && i < virtualDisk.PDCount; ++i) {
    UINT32 id = virtualDisk.PDs[i];
    const RAID_PD_RECORD *disk = draw.all.disk(id);
    if (disk != nullptr) {
      draw.objectReference(targetOf(*disk), PlacedDiskLine(draw.all, *disk).line, Text::lineHelp, FormId::disk);
      continue;
    }
    draw.line({Text::missingMember, number(id)}, Text::missingMemberHelp);
    if (draw.page.isOnDisks) {
      draw.objectReference({Kind::missing, id, printOf(virtualDisk), virtualDisk.ObjectID},
                           {Text::failMember, number(id)}, Text::deleteHelp, FormId::confirm);
    }
  }
}

static bool standsBy(const RAID_PD_RECORD &disk, UINT32 virtualDisk) {
  for (UINT32 i = 0; disk.Hotspare == RAID_HOTSPARE_DEDICATED && disk.VDs != nullptr && i < disk.VDCount; ++i) {
    if (disk.VDs[i] == virtualDisk) {
      return true;
    }
  }
  return false;
}

static void drawItsSpares(Draw &draw, const RAID_VD_RECORD &virtualDisk) {
  fitting::Disks disks = draw.all.disks();
  bool isFirst = true;
  for (UINT32 i = 0; i < disks.count; ++i) {
    const RAID_PD_RECORD &disk = disks.items[i];
    if (!standsBy(disk, virtualDisk.ObjectID)) {
      continue;
    }
    if (isFirst) {
      draw.heading(Text::sparesOfIt);
      isFirst = false;
    }
    draw.objectReference(targetOf(disk), PlacedDiskLine(draw.all, disk).line, Text::lineHelp, FormId::disk);
  }
}

void drawVirtualDisk(Draw &draw) {
  draw.begin(FormId::virtualDisk, Text::virtualDisk);
  draw.note();
  Target &shown = draw.page.virtualDisk;
  const RAID_VD_RECORD *found = shown.kind == Kind::virtualDisk ? draw.all.virtualDisk(shown.id) : nullptr;
  if (found == nullptr) {
    draw.line(Text::gone, Text::detailHelp);
    draw.reference(Ask::fromGoneToVirtualDisks, Text::virtualDisks, Text::virtualDisksHelp, FormId::virtualDisks);
    return;
  }
  const RAID_VD_RECORD &virtualDisk = *found;
  shown.print = printOf(virtualDisk);
  draw.heading(nameOf(virtualDisk));
  detail(draw, Text::state, stateWord(virtualDisk.State));
  detail(draw, Text::level, levelOf(virtualDisk.RAIDLevel));
  detail(draw, Text::size, sizeOf(virtualDisk.Size));
  drawPolicies(draw, virtualDisk);
  if ((virtualDisk.Attributes & RAID_VD_ATTRIBUTE_FDE) != 0) {
    detail(draw, Text::secured, Text::yes);
  }
  textDetail(draw, Text::fqdd, virtualDisk.FQDD);
  drawMembers(draw, virtualDisk);
  drawItsSpares(draw, virtualDisk);
  draw.blank();
  draw.reference(Ask::toDelete, Text::deleteIt, Text::deleteHelp, FormId::confirm);
}

// --- A disk ---

static void drawPlace(Draw &draw, const RAID_PD_RECORD &disk) {
  const RAID_ENCLOSURE_RECORD *enclosure = draw.all.enclosureOf(disk);
  if (enclosure == nullptr) {
    detail(draw, Text::slot, {Text::slotDirect, number(disk.Slot)});
  } else {
    detail(draw, Text::slot, {Text::slotInEnclosure, number(enclosure->ObjectID), number(disk.Slot)});
  }
}

static void drawIdentity(Draw &draw, const RAID_PD_RECORD &disk) {
  drawPlace(draw, disk);
  Phrase maker = fixed(disk.ManufactureName);
  detail(draw, Text::model, {Text::pair, phrase(maker), fixed(disk.ModelName)});
  if (disk.ObjVersion != 0) {
    detail(draw, Text::serial, fixed(disk.SerialNumber));
    detail(draw, Text::revision, fixed(disk.Revision));
  }
  detail(draw, Text::wwn, hex(disk.WWN, 16));
  textDetail(draw, Text::fqdd, disk.FQDD);
}

// Options for the virtual disks that the disk can stand by for, or why it cannot for the others; whether there are any.
static bool drawDedications(Draw &draw, const RAID_PD_RECORD &disk, const RAID_ADAPTER_RECORD &adapter, bool canBe) {
  bool isAny = false;
  for (UINT32 i = 0; i < draw.all.virtualDiskCount(); ++i) {
    const RAID_VD_RECORD &virtualDisk = draw.all.virtualDisks()[i];
    UINT64 share = 0;
    fitting::Verdict verdict = fitting::judgeSpare(adapter, draw.all.disks(), disk, virtualDisk, &share);
    if ((verdict == fitting::Verdict::fits) != canBe) {
      continue;
    }
    Phrase name = nameOf(virtualDisk);
    if (!canBe) {
      Phrase why(verdictWord(verdict), sizeOf(share));
      draw.line({Text::noSpareFor, phrase(name), phrase(why)}, Text::dedicatedToHelp);
      continue;
    }
    if (!isAny) {
      draw.forms.oneOf(draw.question(Ask::spareFor, Text::dedicatedTo, Text::dedicatedToHelp), sizeof(UINT32));
      draw.page.spareFor = draw.page.spareFor == 0 ? virtualDisk.ObjectID : draw.page.spareFor;
      isAny = true;
    }
    draw.forms.option(draw.strings.line(name), sizeof(UINT32), virtualDisk.ObjectID, false);
  }
  return isAny;
}

static void drawSpareActions(Draw &draw, const RAID_PD_RECORD &disk) {
  draw.blank();
  const RAID_ADAPTER_RECORD *adapter = draw.all.adapter();
  if (isSpare(disk)) {
    draw.action(Ask::freeSpare, Text::freeSpare, Text::freeSpareHelp);
  } else if (!fitting::isFree(disk)) {
    draw.line(Text::noSpareBecause, Text::detailHelp);
  } else {
    draw.action(Ask::makeGlobal, Text::makeGlobal, Text::makeGlobalHelp);
    if (adapter == nullptr) {
      return;
    }
    if (drawDedications(draw, disk, *adapter, true)) {
      draw.forms.end();
      draw.action(Ask::makeDedicated, Text::makeDedicated, Text::makeDedicatedHelp);
    }
    drawDedications(draw, disk, *adapter, false);
  }
}

void drawDisk(Draw &draw) {
  draw.begin(FormId::disk, Text::disk);
  draw.note();
  Target &shown = draw.page.disk;
  const RAID_PD_RECORD *found = shown.kind == Kind::disk ? draw.all.disk(shown.id) : nullptr;
  if (found == nullptr) {
    draw.line(Text::gone, Text::detailHelp);
    draw.reference(Ask::fromGoneToDisks, Text::disks, Text::disksHelp, FormId::disks);
    return;
  }
  const RAID_PD_RECORD &disk = *found;
  shown.print = printOf(disk);
  textDetail(draw, Text::disk, disk.Name);
  detail(draw, Text::state, stateWord(disk.State));
  Use use(draw.all, disk);
  detail(draw, Text::usedFor, use.isAny ? use.use : Phrase(Text::nothing));
  if ((disk.Attributes & RAID_PD_ATTRIBUTE_SMART) != 0) {
    detail(draw, Text::predicts, Text::yes);
  }
  detail(draw, Text::kind, kindOf(disk));
  detail(draw, Text::size, sizeOf(disk.Size));
  detail(draw, Text::freeRoom, sizeOf(fitting::roomOf(disk)));
  drawIdentity(draw, disk);
  drawSpareActions(draw, disk);
}

// --- The page that asks ---

// What is lost; *print is a checksum over that. False when there is nothing.
static bool drawLoss(Draw &draw, const Target &doomed, UINT64 *print) {
  UINT32 foreign = 0;
  const RAID_VD_RECORD *virtualDisk = nullptr;
  switch (doomed.kind) {
  case Kind::virtualDisk:
  case Kind::missing:
    virtualDisk = draw.all.virtualDisk(doomed.kind == Kind::missing ? doomed.of : doomed.id);
    if (virtualDisk == nullptr) {
      return false;
    }
    *print = printOf(*virtualDisk);
    draw.heading({doomed.kind == Kind::missing ? Text::failLoses : Text::deleteLoses, number(doomed.id)});
    draw.line(VirtualDiskLine(*virtualDisk).line, Text::detailHelp);
    return true;
  case Kind::foreign:
    *print = foreignPrint(draw.all.disks(), &foreign);
    if (foreign != 0) {
      draw.heading(Text::clearLoses);
    }
    for (UINT32 i = 0; i < draw.all.disks().count; ++i) {
      const RAID_PD_RECORD &disk = draw.all.disks().items[i];
      if (isForeign(disk)) {
        draw.line(PlacedDiskLine(draw.all, disk).line, Text::detailHelp);
      }
    }
    return foreign != 0;
  default:
    return false;
  }
}

static Text confirmWord(Kind kind) {
  return kind == Kind::virtualDisk ? Text::deleteNow : kind == Kind::missing ? Text::failNow : Text::clearNow;
}

void drawConfirm(Draw &draw) {
  Page &page = draw.page;
  draw.begin(FormId::confirm, Text::sure);
  draw.note();
  UINT64 print = 0;
  bool isAny = drawLoss(draw, page.doomed, &print);
  if (!isAny || print != page.doomed.print) { // a tick was for what was shown then
    page.sure = false;
    page.doomed.print = print;
  }
  if (!isAny) {
    page.doomed = {};
    draw.line(Text::nothingToConfirm, Text::backHelp);
    return;
  }
  draw.blank();
  draw.forms.checkbox(draw.question(Ask::sure, Text::iAmSure, Text::iAmSureHelp));
  draw.forms.grayOutIf(static_cast<EFI_QUESTION_ID>(Ask::sure), 0);
  draw.action(Ask::confirm, confirmWord(page.doomed.kind), Text::nowHelp);
  draw.forms.end();
}

} // namespace xyl::images::setup
