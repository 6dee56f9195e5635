// What servers send and what people write about them, of any bytes. A body is the same however it comes in pieces, and
// never more than it may be; what is taken for a URL can end no request line.

#include "images/network/answer.h"
#include "fuzz/pure.h"

using namespace xyl;

// What comes of a body that arrives in pieces of so many bytes: its bytes, or null bytes and a status.
static std::string receive(const std::string &wire, size_t piece, UINTN limit, EFI_STATUS *status) {
  const images::network::Head head = {200, images::network::Framing::chunks, 0};
  images::network::Body body(head, limit);
  *status = body.begin();
  for (size_t at = 0; at < wire.size() && !EFI_ERROR(*status); at += piece) {
    const std::string part = wire.substr(at, piece);
    *status = body.add(part.data(), part.size());
  }
  if (EFI_ERROR(*status) || !body.isWhole()) {
    return {};
  }
  images::network::Answer answer;
  body.give(&answer);
  mustHold(answer.size <= limit && answer.data[answer.size] == 0, "a body above its limit, or without its end");
  return "whole" + std::string(answer.data, answer.size);
}

static void checkBody(FuzzInput input) {
  const UINTN limit = input.byte();
  const size_t piece = input.byte() % 16 + size_t{1};
  const std::string wire = input.text();
  EFI_STATUS whole = EFI_SUCCESS;
  EFI_STATUS parts = EFI_SUCCESS;
  const std::string body = receive(wire, wire.size() + 1, limit, &whole);
  mustHold(body == receive(wire, piece, limit, &parts) && whole == parts, "another body in pieces");
}

static void checkUrl(FuzzInput input) {
  const std::string text = input.text();
  client::jobs::Url url;
  if (client::jobs::readUrl(text.c_str(), &url) != nullptr) {
    return;
  }
  mustHold(text.size() <= client::jobs::urlMax && text.find_first_of(" \r\n\t\"#\\@") >= url.originLength,
           "a URL with a blank");
  for (char letter : text) {
    mustHold(letter > ' ' && letter < 0x7F, "a URL with a letter that ends it");
  }
  mustHold(url.path == text.c_str() + url.originLength && (*url.path == 0 || *url.path == '/'), "the path of a URL");
  mustHold(url.hostLength != 0 && url.host + url.hostLength <= url.path && url.port - 1 < 0xFFFF,
           "the server of a URL");
  // Its own login is found, and with another port none.
  const std::string origin = text.substr(0, url.originLength);
  const std::string logins = "http://a b:c\n" + origin + " u:p\n";
  UINTN length = 0;
  const CHAR8 *login = images::network::loginFor(url, logins.data(), logins.size(), &length);
  mustHold(origin.size() > 300 || login != nullptr, "no login");
  url.port ^= 1;
  mustHold(images::network::loginFor(url, logins.data(), logins.size(), &length) == nullptr || origin == "http://a",
           "another's login");
}

static void checkLine(FuzzInput input) {
  std::string words[5];
  const CHAR8 *given[5];
  UINTN count = 1;
  for (; count < 5 && !input.atEnd(); ++count) {
    words[count] = input.text();
    given[count] = words[count].c_str();
  }
  given[0] = "network";
  client::jobs::Network network;
  if (client::jobs::readNetwork(count, given, &network) == nullptr) {
    mustHold(network.address == client::jobs::Address::dhcp || network.mask.bytes[0] == 0xFF, "the mask of an address");
  }
  client::jobs::Tries tries;
  mustHold(client::jobs::readTries(count, given, &tries) != nullptr || (tries.count - 1 < 100 && tries.pause <= 3600),
           "attempts");
  for (const char *word : {"fetch", "send"}) {
    given[0] = word;
    client::jobs::TransferLine line;
    if (count > 2 && client::jobs::readTransfer(count, given, &line) == nullptr) {
      mustHold(line.file[0] != '\\' && line.file[0] != '/' && std::string(line.file).find("..\\") == std::string::npos,
               "a file outside the medium's folder");
    }
  }
}

FUZZ_PURE_TARGET(answer) {
  switch (input.byte() % 3) {
  case 0:
    return checkBody(input);
  case 1:
    return checkUrl(input);
  default:
    return checkLine(input);
  }
}
