#include "client/change/change.h"
#include "client/command_line/command_line.h"
#include "client/compare/compare.h"
#include "client/controllers/controllers.h"
#include "client/plan/plan.h"
#include "client/show/show.h"
#include "client/verbs/verbs.h"

#define OPTION(id) (1ULL << XYL_OPTION_##id)
#define OUTCOME(outcome) (1U << XYL_##outcome)

// The host program takes its controller from one of these.
#define WORLD (OPTION(PRESET) | OPTION(CONTROLLER) | OPTION(DISK) | OPTION(LOG) | OPTION(QUIET) | OPTION(PAGES))
#define ON_CONTROLLER (WORLD | OPTION(NUMBER))
#define VERB_OPTIONS (ON_CONTROLLER | OPTION(SHOW) | OPTION(LOG_FILE) | OPTION(FORCE) | OPTION(YES) | OPTION(JSON))
#define VERB_DISK_TEXT "DISK is an id, an FQDD, enclosure:slot or direct:slot, as 'xyl show' lists them"
#define KEY_TEXT                                                                                                       \
  "The controller keeps the key. Its passphrase, of 1 to 32 bytes, is asked for and not shown, or comes from a "       \
  "file;\n"                                                                                                            \
  "it is never part of the command line. With --show the document has no passphrases, and nobody is asked."
#define DISK_TEXT "DISK is an id, an FQDD, enclosure:slot or direct:slot; 'xyl sim show FILE' lists them.\n"
// The image for the firmware shell has no room for what only the host program shows.
#ifdef RAIDXYL_EFI
#define HOST_TEXT(text) ""
#else
#define HOST_TEXT(text) text
#endif
#define PLAIN_OUTCOMES (OUTCOME(SUCCESS) | OUTCOME(USAGE) | OUTCOME(NOT_FOUND) | OUTCOME(FAILED))

const XYL_OPTION g_xylOptions[XYL_OPTION_COUNT] = {
    {"-c", "--number", "N", XYL_FRONT_BOTH, "work on controller N of 'xyl list', or of that PCI place, WWN or name"},
    {"-o", "--output", "FILE", XYL_FRONT_BOTH, "write the document to FILE; - is the standard output"},
    {nullptr, "--saved", "SAVED.xml", XYL_FRONT_BOTH, "saved configuration whose disk ids the request uses"},
    {nullptr, "--log-file", "FILE", XYL_FRONT_BOTH, "write the log of the steps to FILE, as XML"},
    {nullptr, "--preserve-vd", nullptr, XYL_FRONT_BOTH, "keep the virtual disks, restore only settings (the default)"},
    {nullptr, "--rebuild", nullptr, XYL_FRONT_BOTH, "destroy the virtual disks and create the saved ones"},
    {nullptr, "--stop-on-error", nullptr, XYL_FRONT_BOTH, "end the restore with its first failing step"},
    {nullptr, "--yes", nullptr, XYL_FRONT_BOTH, "do not ask"},
    {nullptr, "--preset", "NAME", XYL_FRONT_HOST,
     HOST_TEXT("simulate a fresh controller; 'xyl sim presets' lists the names")},
    {nullptr, "--controller", "FILE", XYL_FRONT_HOST,
     HOST_TEXT("simulate the controller kept in FILE, made by 'xyl sim new'")},
    {nullptr, "--log", "LEVEL", XYL_FRONT_HOST, HOST_TEXT("show the driver's log from LEVEL on: trace, warn or error")},
    {nullptr, "--force", nullptr, XYL_FRONT_BOTH, "overwrite an existing file"},
    {nullptr, "--from", "SAVED.xml", XYL_FRONT_HOST,
     HOST_TEXT("make the controller that a saved configuration describes")},
    {nullptr, "--size", "SIZE", XYL_FRONT_BOTH, "size of what is new, as 600GB (decimal), 64GiB (binary) or in bytes"},
    {nullptr, "--model", "MODEL", XYL_FRONT_HOST, HOST_TEXT("model of the new disk, or a part of its name")},
    {nullptr, "--json", nullptr, XYL_FRONT_BOTH, "print the result as one JSON document; messages stay apart"},
    {nullptr, "--incomplete", nullptr, XYL_FRONT_BOTH,
     "go on with what lacks what it refers to, or could not be read whole"},
    {nullptr, "--partial", nullptr, XYL_FRONT_BOTH, "rebuild although not all that was saved comes back"},
    {nullptr, "--discard-foreign", nullptr, XYL_FRONT_BOTH, "rebuild although 'xyl import' could bring data back"},
    {nullptr, "--no-backup", nullptr, XYL_FRONT_BOTH, "do not keep what the controller holds before a rebuild"},
    {nullptr, "--show", nullptr, XYL_FRONT_BOTH, "print the change document and do nothing"},
    {nullptr, "--disk", "FILE", XYL_FRONT_HOST,
     HOST_TEXT("serve the disks kept in FILE (an image or a block device) and others"),
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
     HOST_TEXT("the body of a Redfish request, for METHOD and URI; - is the standard input")},
    {nullptr, "--if-match", "ETAG", XYL_FRONT_HOST,
     HOST_TEXT("run the request only while its resource has this entity tag")},
};

