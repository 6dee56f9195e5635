// The verbs.
#pragma once

#include "client/command_line/rows.h"
#include "client/verbs/verbs.h"

inline constexpr XYL_COMMAND g_identifyCommand = {
    .Name = "identify",
    .Operands = "[DISK...]",
    .OperandsMax = XYL_WORDS_MAX - 1,
    .Options = CONTROLLER_OPTIONS | optionSet(XYL_OPTION_BLINK, XYL_OPTION_SHOW, XYL_OPTION_JSON),
    .Need = needController,
    .NamesDisks = true,
    .Summary = "asks the driver for its identification block, or makes disks blink",
    .Description = "Without a disk it prints the five words of the identification block, and the controller itself is "
                   "not asked. With one, which --disk may name as well, the controller is told to make it show "
                   "itself. Not every controller can.\n"
                   "DISK is an id, an FQDD, enclosure:slot or direct:slot, as 'xyl show' lists them.",
    .HostExamples = "xyl identify --preset demo\n"
                    "xyl identify --disk 301:2 --controller lab.json",
    .ShellExamples = "xyl identify -c 1\n"
                     "xyl identify --disk 301:2",
    .Run = runIdentifyOf,
};

inline constexpr XYL_COMMAND g_verbCommands[] = {
    {
        .Name = "import",
        .Options = CONTROLLER_OPTIONS |
                   optionSet(XYL_OPTION_SHOW, XYL_OPTION_LOG_FILE, XYL_OPTION_FORCE, XYL_OPTION_YES, XYL_OPTION_JSON),
        .Need = needController,
        .ChangesController = true,
        .Summary = "takes over the virtual disks on foreign disks",
        .Description = "Disks that come from another controller, as after the adapter was replaced, are foreign. This "
                       "makes their virtual disks the controller's own, with their data. 'xyl restore' then brings the "
                       "settings back.",
        .HostExamples = "xyl import --controller lab.json\n"
                        "xyl import --show --controller lab.json",
        .ShellExamples = "xyl import\n"
                         "xyl import --show",
        .Run = runImport,
    },
    {
        .Name = "create",
        .Options = VERB_OPTIONS | optionSet(XYL_OPTION_LEVEL, XYL_OPTION_DISKS, XYL_OPTION_HOW_MANY, XYL_OPTION_SIZE,
                                            XYL_OPTION_STRIPE, XYL_OPTION_CACHE, XYL_OPTION_NAME, XYL_OPTION_SPARE,
                                            XYL_OPTION_WIPE),
        .Need = needController,
        .ChangesController = true,
        .Summary = "creates a virtual disk",
        .Description =
            "Creates a virtual disk of the level on the disks of --disks, or on --count disks that it picks, "
            "and says which. What is not given is left to the controller; without --size the virtual disk "
            "takes all the room. The members have to be Ready, or Online with room beside other virtual disks, "
            "and what is asked for has to be what the controller can do. Where partitions, a file system or "
            "other metadata on a disk of the machine are in the way, --wipe shows what they are, wants a typed "
            "yes or --yes, and destroys them; disks of virtual disks are wiped only when 'show' tells that "
            "nothing else can be done with their set.\n"
            "DISK is an id, an FQDD, enclosure:slot or direct:slot, as 'xyl show' lists them.",
        .HostExamples = "xyl create --level 1 --disks 301:8,301:9 --name Builds --controller lab.json\n"
                        "xyl create --level 5 --count 3 --size 2TB --cache \"write back\" --show --controller lab.json",
        .ShellExamples = "xyl create --level 1 --disks 301:8,301:9 --name Builds --spare 301:6\n"
                         "xyl create --level 5 --count 3 --show",
        .Run = runCreate,
    },
    {
        .Name = "delete",
        .Operands = "VD...",
        .OperandsMin = 1,
        .OperandsMax = XYL_WORDS_MAX - 1,
        .Options = VERB_OPTIONS,
        .Need = needController,
        .ChangesController = true,
        .Summary = "deletes virtual disks, with their data",
        .Description = "VD is an id, a name or an FQDD, as 'xyl show' lists them. What is lost is shown first, and a "
                       "typed yes or --yes is wanted.",
        .HostExamples = "xyl delete Scratch --yes --controller lab.json\n"
                        "xyl delete 3 5 --show --controller lab.json",
        .ShellExamples = "xyl delete 3",
        .Run = runDelete,
    },
    {
        .Name = "spare",
        .Operands = "DISK...",
        .OperandsMin = 1,
        .OperandsMax = XYL_WORDS_MAX - 1,
        .Options = VERB_OPTIONS | optionSet(XYL_OPTION_FOR, XYL_OPTION_REMOVE),
        .Need = needController,
        .ChangesController = true,
        .Summary = "makes disks hot spares, or frees them",
        .Description = "A hot spare stands by for all virtual disks, or for those of --for. It has to be Ready.\n"
                       "DISK is an id, an FQDD, enclosure:slot or direct:slot, as 'xyl show' lists them.",
        .HostExamples = "xyl spare 301:8 --controller lab.json\n"
                        "xyl spare 301:8 --for Data --controller lab.json\n"
                        "xyl spare 301:8 --remove --controller lab.json",
        .ShellExamples = "xyl spare 301:8 --for 2\n"
                         "xyl spare 301:8 --remove",
        .Run = runSpare,
    },
    {
        .Name = "key lock",
        .Options = VERB_OPTIONS | optionSet(XYL_OPTION_KEY_ID, XYL_OPTION_PASSPHRASE_FILE),
        .Need = needController,
        .ChangesController = true,
        .Summary = "sets the adapter's first security key",
        .Description = "The controller keeps the key. Its passphrase, of 1 to 32 bytes, is asked for and not shown, or "
                       "comes from a file; it is never part of the command line. With --show the document has no "
                       "passphrases, and nobody is asked.",
        .HostExamples = "xyl key lock --key-id rack-7 --passphrase-file new.txt --controller lab.json",
        .ShellExamples = "xyl key lock --key-id rack-7",
        .Run = runKeyLock,
    },
    {
        .Name = "key rekey",
        .Options =
            VERB_OPTIONS | optionSet(XYL_OPTION_KEY_ID, XYL_OPTION_PASSPHRASE_FILE, XYL_OPTION_OLD_PASSPHRASE_FILE),
        .Need = needController,
        .ChangesController = true,
        .Summary = "replaces the adapter's security key",
        .Description = "The controller keeps the key. Its passphrase, of 1 to 32 bytes, is asked for and not shown, or "
                       "comes from a file; it is never part of the command line. With --show the document has no "
                       "passphrases, and nobody is asked.",
        .HostExamples = "xyl key rekey --key-id rack-7-b --old-passphrase-file old.txt --passphrase-file new.txt "
                        "--controller lab.json",
        .ShellExamples = "xyl key rekey --key-id rack-7-b",
        .Run = runKeyRekey,
    },
    {
        .Name = "key erase",
        .Options = VERB_OPTIONS,
        .Need = needController,
        .ChangesController = true,
        .Summary = "removes the adapter's security key",
        .Description = "Not while a virtual disk is locked with it. A typed yes or --yes is wanted.",
        .HostExamples = "xyl key erase --yes --controller lab.json",
        .ShellExamples = "xyl key erase",
        .Run = runKeyErase,
    },
    {
        .Name = "set",
        .Operands = "NAME=VALUE...",
        .OperandsMin = 1,
        .OperandsMax = XYL_WORDS_MAX - 1,
        .Options = VERB_OPTIONS,
        .Need = needController,
        .ChangesController = true,
        .Summary = "sets modes and rates of the adapter",
        .Description =
            "NAME and VALUE are those of documents, capital letters, blanks and marks aside, or how they "
            "begin. A number sets the rate of that name, anything else the mode. A mistake lists what there is.",
        .HostExamples = "xyl set \"copy back=on\" rebuild=40 --controller lab.json\n"
                        "xyl set patrolread=manual \"patrol read=20\" --show --controller lab.json",
        .ShellExamples = "xyl set copyback=on rebuild=40",
        .Run = runSet,
    },
};
