// The first form: what is wrong, what it is, and where to go.
#include "images/setup/draw.h"

namespace xyl::images::setup {

constexpr UINT32 findingLimit = 12;

Phrase placeOf(const Draw &draw) {
  const RAID_ADAPTER_RECORD *adapter = draw.all.adapter();
  if (adapter == nullptr || draw.page.isOnDisks) {
    return {Text::numberedPlace, number(draw.page.number + UINT64{1})};
  }
  const RAID_PCI_IDENTITY &pci = adapter->PCIID;
  return {Text::pciPlace, hex(pci.PCIBus, 2), hex(pci.PCIDevice, 2), number(pci.PCIFunction)};
}

static constexpr Text g_findings[] = {Text::findingSilent, Text::findingVirtualDisk,  Text::findingMembers,
                                      Text::findingDisk,   Text::findingNamelessDisk, Text::findingForeign};
static_assert(sizeof(g_findings) / sizeof(g_findings[0]) == health::findingKinds);

static void drawFinding(Draw &draw, const health::Finding &finding) {
  Phrase count = finding.kind == health::findingSilent ? statusOf(finding.number) : Phrase(number(finding.number));
  draw.line({g_findings[finding.kind], wide(finding.subject), levelOf(finding.raidLevel),
             word(stateWord(finding.state)), phrase(count), number(finding.of)},
            Text::findingHelp);
}

static void drawFindings(Draw &draw) {
  PoolArray<health::Finding> findings = {};
  if (EFI_ERROR(health::findFaults(draw.all.virtualDiskAnswer(), draw.all.diskAnswer(), &findings))) {
    draw.failed = true;
  }
  if (findings.count == 0) {
    draw.line(Text::allWell, Text::findingHelp);
  } else {
    draw.heading(Text::whatIsWrong);
  }
  for (UINT32 i = 0; i < findings.count && i < findingLimit; ++i) {
    drawFinding(draw, findings.items[i]);
  }
  if (findings.count > findingLimit) {
    draw.line({Text::moreFindings, number(findings.count - findingLimit)}, Text::findingHelp);
  }
  release(findings.items);
  draw.blank();
}

static __attribute__((noinline)) void detail(Draw &draw, Text prompt, const Phrase &value) {
  draw.row(prompt, value, Text::detailHelp);
}

static void drawAdapter(Draw &draw) {
  const RAID_ADAPTER_RECORD *adapter = draw.all.adapter();
  if (adapter == nullptr) {
    return;
  }
  detail(draw, Text::adapter, wide(adapter->Name));
  detail(draw, Text::place, placeOf(draw));
  detail(draw, Text::firmware, wide(adapter->FirmwareVersion));
  detail(draw, Text::wwn, hex(adapter->WWN, 16));
  bool hasKey = (adapter->Attributes & RAID_ADAPTER_ATTRIBUTE_HAS_SECURITY_KEY) != 0;
  draw.row(Text::securityKey,
           {
               hasKey ? Text::keySet : Text::keyNotSet,
           },
           Text::keyHelp);
  draw.blank();
}

static UINT32 countSpares(const fitting::Disks &disks) {
  UINT32 count = 0;
  for (UINT32 i = 0; i < disks.count; ++i) {
    count += isSpare(disks.items[i]) ? 1 : 0;
  }
  return count;
}

void drawOverview(Draw &draw) {
  draw.forms.form(static_cast<EFI_FORM_ID>(FormId::overview), draw.title);
  draw.note();
  if (draw.all.isWhole()) {
    drawFindings(draw);
  }
  drawAdapter(draw);
  fitting::Disks disks = draw.all.disks();
  UINT32 foreign = 0;
  foreignPrint(disks, &foreign);
  draw.reference(Ask::toVirtualDisks, {Text::virtualDisksCount, number(draw.all.virtualDiskCount())},
                 Text::virtualDisksHelp, FormId::virtualDisks);
  draw.reference(Ask::toDisks, {Text::disksCount, number(disks.count)}, Text::disksHelp, FormId::disks);
  draw.reference(Ask::toSpares, {Text::sparesCount, number(countSpares(disks))}, Text::sparesHelp, FormId::spares);
  if (foreign != 0) {
    draw.reference(Ask::toForeign, {Text::foreignCount, number(foreign)}, Text::foreignHelp, FormId::foreign);
  }
  draw.reference(Ask::toCreate, Text::createTitle, Text::createHelp, FormId::create);
  draw.reference(Ask::toSettings, Text::settings, Text::settingsHelp, FormId::settings);
}

} // namespace xyl::images::setup