const XYL_COMMAND g_xylCommands[] = {
    {"list", "", 0, 0, WORLD | OPTION(JSON), PLAIN_OUTCOMES, XYL_FRONT_BOTH, XYL_NEEDS_CONTROLLER, false,
     "lists the controllers that the driver serves",
     "Shows the number and the name of every controller that the driver is bound to. The number is the N of -c N.",
     HOST_TEXT("xyl list --preset demo"), "xyl list", runList},

    {"identify", "[DISK...]", 0, XYL_WORDS_MAX - 1, ON_CONTROLLER | OPTION(BLINK) | OPTION(SHOW) | OPTION(JSON),
     PLAIN_OUTCOMES, XYL_FRONT_BOTH, XYL_NEEDS_CONTROLLER, false,
     "asks the driver for its identification block, or makes disks blink",
     "Without a disk it prints the five words of the identification block, and the controller itself is not asked.\n"
     "With one, which --disk may name as well, the controller is told to make it show itself. Not every controller "
     "can.\n" VERB_DISK_TEXT ".",
     HOST_TEXT("xyl identify --preset demo\nxyl identify --disk 301:2 --controller lab.json"),
     "xyl identify -c 1\nxyl identify --disk 301:2", runIdentifyOf},

    {"get", "", 0, 0, ON_CONTROLLER | OPTION(OUTPUT) | OPTION(FORCE) | OPTION(INCOMPLETE), PLAIN_OUTCOMES,
     XYL_FRONT_BOTH, XYL_NEEDS_CONTROLLER, false, "reads the configuration as an inventory document",
     "Reads the adapter, its enclosures, disks, virtual disks and key identifier and writes the inventory document to\n"
     "FILE, or prints it. The document is what verify, restore and replace take as SAVED.xml. One that lacks what it\n"
     "refers to, since the controller did not answer, is written with --incomplete only. In the firmware shell use "
     "-o,\n"
     "since the shell writes redirected output as UTF-16.",
     HOST_TEXT("xyl get --preset demo -o saved.xml\nxyl get --controller lab.json"),
     "xyl get -o fs0:\\saved.xml\nxyl get -c 2", runGet},

    {"show", "[SAVED.xml]", 0, 1, ON_CONTROLLER | OPTION(INCOMPLETE) | OPTION(JSON), PLAIN_OUTCOMES, XYL_FRONT_BOTH,
     XYL_NEEDS_CONTROLLER_OR_FILE, false, "shows a short summary of the configuration",
     "Shows the adapter, the enclosures with the disks in their slots, directly attached disks, virtual disks and the\n"
     "key identifier, of the controller or of a saved document. Sizes are decimal (1 GB is 1000000000 bytes). Cache\n"
     "words: WB write back, WT write through, FWB forced write back; RA read ahead, ARA adaptive, NRA none; DIO "
     "direct\n"
     "I/O, CIO cached. A member that is not there is called missing. 'show --json' has every field and whole texts.",
     HOST_TEXT("xyl show --preset demo\nxyl show saved.xml"), "xyl show\nxyl show fs0:\\saved.xml", runShow},

    {"verify", "SAVED.xml", 1, 1, ON_CONTROLLER | OPTION(INCOMPLETE) | OPTION(JSON),
     PLAIN_OUTCOMES | OUTCOME(DIFFERENT), XYL_FRONT_BOTH, XYL_NEEDS_CONTROLLER, false,
     "compares a saved configuration with the controller",
     "Says whether the adapter was replaced, which of its settings and rates changed and whether its firmware is "
     "lower\n"
     "or higher than when SAVED.xml was written, and prints the driver's result word, what was compared and what not,\n"
     "and how many differences 'diff' finds in all. Nothing is changed.",
     HOST_TEXT("xyl verify saved.xml --controller lab.json"), "xyl verify fs0:\\saved.xml", runVerify},

    {"diff", "OLD.xml [NEW.xml]", 1, 2, ON_CONTROLLER | OPTION(INCOMPLETE) | OPTION(JSON),
     PLAIN_OUTCOMES | OUTCOME(DIFFERENT), XYL_FRONT_BOTH, XYL_NEEDS_CONTROLLER_OR_FILE, false,
     "shows what differs between two configurations",
     "Compares two saved documents, or one with the controller, field by field. A disk is recognised by its WWN or\n"
     "serial number wherever it is, else by its place; a virtual disk by its name, FQDD and members. Ids do not "
     "count,\n"
     "nor does the order of members in a span or a pair of mirrors, which is another one after a rebuild.",
     HOST_TEXT("xyl diff monday.xml tuesday.xml\nxyl diff saved.xml --controller lab.json"),
     "xyl diff fs0:\\saved.xml\nxyl diff fs0:\\monday.xml fs0:\\tuesday.xml", runDiff},

    {"plan", "SAVED.xml|CHANGES.xml", 1, 1,
     ON_CONTROLLER | OPTION(REBUILD) | OPTION(STOP_ON_ERROR) | OPTION(SAVED) | OPTION(INCOMPLETE) | OPTION(JSON),
     PLAIN_OUTCOMES | OUTCOME(DIFFERENT), XYL_FRONT_BOTH, XYL_NEEDS_CONTROLLER, false,
     "shows what 'restore' or 'apply' would do, without doing it",
     "Runs the restore up to the controller and shows what would reach it: the steps, the settings that change, the\n"
     "virtual disks that go and come, and for each saved disk which one stands in for it and why; and what 'import'\n"
     "may bring back instead. At the end stands what 'restore' will say then. When something that was saved would not\n"
     "be there, the return value is that for differences, as that of 'restore' then is.\n"
     "Of a change document it shows what each method does, and what is destroyed.",
     HOST_TEXT("xyl plan saved.xml --controller lab.json\nxyl plan saved.xml --rebuild --controller lab.json\n"
               "xyl plan changes.xml --controller lab.json"),
     "xyl plan fs0:\\saved.xml --rebuild\nxyl plan fs0:\\changes.xml", runPlan},

    {"restore", "SAVED.xml", 1, 1,
     ON_CONTROLLER | OPTION(PRESERVE_VD) | OPTION(REBUILD) | OPTION(STOP_ON_ERROR) | OPTION(LOG_FILE) | OPTION(FORCE) |
         OPTION(PARTIAL) | OPTION(DISCARD_FOREIGN) | OPTION(INCOMPLETE) | OPTION(NO_BACKUP) | OPTION(YES) |
         OPTION(JSON),
     PLAIN_OUTCOMES | OUTCOME(DIFFERENT), XYL_FRONT_BOTH, XYL_NEEDS_CONTROLLER, true,
     "puts a saved configuration back onto the controller",
     "Without --rebuild only the adapter's settings are brought in line. With --rebuild the controller's "
     "configuration\n"
     "is destroyed, with the data on its virtual disks, and the saved virtual disks and hot spares are created anew "
     "on\n"
     "matching disks; what that means is shown first, and a typed yes or --yes is wanted. Where not all can come back\n"
     "it wants --partial as well, and where 'import' could bring data back --discard-foreign. What the controller "
     "held\n"
     "is kept beside the log, or without one beside SAVED.xml, as NAME.before.xml, or -2 and so on. The steps are "
     "shown as a table, "
     "and\n"
     "then what differs from SAVED.xml now: what no restore brings back, what this one could not do, and what went\n"
     "wrong. The return value is that for differences when a virtual disk, hot spare, setting or key is not there.\n"
     "Steps done before a failure stay done.",
     HOST_TEXT(
         "xyl restore saved.xml --controller lab.json\nxyl restore saved.xml --rebuild --partial --yes --log-file "
         "log.xml --controller lab.json"),
     "xyl restore fs0:\\saved.xml\nxyl restore fs0:\\saved.xml --rebuild --yes --log-file fs0:\\log.xml", runRestore},

    {"replace", "SAVED.xml", 1, 1, ON_CONTROLLER | OPTION(INCOMPLETE) | OPTION(JSON), PLAIN_OUTCOMES, XYL_FRONT_BOTH,
     XYL_NEEDS_CONTROLLER, true, "applies saved adapter settings to a replaced adapter",
     "Writes the adapter settings of SAVED.xml to the controller. Virtual disks are not touched. There is no log.",
     HOST_TEXT("xyl replace saved.xml --controller lab.json"), "xyl replace fs0:\\saved.xml", runReplace},

    {"import", "", 0, 0, ON_CONTROLLER | OPTION(SHOW) | OPTION(LOG_FILE) | OPTION(FORCE) | OPTION(YES) | OPTION(JSON),
     PLAIN_OUTCOMES, XYL_FRONT_BOTH, XYL_NEEDS_CONTROLLER, true, "takes over the virtual disks on foreign disks",
     "Disks that come from another controller, as after the adapter was replaced, are foreign. This makes their "
     "virtual\n"
     "disks the controller's own, with their data. 'xyl restore' then brings the settings back.",
     HOST_TEXT("xyl import --controller lab.json\nxyl import --show --controller lab.json"),
     "xyl import\nxyl import --show", runVerb},

    {"create", "", 0, 0,
     VERB_OPTIONS | OPTION(LEVEL) | OPTION(DISKS) | OPTION(HOW_MANY) | OPTION(SIZE) | OPTION(STRIPE) | OPTION(CACHE) |
         OPTION(NAME) | OPTION(SPARE) | OPTION(WIPE),
     PLAIN_OUTCOMES, XYL_FRONT_BOTH, XYL_NEEDS_CONTROLLER, true, "creates a virtual disk",
     "Creates a virtual disk of the level on the disks of --disks, or on --count disks that it picks, and says which.\n"
     "What is not given is left to the controller; without --size the virtual disk takes all the room. The members\n"
     "have to be Ready, or Online with room beside other virtual disks, and what is asked for has to be what the\n"
     "controller can do. Where partitions, a file system or other metadata on a disk of the machine are in the way,\n"
     "--wipe shows what they are, wants a typed yes or --yes, and destroys them; disks of virtual disks are wiped\n"
     "only when 'show' tells that nothing else can be done with their set.\n" VERB_DISK_TEXT ".",
     HOST_TEXT("xyl create --level 1 --disks 301:8,301:9 --name Builds --controller lab.json\n"
               "xyl create --level 5 --count 3 --size 2TB --cache \"write back\" --show --controller lab.json"),
     "xyl create --level 1 --disks 301:8,301:9 --name Builds --spare 301:6\nxyl create --level 5 --count 3 --show",
     runVerb},

    {"delete", "VD...", 1, XYL_WORDS_MAX - 1, VERB_OPTIONS, PLAIN_OUTCOMES, XYL_FRONT_BOTH, XYL_NEEDS_CONTROLLER, true,
     "deletes virtual disks, with their data",
     "VD is an id, a name or an FQDD, as 'xyl show' lists them. What is lost is shown first, and a typed yes or --yes\n"
     "is wanted.",
     HOST_TEXT("xyl delete Scratch --yes --controller lab.json\nxyl delete 3 5 --show --controller lab.json"),
     "xyl delete 3", runVerb},

    {"spare", "DISK...", 1, XYL_WORDS_MAX - 1, VERB_OPTIONS | OPTION(FOR) | OPTION(REMOVE), PLAIN_OUTCOMES,
     XYL_FRONT_BOTH, XYL_NEEDS_CONTROLLER, true, "makes disks hot spares, or frees them",
     "A hot spare stands by for all virtual disks, or for those of --for. It has to be Ready.\n" VERB_DISK_TEXT ".",
     HOST_TEXT("xyl spare 301:8 --controller lab.json\nxyl spare 301:8 --for Data --controller lab.json\n"
               "xyl spare 301:8 --remove --controller lab.json"),
     "xyl spare 301:8 --for 2\nxyl spare 301:8 --remove", runVerb},

    {"key lock", "", 0, 0, VERB_OPTIONS | OPTION(KEY_ID) | OPTION(PASSPHRASE_FILE), PLAIN_OUTCOMES, XYL_FRONT_BOTH,
     XYL_NEEDS_CONTROLLER, true, "sets the adapter's first security key", KEY_TEXT,
     HOST_TEXT("xyl key lock --key-id rack-7 --passphrase-file new.txt --controller lab.json"),
     "xyl key lock --key-id rack-7", runVerb},

    {"key rekey", "", 0, 0, VERB_OPTIONS | OPTION(KEY_ID) | OPTION(PASSPHRASE_FILE) | OPTION(OLD_PASSPHRASE_FILE),
     PLAIN_OUTCOMES, XYL_FRONT_BOTH, XYL_NEEDS_CONTROLLER, true, "replaces the adapter's security key", KEY_TEXT,
     HOST_TEXT("xyl key rekey --key-id rack-7-b --old-passphrase-file old.txt --passphrase-file new.txt --controller "
               "lab.json"),
     "xyl key rekey --key-id rack-7-b", runVerb},

    {"key erase", "", 0, 0, VERB_OPTIONS, PLAIN_OUTCOMES, XYL_FRONT_BOTH, XYL_NEEDS_CONTROLLER, true,
     "removes the adapter's security key",
     "Not while a virtual disk is locked with it. A typed yes or --yes is wanted.",
     HOST_TEXT("xyl key erase --yes --controller lab.json"), "xyl key erase", runVerb},

    {"set", "NAME=VALUE...", 1, XYL_WORDS_MAX - 1, VERB_OPTIONS, PLAIN_OUTCOMES, XYL_FRONT_BOTH, XYL_NEEDS_CONTROLLER,
     true, "sets modes and rates of the adapter",
     "NAME and VALUE are those of documents, capital letters, blanks and marks aside, or how they begin. A number "
     "sets\n"
     "the rate of that name, anything else the mode. A mistake lists what there is.",
     HOST_TEXT("xyl set \"copy back=on\" rebuild=40 --controller lab.json\n"
               "xyl set patrolread=manual \"patrol read=20\" --show --controller lab.json"),
     "xyl set copyback=on rebuild=40", runVerb},

    {"apply", "CHANGES.xml", 1, 1,
     ON_CONTROLLER | OPTION(SAVED) | OPTION(LOG_FILE) | OPTION(FORCE) | OPTION(INCOMPLETE) | OPTION(YES) | OPTION(JSON),
     PLAIN_OUTCOMES, XYL_FRONT_BOTH, XYL_NEEDS_CONTROLLER, true, "runs the commands of a change document",
     "Runs the methods of CHANGES.xml one after the other until one fails and shows them as a table. With --saved the\n"
     "disk ids in the document are those of SAVED.xml and are translated to the controller's; without it they are "
     "sent\n"
     "as they are. A document that destroys something is shown first, and a typed yes or --yes is wanted. Commands "
     "done\n"
     "before a failure stay done. Passphrases are never shown.",
     HOST_TEXT(
         "xyl apply changes.xml --controller lab.json\nxyl apply changes.xml --saved saved.xml --controller lab.json"),
     "xyl apply fs0:\\changes.xml --saved fs0:\\saved.xml", runApply},

#ifndef RAIDXYL_EFI
    {"report", "[SAVED.xml] [LOG.xml] [NEWER.xml]", 0, 3,
     ON_CONTROLLER | OPTION(OUTPUT) | OPTION(FORCE) | OPTION(INCOMPLETE), PLAIN_OUTCOMES, XYL_FRONT_HOST,
     XYL_NEEDS_NOTHING, false, "draws a configuration as an HTML page",
     "Writes one page to FILE, or prints it: the slots with their disks, virtual disks, hot spares and the adapter, "
     "of\n"
     "SAVED.xml or, without it, of the controller. With NEWER.xml the page shows that one and marks what differs from\n"
     "SAVED.xml; with the log of a restore or a change it shows the steps, and with what was read after them as "
     "NEWER.xml\n"
     "what they left. The page needs no network and no scripts.",
     "xyl report saved.xml -o report.html\nxyl report monday.xml tuesday.xml -o report.html\n"
     "xyl report saved.xml log.xml after.xml -o report.html\nxyl report --preset demo -o report.html",
     "", nullptr},
    {"redfish", "[SAVED.xml] DIRECTORY | METHOD URI [SAVED.xml]", 1, 3,
     ON_CONTROLLER | OPTION(OUTPUT) | OPTION(FORCE) | OPTION(INCOMPLETE) | OPTION(REQUEST) | OPTION(YES) |
         OPTION(IF_MATCH),
     PLAIN_OUTCOMES, XYL_FRONT_HOST, XYL_NEEDS_NOTHING, false,
     "writes a configuration as Redfish resources, or a request as changes",
     "Writes the resources of a Redfish service that tells the configuration to DIRECTORY/redfish, an index.json each, "
     "of\n"
     "SAVED.xml or, without it, of the controller. With --request it writes the change document that does what a "
     "POST,\n"
     "PATCH or DELETE asks for; BODY.json is the request's body, /dev/null for none. A request that cannot be "
     "expressed\n"
     "is refused, and the output is the error body that the service answers. docs/redfish.md tells what maps to what.\n"
     "DIRECTORY - prints all resources as one JSON document. With --yes the request is run on the controller, and the\n"
     "output is one JSON document with the status and the body of the answer.",
     "xyl redfish saved.xml mockup\nxyl redfish mockup --controller lab.json --force\n"
     "xyl redfish --request body.json PATCH /redfish/v1/Systems/1/Storage/0/Volumes/3 saved.xml -o changes.xml",
     "", nullptr},
#endif

    {"log", "", 0, 0, WORLD | OPTION(JSON), PLAIN_OUTCOMES, XYL_FRONT_BOTH, XYL_NEEDS_NOTHING, false,
     "shows the log lines that the log provider kept",
     "Prints the lines in the memory of DebugLog.efi, oldest first. The host program keeps nothing between runs: "
     "there\n"
     "the option --log shows the log of the run that it is given to.",
     HOST_TEXT("xyl get --preset demo -o saved.xml --log trace"), "xyl log", runLog},

#ifndef RAIDXYL_EFI
    {"sim new", "FILE", 1, 1, OPTION(PRESET) | OPTION(FROM) | OPTION(FORCE) | OPTION(QUIET), PLAIN_OUTCOMES,
     XYL_FRONT_HOST, XYL_NEEDS_NOTHING, false, "makes a file that keeps a simulated controller",
     "Writes the controller of a preset, or the one that SAVED.xml describes, to FILE, for --controller FILE.\n"
     "Commands that change the controller save it there, so the next command finds what they left. The file is JSON\n"
     "and may be edited. A document holds no passphrase: a key of SAVED.xml gets the passphrase 'simulated'.",
     "xyl sim new --preset demo lab.json\nxyl sim new --from saved.xml lab.json", "", nullptr},

    {"sim presets", "", 0, 0, OPTION(JSON), OUTCOME(SUCCESS) | OUTCOME(USAGE), XYL_FRONT_HOST, XYL_NEEDS_NOTHING, false,
     "lists the simulated controllers that --preset knows", "Prints the name and the contents of every preset.",
     "xyl sim presets", "", nullptr},

    {"sim show", "FILE", 1, 1, OPTION(JSON), PLAIN_OUTCOMES, XYL_FRONT_HOST, XYL_NEEDS_NOTHING, false,
     "shows what only the simulator knows of a controller",
     "Shows the firmware version, the key, every slot, empty ones too, the disks that were pulled, foreign virtual\n"
     "disks and pending faults. The names in the first two columns are those that the other sim commands take.",
     "xyl sim show lab.json", "", nullptr},

    {"sim pull", "FILE DISK", 2, 2, OPTION(QUIET), PLAIN_OUTCOMES, XYL_FRONT_HOST, XYL_NEEDS_NOTHING, true,
     "pulls a disk out of its slot",
     DISK_TEXT "The disk is kept at hand for 'sim insert'; virtual disks on it degrade or go offline.",
     "xyl sim pull lab.json 1003\nxyl sim pull lab.json 301:2\nxyl sim pull lab.json "
     "disk-02.enclosure-0.adapter-0",
     "", nullptr},

    {"sim insert", "FILE DISK|new [PLACE]", 2, 3, OPTION(SIZE) | OPTION(MODEL) | OPTION(QUIET), PLAIN_OUTCOMES,
     XYL_FRONT_HOST, XYL_NEEDS_NOTHING, true, "puts a pulled disk or a new one into an empty slot",
     "DISK is a pulled disk, which goes to PLACE or back to its old slot; nothing on it is lost, and the virtual\n"
     "disks that still count on it get it back. A disk of virtual disks that are gone comes as foreign. The word new\n"
     "takes a fresh disk, of the kind and size of its neighbour without --model and --size. PLACE is enclosure:slot\n"
     "or direct:slot.",
     "xyl sim insert lab.json 1003\nxyl sim insert lab.json 1003 302:9\n"
     "xyl sim insert lab.json new 302:10 --size 4TB --model archive",
     "", nullptr},

    {"sim replace-disk", "FILE DISK", 2, 2, OPTION(SIZE) | OPTION(MODEL) | OPTION(QUIET), PLAIN_OUTCOMES,
     XYL_FRONT_HOST, XYL_NEEDS_NOTHING, true, "puts a new disk in the place of another",
     DISK_TEXT "The new disk is of the old one's kind and size without --model and --size. Nothing is rebuilt.",
     "xyl sim replace-disk lab.json 301:2\nxyl sim replace-disk lab.json 1003 --size 4TB", "", nullptr},

    {"sim fail", "FILE DISK", 2, 2, OPTION(QUIET), PLAIN_OUTCOMES, XYL_FRONT_HOST, XYL_NEEDS_NOTHING, true,
     "makes a disk fail", DISK_TEXT "It stays in its slot; virtual disks on it degrade or go offline.",
     "xyl sim fail lab.json 301:2", "", nullptr},

    {"sim replace-adapter", "FILE", 1, 1, OPTION(QUIET), PLAIN_OUTCOMES, XYL_FRONT_HOST, XYL_NEEDS_NOTHING, true,
     "replaces the adapter by a new one of its model",
     "The new adapter has another WWN, default settings and no key; all virtual disks are foreign to it.",
     "xyl sim replace-adapter lab.json", "", nullptr},

    {"sim foreign", "FILE LEVEL DISK...", 3, XYL_WORDS_MAX - 2, OPTION(QUIET), PLAIN_OUTCOMES, XYL_FRONT_HOST,
     XYL_NEEDS_NOTHING, true, "makes ready disks foreign, with a virtual disk on them",
     DISK_TEXT "LEVEL is that of the virtual disk, as 5 or \"RAID 5\". What is foreign waits for Import or Clear.",
     "xyl sim foreign lab.json 1 1009 1010", "", nullptr},

    {"sim firmware", "FILE VERSION", 2, 2, OPTION(QUIET), PLAIN_OUTCOMES, XYL_FRONT_HOST, XYL_NEEDS_NOTHING, true,
     "sets the firmware version", "Sets the version that the adapter reports, for verify to notice.",
     "xyl sim firmware lab.json 21.3.5-0001", "", nullptr},

    {"sim fail-next", "FILE COMMAND[:OBJECT] [STATUS]", 2, 3, OPTION(QUIET), PLAIN_OUTCOMES, XYL_FRONT_HOST,
     XYL_NEEDS_NOTHING, true, "makes the controller fail the next command of a kind",
     "The next such command that the driver sends does nothing and returns STATUS, device-error without one. COMMAND\n"
     "is a method of change documents, as create, or any; OBJECT is adapter, enclosure, pd or vd. A second fault of\n"
     "the same kind waits for the command after that.",
     "xyl sim fail-next lab.json create\nxyl sim fail-next lab.json get:pd out-of-resources", "", nullptr},

    {"sim clear-faults", "FILE", 1, 1, OPTION(QUIET), PLAIN_OUTCOMES, XYL_FRONT_HOST, XYL_NEEDS_NOTHING, true,
     "removes the faults that 'sim fail-next' left pending", "Says how many there were.",
     "xyl sim clear-faults lab.json", "", nullptr},

    {"jobs", "JOBS.txt", 1, 1, OPTION(QUIET), PLAIN_OUTCOMES, XYL_FRONT_HOST, XYL_NEEDS_NOTHING, false,
     "looks for mistakes in the job file of a boot medium",
     "Reads the file as a medium does, and shows the lines or tells every mistake. A medium runs nothing of a file "
     "that\n"
     "has one.",
     "xyl jobs lab/jobs.txt", "", nullptr},

    {"unpack", "CONSOLE.log DIR", 2, 2, OPTION(FORCE) | OPTION(QUIET), PLAIN_OUTCOMES, XYL_FRONT_HOST,
     XYL_NEEDS_NOTHING, false, "takes the results of a boot medium out of the log of its console",
     "A boot medium that cannot be written to shows its files on the console. This writes those that came whole to\n"
     "DIR, and says which did not. Of files with one name the last one counts.",
     "xyl unpack console.log results", "", nullptr},

    {"man", "", 0, 0, 0, OUTCOME(SUCCESS) | OUTCOME(USAGE), XYL_FRONT_HOST, XYL_NEEDS_NOTHING, false,
     "writes the manual page", "Writes the manual page, in the form that man reads, to the standard output.", "xyl man",
     "", nullptr},

    {"completion", "", 0, 0, 0, OUTCOME(SUCCESS) | OUTCOME(USAGE), XYL_FRONT_HOST, XYL_NEEDS_NOTHING, false,
     "writes the completion script for bash", "Writes a script for bash that completes commands, options and presets.",
     "xyl completion", "", nullptr},
#endif

    {"help", "[COMMAND]", 0, 2, OPTION(JSON) | OPTION(PAGES), OUTCOME(SUCCESS) | OUTCOME(USAGE), XYL_FRONT_BOTH,
     XYL_NEEDS_NOTHING, false, "shows this help or that of a command",
     "The same as -h or --help behind a command. With --json it is a list for programs: the version, the commands "
     "with\n"
     "their options, all options and return values.",
     HOST_TEXT("xyl help restore\nxyl help sim\nxyl help --json"), "xyl help restore\nxyl help --json", nullptr},
};

const UINTN g_xylCommandCount = sizeof(g_xylCommands) / sizeof(g_xylCommands[0]);
