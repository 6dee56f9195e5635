// Configuration documents: from the XML text to a RAID_CONFIG with its commands, and the release of what was read.
// Parsers log "Entered." and "Exit. %r" under their own names and fail with EFI_OUT_OF_RESOURCES without memory.
#pragma once

#include "driver/xml/xml.h"
#include "raid_records.h"
#include "xml_protocol.h"

namespace xyl::driver {

// Parts of a RAID_CONFIG that FreeRaidConfig's mask names.
inline constexpr UINT64 configAdapter = 0x001ULL;
inline constexpr UINT64 configList = 0x004ULL;
inline constexpr UINT64 configCommands = 0x008ULL;
inline constexpr UINT64 configAll = ~0ULL;

// Reads a document into configs, an array of *count configurations that are reused when not null and else allocated;
// *count receives the number of adapters read. Also after a failure the caller owns every configuration that the array
// then holds, counted or not (methods without an adapter stay in the first uncounted one), and gives each back with
// releaseConfig. The text stays the caller's.
//   EFI_INVALID_PARAMETER  a null argument, no room, another kind of document, or a misshapen one
//   EFI_NOT_FOUND          no XML service, or a text that is in no value table
//   EFI_UNSUPPORTED        an empty raidData
//   other                  the status of the XML service
// No content and no attribute's value is left in the tree that the service made, however the reading went: any may be a
// passphrase.
EFI_STATUS ParseXMLBlob(const CHAR8 *text, RAID_CONFIG **configs, UINT32 *count);

// The name of the element, the innermost one, at which the last ParseXMLBlob failed; empty when there is none to tell.
extern LoggableText g_unreadElement;

// The same from the tree on, for an "xylComponent" and a "raidData" element; bus, device and function go into each
// adapter record. The tree stays the caller's, with the passphrases in it.
EFI_STATUS ParseXYLComponent(XML_NODE *root, RAID_CONFIG **configs, UINT32 *count);
EFI_STATUS ParseRAIDData(XML_NODE *raidData, RAID_CONFIG **configs, UINT32 *count, UINT8 bus, UINT8 device,
                         UINT8 function);

// Appends the "Method" element's command to config's list. A failing method adds nothing.
EFI_STATUS parseMethod(XML_NODE *method, RAID_CONFIG *config);

// Reads an "Adapter" element into config->adapter (a new record), and what is nested in it into the arrays and keyId.
// After a failure adapter is null; the arrays keep what was read, the record that failed included.
//   EFI_INVALID_PARAMETER  a null argument, an object of another kind, a misshapen element
//   EFI_NOT_FOUND          a text that is not in the value table of a strict field
EFI_STATUS parseAdapter(const XML_NODE *element, RAID_CONFIG *config);

// Read the element into the caller's record, whose earlier content is overwritten; disks inside an enclosure are
// appended to config. Statuses as parseAdapter. After a failure the record owns its FQDD text at most.
EFI_STATUS parseEnclosure(const XML_NODE *element, RAID_ENCLOSURE_RECORD *record, RAID_CONFIG *config);
EFI_STATUS parsePD(const XML_NODE *element, RAID_PD_RECORD *record);
EFI_STATUS parseVD(const XML_NODE *element, RAID_VD_RECORD *record);

// Reads a "Key" element: into one new record for keyOut, or into two back to back (new key, old key) for rekeyOut; the
// other one is null. The caller owns the memory and overwrites it before giving it back; after a failure there is none.
//   EFI_INVALID_PARAMETER  a null argument, no children, a passphrase of the other form or of more than 32 bytes
//   EFI_NOT_FOUND          an unknown "Mode"
EFI_STATUS GetKeyFromXML(XML_NODE *element, RAID_KEY_RECORD **keyOut, RAID_KEY_RECORD **rekeyOut);

// Gives back count records that parsers filled, with the texts and lists they own by their ObjectType, and the array.
// The context is ignored. EFI_INVALID_PARAMETER for null records.
EFI_STATUS TarnFree(void *context, void *records, UINT32 count);

// Gives back the parts of config that mask names, by RAID_CONFIG_ bits. It clears no reference, and it leaves keyId,
// what hangs from the commands' data and the configuration itself alone: releaseConfig takes all.
void FreeRaidConfig(RAID_CONFIG *config, UINT64 mask);

// Gives back a parsed configuration with all that it owns, keys overwritten before. Takes null.
void releaseConfig(RAID_CONFIG *config);

// Gives back the ids and the data of one parsed command and clears them; keys are overwritten before. Revision and
// Command must be those of the parser, since they tell a key from a record.
void releaseCommandData(RAID_CMD_BLOCK *command);

} // namespace xyl::driver
