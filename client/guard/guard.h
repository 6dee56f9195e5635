// What commands make sure of before they change a controller or write a file: who it is, what a document lacks, that
// there is room for what will be written, and that a person agrees.
#pragma once

#include "client/documents/documents.h"
#include "client/output/output.h"

// --- The controller ---

// Which controller it is, as an operator finds it in the machine.
struct CONTROLLER_IDENTITY {
  CHAR8 Name[64];
  CHAR8 Place[16]; // "03:00.0"
  CHAR8 Wwn[17];
};

EFI_STATUS readIdentity(RAID_MGMT_PROTOCOL *controller, CONTROLLER_IDENTITY *identity);
// "Harrier R6 Integrated, PCI 03:00.0, WWN 5EEDADA000001000"
void putIdentity(TEXT *text, const CONTROLLER_IDENTITY &identity);
void sayIdentity(const XYL_FRONT *front, const CONTROLLER_IDENTITY &identity);
// The member "controller" of an open object.
void writeIdentity(JSON *json, const CONTROLLER_IDENTITY &identity);

// --- Outputs ---

// A file that a command will write, or none when File is null.
struct OUTPUT {
  const CHAR8 *File;
  void *Handle; // the front's
};

// Makes sure that room bytes can be written to the file, of which nothing changes yet. Refused with a message: what the
// command reads, the file that keeps the controller, and an existing file without --force. A null file gives no output,
// "-" the standard output.
XYL_RESULT openOutput(const XYL_CONTEXT &context, const CHAR8 *file, UINTN room, OUTPUT *output);
// Likewise a file that stands beside all earlier ones: name with the ending, or with "-2", "-3" and so on before it.
// None is replaced, whatever the options. *name becomes the file's and has to outlive the output.
XYL_RESULT openNumbered(const XYL_CONTEXT &context, TEXT *name, const CHAR8 *ending, UINTN room, OUTPUT *output);
// Writes the text and puts it in place; the output is closed either way. A failure comes with a message, behind what
// has happened before ("" or words that end in a blank).
XYL_RESULT writeOutput(const XYL_CONTEXT &context, OUTPUT *output, const CHAR8 *text, UINTN size, const CHAR8 *before);
// Closes an output without writing, if it is still open.
void dropOutput(const XYL_CONTEXT &context, OUTPUT *output);

// All of it in one, for commands that change nothing before.
XYL_RESULT writeDocument(const XYL_CONTEXT &context, const CHAR8 *file, const CHAR8 *text, UINTN size);

// --- What a document lacks ---

// Writes what the configuration refers to and does not hold, in words; nothing for a complete one.
EFI_STATUS putGaps(TEXT *gaps, const RAID_CONFIG &config);
// Adds that the key identifier is missing, where it is; putGaps has it.
void putKeyGap(TEXT *gaps, const RAID_CONFIG &config);
// Adds where the controller's own lists have other lengths than the configuration's.
EFI_STATUS putCountGaps(TEXT *gaps, RAID_MGMT_PROTOCOL *controller, const RAID_CONFIG &config);
// Refuses what has gaps with a message that calls it name, unless --incomplete is given, which leaves a warning. Frees
// the gaps.
XYL_RESULT judgeGaps(const XYL_CONTEXT &context, const CHAR8 *name, EFI_STATUS status, TEXT *gaps);

// --- The question ---

// Asks whether to go on with what a message would call what, unless --yes is given. keptIn is the file that will keep
// what the controller holds, or null.
XYL_RESULT askToGoOn(const XYL_CONTEXT &context, const CONTROLLER_IDENTITY &identity, const CHAR8 *what,
                     const CHAR8 *keptIn = nullptr);
