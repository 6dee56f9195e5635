#include "images/network/answer.h"

#include "base/text.h"

namespace xyl::images::network {

// --- The head ---

// Codes in the order of the protocol's numbers, from 0.
static constexpr UINT16 codes[] = {0,   100, 101, 200, 201, 202, 203, 204, 205, 206, 300, 301, 302, 303,
                                   304, 305, 307, 400, 401, 402, 403, 404, 405, 406, 407, 408, 409, 410,
                                   411, 412, 413, 414, 415, 416, 417, 500, 501, 502, 503, 504, 505, 308};

static bool isSameWord(const CHAR8 *a, const CHAR8 *b) {
  for (; *a != 0; ++a, ++b) {
    CHAR8 letter = *a >= 'A' && *a <= 'Z' ? static_cast<CHAR8>(*a | 0x20) : *a;
    if (letter != *b) {
      return false;
    }
  }
  return *b == 0;
}

static const CHAR8 *readLength(const CHAR8 *text, Head *head) {
  UINT64 value = 0;
  const CHAR8 *at = text;
  for (; *at >= '0' && *at <= '9' && value < 1ULL << 48; ++at) {
    value = value * 10 + static_cast<UINT64>(*at - '0');
  }
  if (at == text || *at != 0) {
    return "says a length that is no number";
  }
  if (head->framing == Framing::length && head->length != value) {
    return "says two lengths";
  }
  head->framing = head->framing == Framing::unknown ? Framing::length : head->framing;
  head->length = value;
  return nullptr;
}

static const CHAR8 *readField(const CHAR8 *name, const CHAR8 *value, Head *head, bool *hasLength) {
  if (isSameWord(name, "content-length")) {
    *hasLength = true;
    return readLength(value, head);
  }
  if (isSameWord(name, "transfer-encoding")) {
    head->framing = Framing::chunks;
    return isSameWord(value, "chunked") ? nullptr : "comes in an encoding that nobody asked for";
  }
  if (isSameWord(name, "content-encoding") && !isSameWord(value, "identity")) {
    return "comes in an encoding that nobody asked for";
  }
  return nullptr;
}

const CHAR8 *readHead(UINT32 number, const EFI_HTTP_HEADER *headers, UINTN count, Head *head) {
  *head = {};
  head->code = number < sizeof(codes) / sizeof(codes[0]) ? codes[number] : 0;
  bool hasLength = false;
  for (UINTN i = 0; i < count; ++i) {
    const CHAR8 *name = headers[i].FieldName;
    const CHAR8 *value = headers[i].FieldValue;
    const CHAR8 *fault = name != nullptr && value != nullptr ? readField(name, value, head, &hasLength) : nullptr;
    if (fault != nullptr) {
      return fault;
    }
  }
  return hasLength && head->framing == Framing::chunks ? "has a length and chunks" : nullptr;
}

// --- The body ---

Body::~Body() {
  if (data_ != nullptr) {
    wipeBytes(data_, size_);
    poolFree(data_);
  }
}

// Room for a NUL too.
EFI_STATUS Body::makeRoom(UINTN more) {
  if (size_ + more < room_) {
    return EFI_SUCCESS;
  }
  UINTN room = head_.framing == Framing::length ? head_.length + 1 : 2 * (size_ + more) + 1;
  CHAR8 *larger = static_cast<CHAR8 *>(poolAllocate(room));
  if (larger == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  if (data_ != nullptr) {
    copyBytes(larger, data_, size_);
    wipeBytes(data_, size_);
    poolFree(data_);
  }
  data_ = larger;
  room_ = room;
  return EFI_SUCCESS;
}

EFI_STATUS Body::begin() {
  if (head_.framing == Framing::unknown) {
    return EFI_PROTOCOL_ERROR;
  }
  return head_.framing == Framing::length && head_.length > limit_ ? EFI_BAD_BUFFER_SIZE : makeRoom(0);
}

bool Body::isWhole() const {
  return head_.framing == Framing::chunks ? state_ == State::end
                                          : head_.framing == Framing::length && size_ == head_.length;
}

UINTN Body::wanted(UINTN room) const {
  UINT64 rest = head_.framing == Framing::length ? head_.length - size_ : room;
  return rest < room ? rest : room;
}

EFI_STATUS Body::keep(const CHAR8 *bytes, UINTN size) {
  if (size > limit_ - size_) {
    return EFI_BAD_BUFFER_SIZE;
  }
  EFI_STATUS status = makeRoom(size);
  if (!EFI_ERROR(status)) {
    copyBytes(data_ + size_, bytes, size);
    size_ += size;
  }
  return status;
}

EFI_STATUS Body::endSize() {
  if (letters_ == 0) {
    return EFI_PROTOCOL_ERROR;
  }
  state_ = chunk_ != 0 ? State::data : State::trailer;
  letters_ = 0;
  return EFI_SUCCESS;
}

static UINT32 digitOf(CHAR8 letter) {
  if (letter >= '0' && letter <= '9') {
    return static_cast<UINT32>(letter - '0');
  }
  letter |= 0x20;
  return letter >= 'a' && letter <= 'f' ? static_cast<UINT32>(letter - 'a' + 10) : 16;
}

constexpr UINT32 extensionMax = 4096; // bytes behind sizes and of trailers, which a server could send for ever

// Takes a letter that is no chunk's content.
EFI_STATUS Body::step(CHAR8 letter) {
  switch (state_) {
  case State::size:
    if (UINT32 digit = digitOf(letter); digit < 16 && letters_ < 8) {
      chunk_ = chunk_ * 16 + digit;
      ++letters_;
      return EFI_SUCCESS;
    }
    if (letter == '\n') {
      return endSize();
    }
    state_ = State::extension;
    return letters_ != 0 && (letter == '\r' || letter == ';' || letter == ' ') ? EFI_SUCCESS : EFI_PROTOCOL_ERROR;
  case State::extension:
    return letter == '\n' ? endSize() : ++letters_ > extensionMax ? EFI_PROTOCOL_ERROR : EFI_SUCCESS;
  case State::dataEnd:
    state_ = letter == '\n' ? State::size : State::dataEnd;
    return letter == '\n' || letter == '\r' ? EFI_SUCCESS : EFI_PROTOCOL_ERROR;
  case State::trailer:
    state_ = letter == '\n' ? State::end : letter == '\r' ? State::trailer : State::trailerLine;
    return EFI_SUCCESS;
  default:
    state_ = letter == '\n' ? State::trailer : State::trailerLine;
    return ++letters_ > extensionMax ? EFI_PROTOCOL_ERROR : EFI_SUCCESS;
  }
}

EFI_STATUS Body::add(const CHAR8 *bytes, UINTN size) {
  if (head_.framing == Framing::length) {
    return keep(bytes, wanted(size));
  }
  EFI_STATUS status = EFI_SUCCESS;
  for (UINTN at = 0; at < size && state_ != State::end && !EFI_ERROR(status);) {
    if (state_ != State::data) {
      status = step(bytes[at++]);
      continue;
    }
    UINTN part = chunk_ < size - at ? chunk_ : size - at;
    status = keep(bytes + at, part);
    at += part;
    chunk_ -= part;
    state_ = chunk_ == 0 ? State::dataEnd : State::data;
  }
  return status;
}

void Body::give(Answer *answer) {
  data_[size_] = 0;
  answer->data = data_;
  answer->size = size_;
  data_ = nullptr;
}

} // namespace xyl::images::network
