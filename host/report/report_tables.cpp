// The summary, and virtual disks, hot spares, disks and the adapter as tables.
#include "base/text.h"
#include "host/common/common.h"
#include "host/report/report_sections.h"

namespace xyl::host::report {

static void putFact(std::string &page, std::string_view name, std::string_view value) {
  put(page, "<div><dt>%</dt><dd>%</dd></div>\n", {name, value});
}

static void putSection(Report &report, std::string_view anchor, std::string_view title) {
  put(report.page, "<section class=\"%\" aria-labelledby=\"%\"><h2 id=\"%\">%</h2>\n", {anchor, anchor, anchor, title});
}

// --- Summary ---

template <class Objects> static std::string countStates(const Objects &objects) {
  std::map<std::string, size_t> counts;
  for (const auto &object : objects) {
    ++counts[object.status->words];
  }
  std::string text;
  for (const auto &[words, count] : counts) {
    text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + words;
  }
  return text;
}

static void putStat(std::string &page, std::string_view name, std::string_view figure, std::string_view more) {
  put(page, "<div><dt>%</dt><dd><b>%</b><br/>%</dd></div>\n", {name, figure, more});
}

static std::string totalOf(const Model &model, const CHAR8 *element) {
  UINT64 total = 0;
  for (const Disk &disk : model.disks) {
    total += numberOf(disk.node, element);
  }
  return sizeText(total);
}

static void putStats(Report &report) {
  const Model &model = report.model;
  std::string &page = report.page;
  UINT64 slots = 0;
  for (const XML_NODE *enclosure : model.enclosures) {
    slots += numberOf(enclosure, "SlotCount");
  }
  UINT64 virtualDiskBytes = 0;
  for (const VirtualDisk &virtualDisk : model.virtualDisks) {
    virtualDiskBytes += numberOf(virtualDisk.node, "Size");
  }
  put(page, "<dl class=\"facts stats\">\n");
  putStat(page, "Disks", std::to_string(model.disks.size()), countStates(model.disks));
  putStat(page, "Virtual disks", std::to_string(model.virtualDisks.size()), countStates(model.virtualDisks));
  putStat(page, "Usable in virtual disks", sizeText(virtualDiskBytes),
          totalOf(model, "Size") + " on disks, " + totalOf(model, "FreeSize") + " of it free");
  putStat(page, "Enclosures", std::to_string(model.enclosures.size()), std::to_string(slots) + " slots");
  putStat(page, "Firmware", orDash(fieldOf(model.adapter, "FirmwareVersion")), "WWN " + fieldOf(model.adapter, "WWN"));
  put(page, "</dl>\n");
}

// What the older document has and the newer one has not.
static void putGone(std::string &list, const Report &report) {
  if (report.changes == nullptr) {
    return;
  }
  for (const auto &removed : {report.changes->removedVirtualDisks, report.changes->removedDisks}) {
    for (const client::Difference *difference : removed) {
      std::string name = documentText(client::textOf(difference->name));
      put(list, "<li><a href=\"#differences\">%</a> of % is gone: %</li>\n",
          {name, report.comparedWith, documentText(client::textOf(difference->older))});
    }
  }
  const client::Differences &all = *report.changes->list;
  for (UINT32 i = 0; i < all.all.count; ++i) {
    const client::Difference &difference = all.all.items[i];
    bool isLost = difference.element != nullptr && difference.newer.length == 0;
    if (isLost && textEqual(difference.element, "Hotspare")) {
      put(list, "<li>Hot spare <a href=\"#differences\">%</a> of % is none now</li>\n",
          {documentText(client::textOf(difference.name)), report.comparedWith});
    } else if (isLost && textEqual(difference.element, "Keyid")) {
      put(list, "<li>Security key <a href=\"#differences\">%</a> of % is gone</li>\n",
          {documentText(client::textOf(difference.older)), report.comparedWith});
    }
  }
}

// Appends a list entry for each thing that is not as it should be.
static void putAttention(std::string &list, const Report &report) {
  if (!report.isWhole) {
    put(list, "<li>The controller did not tell all that it has: what is not shown may be there</li>\n");
  }
  putGone(list, report);
  for (size_t i = 0; i < report.model.virtualDisks.size(); ++i) {
    const VirtualDisk &virtualDisk = report.model.virtualDisks[i];
    if (virtualDisk.status->wantsAttention) {
      put(list, "<li>Virtual disk ");
      putVirtualDiskLink(list, report.model, i);
      putStatus(list, *virtualDisk.status);
      put(list, "</li>\n");
    }
    for (const std::string &id : virtualDisk.missingDisks) {
      put(list, "<li>Virtual disk ");
      putVirtualDiskLink(list, report.model, i);
      put(list, "lacks its disk %, which is not there</li>\n", {id});
    }
  }
  for (const Disk &disk : report.model.disks) {
    if (disk.status->wantsAttention) {
      put(list, "<li>Disk ");
      putDiskLink(list, disk);
      put(list, " ");
      putStatus(list, *disk.status);
      put(list, "</li>\n");
    }
  }
  Steps steps = countSteps(report.log);
  if (steps.failed != 0) {
    put(list, "<li><a href=\"#log\">%</a> of the log failed</li>\n", {countText(steps.failed, "step")});
  }
}

void putSummary(Report &report) {
  putSection(report, "summary", "Summary");
  putStats(report);
  std::string list;
  putAttention(list, report);
  // With one configuration nobody knows whether it was read before the log's steps or after them.
  bool isUnsure = report.log != nullptr && report.changes == nullptr;
  if (list.empty() && isUnsure) {
    put(report.page,
        "<p class=\"call open\">In % every disk and every virtual disk is in order. What the log's steps left "
        "is shown with the configuration that was read after them as a third file.</p>\n",
        {report.source});
  } else if (list.empty() && report.changes != nullptr && report.changes->list->all.count != 0) {
    put(report.page,
        "<p class=\"call open\">Every disk and every virtual disk is in order, and <a href=\"#differences\">%</a> from "
        "% "
        "there is to look at.</p>\n",
        {countText(report.changes->list->all.count, "difference"), report.comparedWith});
  } else if (list.empty()) {
    put(report.page, "<p class=\"call\">Every disk and every virtual disk is in order.</p>\n");
  } else {
    put(report.page, "<div class=\"call bad\"><strong>Wants attention</strong>\n<ul>\n");
    put(report.page, list);
    put(report.page, "</ul></div>\n");
  }
  put(report.page, "</section>\n");
}

// --- Virtual disks and hot spares ---

static std::string virtualDiskShape(const XML_NODE *virtualDisk) {
  UINT64 spans = numberOf(virtualDisk, "SpanDepth");
  std::string shape = spans > 1 ? std::to_string(spans) + " spans of " + fieldOf(virtualDisk, "PDsPerSpan") + ", " : "";
  return shape + "stripe " + orDash(fieldOf(virtualDisk, "StripeSize"));
}

static std::string memberLinks(const Report &report, const VirtualDisk &virtualDisk) {
  std::string links = "<span class=\"list\">";
  for (size_t disk : virtualDisk.disks) {
    putDiskLink(links, report.model.disks[disk]);
    put(links, " ");
  }
  for (const std::string &id : virtualDisk.missingDisks) {
    put(links, "<strong>disk % is missing</strong> ", {id});
  }
  return links + "</span>";
}

static std::string cacheWords(const XML_NODE *policy) {
  std::string words;
  for (const CHAR8 *name : {"CachePolicy", "WritePolicy", "ReadPolicy"}) {
    std::string word = fieldOf(policy, name);
    words += (words.empty() || word.empty() ? "" : ", ") + word;
  }
  return orDash(words);
}

static void putVirtualDiskRow(HtmlTable &table, const Report &report, size_t number) {
  const VirtualDisk &virtualDisk = report.model.virtualDisks[number];
  std::string name;
  put(name, "<span>");
  putBadge(name, report.model, number);
  put(name, " % ", {virtualDiskTitle(virtualDisk)});
  putMark(name, report.changes, virtualDisk.node);
  put(name, "<small>id %, target %, %</small></span>",
      {fieldOf(virtualDisk.node, "ObjectID"), orDash(fieldOf(virtualDisk.node, "TargetID")),
       fieldOf(virtualDisk.node, "FQDD")});
  table.row(virtualDisk.anchor);
  table.cell(name);
  std::string level;
  put(level, "<span>%<small>%</small></span>",
      {fieldOf(virtualDisk.node, "RAIDLevel"), virtualDiskShape(virtualDisk.node)});
  table.cell(level);
  table.text(sizeOf(virtualDisk.node, "Size"));
  std::string state;
  putStatus(state, *virtualDisk.status);
  table.cell(state);
  const XML_NODE *policy = client::childNamed(virtualDisk.node, "CurrentCachePolicy");
  std::string cache;
  put(cache, "<span>%<small>disk policy %, access %, disk cache policy %</small></span>",
      {cacheWords(policy), orDash(fieldOf(policy, "DiskPolicy")), orDash(fieldOf(virtualDisk.node, "AccessPolicy")),
       orDash(fieldOf(virtualDisk.node, "DiskCachePolicy"))});
  table.cell(cache);
  table.cell(memberLinks(report, virtualDisk));
}

void putVirtualDisks(Report &report) {
  putSection(report, "volumes", "Virtual disks");
  if (report.model.virtualDisks.empty()) {
    put(report.page, "<p>There are no virtual disks.</p>\n");
  } else {
    HtmlTable table(report.page, "Virtual disks with their members in the controller's order",
                    {"Name", "Level", "Size", "State", "Cache", "Members"});
    for (size_t i = 0; i < report.model.virtualDisks.size(); ++i) {
      putVirtualDiskRow(table, report, i);
    }
  }
  put(report.page, "</section>\n");
}

static std::string virtualDiskLinks(const Report &report, const Disk &disk) {
  std::string links = "<span class=\"list\">";
  for (size_t virtualDisk : disk.virtualDisks) {
    putVirtualDiskLink(links, report.model, virtualDisk);
  }
  return links + "</span>";
}

static void putSpareRow(HtmlTable &table, const Report &report, const Disk &disk) {
  std::string link;
  putDiskLink(link, disk);
  table.row();
  table.cell(link);
  table.text(spareWords(disk.node));
  table.cell(disk.virtualDisks.empty() ? "every virtual disk that it fits" : virtualDiskLinks(report, disk));
  table.text(sizeOf(disk.node, "Size") + " " + kindOfDisk(disk.node));
  std::string state;
  putStatus(state, *disk.status);
  table.cell(state);
}

void putSpares(Report &report) {
  std::vector<const Disk *> spares;
  for (const Disk &disk : report.model.disks) {
    if (!spareWords(disk.node).empty()) {
      spares.push_back(&disk);
    }
  }
  putSection(report, "spares", "Hot spares");
  if (spares.empty()) {
    put(report.page, "<p>There are no hot spares.</p>\n");
  } else {
    HtmlTable table(report.page, "Hot spares and what they stand by for", {"Place", "Kind", "For", "Disk", "State"});
    for (const Disk *disk : spares) {
      putSpareRow(table, report, *disk);
    }
  }
  put(report.page, "</section>\n");
}

// --- Disks ---

static std::string madeOn(const XML_NODE *disk) {
  std::string year = fieldOf(disk, "ManufactureYear");
  return year.empty() ? "" : ", week " + orDash(fieldOf(disk, "ManufactureWeek")) + " of " + year;
}

static void putDiskRow(HtmlTable &table, const Report &report, const Disk &disk) {
  std::string place = "<span>";
  putDiskLink(place, disk);
  put(place, " ");
  putMark(place, report.changes, disk.node);
  put(place, "<small>id %</small></span>", {fieldOf(disk.node, "ObjectID")});
  table.row(disk.anchor);
  table.cell(place);
  std::string identity;
  std::string revision = fieldOf(disk.node, "Revision");
  put(identity, "<span>%%<small>S/N %%</small></span>",
      {orDash(modelOfDisk(disk.node)), revision.empty() ? "" : ", " + revision,
       orDash(fieldOf(disk.node, "SerialNumber")), madeOn(disk.node)});
  table.cell(identity);
  std::string kind;
  put(kind, "<span>%<small>%</small></span>",
      {kindOfDisk(disk.node), orDash(listOf(client::childNamed(disk.node, "CapableSpeeds")))});
  table.cell(kind);
  std::string size;
  put(size, "<span>%<small>% free</small></span>", {sizeOf(disk.node, "Size"), sizeOf(disk.node, "FreeSize")});
  table.cell(size);
  std::string state;
  putStatus(state, *disk.status);
  table.cell(state);
  table.cell(disk.virtualDisks.empty() ? orDash("") : virtualDiskLinks(report, disk));
  std::string address;
  put(address, "<span><small>%<br/>WWN %</small></span>",
      {orDash(fieldOf(disk.node, "FQDD")), orDash(fieldOf(disk.node, "WWN"))});
  table.cell(address);
}

void putDisks(Report &report) {
  putSection(report, "disks", "Disks");
  if (report.model.disks.empty()) {
    put(report.page, "<p>There are no disks.</p>\n");
  } else {
    HtmlTable table(report.page, "Disks, enclosure by enclosure, then those attached to the adapter",
                    {"Place", "Disk", "Kind", "Size", "State", "Virtual disks", "Address"});
    for (const Disk &disk : report.model.disks) {
      putDiskRow(table, report, disk);
    }
  }
  put(report.page, "</section>\n");
}

// --- Adapter ---

struct ElementTitle {
  const char *element;
  const char *title;
};

static void putAdapterFacts(Report &report) {
  static constexpr ElementTitle texts[] = {{"Name", "Model"},
                                           {"FirmwareVersion", "Firmware"},
                                           {"WWN", "WWN"},
                                           {"FQDD", "FQDD"},
                                           {"Keyid", "Key identifier"},
                                           {"MaxLDs", "Most virtual disks"},
                                           {"MaxPDsPerSpan", "Most disks in a span"},
                                           {"MaxSpansPerLD", "Most spans in a virtual disk"}};
  static constexpr ElementTitle lists[] = {{"SupportedDiskProtocols", "Protocols"},
                                           {"CapableSpeeds", "Speeds"},
                                           {"SupportedRAIDLevels", "RAID levels"},
                                           {"Attributes", "Abilities"}};
  std::string &page = report.page;
  const XML_NODE *adapter = report.model.adapter;
  const XML_NODE *pci = client::childNamed(adapter, "PCIID");
  const XML_NODE *location =
      client::childNamed(client::childNamed(report.model.inventory, "Identifier"), "PCILocation");
  put(page, "<dl class=\"facts\">\n");
  for (const ElementTitle &row : texts) {
    putFact(page, row.title, orDash(fieldOf(adapter, row.element)));
  }
  putFact(page, "PCI ids",
          fieldOf(pci, "VendorID") + ":" + fieldOf(pci, "DeviceID") + ", subsystem " + fieldOf(pci, "SubvendorID") +
              ":" + fieldOf(pci, "SubdeviceID"));
  putFact(page, "PCI place",
          location == nullptr ? orDash("")
                              : "bus " + fieldOf(location, "PCIBus") + ", device " + fieldOf(location, "PCIDevice") +
                                    ", function " + fieldOf(location, "PCIFunction") +
                                    (textEqual(client::childText(pci, "Embedded"), "true") ? ", on the board" : ""));
  for (const ElementTitle &row : lists) {
    putFact(page, row.title, orDash(listOf(client::childNamed(adapter, row.element))));
  }
  put(page, "</dl>\n");
}

static void putSettings(Report &report) {
  static constexpr ElementTitle settings[] = {{"SecurityMode", "Security mode"},
                                              {"CheckConsistencyMode", "Consistency check"},
                                              {"LearnMode", "Battery learning"},
                                              {"LoadBalanceMode", "Load balance"},
                                              {"UncertifiedMode", "Uncertified disks"},
                                              {"CopyBackMode", "Copy back"},
                                              {"CorrectUnconfiguredAreas", "Correct unconfigured areas"},
                                              {"PatrolReadMode", "Patrol read"}};
  HtmlTable table(report.page, "Settings; a dash is what the controller does not report", {"Setting", "Value"});
  for (const ElementTitle &row : settings) {
    table.row();
    table.text(row.title);
    table.text(orDash(fieldOf(report.model.adapter, row.element)));
  }
}

static void putRates(Report &report) {
  const XML_NODE *rate = client::childNamed(report.model.adapter, "Rate");
  if (rate == nullptr) {
    return;
  }
  HtmlTable table(report.page, "Rates", {"Rate", "Value", "Editable"});
  for (; rate != nullptr; rate = client::nextSame(rate)) {
    table.row();
    table.text(fieldOf(rate, "Name"));
    table.text(fieldOf(rate, "Value"));
    table.text(textEqual(client::childText(rate, "Editable"), "false") ? "no" : "yes");
  }
}

static void putLevels(Report &report) {
  const XML_NODE *level =
      client::childNamed(client::childNamed(report.model.adapter, "RAIDLevelParams"), "RAIDLevelDesc");
  if (level == nullptr) {
    return;
  }
  HtmlTable table(report.page, "What the adapter can make",
                  {"Level", "Disks", "Stripe sizes", "Default cache", "Bounds"});
  for (; level != nullptr; level = client::nextSame(level)) {
    table.row();
    table.text(fieldOf(level, "RAIDLevel"));
    table.text(fieldOf(level, "MinDisks") + " to " + fieldOf(level, "MaxDisks"));
    table.text(listOf(client::childNamed(level, "AvailableStripeSize")) + "; default " + fieldOf(level, "StripeSize"));
    table.text(orDash(listOf(client::childNamed(level, "DefaultCachePolicy"))));
    table.text(orDash(listOf(client::childNamed(level, "BoundsMask"))));
  }
}

void putAdapter(Report &report) {
  putSection(report, "adapter", "Adapter");
  putMark(report.page, report.changes, report.model.adapter);
  putAdapterFacts(report);
  put(report.page, "<div class=\"pair\"><div>\n");
  putSettings(report);
  put(report.page, "</div><div>\n");
  putRates(report);
  put(report.page, "</div></div>\n");
  putLevels(report);
  put(report.page, "</section>\n");
}

} // namespace xyl::host::report
