// Lists: virtual disks, disks by enclosure and slot, hot spares, disks of others.
#include "images/setup/draw.h"

#include "base/sort.h"

namespace xyl::images::setup {

void drawVirtualDisks(Draw &draw) {
  draw.begin(FormId::virtualDisks, Text::virtualDisks);
  draw.note();
  for (UINT32 i = 0; i < draw.all.virtualDiskCount(); ++i) {
    const RAID_VD_RECORD &virtualDisk = draw.all.virtualDisks()[i];
    draw.objectReference(targetOf(virtualDisk), VirtualDiskLine(virtualDisk).line, Text::lineHelp, FormId::virtualDisk);
  }
  if (draw.all.virtualDiskCount() == 0) {
    draw.line(Text::noneThere, Text::virtualDisksHelp);
  }
  draw.reference(Ask::fromVirtualDisksToCreate, Text::createTitle, Text::createHelp, FormId::create);
}

// --- Disks ---

static void drawEnclosure(Draw &draw, const RAID_ENCLOSURE_RECORD *enclosure) {
  if (enclosure == nullptr) {
    draw.heading(Text::direct);
  } else if (enclosure->Name == nullptr || enclosure->Name[0] == 0) {
    draw.heading({Text::enclosure, number(enclosure->ObjectID)});
  } else {
    draw.heading({Text::enclosureNamed, number(enclosure->ObjectID), wide(enclosure->Name)});
  }
}

// Those of each enclosure one after the other, by their slots.
static void drawByPlace(Draw &draw, UINT32 *places) {
  fitting::Disks disks = draw.all.disks();
  for (UINT32 i = 0; i < disks.count; ++i) {
    places[i] = i;
  }
  fitting::sortByPlace(disks, places, disks.count);
  for (UINT32 i = 0; i < disks.count; ++i) {
    const RAID_PD_RECORD &disk = disks.items[places[i]];
    if (i == 0 || disk.EnclosureObjectID != disks.items[places[i - 1]].EnclosureObjectID) {
      drawEnclosure(draw, draw.all.enclosureOf(disk));
    }
    draw.objectReference(targetOf(disk), DiskLine(draw.all, disk).line, Text::lineHelp, FormId::disk);
  }
}

void drawDisks(Draw &draw) {
  draw.begin(FormId::disks, Text::disks);
  draw.note();
  UINT32 *places = poolNew<UINT32>(draw.all.disks().count + UINTN{1});
  if (places == nullptr) {
    draw.failed = true;
    return;
  }
  drawByPlace(draw, places);
  release(places);
  if (draw.all.disks().count == 0) {
    draw.line(Text::noneThere, Text::disksHelp);
  }
}

// --- Some of them ---

static UINT32 drawEach(Draw &draw, bool (*isMeant)(const RAID_PD_RECORD &disk)) {
  fitting::Disks disks = draw.all.disks();
  UINT32 count = 0;
  for (UINT32 i = 0; i < disks.count; ++i) {
    if (isMeant(disks.items[i])) {
      draw.objectReference(targetOf(disks.items[i]), PlacedDiskLine(draw.all, disks.items[i]).line, Text::lineHelp,
                           FormId::disk);
      ++count;
    }
  }
  return count;
}

void drawSpares(Draw &draw) {
  draw.begin(FormId::spares, Text::spares);
  draw.note();
  if (drawEach(draw, isSpare) == 0) {
    draw.line(Text::noneThere, Text::sparesHelp);
  }
  draw.heading(Text::spareCandidates);
  if (drawEach(draw, fitting::isFree) == 0) {
    draw.line(Text::noneThere, Text::sparesHelp);
  }
}

void drawForeign(Draw &draw) {
  draw.begin(FormId::foreign, Text::foreign);
  draw.note();
  draw.heading(Text::foreignOn);
  if (drawEach(draw, isForeign) == 0) {
    draw.line(Text::noneThere, Text::foreignHelp);
    return;
  }
  draw.blank();
  draw.action(Ask::importForeign, Text::importIt, Text::importHelp);
  draw.reference(Ask::toClear, Text::clearIt, Text::deleteHelp, FormId::confirm);
}

} // namespace xyl::images::setup
