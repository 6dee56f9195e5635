#include "client/jobs/transfer.h"

#include "base/text.h"

namespace xyl::client {

namespace jobs {

static CHAR8 small(CHAR8 letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<CHAR8>(letter | 0x20) : letter;
}
static bool isDigit(CHAR8 letter) {
  return letter >= '0' && letter <= '9';
}
static bool isHex(CHAR8 letter) {
  return isDigit(letter) || (small(letter) >= 'a' && small(letter) <= 'f');
}

static bool beginsWith(const CHAR8 *text, const CHAR8 *start) {
  for (; *start != 0 && *text == *start; ++text, ++start) {
  }
  return *start == 0;
}

static bool isSameText(const CHAR8 *a, UINTN aLength, const CHAR8 *b, UINTN bLength) {
  bool isSame = aLength == bLength;
  for (UINTN i = 0; isSame && i < aLength; ++i) {
    isSame = small(a[i]) == small(b[i]);
  }
  return isSame;
}

// A number up to most, of digits only up to the end or a letter that may follow; all ones for none.
static UINT32 readNumber(const CHAR8 **at, UINT32 most) {
  UINT64 value = 0;
  const CHAR8 *begin = *at;
  for (; isDigit(**at) && value <= most; ++*at) {
    value = value * 10 + static_cast<UINT64>(**at - '0');
  }
  return *at == begin || value > most ? ~0U : static_cast<UINT32>(value);
}

// --- URLs ---

// A name or an address of IPv4.
static bool isHostLetter(CHAR8 letter) {
  return isDigit(letter) || (small(letter) >= 'a' && small(letter) <= 'z') || letter == '-' || letter == '.';
}

// What stands in a request line as it is. Others are written as %XX.
static bool isPathLetter(CHAR8 letter) {
  return letter > ' ' && letter < 0x7F && letter != '"' && letter != '<' && letter != '>' && letter != '\\' &&
         letter != '^' && letter != '`' && letter != '{' && letter != '|' && letter != '}' && letter != '#';
}

// Servers may take such a step for the folder above, where nobody meant to be.
static bool isDots(const CHAR8 *step) {
  UINTN dots = 0;
  while (step[dots] == '.') {
    ++dots;
  }
  return (dots == 1 || dots == 2) && (step[dots] == '/' || step[dots] == '?' || step[dots] == 0);
}

// The length of a name that the machine will put in, with its percent signs; 0: there is none.
static UINTN nameLength(const CHAR8 *at) {
  static constexpr const CHAR8 *names[] = {"%SERIAL%", "%UUID%"};
  for (const CHAR8 *name : names) {
    if (beginsWith(at, name)) {
      return textLength(name);
    }
  }
  return 0;
}

static const CHAR8 *checkPath(const CHAR8 *path) {
  bool isQuery = false;
  for (const CHAR8 *at = path; *at != 0; ++at) {
    isQuery = isQuery || *at == '?';
    if (!isPathLetter(*at)) {
      return "has a letter that a URL cannot have; it is written as %XX, in a job file as %%XX";
    }
    if (*at == '/' && !isQuery && isDots(at + 1)) {
      return "has a step '.' or '..'";
    }
    UINTN name = *at == '%' ? nameLength(at) : 0;
    if (*at == '%' && name == 0 && !(isHex(at[1]) && isHex(at[2]))) {
      return "has a percent sign without two hexadecimal digits";
    }
    at += name != 0 ? name - 1 : 0;
  }
  return nullptr;
}

static const CHAR8 *readAuthority(const CHAR8 *at, Url *url) {
  url->host = at;
  while (isHostLetter(*at)) {
    ++at;
  }
  url->hostLength = static_cast<UINTN>(at - url->host);
  for (const CHAR8 *letter = at; *letter != 0 && *letter != '/'; ++letter) {
    if (*letter == '@') {
      return "has a name or a password, which belong into logins.txt";
    }
  }
  if (url->hostLength == 0) {
    return "names no server; that is a name or an address of IPv4";
  }
  if (*at == ':') {
    ++at;
    url->port = readNumber(&at, 0xFFFF);
    if (url->port == 0 || url->port > 0xFFFF) {
      return "has a port that is none";
    }
  }
  if (*at != 0 && *at != '/') {
    return "has a server's name with a letter that names cannot have";
  }
  url->path = at;
  url->originLength = static_cast<UINTN>(at - url->text);
  return nullptr;
}

const CHAR8 *readUrl(const CHAR8 *text, Url *url) {
  *url = {};
  url->text = text;
  url->isSecure = beginsWith(text, "https://");
  if (!url->isSecure && !beginsWith(text, "http://")) {
    return "begins with neither http:// nor https://";
  }
  if (textLength(text) > urlMax) {
    return "is longer than 512 characters";
  }
  url->port = url->isSecure ? 443 : 80;
  const CHAR8 *fault = readAuthority(text + (url->isSecure ? 8 : 7), url);
  return fault != nullptr ? fault : checkPath(url->path);
}

bool isSameOrigin(const Url &a, const Url &b) {
  return a.isSecure == b.isSecure && a.port == b.port && isSameText(a.host, a.hostLength, b.host, b.hostLength);
}

// --- Files ---

static bool isSlash(CHAR8 letter) {
  return letter == '/' || letter == '\\';
}

bool isSameName(const CHAR8 *a, const CHAR8 *b) {
  for (; *a != 0 && (small(*a) == small(*b) || (isSlash(*a) && isSlash(*b))); ++a, ++b) {
  }
  return *a == 0 && *b == 0;
}

// Whether a name says in one way only which file below \raidxyl it is: FAT also knows short names with a tilde, and
// takes no notice of periods and blanks at an end.
static bool isPlainName(const CHAR8 *name) {
  static constexpr const CHAR8 *others = "\"*:<>?|~";
  CHAR8 before = '\\';
  for (; *name != 0; before = *name++) {
    bool isOther = static_cast<UINT8>(*name) < ' ';
    for (const CHAR8 *other = others; *other != 0; ++other) {
      isOther = isOther || *name == *other;
    }
    if (isOther || (isSlash(*name) && (isSlash(before) || before == '.' || before == ' '))) {
      return false;
    }
  }
  return !isSlash(before) && before != '.' && before != ' ';
}

// --- Lines ---

static const CHAR8 *checkFile(const TransferLine &line) {
  if (!isPlainName(line.file)) {
    return "wants the name of a file below \\raidxyl, without \" * : < > ? | ~, and no period or blank at an end";
  }
  if (isSameName(line.file, loginFile)) {
    return "does not take 'logins.txt', which holds passwords";
  }
  static constexpr const CHAR8 *own[] = {"jobs.txt", "medium.id", certificateFile, resultFile};
  for (const CHAR8 *name : own) {
    if (line.transfer == Transfer::fetch && isSameName(line.file, name)) {
      return "does not replace the medium's own files";
    }
  }
  return nullptr;
}

static const CHAR8 *readHow(const CHAR8 *word, TransferLine *line) {
  line->transfer = textEqual(word, "post") ? Transfer::post : Transfer::put;
  return textEqual(word, "post") || textEqual(word, "put") ? nullptr : "sends by 'put' or 'post'";
}

const CHAR8 *readTransfer(UINTN count, const CHAR8 *const *words, TransferLine *line) {
  bool isFetch = textEqual(words[0], "fetch");
  *line = {isFetch ? Transfer::fetch : Transfer::put, "", ""};
  if (count < 3 || count > (isFetch ? 3U : 4U)) {
    return isFetch ? "wants URL FILE" : "wants FILE URL and perhaps 'put' or 'post'";
  }
  line->url = words[isFetch ? 1 : 2];
  line->file = words[isFetch ? 2 : 1];
  const CHAR8 *fault = count == 4 ? readHow(words[3], line) : nullptr;
  return fault != nullptr ? fault : checkFile(*line);
}

static bool readWhole(const CHAR8 *text, UINT32 most, UINT32 *value) {
  *value = readNumber(&text, most);
  return *value <= most && *text == 0;
}

const CHAR8 *readTries(UINTN count, const CHAR8 *const *words, Tries *tries) {
  Tries read = usualTries;
  if ((count != 2 && count != 3) || !readWhole(words[1], 100, &read.count) || read.count == 0 ||
      (count == 3 && !readWhole(words[2], 3600, &read.pause))) {
    return "wants a number from 1 to 100 and perhaps the seconds between them, at most 3600";
  }
  *tries = read;
  return nullptr;
}

// --- The machine's address ---

static bool readMac(const CHAR8 *text, UINT8 (&mac)[6]) {
  for (UINTN i = 0; i < 6; ++i, text += 2) {
    if (!isHex(text[0]) || !isHex(text[1])) {
      return false;
    }
    const CHAR8 digits[3] = {text[0], text[1], 0};
    mac[i] = static_cast<UINT8>(parseHex(digits));
    if (i != 5 && text[2] != ':' && text[2] != '-') {
      return false;
    }
    text += i != 5 ? 1 : 0;
  }
  return *text == 0;
}

// Moves behind the address.
static bool takeIp4(const CHAR8 **at, Ip4 *address) {
  for (UINTN i = 0; i < 4; ++i) {
    UINT32 value = readNumber(at, 255);
    if (value > 255 || (i != 3 && *(*at)++ != '.')) {
      return false;
    }
    address->bytes[i] = static_cast<UINT8>(value);
  }
  return true;
}

static bool readIp4(const CHAR8 *text, Ip4 *address) {
  return takeIp4(&text, address) && *text == 0;
}

static bool readStation(const CHAR8 *text, Network *network) {
  UINT32 bits = 0;
  if (!takeIp4(&text, &network->station) || *text != '/' || !readWhole(text + 1, 30, &bits) || bits < 8) {
    return false;
  }
  for (UINT32 i = 0; i < 32; ++i) {
    network->mask.bytes[i / 8] |= static_cast<UINT8>(i < bits ? 0x80U >> i % 8 : 0U);
  }
  return true;
}

const CHAR8 *readNetwork(UINTN count, const CHAR8 *const *words, Network *network) {
  Network read = {};
  UINTN at = 1;
  read.hasMac = at < count && readMac(words[at], read.mac);
  at += read.hasMac ? 1 : 0;
  bool isDhcp = count == at + 1 && textEqual(words[at], "dhcp");
  read.address = isDhcp ? Address::dhcp : Address::manual;
  read.hasGateway = count > at + 1;
  read.hasNameServer = count > at + 2;
  if (!isDhcp && (at >= count || count > at + 3 || !readStation(words[at], &read) ||
                  (read.hasGateway && !readIp4(words[at + 1], &read.gateway)) ||
                  (read.hasNameServer && !readIp4(words[at + 2], &read.nameServer)))) {
    return "wants, perhaps behind a card's MAC, 'dhcp' or ADDRESS/BITS [GATEWAY [NAME_SERVER]]";
  }
  *network = read;
  return nullptr;
}

} // namespace jobs

} // namespace xyl::client
