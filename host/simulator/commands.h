// The commands on the file of a simulated controller.
#pragma once

#include "client/command_line/rows.h"
#include "host/common/common.h"
#include "host/simulator/simulator.h"

inline constexpr XYL_COMMAND g_simCommands[] = {
    {
        .Name = "sim new",
        .Operands = "FILE",
        .OperandsMin = 1,
        .OperandsMax = 1,
        .Options = optionSet(XYL_OPTION_PRESET, XYL_OPTION_FROM, XYL_OPTION_FORCE, XYL_OPTION_QUIET),
        .Summary = "makes a file that keeps a simulated controller",
        .Description =
            "Writes the controller of a preset, or the one that SAVED.xml describes, to FILE, for --controller "
            "FILE. Commands that change the controller save it there, so the next command finds what they "
            "left. The file is JSON and may be edited. A document holds no passphrase: a key of SAVED.xml gets "
            "the passphrase 'simulated'.",
        .HostExamples = "xyl sim new --preset demo lab.json\n"
                        "xyl sim new --from saved.xml lab.json",
        .Run = guardedRun<runAlone<newController>>,
    },
    {
        .Name = "sim presets",
        .Options = optionSet(XYL_OPTION_JSON),
        .Outcomes = PRINTING_OUTCOMES,
        .Summary = "lists the simulated controllers that --preset knows",
        .Description = "Prints the name and the contents of every preset.",
        .HostExamples = "xyl sim presets",
        .Run = guardedRun<runAlone<listPresets>>,
    },
    {
        .Name = "sim show",
        .Operands = "FILE",
        .OperandsMin = 1,
        .OperandsMax = 1,
        .Options = optionSet(XYL_OPTION_JSON),
        .Summary = "shows what only the simulator knows of a controller",
        .Description =
            "Shows the firmware version, the key, every slot, empty ones too, the disks that were pulled, "
            "foreign virtual disks and pending faults. The names in the first two columns are those that the "
            "other sim commands take.",
        .HostExamples = "xyl sim show lab.json",
        .Run = guardedRun<runOnFile<showController>>,
    },
    {
        .Name = "sim pull",
        .Operands = "FILE DISK",
        .OperandsMin = 2,
        .OperandsMax = 2,
        .Options = optionSet(XYL_OPTION_QUIET),
        .ChangesController = true,
        .Summary = "pulls a disk out of its slot",
        .Description = "DISK is an id, an FQDD, enclosure:slot or direct:slot; 'xyl sim show FILE' lists them.\n"
                       "The disk is kept at hand for 'sim insert'; virtual disks on it degrade or go offline.",
        .HostExamples = "xyl sim pull lab.json 1003\n"
                        "xyl sim pull lab.json 301:2\n"
                        "xyl sim pull lab.json disk-02.enclosure-0.adapter-0",
        .Run = guardedRun<runOnFile<pullDisk>>,
    },
    {
        .Name = "sim insert",
        .Operands = "FILE DISK|new [PLACE]",
        .OperandsMin = 2,
        .OperandsMax = 3,
        .Options = optionSet(XYL_OPTION_SIZE, XYL_OPTION_MODEL, XYL_OPTION_QUIET),
        .ChangesController = true,
        .Summary = "puts a pulled disk or a new one into an empty slot",
        .Description =
            "DISK is a pulled disk, which goes to PLACE or back to its old slot; nothing on it is lost, and "
            "the virtual disks that still count on it get it back. A disk of virtual disks that are gone comes "
            "as foreign. The word new takes a fresh disk, of the kind and size of its neighbour without "
            "--model and --size. PLACE is enclosure:slot or direct:slot.",
        .HostExamples = "xyl sim insert lab.json 1003\n"
                        "xyl sim insert lab.json 1003 302:9\n"
                        "xyl sim insert lab.json new 302:10 --size 4TB --model archive",
        .Run = guardedRun<runOnFile<insertDisk>>,
    },
    {
        .Name = "sim replace-disk",
        .Operands = "FILE DISK",
        .OperandsMin = 2,
        .OperandsMax = 2,
        .Options = optionSet(XYL_OPTION_SIZE, XYL_OPTION_MODEL, XYL_OPTION_QUIET),
        .ChangesController = true,
        .Summary = "puts a new disk in the place of another",
        .Description = "DISK is an id, an FQDD, enclosure:slot or direct:slot; 'xyl sim show FILE' lists them.\n"
                       "The new disk is of the old one's kind and size without --model and --size. Nothing is rebuilt.",
        .HostExamples = "xyl sim replace-disk lab.json 301:2\n"
                        "xyl sim replace-disk lab.json 1003 --size 4TB",
        .Run = guardedRun<runOnFile<replaceDisk>>,
    },
    {
        .Name = "sim fail",
        .Operands = "FILE DISK",
        .OperandsMin = 2,
        .OperandsMax = 2,
        .Options = optionSet(XYL_OPTION_QUIET),
        .ChangesController = true,
        .Summary = "makes a disk fail",
        .Description = "DISK is an id, an FQDD, enclosure:slot or direct:slot; 'xyl sim show FILE' lists them.\n"
                       "It stays in its slot; virtual disks on it degrade or go offline.",
        .HostExamples = "xyl sim fail lab.json 301:2",
        .Run = guardedRun<runOnFile<failDisk>>,
    },
    {
        .Name = "sim replace-adapter",
        .Operands = "FILE",
        .OperandsMin = 1,
        .OperandsMax = 1,
        .Options = optionSet(XYL_OPTION_QUIET),
        .ChangesController = true,
        .Summary = "replaces the adapter by a new one of its model",
        .Description =
            "The new adapter has another WWN, default settings and no key; all virtual disks are foreign to it.",
        .HostExamples = "xyl sim replace-adapter lab.json",
        .Run = guardedRun<runOnFile<replaceAdapter>>,
    },
    {
        .Name = "sim foreign",
        .Operands = "FILE LEVEL DISK...",
        .OperandsMin = 3,
        .OperandsMax = XYL_WORDS_MAX - 2,
        .Options = optionSet(XYL_OPTION_QUIET),
        .ChangesController = true,
        .Summary = "makes ready disks foreign, with a virtual disk on them",
        .Description =
            "DISK is an id, an FQDD, enclosure:slot or direct:slot; 'xyl sim show FILE' lists them.\n"
            "LEVEL is that of the virtual disk, as 5 or \"RAID 5\". What is foreign waits for Import or Clear.",
        .HostExamples = "xyl sim foreign lab.json 1 1009 1010",
        .Run = guardedRun<runOnFile<makeForeign>>,
    },
    {
        .Name = "sim firmware",
        .Operands = "FILE VERSION",
        .OperandsMin = 2,
        .OperandsMax = 2,
        .Options = optionSet(XYL_OPTION_QUIET),
        .ChangesController = true,
        .Summary = "sets the firmware version",
        .Description = "Sets the version that the adapter reports, for verify to notice.",
        .HostExamples = "xyl sim firmware lab.json 21.3.5-0001",
        .Run = guardedRun<runOnFile<setFirmware>>,
    },
    {
        .Name = "sim fail-next",
        .Operands = "FILE COMMAND[:OBJECT] [STATUS]",
        .OperandsMin = 2,
        .OperandsMax = 3,
        .Options = optionSet(XYL_OPTION_QUIET),
        .ChangesController = true,
        .Summary = "makes the controller fail the next command of a kind",
        .Description =
            "The next such command that the driver sends does nothing and returns STATUS, device-error without "
            "one. COMMAND is a method of change documents, as create, or any; OBJECT is adapter, enclosure, pd "
            "or vd. A second fault of the same kind waits for the command after that.",
        .HostExamples = "xyl sim fail-next lab.json create\n"
                        "xyl sim fail-next lab.json get:pd out-of-resources",
        .Run = guardedRun<runOnFile<failNext>>,
    },
    {
        .Name = "sim clear-faults",
        .Operands = "FILE",
        .OperandsMin = 1,
        .OperandsMax = 1,
        .Options = optionSet(XYL_OPTION_QUIET),
        .ChangesController = true,
        .Summary = "removes the faults that 'sim fail-next' left pending",
        .Description = "Says how many there were.",
        .HostExamples = "xyl sim clear-faults lab.json",
        .Run = guardedRun<runOnFile<clearFaults>>,
    },
};
