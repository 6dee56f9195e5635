// The options of all commands.
#include "client/command_line/rows.h"

static constexpr XYL_OPTION g_all[] = {
    {"-c", "--number", "N", XYL_FRONT_BOTH, "work on controller N of 'xyl list', or of that PCI place, WWN or name"},
    {"-o", "--output", "FILE", XYL_FRONT_BOTH, "write the document to FILE; - is the standard output"},
    {nullptr, "--saved", "SAVED.xml", XYL_FRONT_BOTH, "saved configuration whose disk ids the request uses"},
    {nullptr, "--log-file", "FILE", XYL_FRONT_BOTH, "write the log of the steps to FILE, as XML"},
    {nullptr, "--preserve-vd", nullptr, XYL_FRONT_BOTH, "keep the virtual disks, restore only settings (the default)"},
    {nullptr, "--rebuild", nullptr, XYL_FRONT_BOTH, "destroy the virtual disks and create the saved ones"},
    {nullptr, "--stop-on-error", nullptr, XYL_FRONT_BOTH, "end the restore with its first failing step"},
    {nullptr, "--yes", nullptr, XYL_FRONT_BOTH, "do not ask"},
    {nullptr, "--preset", "NAME", XYL_FRONT_HOST, "simulate a fresh controller; 'xyl sim presets' lists the names"},
    {nullptr, "--controller", "FILE", XYL_FRONT_HOST, "simulate the controller kept in FILE, made by 'xyl sim new'"},
    {nullptr, "--log", "LEVEL", XYL_FRONT_HOST, "show the driver's log from LEVEL on: trace, warn or error"},
    {nullptr, "--force", nullptr, XYL_FRONT_BOTH, "overwrite an existing file"},
    {nullptr, "--from", "FILE", XYL_FRONT_HOST,
     "make the controller of a saved configuration, or the layout of OpenStack's target_raid_config"},
    {nullptr, "--size", "SIZE", XYL_FRONT_BOTH, "size of what is new, as 600GB (decimal), 64GiB (binary) or in bytes"},
    {nullptr, "--model", "MODEL", XYL_FRONT_HOST, "model of the new disk, or a part of its name"},
    {nullptr, "--json", nullptr, XYL_FRONT_BOTH, "print the result as one JSON document; messages stay apart"},
    {nullptr, "--incomplete", nullptr, XYL_FRONT_BOTH,
     "go on with what lacks what it refers to, or could not be read whole"},
    {nullptr, "--partial", nullptr, XYL_FRONT_BOTH, "rebuild although not all that was saved comes back"},
    {nullptr, "--discard-foreign", nullptr, XYL_FRONT_BOTH, "rebuild although 'xyl import' could bring data back"},
    {nullptr, "--no-backup", nullptr, XYL_FRONT_BOTH, "do not keep what the controller holds before a rebuild"},
    {nullptr, "--show", nullptr, XYL_FRONT_BOTH, "print the change document and do nothing"},
    {nullptr, "--disk", "FILE", XYL_FRONT_HOST, "serve the disks kept in FILE (an image or a block device) and others",
     /* Repeats= */ true},
    {nullptr, "--quiet", nullptr, XYL_FRONT_BOTH, "print nothing but what went wrong"},
    {nullptr, "--level", "LEVEL", XYL_FRONT_BOTH, "RAID level, as 5 or \"RAID 5\""},
    {nullptr, "--disks", "DISK,DISK", XYL_FRONT_BOTH, "the members of the virtual disk"},
    {nullptr, "--count", "N", XYL_FRONT_BOTH, "pick N Ready disks of one kind, the smallest that will do"},
    {nullptr, "--stripe", "SIZE", XYL_FRONT_BOTH, "stripe size, as 64KB"},
    {nullptr, "--cache", "WORD,WORD", XYL_FRONT_BOTH, "cache policies, as \"write back,no read ahead\""},
    {nullptr, "--name", "NAME", XYL_FRONT_BOTH,
     "name of the virtual disk: up to 63 characters, 16 on a machine's disks"},
    {nullptr, "--spare", "DISK,DISK", XYL_FRONT_BOTH, "hot spares for the virtual disk"},
    {nullptr, "--for", "VD,VD", XYL_FRONT_BOTH, "virtual disks that the hot spare stands by for; without it all"},
    {nullptr, "--remove", nullptr, XYL_FRONT_BOTH, "make hot spares free disks again"},
    {nullptr, "--key-id", "ID", XYL_FRONT_BOTH, "by which people find the passphrase again"},
    {nullptr, "--passphrase-file", "FILE", XYL_FRONT_BOTH,
     "the passphrase is the first line of FILE; else it is asked"},
    {nullptr, "--old-passphrase-file", "FILE", XYL_FRONT_BOTH, "the same for the passphrase that is replaced"},
    {nullptr, "--disk", "DISK", XYL_FRONT_SHELL, "make the disk blink"},
    {"-b", "--pages", nullptr, XYL_FRONT_SHELL, "stop after each page of what is printed"},
    {nullptr, "--wipe", nullptr, XYL_FRONT_BOTH, "first destroy what keeps the disks from being Ready"},
    {nullptr, "--request", "BODY.json", XYL_FRONT_HOST,
     "the body of a Redfish request, for METHOD and URI; - is the standard input"},
    {nullptr, "--if-match", "ETAG", XYL_FRONT_HOST, "run the request only while its resource has this entity tag"},
    {nullptr, "--reports", "DIRECTORY", XYL_FRONT_HOST, "write a report page of each configuration into it"},
    {nullptr, "--progress", nullptr, XYL_FRONT_HOST,
     "tell each step as soon as it is done, where no terminal shows them"},
    {nullptr, "--plan", nullptr, XYL_FRONT_BOTH, "say what would be done, and do nothing"},
    {nullptr, "--show-layout", nullptr, XYL_FRONT_HOST, "print the layout as a document and do nothing"},
    {nullptr, "--layout", "LAYOUT.xml", XYL_FRONT_HOST, "tell of each configuration what it lacks of a layout"},
    {nullptr, "--result", nullptr, XYL_FRONT_HOST, "fetch what the staged job left, and clean up"},
    {nullptr, "--cancel", nullptr, XYL_FRONT_HOST, "take the staged job back"},
    {nullptr, "--esp", "DIRECTORY", XYL_FRONT_HOST, "where the system partition is mounted, if there are several"},
    {nullptr, "--images", "DIRECTORY", XYL_FRONT_HOST, "where RaidBoot.efi, RaidXyl.efi and XmlService.efi are"},
};

static_assert(sizeof(g_all) / sizeof(g_all[0]) == XYL_OPTION_COUNT, "each option has its row");

struct OPTION_TABLE {
  XYL_OPTION Rows[XYL_OPTION_COUNT];
};

// As they are kept: of the host's options an image knows only whose they are.
static constexpr OPTION_TABLE keptOptions() {
  OPTION_TABLE table = {};
  for (UINTN id = 0; id < XYL_OPTION_COUNT; ++id) {
    table.Rows[id].Fronts = g_all[id].Fronts;
    if (HAS_HOST_TEXTS || g_all[id].Fronts != XYL_FRONT_HOST) {
      table.Rows[id] = g_all[id];
    }
  }
  return table;
}

static constexpr OPTION_TABLE g_kept = keptOptions();
const XYL_OPTION (&g_xylOptions)[XYL_OPTION_COUNT] = g_kept.Rows;
