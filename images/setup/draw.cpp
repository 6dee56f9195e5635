#include "images/setup/draw.h"

namespace xyl::images::setup {

// --- Lines ---

void Draw::begin(FormId form, Text text) {
  forms.form(static_cast<EFI_FORM_ID>(form), strings.word(text));
}

static EFI_STRING_ID textOf(Strings *strings, const Phrase &phrase) {
  return phrase.hasParts() ? strings->line(phrase) : strings->word(phrase.pattern());
}

void Draw::heading(const Phrase &text) {
  forms.subtitle(textOf(&strings, text), strings.word(Text::none));
}

void Draw::heading(Text text) {
  heading(Phrase(text));
}

void Draw::line(Text text, Text help) {
  line(Phrase(text), help);
}

void Draw::line(const Phrase &text, Text help) {
  forms.text(textOf(&strings, text), strings.word(help), 0);
}

void Draw::row(Text prompt, const Phrase &value, Text help) {
  forms.text(strings.word(prompt), strings.word(help), textOf(&strings, value));
}

Question Draw::question(Ask ask, const Phrase &prompt, Text help) {
  return {.prompt = textOf(&strings, prompt), .help = strings.word(help), .id = static_cast<EFI_QUESTION_ID>(ask)};
}

Question Draw::question(Ask ask, Text prompt, Text help) {
  return question(ask, Phrase(prompt), help);
}

void Draw::reference(Ask ask, const Phrase &prompt, Text help, FormId form) {
  forms.reference(question(ask, prompt, help), static_cast<EFI_FORM_ID>(form));
}

void Draw::reference(Ask ask, Text prompt, Text help, FormId form) {
  reference(ask, Phrase(prompt), help, form);
}

void Draw::action(Ask ask, Text prompt, Text help) {
  forms.action(question(ask, prompt, help));
}

EFI_QUESTION_ID Draw::addTarget(const Target &target) {
  Target *added = targets.count < 0xC000 ? arrayAppend(targets) : nullptr;
  if (added == nullptr) {
    failed = true;
    return static_cast<EFI_QUESTION_ID>(Ask::target);
  }
  *added = target;
  return static_cast<EFI_QUESTION_ID>(static_cast<UINT32>(Ask::target) + targets.count - 1);
}

void Draw::objectReference(const Target &target, const Phrase &prompt, Text help, FormId form) {
  reference(static_cast<Ask>(addTarget(target)), prompt, help, form);
}

void Draw::objectTick(const Target &target, const Phrase &prompt, Text help) {
  forms.checkbox(question(static_cast<Ask>(addTarget(target)), prompt, help));
}

void Draw::note() {
  const Note &note = page.note;
  if (note.text == Text::none) {
    return;
  }
  Phrase status = statusOf(note.status);
  line({note.text, byLanguage(note.subjects[0], nameCapacity), phrase(status)}, Text::noteHelp);
  blank();
}

// --- Words ---

Text stateWord(UINT64 state) {
  switch (state) {
  case RAID_STATE_ONLINE:
    return Text::stateOnline;
  case RAID_STATE_READY:
    return Text::stateReady;
  case RAID_STATE_FAILED:
    return Text::stateFailed;
  case RAID_STATE_FOREIGN:
    return Text::stateForeign;
  case RAID_STATE_OFFLINE:
    return Text::stateOffline;
  case RAID_STATE_DEGRADED:
    return Text::stateDegraded;
  default:
    return Text::stateUnknown;
  }
}

Phrase statusOf(EFI_STATUS status) {
  static constexpr struct {
    UINT8 code;
    Text word;
  } rows[] = {{2, Text::statusWrong},   {3, Text::statusUnsupported}, {6, Text::statusNotReady},
              {7, Text::statusDevice},  {8, Text::statusProtected},   {9, Text::statusMemory},
              {11, Text::statusFull},   {14, Text::statusNotFound},   {15, Text::statusDenied},
              {18, Text::statusTimeout}};
  static_assert(EFI_TIMEOUT == EFI_ERROR_CODE(18));
  for (const auto &row : rows) {
    if (status == EFI_ERROR_CODE(row.code)) {
      return row.word;
    }
  }
  return {Text::statusOther, hex(status, 16)};
}

Phrase nameOf(const RAID_VD_RECORD &virtualDisk) {
  bool isNamed = virtualDisk.Name != nullptr && virtualDisk.Name[0] != 0;
  return isNamed ? Phrase(wide(virtualDisk.Name)) : Phrase(Text::numbered, number(virtualDisk.ObjectID));
}

Phrase kindOf(const RAID_PD_RECORD &disk) {
  return {fitting::isSolidState(disk) ? Text::solidState : Text::hardDisk,
          plain(driver::GetNameFromValue(disk.Protocol, driver::g_protocolTable))};
}

VirtualDiskLine::VirtualDiskLine(const RAID_VD_RECORD &virtualDisk)
    : name(nameOf(virtualDisk)), line{Text::virtualDiskLine, phrase(name), levelOf(virtualDisk.RAIDLevel),
                                      sizeOf(virtualDisk.Size), word(stateWord(virtualDisk.State))} {}

Use::Use(const Snapshot &all, const RAID_PD_RECORD &disk) : isAny(false) {
  if (disk.Hotspare == RAID_HOTSPARE_GLOBAL) {
    isAny = true;
    use = Text::spareForAll;
    return;
  }
  if (disk.VDCount == 0 || disk.VDs == nullptr) {
    return;
  }
  isAny = true;
  const RAID_VD_RECORD *first = all.virtualDisk(disk.VDs[0]);
  name = first != nullptr ? nameOf(*first) : Phrase(Text::numbered, number(disk.VDs[0]));
  names = disk.VDCount == 1 ? name : Phrase(Text::andMore, phrase(name), number(disk.VDCount - 1U));
  use = {isSpare(disk) ? Text::spareFor : Text::usedIn, phrase(names)};
}

DiskLine::DiskLine(const Snapshot &all, const RAID_PD_RECORD &disk)
    : use(all, disk), kind(kindOf(disk)), line{use.isAny ? Text::diskLineUsed : Text::diskLine,
                                               number(disk.Slot),
                                               sizeOf(disk.Size),
                                               phrase(kind),
                                               word(stateWord(disk.State)),
                                               phrase(use.use)} {}

Part enclosureNumber(const RAID_PD_RECORD &disk) {
  bool isDirect = disk.EnclosureDeviceID == RAID_ENCLOSURE_NONE;
  return isDirect ? word(Text::directShort) : number(disk.EnclosureObjectID);
}

PlacedDiskLine::PlacedDiskLine(const Snapshot &all, const RAID_PD_RECORD &disk)
    : use(all, disk),
      kind(kindOf(disk)), line{Text::diskPlaced,  enclosureNumber(disk),
                               number(disk.Slot), sizeOf(disk.Size),
                               phrase(kind),      isSpare(disk) ? phrase(use.use) : word(stateWord(disk.State))} {}

} // namespace xyl::images::setup
