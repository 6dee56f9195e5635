// What comes back from a server, read with distrust.
#pragma once

#include "images/network/network.h"

namespace xyl::images::network {

// How the end of a body is known. Where only the end of the connection tells, nobody can say whether it is whole.
enum class Framing : UINT8 { unknown, length, chunks };

struct Head {
  UINT32 code;
  Framing framing;
  UINT64 length;
};

// Takes the protocol's own number for the code and the header lines. Returns what is wrong with them, or null.
const CHAR8 *readHead(UINT32 number, const EFI_HTTP_HEADER *headers, UINTN count, Head *head);

// A body as it arrives, in pieces of any size.
class Body {
public:
  Body(const Head &head, UINTN limit) : head_(head), limit_(limit) {}
  Body(const Body &) = delete;
  Body &operator=(const Body &) = delete;
  ~Body();

  // EFI_BAD_BUFFER_SIZE above the limit, EFI_PROTOCOL_ERROR for chunks that are none, EFI_OUT_OF_RESOURCES. What stands
  // behind the end is nobody's.
  EFI_STATUS begin();
  EFI_STATUS add(const CHAR8 *bytes, UINTN size);
  bool isWhole() const;
  // How many bytes may come now, at most; no more is to be waited for.
  UINTN wanted(UINTN room) const;
  // Hands the bytes over, with a NUL behind them.
  void give(Answer *answer);

private:
  enum class State : UINT8 { size, extension, data, dataEnd, trailer, trailerLine, end };

  EFI_STATUS makeRoom(UINTN more);
  EFI_STATUS keep(const CHAR8 *bytes, UINTN size);
  EFI_STATUS endSize();
  EFI_STATUS step(CHAR8 letter);

  Head head_;
  UINTN limit_;
  CHAR8 *data_ = nullptr;
  UINTN size_ = 0;
  UINTN room_ = 0;
  State state_ = State::size;
  UINT64 chunk_ = 0;   // bytes of it that are to come
  UINT32 letters_ = 0; // of the line, as far as they count
};

} // namespace xyl::images::network
