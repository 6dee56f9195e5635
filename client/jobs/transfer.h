// What job files say about the network: from where files come, where they go, how often that is tried, and with which
// address.
#pragma once

#include "uefi/types.h"

namespace xyl::client {

namespace jobs {

// --- URLs ---

constexpr UINTN urlMax = 512; // characters

// Parts of a text, which has to live as long.
struct Url {
  const CHAR8 *text;
  UINTN originLength; // of scheme, host and port as they are written
  const CHAR8 *host;
  UINTN hostLength;
  UINT32 port; // 80 or 443 where the text has none
  bool isSecure;
  const CHAR8 *path; // from its slash on, or ""
};

// Takes the text apart. Returns what is wrong with it, or null. %SERIAL% and %UUID% may still stand in it, as on a
// host, which does not know them.
const CHAR8 *readUrl(const CHAR8 *text, Url *url);

// Whether both lead to the same server: scheme, host and port, however they are written.
bool isSameOrigin(const Url &a, const Url &b);

// --- Lines ---

enum class Transfer : UINT8 { none, fetch, put, post };

// How often something is tried, and the seconds between.
struct Tries {
  UINT32 count;
  UINT32 pause;
};
constexpr Tries usualTries = {3, 5};

// Of a line "fetch URL FILE" or "send FILE URL [put|post]".
struct TransferLine {
  Transfer transfer;
  const CHAR8 *url;
  const CHAR8 *file;
};

// The words of a line, the first of which is "fetch" or "send". Returns what is wrong with it, or null.
const CHAR8 *readTransfer(UINTN count, const CHAR8 *const *words, TransferLine *line);
// "attempts COUNT [SECONDS]".
const CHAR8 *readTries(UINTN count, const CHAR8 *const *words, Tries *tries);

// --- Files ---

// The file that "send" sends after all others: what came of the job.
constexpr const CHAR8 *resultFile = "result.json";
// Of the medium: the certificates that https trusts, and who says to which server that he is who.
constexpr const CHAR8 *certificateFile = "ca.pem";
constexpr const CHAR8 *loginFile = "logins.txt";

// Whether two names below \raidxyl are those of one file.
bool isSameName(const CHAR8 *a, const CHAR8 *b);

// --- The machine's address ---

struct Ip4 {
  UINT8 bytes[4];
};

enum class Address : UINT8 {
  any,    // the firmware's own, where it has one, else by DHCP
  dhcp,   // by DHCP
  manual, // as it is given here
};

struct Network {
  Address address;
  bool hasMac; // else any card
  bool hasGateway;
  bool hasNameServer;
  UINT8 mac[6];
  Ip4 station;
  Ip4 mask;
  Ip4 gateway;
  Ip4 nameServer;
};

// "network [MAC] dhcp" or "network [MAC] ADDRESS/BITS [GATEWAY [NAME_SERVER]]".
const CHAR8 *readNetwork(UINTN count, const CHAR8 *const *words, Network *network);

} // namespace jobs

} // namespace xyl::client
