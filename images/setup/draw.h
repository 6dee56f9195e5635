// What the forms of a page say, a routine a form.
#pragma once

#include "driver/xml/xml.h"
#include "images/setup/forms.h"
#include "images/setup/page.h"

namespace xyl::images::setup {

// A drawing of all forms of a page.
struct Draw {
  Page &page;
  const Snapshot &all;
  Forms forms;
  Strings strings;
  EFI_STRING_ID title = 0; // of the page
  PoolArray<Target> targets = {};
  bool failed = false; // no memory for a target

  void begin(FormId form, Text text);
  // A line over others.
  void heading(const Phrase &text);
  void heading(Text text);
  void blank() { heading(Text::none); }
  void line(const Phrase &text, Text help);
  void line(Text text, Text help);
  void row(Text prompt, const Phrase &value, Text help);
  // A line that leads to another form, and one that does something.
  void reference(Ask ask, const Phrase &prompt, Text help, FormId form);
  void reference(Ask ask, Text prompt, Text help, FormId form);
  void action(Ask ask, Text prompt, Text help);
  // A line that stands for an object.
  void objectReference(const Target &target, const Phrase &prompt, Text help, FormId form);
  void objectTick(const Target &target, const Phrase &prompt, Text help);
  // What came of the last action, if any.
  void note();
  Question question(Ask ask, const Phrase &prompt, Text help);
  Question question(Ask ask, Text prompt, Text help);

private:
  EFI_QUESTION_ID addTarget(const Target &target);
};

// --- Words for what records hold ---

Text stateWord(UINT64 state);
// A name, or a number where there is none.
Phrase nameOf(const RAID_VD_RECORD &virtualDisk);
// "SAS hard disk"
Phrase kindOf(const RAID_PD_RECORD &disk);
inline Part levelOf(UINT32 level) {
  return plain(driver::GetNameFromValue(level, driver::g_raidLevelTable));
}
Phrase statusOf(EFI_STATUS status);

// Phrases that one is made of live as long as that.
struct VirtualDiskLine {
  VirtualDiskLine(const RAID_VD_RECORD &virtualDisk);
  Phrase name;
  Phrase line; // "System: RAID 1, 600.12 GB, Online"
};

// What a disk is used for.
struct Use {
  Use(const Snapshot &all, const RAID_PD_RECORD &disk);
  bool isAny;
  Phrase name;
  Phrase names;
  Phrase use; // "in System"
};

struct DiskLine {
  DiskLine(const Snapshot &all, const RAID_PD_RECORD &disk);
  Use use;
  Phrase kind;
  Phrase line; // "Slot 2: 600.12 GB SAS hard disk, Online, in System"
};

// Where a disk of any enclosure may stand: "301:2, 600.12 GB SAS HDD, Online".
struct PlacedDiskLine {
  PlacedDiskLine(const Snapshot &all, const RAID_PD_RECORD &disk);
  Use use;
  Phrase kind;
  Phrase line;
};

// As in "301:2".
Part enclosureNumber(const RAID_PD_RECORD &disk);

inline Target targetOf(const RAID_VD_RECORD &virtualDisk) {
  return {Kind::virtualDisk, virtualDisk.ObjectID, printOf(virtualDisk), 0};
}
inline Target targetOf(const RAID_PD_RECORD &disk) {
  return {Kind::disk, disk.ObjectID, printOf(disk), 0};
}

// Where the controller is: "PCI 03:00.0", or the page's number.
Phrase placeOf(const Draw &draw);

// --- The forms ---

// What the settings form keeps its values in; before all forms.
void storeSettings(Draw &draw);

void drawOverview(Draw &draw);
void drawVirtualDisks(Draw &draw);
void drawDisks(Draw &draw);
void drawSpares(Draw &draw);
void drawForeign(Draw &draw);
void drawVirtualDisk(Draw &draw);
void drawDisk(Draw &draw);
void drawConfirm(Draw &draw);
void drawCreate(Draw &draw);
void drawSettings(Draw &draw);

} // namespace xyl::images::setup
