// The page as a whole.
#include "images/setup/draw.h"

namespace xyl::images::setup {

const EFI_GUID g_formSetId = {0xde241b55, 0xdfa6, 0x40fd, {0xa1, 0x15, 0x9c, 0x51, 0xe1, 0xbd, 0x10, 0x1b}};
static constexpr EFI_GUID g_deviceManager = EFI_HII_PLATFORM_SETUP_FORMSET_GUID;

// Where the controller is, for a title that no other page has.
static EFI_STRING_ID titleOf(Draw &draw) {
  const RAID_ADAPTER_RECORD *adapter = draw.all.adapter();
  bool isNamed = adapter != nullptr && adapter->Name != nullptr && adapter->Name[0] != 0;
  Part name = isNamed ? wide(adapter->Name) : word(Text::unnamedController);
  Phrase place = placeOf(draw);
  bool isFirst = draw.page.number == 0;
  return draw.strings.line(
      {isFirst ? Text::title : Text::titleAgain, name, phrase(place), number(draw.page.number + UINT64{1})});
}

static constexpr void (*g_drawings[])(Draw &draw) = {drawOverview, drawVirtualDisks, drawDisks,    drawSpares,
                                                     drawCreate,   drawForeign,      drawSettings, drawVirtualDisk,
                                                     drawDisk,     drawConfirm};

void drawPage(Page *page, const Snapshot &all, Bytes *list) {
  Draw draw = {.page = *page, .all = all, .forms = {}, .strings = {}};
  draw.title = titleOf(draw);
  draw.forms.formSet(g_formSetId, draw.title, draw.strings.word(Text::titleHelp), g_deviceManager);
  storeSettings(draw);
  for (auto drawing : g_drawings) {
    drawing(draw);
    draw.forms.end();
  }
  draw.forms.end();
  EFI_HII_PACKAGE_LIST_HEADER header = {g_formSetId, 0};
  list->put(header);
  draw.forms.finish(list);
  draw.strings.finish(list);
  list->put(UINT32{sizeof(EFI_HII_PACKAGE_HEADER) | EFI_HII_PACKAGE_END << EFI_HII_PACKAGE_TYPE_SHIFT});
  if (draw.failed) {
    list->fail();
  }
  if (list->failed()) {
    release(draw.targets.items);
    return;
  }
  header.Length = static_cast<UINT32>(list->size());
  copyBytes(list->data(), &header, sizeof(header));
  release(page->targets.items);
  page->targets = draw.targets;
}

} // namespace xyl::images::setup
