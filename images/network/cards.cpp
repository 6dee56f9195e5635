// The machine's network cards and their addresses.
#include "images/network/network.h"

namespace xyl::images::network {

static constexpr EFI_GUID bindingGuid = EFI_HTTP_SERVICE_BINDING_PROTOCOL_GUID;
static constexpr EFI_GUID configGuid = EFI_IP4_CONFIG2_PROTOCOL_GUID;

constexpr UINTN infoRoom = 1024; // with more routes than cards have that just start
constexpr UINTN tick = 100000;   // microseconds
constexpr UINTN ticksMax = 300;  // until an address is there

static bool isZero(const UINT8 *bytes, UINTN size) {
  for (UINTN i = 0; i < size; ++i) {
    if (bytes[i] != 0) {
      return false;
    }
  }
  return true;
}

CardState stateOf(const Card &card) {
  union {
    EFI_IP4_CONFIG2_INTERFACE_INFO info;
    UINT8 room[infoRoom];
  } buffer = {};
  CardState state = {};
  UINTN size = sizeof(buffer);
  if (!EFI_ERROR(card.config->GetData(card.config, EFI_IP4_CONFIG2_INTERFACE_INFO_TYPE, &size, &buffer))) {
    copyBytes(state.mac, buffer.info.HwAddress, sizeof(state.mac));
    copyBytes(state.address.bytes, buffer.info.StationAddress, sizeof(state.address.bytes));
  }
  return state;
}

static bool hasOne(const Card &card) {
  return !isZero(stateOf(card).address.bytes, 4);
}

// --- Setting ---

static EFI_STATUS set(const Card &card, int type, const void *data, UINTN size) {
  return card.config->SetData(card.config, type, size, data);
}

// What firmware has to give back later.
static void remember(Card *card) {
  const struct {
    int type;
    void *data;
    UINTN size;
  } rows[] = {{EFI_IP4_CONFIG2_POLICY, &card->policy, sizeof(card->policy)},
              {EFI_IP4_CONFIG2_MANUAL_ADDRESS, card->manual, sizeof(card->manual)},
              {EFI_IP4_CONFIG2_GATEWAY, card->gateway, sizeof(card->gateway)},
              {EFI_IP4_CONFIG2_DNS_SERVER, card->nameServer, sizeof(card->nameServer)}};
  for (const auto &row : rows) {
    UINTN size = row.size;
    if (EFI_ERROR(card->config->GetData(card->config, row.type, &size, row.data))) {
      zeroBytes(row.data, row.size);
    }
  }
  card->isChanged = true;
}

// The address is there only after the card has asked whether others have it; until then SetData is EFI_NOT_READY.
static EFI_STATUS setManual(const Card &card, const UINT8 *address, const UINT8 *gateway, const UINT8 *nameServer) {
  EFI_STATUS status = set(card, EFI_IP4_CONFIG2_MANUAL_ADDRESS, address, 8);
  status = status == EFI_NOT_READY ? EFI_SUCCESS : status;
  if (!EFI_ERROR(status) && gateway != nullptr) {
    status = set(card, EFI_IP4_CONFIG2_GATEWAY, gateway, 4);
  }
  if (!EFI_ERROR(status) && nameServer != nullptr) {
    status = set(card, EFI_IP4_CONFIG2_DNS_SERVER, nameServer, 4);
  }
  return status;
}

static EFI_STATUS begin(Card *card, const client::jobs::Network &wanted) {
  remember(card);
  bool isManual = wanted.address == client::jobs::Address::manual;
  UINT32 policy = isManual ? EFI_IP4_CONFIG2_STATIC : EFI_IP4_CONFIG2_DHCP;
  EFI_STATUS status = set(*card, EFI_IP4_CONFIG2_POLICY, &policy, sizeof(policy));
  if (EFI_ERROR(status) || !isManual) {
    return status;
  }
  UINT8 address[8];
  copyBytes(address, wanted.station.bytes, 4);
  copyBytes(address + 4, wanted.mask.bytes, 4);
  return setManual(*card, address, wanted.hasGateway ? wanted.gateway.bytes : nullptr,
                   wanted.hasNameServer ? wanted.nameServer.bytes : nullptr);
}

static UINT32 policyOf(const Card &card) {
  UINT32 policy = 0;
  UINTN size = sizeof(policy);
  card.config->GetData(card.config, EFI_IP4_CONFIG2_POLICY, &size, &policy);
  return policy;
}

// Firmware keeps what it is told over boots.
static void putBack(const Card &card) {
  bool wasManual = card.policy == EFI_IP4_CONFIG2_STATIC && !isZero(card.manual, sizeof(card.manual));
  UINT32 other = EFI_IP4_CONFIG2_DHCP;
  if (card.policy == EFI_IP4_CONFIG2_STATIC && policyOf(card) == EFI_IP4_CONFIG2_STATIC) {
    set(card, EFI_IP4_CONFIG2_POLICY, &other, sizeof(other)); // without it our address would stay
  }
  set(card, EFI_IP4_CONFIG2_POLICY, &card.policy, sizeof(card.policy));
  if (wasManual) {
    setManual(card, card.manual, isZero(card.gateway, 4) ? nullptr : card.gateway,
              isZero(card.nameServer, 4) ? nullptr : card.nameServer);
  }
}

// --- All ---

Cards::~Cards() {
  for (UINT32 i = cards_.count; i != 0; --i) {
    if (cards_.items[i - 1].isChanged) {
      putBack(cards_.items[i - 1]);
    }
  }
  poolFree(cards_.items);
}

static bool isWanted(const Card &card, const client::jobs::Network &wanted) {
  return !wanted.hasMac || __builtin_memcmp(stateOf(card).mac, wanted.mac, sizeof(wanted.mac)) == 0;
}

EFI_STATUS Cards::find(const client::jobs::Network &wanted) {
  EFI_HANDLE *handles = nullptr;
  UINTN count = 0;
  EFI_STATUS status =
      g_bootServices->LocateHandleBuffer(ByProtocol, &bindingGuid, /* SearchKey= */ nullptr, &count, &handles);
  for (UINTN i = 0; !EFI_ERROR(status) && i < count; ++i) {
    void *binding = nullptr;
    void *config = nullptr;
    if (EFI_ERROR(g_bootServices->HandleProtocol(handles[i], &bindingGuid, &binding)) ||
        EFI_ERROR(g_bootServices->HandleProtocol(handles[i], &configGuid, &config))) {
      continue;
    }
    Card card = {};
    card.http = static_cast<EFI_SERVICE_BINDING_PROTOCOL *>(binding);
    card.config = static_cast<EFI_IP4_CONFIG2_PROTOCOL *>(config);
    Card *added = isWanted(card, wanted) ? arrayAppend(cards_) : nullptr;
    if (added != nullptr) {
      *added = card;
    } else if (isWanted(card, wanted)) {
      status = EFI_OUT_OF_RESOURCES;
    }
  }
  poolFree(handles);
  return EFI_ERROR(status) ? status : cards_.count == 0 ? EFI_NOT_FOUND : EFI_SUCCESS;
}

bool Cards::hasAddress() const {
  return take(0) != nullptr;
}

EFI_STATUS Cards::bringUp(const client::jobs::Network &wanted) {
  EFI_STATUS status = cards_.count == 0 ? find(wanted) : EFI_SUCCESS;
  if (EFI_ERROR(status)) {
    return status;
  }
  if (wanted.address == client::jobs::Address::manual && cards_.count > 1) {
    return EFI_INVALID_PARAMETER;
  }
  bool isContent = wanted.address == client::jobs::Address::any && hasAddress();
  for (UINT32 i = 0; i < cards_.count && !isContent; ++i) {
    if (Card &card = cards_.items[i]; !card.isChanged) {
      EFI_STATUS begun = begin(&card, wanted);
      status = EFI_ERROR(begun) ? begun : status;
    }
  }
  for (UINTN i = 0; !hasAddress() && i < ticksMax; ++i) {
    g_bootServices->Stall(tick);
  }
  return hasAddress() ? EFI_SUCCESS : EFI_ERROR(status) ? status : EFI_NO_MAPPING;
}

const Card *Cards::take(UINT32 attempt) const {
  const Card *found = nullptr;
  UINT32 count = 0;
  for (UINT32 i = 0; i < cards_.count; ++i) {
    count += hasOne(cards_.items[i]) ? 1 : 0;
  }
  UINT32 wanted = count != 0 ? attempt % count : 0;
  for (UINT32 i = 0; i < cards_.count && found == nullptr; ++i) {
    if (hasOne(cards_.items[i]) && wanted-- == 0) {
      found = &cards_.items[i];
    }
  }
  return found;
}

} // namespace xyl::images::network
