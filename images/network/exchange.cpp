// One request and its answer.
#include "base/text.h"
#include "images/network/answer.h"

namespace xyl::images::network {

static constexpr EFI_GUID httpGuid = EFI_HTTP_PROTOCOL_GUID;

constexpr UINT32 firmwareQuietMax = 10000; // milliseconds that firmware is told to wait
constexpr UINT64 quietMax = 30000;         // between pieces of a body, where firmware has no limit of its own
constexpr UINTN headWaits = 6;             // for an answer to begin: each ends after five seconds, whatever it is told
constexpr UINTN pieceSize = 256U << 10;
constexpr UINTN tick = 1000; // microseconds
constexpr UINTN pollsPerTick = 16;

// Milliseconds for so many bytes: a minute, and a second for each 16 KiB. A server that sends a byte now and then would
// hold the machine for ever.
static UINT64 timeFor(UINT64 size) {
  return 60000 + size / 16;
}

// --- What is opened ---

class Event {
public:
  Event() = default;
  Event(const Event &) = delete;
  Event &operator=(const Event &) = delete;
  ~Event() {
    if (event_ != nullptr) {
      g_bootServices->CloseEvent(event_);
    }
  }
  EFI_STATUS create() {
    EFI_STATUS status =
        g_bootServices->CreateEvent(EFI_EVENT_NOTIFY_SIGNAL, EFI_TPL_CALLBACK, note, /* Context= */ this, &event_);
    event_ = EFI_ERROR(status) ? nullptr : event_;
    return status;
  }
  EFI_EVENT begin() {
    isSignalled_ = false;
    return event_;
  }
  bool isSignalled() const { return isSignalled_; }

private:
  static void EFIAPI note(EFI_EVENT, void *context) { static_cast<Event *>(context)->isSignalled_ = true; }

