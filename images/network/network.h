// Files over HTTP and HTTPS, by the protocols that firmware has for them. Everything that comes from the network is
// somebody's word for it: lengths are limited, and an answer counts only when it is known to be whole.
#pragma once

#include "base/array.h"
#include "client/jobs/transfer.h"
#include "uefi/network.h"

namespace xyl::images::network {

// Bytes of a file that is fetched or sent.
constexpr UINTN fileMax = 32U << 20;

// --- Cards ---

// A card with what firmware had set for it.
struct Card {
  EFI_SERVICE_BINDING_PROTOCOL *http;
  EFI_IP4_CONFIG2_PROTOCOL *config;
  bool isChanged;  // its address is not the firmware's own
  UINT32 policy;   // as it was
  UINT8 manual[8]; // address and mask as they were; zeros: none
  UINT8 gateway[4];
  UINT8 nameServer[4];
};

// What is known of a card now.
struct CardState {
  UINT8 mac[6];
  client::jobs::Ip4 address; // zeros: none
};
CardState stateOf(const Card &card);

// The cards of the machine that speak HTTP, which get back the addresses that they had when this goes.
class Cards {
public:
  Cards() = default;
  Cards(const Cards &) = delete;
  Cards &operator=(const Cards &) = delete;
  ~Cards();

  // Finds them, once, and sees that they get addresses: EFI_NOT_FOUND without a card that fits,
  // EFI_INVALID_PARAMETER when one address is for several cards, EFI_NO_MAPPING when no card got one in half a minute.
  EFI_STATUS bringUp(const client::jobs::Network &wanted);
  // The card of an attempt: those that have an address take turns. Null without one.
  const Card *take(UINT32 attempt) const;
  UINT32 count() const { return cards_.count; }

private:
  EFI_STATUS find(const client::jobs::Network &wanted);
  bool hasAddress() const;

  PoolArray<Card> cards_ = {};
};

// --- Whom https trusts ---

// Makes firmware trust the certificates of a text in PEM until this goes; never for longer than this boot.
class Trust {
public:
  Trust() = default;
  Trust(const Trust &) = delete;
  Trust &operator=(const Trust &) = delete;
  ~Trust();

  // EFI_INVALID_PARAMETER: there is no certificate in it, or one is damaged; EFI_ACCESS_DENIED: the firmware has been
  // told by others whom to trust, which stays.
  EFI_STATUS set(const CHAR8 *pem, UINTN size);

private:
  bool isSet_ = false;
};

// --- Who we are ---

// What a text of lines "ORIGIN USER:PASSWORD" has for the URL's server: USER:PASSWORD, of *length bytes, or null.
const CHAR8 *loginFor(const client::jobs::Url &url, const CHAR8 *text, UINTN size, UINTN *length);

// --- An exchange ---

enum class Method : UINT8 { get, put, post };

struct Request {
  Method method;
  const client::jobs::Url *url;
  const CHAR8 *login; // of loginLength bytes, or null
  UINTN loginLength;
  const CHAR8 *body; // of put and post
  UINTN size;
  UINTN limit; // bytes of the answer that are taken
};

// What the server answered.
struct Answer {
  Answer() = default;
  Answer(const Answer &) = delete;
  Answer &operator=(const Answer &) = delete;
  ~Answer() { clear(); }
  void clear(); // overwrites what came

  UINT32 code = 0;       // 0: nothing came, or nothing that is understood
  CHAR8 *data = nullptr; // of get and a code of success: pool memory with a NUL behind it
  UINTN size = 0;
  const CHAR8 *fault = nullptr; // what is wrong with the answer, if anything
};

// Sends the request and waits for the answer, which is EFI_SUCCESS only when it is whole and its code one of success;
// EFI_HTTP_ERROR: another code; EFI_PROTOCOL_ERROR: fault tells; EFI_BAD_BUFFER_SIZE: it is larger than the limit;
// EFI_END_OF_FILE: it broke off. Others are the firmware's. May take more than three minutes.
EFI_STATUS exchange(const Card &card, const Request &request, Answer *answer);

// The words for what an exchange returned.
const CHAR8 *wordsFor(EFI_STATUS status);

// Whether the same again may go better: nothing came, or a code by which servers say so.
bool mayGoBetter(EFI_STATUS status, const Answer &answer);

} // namespace xyl::images::network
