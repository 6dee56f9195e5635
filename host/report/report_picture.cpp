// The enclosures slot by slot, and the disks that are attached to the adapter.
#include <algorithm>

#include "base/text.h"
#include "host/common/common.h"
#include "host/report/report_sections.h"

namespace xyl::host::report {

// More slots than an enclosure has in practice are not drawn, so that a wrong number makes no endless page.
static constexpr UINT64 slotLimit = 256;
static constexpr size_t badgesShown = 3;
// With more virtual disks their table has to explain the letters.
static constexpr size_t virtualDisksInLegend = 16;

// What a screen reader says for a slot, and what the bar below the page shows.
static std::string slotWords(const Report &report, const Disk &disk) {
  std::string words = "Slot " + fieldOf(disk.node, "Slot") + ": " + disk.status->words;
  std::string spare = spareWords(disk.node);
  words +=
      spare.empty() || normalised(spare).find(normalised(disk.status->words).substr(0, 5)) == 0 ? "" : ", " + spare;
  for (size_t virtualDisk : disk.virtualDisks) {
    const VirtualDisk &target = report.model.virtualDisks[virtualDisk];
    words += std::string(spare.empty() ? ", in " : ", for ") + target.letter + " " + virtualDiskTitle(target);
  }
  words += ", " + sizeOf(disk.node, "Size") + " " + kindOfDisk(disk.node);
  std::string model = modelOfDisk(disk.node);
  std::string serial = fieldOf(disk.node, "SerialNumber");
  words += (model.empty() ? "" : ", " + model) + (serial.empty() ? "" : ", serial number " + serial);
  std::string mark = markWords(report.changes, disk.node);
  return words + ", disk " + fieldOf(disk.node, "ObjectID") + (mark.empty() ? "" : ", " + mark);
}

static void putSlotTop(Report &report, const std::string &slot) {
  put(report.page, R"(<span class="top"><b>%</b>)", {slot});
}

static void putDiskSlot(Report &report, const Disk &disk) {
  std::string &page = report.page;
  std::string words = slotWords(report, disk);
  put(page, R"(<li><a class="slot %" id="s%" href="#%" aria-label="%">)",
      {disk.status->style, disk.anchor, disk.anchor, words});
  putSlotTop(report, fieldOf(disk.node, "Slot"));
  putMark(page, report.changes, disk.node);
  put(page, "</span><span class=\"badges\">");
  for (size_t i = 0; i < std::min(disk.virtualDisks.size(), badgesShown); ++i) {
    putBadge(page, report.model, disk.virtualDisks[i]);
  }
  if (disk.virtualDisks.size() > badgesShown) {
    put(page, "<b>+%</b>", {std::to_string(disk.virtualDisks.size() - badgesShown)});
  }
  put(page, "</span><span class=\"size\">%</span><span class=\"state\">", {sizeOf(disk.node, "Size")});
  putSign(page, disk.status->style);
  put(page, "<span>%</span></span><span class=\"card\">%</span></a></li>\n", {disk.status->words, words});
}

static void putEmptySlot(Report &report, const std::string &slot) {
  put(report.page, R"(<li><div class="slot empty"><span class="top"><b>%</b></span><span></span><span></span>
<span class="state">Empty</span></div></li>
)",
      {slot});
}

// A disk that only the older document has, in the slot that it left.
static void putGoneSlot(Report &report, const std::string &slot, const client::Difference &gone) {
  std::string name = documentText(client::textOf(gone.name));
  std::string words = "Slot " + slot + ": removed, " + name + ", " + documentText(client::textOf(gone.older));
  put(report.page, R"(<li><a class="slot gone" href="#differences" aria-label="%">)", {words});
  putSlotTop(report, slot);
  put(report.page,
      R"(<span class="mark">&#8722; removed</span></span><span></span><span>%</span><span class="state">Empty</span>
<span class="card">%</span></a></li>
)",
      {name, words});
}

static const client::Difference *goneFrom(const Report &report, const XML_NODE *enclosure, UINT64 slot) {
  if (report.changes == nullptr) {
    return nullptr;
  }
  for (const client::Difference *removed : report.changes->removedDisks) {
    if (numberOf(removed->oldNode, "Slot") == slot &&
        textEqual(client::childText(removed->oldNode, "EnclosureObjectID"), client::childText(enclosure, "ObjectID"))) {
      return removed;
    }
  }
  return nullptr;
}

static std::vector<const Disk *> disksOf(const Report &report, const XML_NODE *enclosure) {
  std::vector<const Disk *> disks;
  for (const Disk &disk : report.model.disks) {
    if (disk.enclosure == enclosure) {
      disks.push_back(&disk);
    }
  }
  std::stable_sort(disks.begin(), disks.end(),
                   [](const Disk *a, const Disk *b) { return numberOf(a->node, "Slot") < numberOf(b->node, "Slot"); });
  return disks;
}