  EFI_EVENT event_ = nullptr;
  volatile bool isSignalled_ = false;
};

// A child of the card's HTTP service; a connection goes with it.
class Child {
public:
  Child() = default;
  Child(const Child &) = delete;
  Child &operator=(const Child &) = delete;
  ~Child() { close(); }
  void close() {
    if (handle_ != nullptr) {
      binding_->DestroyChild(binding_, handle_);
      handle_ = nullptr;
      http_ = nullptr;
    }
  }
  EFI_STATUS create(EFI_SERVICE_BINDING_PROTOCOL *binding) {
    binding_ = binding;
    EFI_STATUS status = binding->CreateChild(binding, &handle_);
    if (EFI_ERROR(status)) {
      handle_ = nullptr;
      return status;
    }
    void *found = nullptr;
    status = g_bootServices->HandleProtocol(handle_, &httpGuid, &found);
    http_ = static_cast<EFI_HTTP_PROTOCOL *>(found);
    return status;
  }
  EFI_HTTP_PROTOCOL *http() const { return http_; }

private:
  EFI_SERVICE_BINDING_PROTOCOL *binding_ = nullptr;
  EFI_HANDLE handle_ = nullptr;
  EFI_HTTP_PROTOCOL *http_ = nullptr;
};

// What a child works with, which outlives it, since the child may hold the token until it goes.
struct Line {
  Event event;
  EFI_HTTP_TOKEN token = {};
  Child child;
};

// --- The request ---

// A text that may hold a password; grows and is overwritten.
class Secret {
public:
  Secret() = default;
  Secret(const Secret &) = delete;
  Secret &operator=(const Secret &) = delete;
  ~Secret() {
    if (text_ != nullptr) {
      wipeBytes(text_, size_);
      poolFree(text_);
    }
  }
  // "Basic " and the login in Base64.
  bool make(const CHAR8 *login, UINTN length) {
    static constexpr const CHAR8 *letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    size_ = 6 + (length + 2) / 3 * 4 + 1;
    text_ = static_cast<CHAR8 *>(poolAllocateZero(size_));
    if (text_ == nullptr) {
      return false;
    }
    copyBytes(text_, "Basic ", 6);
    CHAR8 *to = text_ + 6;
    for (UINTN at = 0; at < length; at += 3) {
      UINT32 group = 0;
      for (UINTN i = 0; i < 3; ++i) {
        group = group << 8 | (at + i < length ? static_cast<UINT8>(login[at + i]) : 0U);
      }
      for (UINTN i = 0; i < 4; ++i) {
        *to++ = at + i <= length ? letters[group >> (18 - 6 * i) & 63] : '=';
      }
    }
    return true;
  }
  const CHAR8 *text() const { return text_; }

private:
  CHAR8 *text_ = nullptr;
  UINTN size_ = 0;
};

constexpr UINTN headersMax = 4;

// What firmware gets to see of a request.
struct Wire {
  CHAR16 url[client::jobs::urlMax + 1];
  CHAR8 host[client::jobs::urlMax + 1];
  CHAR8 length[21];
  EFI_HTTP_HEADER headers[headersMax];
  EFI_HTTP_REQUEST_DATA data;
  EFI_HTTP_MESSAGE message;
};

// Firmware adds no line of its own.
static void fill(const Request &request, const Secret &login, Wire *wire) {
  const client::jobs::Url &url = *request.url;
  static constexpr UINT32 methods[] = {EFI_HTTP_GET, EFI_HTTP_PUT, EFI_HTTP_POST};
  static_assert(static_cast<int>(Method::put) == 1 && static_cast<int>(Method::post) == 2);
  textWiden(wire->url, url.text, client::jobs::urlMax);
  UINTN hostLength = static_cast<UINTN>(url.path - url.host); // with the port
  copyBytes(wire->host, url.host, hostLength);
  wire->host[hostLength] = 0;
  wire->headers[wire->message.HeaderCount++] = {"Host", wire->host};
  wire->headers[wire->message.HeaderCount++] = {"Connection", "close"};
  if (login.text() != nullptr) {
    wire->headers[wire->message.HeaderCount++] = {"Authorization", login.text()};
  }
  if (request.method != Method::get) {
    formatDecimal(wire->length, request.size);
    wire->headers[wire->message.HeaderCount++] = {"Content-Length", wire->length};
    wire->message.BodyLength = request.size;
    wire->message.Body = request.size != 0 ? const_cast<CHAR8 *>(request.body) : nullptr;
  }
  wire->data = {methods[static_cast<int>(request.method)], wire->url};
  wire->message.Data = &wire->data;
  wire->message.Headers = wire->headers;
}

// --- Waiting ---

using Call = EFI_STATUS(EFIAPI *)(EFI_HTTP_PROTOCOL *, EFI_HTTP_TOKEN *);

// Calls, and lets firmware work until the token is done or so many milliseconds are over, which it counts down.
static EFI_STATUS finish(Line *line, Call call, EFI_HTTP_MESSAGE *message, UINT64 *time) {
  EFI_HTTP_PROTOCOL *http = line->child.http();
  line->token = {line->event.begin(), EFI_SUCCESS, message};
  EFI_STATUS status = call(http, &line->token);
  if (EFI_ERROR(status)) {
    return status;
  }
  while (!line->event.isSignalled() && *time != 0) {
    for (UINTN i = 0; i < pollsPerTick && !line->event.isSignalled(); ++i) {
      http->Poll(http);
    }
    if (!line->event.isSignalled()) {
      g_bootServices->Stall(tick);
      --*time;
    }
  }
  if (line->event.isSignalled()) {
    return line->token.Status;
  }
  http->Cancel(http, &line->token);
  line->child.close(); // which knows the message, that is no more behind this
  return EFI_TIMEOUT;
}

static EFI_STATUS send(Line *line, const Request &request) {
  Secret login;
  if (request.login != nullptr && !login.make(request.login, request.loginLength)) {
    return EFI_OUT_OF_RESOURCES;
  }
  Wire *wire = poolNew<Wire>();
  if (wire == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  fill(request, login, wire);
  UINT64 time = timeFor(request.size);
  EFI_STATUS status = finish(line, line->child.http()->Request, &wire->message, &time);
  poolFree(wire);
  return status;
}

// --- The answer ---

// The head comes without room for a body: with it, firmware would wait for one that may never come.
static EFI_STATUS receiveHead(Line *line, Head *head, Answer *answer) {
  EFI_HTTP_RESPONSE_DATA data = {};
  EFI_HTTP_MESSAGE message = {};
  message.Data = &data;
  UINT64 time = timeFor(0);
  EFI_STATUS status = EFI_TIMEOUT;
  for (UINTN i = 0; status == EFI_TIMEOUT && line->child.http() != nullptr && i < headWaits; ++i) {
    status = finish(line, line->child.http()->Response, &message, &time);
  }
  if (!EFI_ERROR(status) || status == EFI_HTTP_ERROR) {
    answer->fault = readHead(data.StatusCode, message.Headers, message.HeaderCount, head);
    answer->code = head->code;
    status = answer->fault != nullptr ? EFI_PROTOCOL_ERROR : EFI_SUCCESS;
  }
  poolFree(message.Headers);
  return status;
}

static EFI_STATUS receivePieces(Line *line, Body *body, CHAR8 *piece, UINT64 time) {
  EFI_STATUS status = EFI_SUCCESS;
  while (!body->isWhole() && !EFI_ERROR(status)) {
    EFI_HTTP_MESSAGE message = {};
    message.BodyLength = body->wanted(pieceSize);
    message.Body = piece;
    UINTN room = message.BodyLength;
    UINT64 quiet = time < quietMax ? time : quietMax;
    time -= quiet;
    status = finish(line, line->child.http()->Response, &message, &quiet);
    time += quiet;
    if (EFI_ERROR(status)) {
      return status == EFI_CONNECTION_FIN || status == EFI_CONNECTION_RESET ? EFI_END_OF_FILE : status;
    }
    if (message.BodyLength == 0 || message.BodyLength > room) {
      return EFI_END_OF_FILE;
    }
    status = body->add(piece, message.BodyLength);
  }
  return status;
}

static EFI_STATUS receiveBody(Line *line, const Head &head, const Request &request, Answer *answer) {
  if (head.framing == Framing::unknown) {
    answer->fault = "does not say how long it is";
    return EFI_PROTOCOL_ERROR;
  }
  Body body(head, request.limit);
  EFI_STATUS status = body.begin();
  if (EFI_ERROR(status)) {
    return status;
  }
  CHAR8 *piece = static_cast<CHAR8 *>(poolAllocate(pieceSize));
  if (piece == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  status = receivePieces(line, &body, piece, timeFor(head.framing == Framing::length ? head.length : request.limit));
  wipeBytes(piece, pieceSize); // it may have been a passphrase
  poolFree(piece);
  if (status == EFI_PROTOCOL_ERROR) {
    answer->fault = "comes in chunks that are none";
  }
  if (!EFI_ERROR(status)) {
    body.give(answer);
  }
  return status;
}

EFI_STATUS exchange(const Card &card, const Request &request, Answer *answer) {
  Line line;
  EFI_STATUS status = line.event.create();
  if (!EFI_ERROR(status)) {
    status = line.child.create(card.http);
  }
  EFI_HTTPV4_ACCESS_POINT point = {};
  point.UseDefaultAddress = 1;
  EFI_HTTP_CONFIG_DATA config = {EFI_HTTP_VERSION_11, firmwareQuietMax, /* LocalAddressIsIPv6= */ 0, &point};
  if (!EFI_ERROR(status)) {
    status = line.child.http()->Configure(line.child.http(), &config);
  }
  if (!EFI_ERROR(status)) {
    status = send(&line, request);
  }
  Head head = {};
  if (!EFI_ERROR(status)) {
    status = receiveHead(&line, &head, answer);
  }
  if (EFI_ERROR(status)) {
    return status;
  }
  if (head.code < 200 || head.code > 299) {
    return EFI_HTTP_ERROR;
  }
  return request.method == Method::get ? receiveBody(&line, head, request, answer) : EFI_SUCCESS;
}

void Answer::clear() {
  if (data != nullptr) {
    wipeBytes(data, size);
    poolRelease(data);
  }
  code = 0;
  size = 0;
  fault = nullptr;
}

// --- How it went ---

struct Words {
  EFI_STATUS status;
  const CHAR8 *words;
};

static constexpr Words wordRows[] = {
    {EFI_NO_MAPPING, "the card has no address"},
    {EFI_TIMEOUT, "nothing came in time"},
    {EFI_NETWORK_UNREACHABLE, "there is no way to the server's network"},
    {EFI_HOST_UNREACHABLE, "there is no way to the server"},
    {EFI_PROTOCOL_UNREACHABLE, "the server does not speak TCP"},
    {EFI_PORT_UNREACHABLE, "nobody listens at that port"},
    {EFI_CONNECTION_FIN, "the server hung up"},
    {EFI_CONNECTION_RESET, "nobody listens at that port, or the server hung up"},
    {EFI_CONNECTION_REFUSED, "the server refuses the connection"},
    {EFI_END_OF_FILE, "the answer broke off"},
    {EFI_BAD_BUFFER_SIZE, "the answer is too large"},
    {EFI_OUT_OF_RESOURCES, "there is not enough memory"},
};

const CHAR8 *wordsFor(EFI_STATUS status) {
  for (const Words &row : wordRows) {
    if (row.status == status) {
      return row.words;
    }
  }
  return nullptr;
}

bool mayGoBetter(EFI_STATUS status, const Answer &answer) {
  if (status == EFI_HTTP_ERROR) {
    return answer.code == 408 || answer.code >= 500;
  }
  static constexpr EFI_STATUS lasting[] = {EFI_SUCCESS,         EFI_NOT_FOUND,      EFI_INVALID_PARAMETER,
                                           EFI_UNSUPPORTED,     EFI_PROTOCOL_ERROR, EFI_BAD_BUFFER_SIZE,
                                           EFI_OUT_OF_RESOURCES};
  for (EFI_STATUS one : lasting) {
    if (status == one) {
      return false;
    }
  }
  return true;
}

} // namespace xyl::images::network
