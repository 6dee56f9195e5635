// The options of all commands.
#include "client/command_line/rows.h"

namespace xyl::client {

static constexpr Option g_all[] = {
    {"-c", "--number", "N", frontBoth, "work on controller N of 'xyl list', or of that PCI place, WWN or name"},
    {"-o", "--output", "FILE", frontBoth, "write the document to FILE; - is the standard output"},
    {nullptr, "--saved", "SAVED.xml", frontBoth, "saved configuration whose disk ids the request uses"},
    {nullptr, "--log-file", "FILE", frontBoth, "write the log of the steps to FILE, as XML"},
    {nullptr, "--preserve-vd", nullptr, frontBoth, "keep the virtual disks, restore only settings (the default)"},
    {nullptr, "--rebuild", nullptr, frontBoth, "destroy the virtual disks and create the saved ones"},
    {nullptr, "--stop-on-error", nullptr, frontBoth, "end the restore with its first failing step"},
    {nullptr, "--yes", nullptr, frontBoth, "do not ask"},
    {nullptr, "--preset", "NAME", frontHost, "simulate a fresh controller; 'xyl sim presets' lists the names"},
    {nullptr, "--controller", "FILE", frontHost, "simulate the controller kept in FILE, made by 'xyl sim new'"},
    {nullptr, "--log", "LEVEL", frontHost, "show the driver's log from LEVEL on: trace, warn or error"},
    {nullptr, "--force", nullptr, frontBoth, "overwrite an existing file"},
    {nullptr, "--from", "FILE", frontHost,
     "make the controller of a saved configuration, or the layout of OpenStack's target_raid_config"},
    {nullptr, "--size", "SIZE", frontBoth, "size of what is new, as 600GB (decimal), 64GiB (binary) or in bytes"},
    {nullptr, "--model", "MODEL", frontHost, "model of the new disk, or a part of its name"},
    {nullptr, "--json", nullptr, frontBoth, "print the result as one JSON document; messages stay apart"},
    {nullptr, "--incomplete", nullptr, frontBoth,
     "go on with what lacks what it refers to, or could not be read whole"},
    {nullptr, "--partial", nullptr, frontBoth, "rebuild although not all that was saved comes back"},
    {nullptr, "--discard-foreign", nullptr, frontBoth, "rebuild although 'xyl import' could bring data back"},
    {nullptr, "--no-backup", nullptr, frontBoth, "do not keep what the controller holds before a rebuild"},
    {nullptr, "--show", nullptr, frontBoth, "print the change document and do nothing"},
    {nullptr, "--disk", "FILE", frontHost, "serve the disks kept in FILE (an image or a block device) and others",
     /* Repeats= */ true},
    {nullptr, "--quiet", nullptr, frontBoth, "print nothing but what went wrong"},
    {nullptr, "--level", "LEVEL", frontBoth, "RAID level, as 5 or \"RAID 5\""},
    {nullptr, "--disks", "DISK,DISK", frontBoth, "the members of the virtual disk"},
    {nullptr, "--count", "N", frontBoth, "pick N Ready disks of one kind, the smallest that will do"},
    {nullptr, "--stripe", "SIZE", frontBoth, "stripe size, as 64KB"},
    {nullptr, "--cache", "WORD,WORD", frontBoth, "cache policies, as \"write back,no read ahead\""},
    {nullptr, "--name", "NAME", frontBoth, "name of the virtual disk: up to 63 characters, 16 on a machine's disks"},
    {nullptr, "--spare", "DISK,DISK", frontBoth, "hot spares for the virtual disk"},
    {nullptr, "--for", "VD,VD", frontBoth, "virtual disks that the hot spare stands by for; without it all"},
    {nullptr, "--remove", nullptr, frontBoth, "make hot spares free disks again"},
    {nullptr, "--key-id", "ID", frontBoth, "by which people find the passphrase again"},
    {nullptr, "--passphrase-file", "FILE", frontBoth, "the passphrase is the first line of FILE; else it is asked"},
    {nullptr, "--old-passphrase-file", "FILE", frontBoth, "the same for the passphrase that is replaced"},
    {nullptr, "--disk", "DISK", frontShell, "make the disk blink"},
    {"-b", "--pages", nullptr, frontShell, "stop after each page of what is printed"},
    {nullptr, "--wipe", nullptr, frontBoth, "first destroy what keeps the disks from being Ready"},
    {nullptr, "--request", "BODY.json", frontHost,
     "the body of a Redfish request, for METHOD and URI; - is the standard input"},
    {nullptr, "--if-match", "ETAG", frontHost, "run the request only while its resource has this entity tag"},
    {nullptr, "--reports", "DIRECTORY", frontHost, "write a report page of each configuration into it"},
    {nullptr, "--progress", nullptr, frontHost, "tell each step as soon as it is done, where no terminal shows them"},
    {nullptr, "--plan", nullptr, frontBoth, "say what would be done, and do nothing"},
    {nullptr, "--show-layout", nullptr, frontHost, "print the layout as a document and do nothing"},
    {nullptr, "--layout", "LAYOUT.xml", frontHost, "tell of each configuration what it lacks of a layout"},
    {nullptr, "--result", nullptr, frontHost, "fetch what the staged job left, and clean up"},
    {nullptr, "--cancel", nullptr, frontHost, "take the staged job back"},
    {nullptr, "--esp", "DIRECTORY", frontHost, "where the system partition is mounted, if there are several"},
    {nullptr, "--images", "DIRECTORY", frontHost, "where RaidBoot.efi, RaidXyl.efi and XmlService.efi are"},
};

static_assert(sizeof(g_all) / sizeof(g_all[0]) == optionCount, "each option has its row");

struct OptionTable {
  Option rows[optionCount];
};

// As they are kept: of the host's options an image knows only whose they are.
static constexpr OptionTable keptOptions() {
  OptionTable table = {};
  for (UINTN id = 0; id < optionCount; ++id) {
    table.rows[id].fronts = g_all[id].fronts;
    if (hasHostTexts || g_all[id].fronts != frontHost) {
      table.rows[id] = g_all[id];
    }
  }
  return table;
}

static constexpr OptionTable g_kept = keptOptions();
const Option (&g_xylOptions)[optionCount] = g_kept.rows;

} // namespace xyl::client