// Every disk is drawn, also those of one slot and those behind the last one.
static void putSlots(Report &report, const XML_NODE *enclosure, UINT64 slotCount) {
  put(report.page, "<ol class=\"slots\">\n");
  UINT64 next = 0;
  auto fillTo = [&](UINT64 end) {
    for (; next < std::min(end, slotCount); ++next) {
      const client::Difference *gone = goneFrom(report, enclosure, next);
      if (gone != nullptr) {
        putGoneSlot(report, std::to_string(next), *gone);
      } else {
        putEmptySlot(report, std::to_string(next));
      }
    }
  };
  for (const Disk *disk : disksOf(report, enclosure)) {
    UINT64 slot = numberOf(disk->node, "Slot");
    fillTo(slot);
    putDiskSlot(report, *disk);
    next = std::max(next, slot < slotCount ? slot + 1 : slotCount);
  }
  fillTo(slotCount);
  put(report.page, "</ol>\n");
}

static void putEnclosureFacts(std::string &page, const XML_NODE *enclosure, size_t disks) {
  static constexpr struct {
    const char *element;
    const char *before;
    const char *behind;
  } facts[] = {{"ServiceTag", "service tag ", ""},
               {"AssetTag", "asset tag ", ""},
               {"EMMCount", "", " modules"},
               {"FanCount", "", " fans"},
               {"PSUCount", "", " power supplies"},
               {"TempProbeCount", "", " temperature probes"},
               {"Port", "port ", ""},
               {"FQDD", "", ""}};
  put(page, "<p class=\"note\">% slots, %", {fieldOf(enclosure, "SlotCount"), countText(disks, "disk")});
  for (const auto &fact : facts) {
    std::string value = fieldOf(enclosure, fact.element);
    if (!value.empty()) {
      put(page, ", %%%", {fact.before, value, fact.behind});
    }
  }
  put(page, textEqual(client::childText(enclosure, "Multipath"), "true") ? ", multipath</p>\n" : "</p>\n");
}

static void putEnclosure(Report &report, size_t number) {
  const XML_NODE *enclosure = report.model.enclosures[number];
  std::string title = "e" + std::to_string(number + 1);
  put(report.page, R"(<section class="enclosure" aria-labelledby="%"><h3 id="%">% )",
      {title, title, enclosureTitle(enclosure)});
  putMark(report.page, report.changes, enclosure);
  put(report.page, "</h3>\n");
  putEnclosureFacts(report.page, enclosure, disksOf(report, enclosure).size());
  putSlots(report, enclosure, std::min(numberOf(enclosure, "SlotCount"), slotLimit));
  put(report.page, "</section>\n");
}

static void putLegend(Report &report) {
  std::string &page = report.page;
  std::vector<const Status *> seen;
  put(page, "<ul class=\"legend\" aria-label=\"Signs in the pictures\">");
  for (const Disk &disk : report.model.disks) {
    if (std::find(seen.begin(), seen.end(), disk.status) == seen.end()) {
      seen.push_back(disk.status);
      put(page, "<li>");
      putStatus(page, *disk.status);
      put(page, "</li>");
    }
  }
  for (size_t i = 0; i < report.model.virtualDisks.size() && report.model.virtualDisks.size() <= virtualDisksInLegend;
       ++i) {
    put(page, "<li>");
    putVirtualDiskLink(page, report.model, i);
    put(page, "</li>");
  }
  put(page,
      "</ul>\n<p class=\"note legend-how\">Letters mark the virtual disks that a disk belongs to or is a spare "
      "for, as their table lists them. Focus or point at a slot to see its disk; follow it for the whole row.</p>\n");
}

// Removed disks that were attached to the adapter, or went with their enclosure.
static void putGoneElsewhere(Report &report) {
  if (report.changes == nullptr) {
    return;
  }
  std::vector<const client::Difference *> gone;
  for (const client::Difference *removed : report.changes->removedDisks) {
    bool hasEnclosure = false;
    for (const XML_NODE *enclosure : report.model.enclosures) {
      hasEnclosure |=
          textEqual(client::childText(enclosure, "ObjectID"), client::childText(removed->oldNode, "EnclosureObjectID"));
    }
    if (!hasEnclosure) {
      gone.push_back(removed);
    }
  }
  if (gone.empty()) {
    return;
  }
  put(report.page, R"(<section class="enclosure" aria-labelledby="gone"><h3 id="gone">Removed from elsewhere</h3>
<ol class="slots">
)");
  for (const client::Difference *removed : gone) {
    putGoneSlot(report, fieldOf(removed->oldNode, "Slot"), *removed);
  }
  put(report.page, "</ol>\n</section>\n");
}

void putEnclosures(Report &report) {
  std::string &page = report.page;
  put(page, "<section aria-labelledby=\"picture\"><h2 id=\"picture\">Slots</h2>\n");
  if (report.model.disks.empty() && report.model.enclosures.empty()) {
    put(page, "<p>There are no enclosures and no disks.</p>\n</section>\n");
    return;
  }
  putLegend(report);
  for (size_t i = 0; i < report.model.enclosures.size(); ++i) {
    putEnclosure(report, i);
  }
  size_t direct = disksOf(report, nullptr).size();
  if (direct != 0) {
    put(page, R"(<section class="enclosure" aria-labelledby="direct"><h3 id="direct">Attached to the adapter</h3>
<p class="note">%</p>
)",
        {countText(direct, "disk")});
    putSlots(report, nullptr, 0);
    put(page, "</section>\n");
  }
  putGoneElsewhere(report);
  put(page, "</section>\n");
}

} // namespace xyl::host::report
