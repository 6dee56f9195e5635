// What commands make sure of before they change a controller or write a file: who it is, what a document lacks, that
// there is room for what will be written, and that a person agrees.
#pragma once

#include "client/documents/documents.h"
#include "client/output/output.h"

namespace xyl::client {

// --- The controller ---

// Which controller it is, as an operator finds it in the machine.
struct ControllerIdentity {
  CHAR8 name[64];
  CHAR8 place[16]; // "03:00.0"
  CHAR8 wwn[17];
};

EFI_STATUS readIdentity(RAID_MGMT_PROTOCOL *controller, ControllerIdentity *identity);
// "Harrier R6 Integrated, PCI 03:00.0, WWN 5EEDADA000001000"
void putIdentity(Text *text, const ControllerIdentity &identity);
void sayIdentity(const Front *front, const ControllerIdentity &identity);
// The member "controller" of an open object.
void writeIdentity(Json *json, const ControllerIdentity &identity);

// --- Outputs ---

// A file that a command will write, or none when File is null.
struct Output {
  const CHAR8 *file;
  void *handle; // the front's
};

// Makes sure that room bytes can be written to the file, of which nothing changes yet. Refused with a message: what the
// command reads, the file that keeps the controller, and an existing file without --force. A null file gives no output,
// "-" the standard output.
Result openOutput(const Context &context, const CHAR8 *file, UINTN room, Output *output);
// Likewise a file that stands beside all earlier ones: name with the ending, or with "-2", "-3" and so on before it.
// None is replaced, whatever the options. *name becomes the file's and has to outlive the output.
Result openNumbered(const Context &context, Text *name, const CHAR8 *ending, UINTN room, Output *output);
// Writes the text and puts it in place; the output is closed either way. A failure comes with a message, behind what
// has happened before ("" or words that end in a blank).
Result writeOutput(const Context &context, Output *output, const CHAR8 *text, UINTN size, const CHAR8 *before);
// Closes an output without writing, if it is still open.
void dropOutput(const Context &context, Output *output);

// All of it in one, for commands that change nothing before.
Result writeDocument(const Context &context, const CHAR8 *file, const CHAR8 *text, UINTN size);

// --- What a document lacks ---

// Writes what the configuration refers to and does not hold, in words; nothing for a complete one.
EFI_STATUS putGaps(Text *gaps, const RAID_CONFIG &config);
// Adds that the key identifier is missing, where it is; putGaps has it.
void putKeyGap(Text *gaps, const RAID_CONFIG &config);
// Adds where the controller's own lists have other lengths than the configuration's.
EFI_STATUS putCountGaps(Text *gaps, RAID_MGMT_PROTOCOL *controller, const RAID_CONFIG &config);
// Refuses what has gaps with a message that calls it name, unless --incomplete is given, which leaves a warning. Frees
// the gaps.
Result judgeGaps(const Context &context, const CHAR8 *name, EFI_STATUS status, Text *gaps);

// --- The question ---

// Asks whether to go on with what a message would call what, unless --yes is given. keptIn is the file that will keep
// what the controller holds, or null.
Result askToGoOn(const Context &context, const ControllerIdentity &identity, const CHAR8 *what,
                 const CHAR8 *keptIn = nullptr);

} // namespace xyl::client
