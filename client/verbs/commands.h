// The verbs.
#pragma once

#include "client/command_line/rows.h"
#include "client/verbs/verbs.h"

namespace xyl::client {

inline constexpr Command g_identifyCommand = {
    .name = "identify",
    .operands = "[DISK...]",
    .operandsMax = wordsMax - 1,
    .options = controllerOptions | optionSet(optionBlink, optionShow, optionJson),
    .need = needController,
    .namesDisks = true,
    .summary = "asks the driver for its identification block, or makes disks blink",
    .description = "Without a disk it prints the five words of the identification block, and the controller itself is "
                   "not asked. With one, which --disk may name as well, the controller is told to make it show "
                   "itself. Not every controller can.\n"
                   "DISK is an id, an FQDD, enclosure:slot or direct:slot, as 'xyl show' lists them.",
    .hostExamples = "xyl identify --preset demo\n"
                    "xyl identify --disk 301:2 --controller lab.json",
    .shellExamples = "xyl identify -c 1\n"
                     "xyl identify --disk 301:2",
    .run = runIdentifyOf,
};

inline constexpr Command g_verbCommands[] = {
    {
        .name = "import",
        .options = controllerOptions | optionSet(optionShow, optionLogFile, optionForce, optionYes, optionJson),
        .need = needController,
        .changesController = true,
        .summary = "takes over the virtual disks on foreign disks",
        .description = "Disks that come from another controller, as after the adapter was replaced, are foreign. This "
                       "makes their virtual disks the controller's own, with their data. 'xyl restore' then brings the "
                       "settings back.",
        .hostExamples = "xyl import --controller lab.json\n"
                        "xyl import --show --controller lab.json",
        .shellExamples = "xyl import\n"
                         "xyl import --show",
        .run = runImport,
    },
    {
        .name = "create",
        .options = verbOptions | optionSet(optionLevel, optionDisks, optionHowMany, optionSize, optionStripe,
                                           optionCache, optionName, optionSpare, optionWipe),
        .need = needController,
        .changesController = true,
        .summary = "creates a virtual disk",
        .description =
            "Creates a virtual disk of the level on the disks of --disks, or on --count disks that it picks, "
            "and says which. What is not given is left to the controller; without --size the virtual disk "
            "takes all the room. The members have to be Ready, or Online with room beside other virtual disks, "
            "and what is asked for has to be what the controller can do. Where partitions, a file system or "
            "other metadata on a disk of the machine are in the way, --wipe shows what they are, wants a typed "
            "yes or --yes, and destroys them; disks of virtual disks are wiped only when 'show' tells that "
            "nothing else can be done with their set.\n"
            "DISK is an id, an FQDD, enclosure:slot or direct:slot, as 'xyl show' lists them.",
        .hostExamples = "xyl create --level 1 --disks 301:8,301:9 --name Builds --controller lab.json\n"
                        "xyl create --level 5 --count 3 --size 2TB --cache \"write back\" --show --controller lab.json",
        .shellExamples = "xyl create --level 1 --disks 301:8,301:9 --name Builds --spare 301:6\n"
                         "xyl create --level 5 --count 3 --show",
        .run = runCreate,
    },
    {
        .name = "delete",
        .operands = "VD...",
        .operandsMin = 1,
        .operandsMax = wordsMax - 1,
        .options = verbOptions,
        .need = needController,
        .changesController = true,
        .summary = "deletes virtual disks, with their data",
        .description = "VD is an id, a name or an FQDD, as 'xyl show' lists them. What is lost is shown first, and a "
                       "typed yes or --yes is wanted.",
        .hostExamples = "xyl delete Scratch --yes --controller lab.json\n"
                        "xyl delete 3 5 --show --controller lab.json",
        .shellExamples = "xyl delete 3",
        .run = runDelete,
    },
    {
        .name = "spare",
        .operands = "DISK...",
        .operandsMin = 1,
        .operandsMax = wordsMax - 1,
        .options = verbOptions | optionSet(optionFor, optionRemove),
        .need = needController,
        .changesController = true,
        .summary = "makes disks hot spares, or frees them",
        .description = "A hot spare stands by for all virtual disks, or for those of --for. It has to be Ready.\n"
                       "DISK is an id, an FQDD, enclosure:slot or direct:slot, as 'xyl show' lists them.",
        .hostExamples = "xyl spare 301:8 --controller lab.json\n"
                        "xyl spare 301:8 --for Data --controller lab.json\n"
                        "xyl spare 301:8 --remove --controller lab.json",
        .shellExamples = "xyl spare 301:8 --for 2\n"
                         "xyl spare 301:8 --remove",
        .run = runSpare,
    },
    {
        .name = "key lock",
        .options = verbOptions | optionSet(optionKeyId, optionPassphraseFile),
        .need = needController,
        .changesController = true,
        .summary = "sets the adapter's first security key",
        .description = "The controller keeps the key. Its passphrase, of 1 to 32 bytes, is asked for and not shown, or "
                       "comes from a file; it is never part of the command line. With --show the document has no "
                       "passphrases, and nobody is asked.",
        .hostExamples = "xyl key lock --key-id rack-7 --passphrase-file new.txt --controller lab.json",
        .shellExamples = "xyl key lock --key-id rack-7",
        .run = runKeyLock,
    },
    {
        .name = "key rekey",
        .options = verbOptions | optionSet(optionKeyId, optionPassphraseFile, optionOldPassphraseFile),
        .need = needController,
        .changesController = true,
        .summary = "replaces the adapter's security key",
        .description = "The controller keeps the key. Its passphrase, of 1 to 32 bytes, is asked for and not shown, or "
                       "comes from a file; it is never part of the command line. With --show the document has no "
                       "passphrases, and nobody is asked.",
        .hostExamples = "xyl key rekey --key-id rack-7-b --old-passphrase-file old.txt --passphrase-file new.txt "
                        "--controller lab.json",
        .shellExamples = "xyl key rekey --key-id rack-7-b",
        .run = runKeyRekey,
    },
    {
        .name = "key erase",
        .options = verbOptions,
        .need = needController,
        .changesController = true,
        .summary = "removes the adapter's security key",
        .description = "Not while a virtual disk is locked with it. A typed yes or --yes is wanted.",
        .hostExamples = "xyl key erase --yes --controller lab.json",
        .shellExamples = "xyl key erase",
        .run = runKeyErase,
    },
    {
        .name = "set",
        .operands = "NAME=VALUE...",
        .operandsMin = 1,
        .operandsMax = wordsMax - 1,
        .options = verbOptions,
        .need = needController,
        .changesController = true,
        .summary = "sets modes and rates of the adapter",
        .description =
            "NAME and VALUE are those of documents, capital letters, blanks and marks aside, or how they "
            "begin. A number sets the rate of that name, anything else the mode. A mistake lists what there is.",
        .hostExamples = "xyl set \"copy back=on\" rebuild=40 --controller lab.json\n"
                        "xyl set patrolread=manual \"patrol read=20\" --show --controller lab.json",
        .shellExamples = "xyl set copyback=on rebuild=40",
        .run = runSet,
    },
};

} // namespace xyl::client
