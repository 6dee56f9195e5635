// The commands on the file of a simulated controller.
#pragma once

#include "client/command_line/rows.h"
#include "host/common/common.h"
#include "host/simulator/simulator.h"

namespace xyl::host::simulator {

inline constexpr client::Command g_simCommands[] = {
    {
        .name = "sim new",
        .operands = "FILE",
        .operandsMin = 1,
        .operandsMax = 1,
        .options =
            client::optionSet(client::optionPreset, client::optionFrom, client::optionForce, client::optionQuiet),
        .summary = "makes a file that keeps a simulated controller",
        .description =
            "Writes the controller of a preset, or the one that SAVED.xml describes, to FILE, for --controller "
            "FILE. Commands that change the controller save it there, so the next command finds what they "
            "left. The file is JSON and may be edited. A document holds no passphrase: a key of SAVED.xml gets "
            "the passphrase 'simulated'.",
        .hostExamples = "xyl sim new --preset demo lab.json\n"
                        "xyl sim new --from saved.xml lab.json",
        .run = guardedRun<runAlone<newController>>,
    },
    {
        .name = "sim presets",
        .options = client::optionSet(client::optionJson),
        .outcomes = client::printingOutcomes,
        .summary = "lists the simulated controllers that --preset knows",
        .description = "Prints the name and the contents of every preset.",
        .hostExamples = "xyl sim presets",
        .run = guardedRun<runAlone<listPresets>>,
    },
    {
        .name = "sim show",
        .operands = "FILE",
        .operandsMin = 1,
        .operandsMax = 1,
        .options = client::optionSet(client::optionJson),
        .summary = "shows what only the simulator knows of a controller",
        .description =
            "Shows the firmware version, the key, every slot, empty ones too, the disks that were pulled, "
            "foreign virtual disks and pending faults. The names in the first two columns are those that the "
            "other sim commands take.",
        .hostExamples = "xyl sim show lab.json",
        .run = guardedRun<runOnFile<showController>>,
    },
    {
        .name = "sim pull",
        .operands = "FILE DISK",
        .operandsMin = 2,
        .operandsMax = 2,
        .options = client::optionSet(client::optionQuiet),
        .changesController = true,
        .summary = "pulls a disk out of its slot",
        .description = "DISK is an id, an FQDD, enclosure:slot or direct:slot; 'xyl sim show FILE' lists them.\n"
                       "The disk is kept at hand for 'sim insert'; virtual disks on it degrade or go offline.",
        .hostExamples = "xyl sim pull lab.json 1003\n"
                        "xyl sim pull lab.json 301:2\n"
                        "xyl sim pull lab.json disk-02.enclosure-0.adapter-0",
        .run = guardedRun<runOnFile<pullDisk>>,
    },
    {
        .name = "sim insert",
        .operands = "FILE DISK|new [PLACE]",
        .operandsMin = 2,
        .operandsMax = 3,
        .options = client::optionSet(client::optionSize, client::optionModel, client::optionQuiet),
        .changesController = true,
        .summary = "puts a pulled disk or a new one into an empty slot",
        .description =
            "DISK is a pulled disk, which goes to PLACE or back to its old slot; nothing on it is lost, and "
            "the virtual disks that still count on it get it back. A disk of virtual disks that are gone comes "
            "as foreign. The word new takes a fresh disk, of the kind and size of its neighbour without "
            "--model and --size. PLACE is enclosure:slot or direct:slot.",
        .hostExamples = "xyl sim insert lab.json 1003\n"
                        "xyl sim insert lab.json 1003 302:9\n"
                        "xyl sim insert lab.json new 302:10 --size 4TB --model archive",
        .run = guardedRun<runOnFile<insertDisk>>,
    },
    {
        .name = "sim replace-disk",
        .operands = "FILE DISK",
        .operandsMin = 2,
        .operandsMax = 2,
        .options = client::optionSet(client::optionSize, client::optionModel, client::optionQuiet),
        .changesController = true,
        .summary = "puts a new disk in the place of another",
        .description = "DISK is an id, an FQDD, enclosure:slot or direct:slot; 'xyl sim show FILE' lists them.\n"
                       "The new disk is of the old one's kind and size without --model and --size. Nothing is rebuilt.",
        .hostExamples = "xyl sim replace-disk lab.json 301:2\n"
                        "xyl sim replace-disk lab.json 1003 --size 4TB",
        .run = guardedRun<runOnFile<replaceDisk>>,
    },
    {
        .name = "sim fail",
        .operands = "FILE DISK",
        .operandsMin = 2,
        .operandsMax = 2,
        .options = client::optionSet(client::optionQuiet),
        .changesController = true,
        .summary = "makes a disk fail",
        .description = "DISK is an id, an FQDD, enclosure:slot or direct:slot; 'xyl sim show FILE' lists them.\n"
                       "It stays in its slot; virtual disks on it degrade or go offline.",
        .hostExamples = "xyl sim fail lab.json 301:2",
        .run = guardedRun<runOnFile<failDisk>>,
    },
    {
        .name = "sim replace-adapter",
        .operands = "FILE",
        .operandsMin = 1,
        .operandsMax = 1,
        .options = client::optionSet(client::optionQuiet),
        .changesController = true,
        .summary = "replaces the adapter by a new one of its model",
        .description =
            "The new adapter has another WWN, default settings and no key; all virtual disks are foreign to it.",
        .hostExamples = "xyl sim replace-adapter lab.json",
        .run = guardedRun<runOnFile<replaceAdapter>>,
    },
    {
        .name = "sim foreign",
        .operands = "FILE LEVEL DISK...",
        .operandsMin = 3,
        .operandsMax = client::wordsMax - 2,
        .options = client::optionSet(client::optionQuiet),
        .changesController = true,
        .summary = "makes ready disks foreign, with a virtual disk on them",
        .description =
            "DISK is an id, an FQDD, enclosure:slot or direct:slot; 'xyl sim show FILE' lists them.\n"
            "LEVEL is that of the virtual disk, as 5 or \"RAID 5\". What is foreign waits for Import or Clear.",
        .hostExamples = "xyl sim foreign lab.json 1 1009 1010",
        .run = guardedRun<runOnFile<makeForeign>>,
    },
    {
        .name = "sim firmware",
        .operands = "FILE VERSION",
        .operandsMin = 2,
        .operandsMax = 2,
        .options = client::optionSet(client::optionQuiet),
        .changesController = true,
        .summary = "sets the firmware version",
        .description = "Sets the version that the adapter reports, for verify to notice.",
        .hostExamples = "xyl sim firmware lab.json 21.3.5-0001",
        .run = guardedRun<runOnFile<setFirmware>>,
    },
    {
        .name = "sim fail-next",
        .operands = "FILE COMMAND[:OBJECT] [STATUS]",
        .operandsMin = 2,
        .operandsMax = 3,
        .options = client::optionSet(client::optionQuiet),
        .changesController = true,
        .summary = "makes the controller fail the next command of a kind",
        .description =
            "The next such command that the driver sends does nothing and returns STATUS, device-error without "
            "one. COMMAND is a method of change documents, as create, or any; OBJECT is adapter, enclosure, pd "
            "or vd. A second fault of the same kind waits for the command after that.",
        .hostExamples = "xyl sim fail-next lab.json create\n"
                        "xyl sim fail-next lab.json get:pd out-of-resources",
        .run = guardedRun<runOnFile<failNext>>,
    },
    {
        .name = "sim clear-faults",
        .operands = "FILE",
        .operandsMin = 1,
        .operandsMax = 1,
        .options = client::optionSet(client::optionQuiet),
        .changesController = true,
        .summary = "removes the faults that 'sim fail-next' left pending",
        .description = "Says how many there were.",
        .hostExamples = "xyl sim clear-faults lab.json",
        .run = guardedRun<runOnFile<clearFaults>>,
    },
};

} // namespace xyl::host::simulator
