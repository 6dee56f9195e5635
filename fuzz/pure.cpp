#include "fuzz/pure.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "base/pool.h"
#include "driver/xml/xml.h"
#include "host/firmware/state.h"
#include "providers/xml_service/xml_service.h"

using namespace xyl;
using namespace xyl::host;

uint64_t FuzzInput::number(unsigned bytes) {
  uint64_t value = 0;
  for (unsigned i = 0; i < bytes; ++i) {
    value |= static_cast<uint64_t>(byte()) << (8 * i);
  }
  return value;
}

const uint8_t *FuzzInput::textHere(size_t *length) {
  const uint8_t *start = at_;
  const void *feed = left() == 0 ? nullptr : std::memchr(at_, '\f', left());
  at_ = feed == nullptr ? end_ : static_cast<const uint8_t *>(feed);
  *length = static_cast<size_t>(at_ - start);
  const void *nul = *length == 0 ? nullptr : std::memchr(start, '\0', *length);
  *length = nul == nullptr ? *length : static_cast<size_t>(static_cast<const uint8_t *>(nul) - start);
  byte();
  return start;
}

std::string FuzzInput::text() {
  size_t length = 0;
  const uint8_t *start = textHere(&length);
  return {reinterpret_cast<const char *>(start), length};
}

char *FuzzInput::poolText() {
  size_t length = 0;
  const uint8_t *start = textHere(&length);
  auto *text = static_cast<char *>(g_firmware->pool.take(length + 1));
  std::memcpy(text, start, length);
  text[length] = '\0';
  return text;
}

void fuzzFault(const char *what) {
  std::fprintf(stderr, "fuzz: %s\n", what);
  std::abort();
}

// --- Trees ---

static std::string textOr(const CHAR8 *text) {
  return text == nullptr ? "" : text;
}

void mustBeRead(const XML_NODE *node, const XML_NODE *read) {
  std::string content = node->FirstChild != nullptr ? "" : textOr(node->Content);
  mustHold(textOr(node->Name) == read->Name && content == textOr(read->Content), "another name or content");
  mustHold(read->Content == nullptr || (*read->Content != 0 && read->FirstChild == nullptr), "content that is none");
  const XML_ATTRIBUTE *a = node->Attributes, *b = read->Attributes;
  for (const XML_ATTRIBUTE *last = nullptr; a != nullptr && b != nullptr; last = b, a = a->Next, b = b->Next) {
    mustHold(textOr(a->Name) == b->Name && textOr(a->Value) == b->Value, "another attribute");
    mustHold(b->Prev == last, "attributes badly linked");
  }
  const XML_NODE *child = node->FirstChild, *twin = read->FirstChild, *last = nullptr;
  for (; child != nullptr && twin != nullptr; child = child->NextSibling, twin = twin->NextSibling) {
    mustHold(twin->PrevSibling == last, "children badly linked");
    mustBeRead(child, twin);
    last = twin;
  }
  mustHold(a == nullptr && b == nullptr && child == nullptr && twin == nullptr, "more or less than was there");
}

// --- What a run costs ---

#ifdef FUZZ_ENGINE
static uint64_t threadTime() {
  timespec now = {};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<uint64_t>(now.tv_sec) * 1000000000 + static_cast<uint64_t>(now.tv_nsec);
}

static bool tooLong(FuzzBody body, FuzzInput input, uint64_t allowed) {
  uint64_t start = threadTime();
  body(input);
  return threadTime() - start > allowed;
}
#endif

void runMeasured(FuzzBody body, FuzzInput input, const FuzzLimits &limits) {
  PoolBooks &books = g_firmware->pool.books;
  uint64_t live = books.liveBytes, total = books.totalBytes;
  books.peakBytes = live;
  [[maybe_unused]] auto start = std::chrono::steady_clock::now(); // cheaper than the processor's, and no less
  body(input);
  mustHold(books.peakBytes - live <= limits.peakBytes.of(input.left()), "too much memory at once");
  mustHold(books.totalBytes - total <= limits.totalBytes.of(input.left()), "too much memory in sum");
#ifdef FUZZ_ENGINE
  uint64_t allowed = limits.nanoseconds.of(input.left());
  mustHold(std::chrono::steady_clock::now() - start <= std::chrono::nanoseconds(allowed) ||
               !tooLong(body, input, allowed) || !tooLong(body, input, allowed),
           "too much time");
#endif
}

// --- Targets without a world ---

static Firmware *g_pure;
static FuzzBody g_body;

static Firmware *startFirmware() {
  auto *firmware = new Firmware;
  setSystemTable(firmware->systemTable());
  EFI_HANDLE xmlService = nullptr;
  mustHold(firmware->loadImage(xml_service::XmlServiceEntry, &xmlService) == EFI_SUCCESS, "no XML service");
  driver::getXMLProto();
  return firmware;
}

static void runBalanced(FuzzInput input) {
  const PoolBooks &books = g_firmware->pool.books;
  uint64_t allocations = books.liveAllocations, bytes = books.liveBytes;
  g_body(input);
  // Damage to poisoned memory has already ended the process, so the audit behind complaints() is left out.
  const Complaints &complaints = g_firmware->complaints;
  mustHold(complaints.empty(), complaints.empty() ? "" : complaints.front().c_str());
  mustHold(books.liveAllocations == allocations && books.liveBytes == bytes, "memory left or lost");
}

void runPure(FuzzBody body, FuzzInput input, const FuzzLimits &limits) {
  g_pure = g_pure == nullptr ? startFirmware() : g_pure;
  g_body = body;
  runMeasured(runBalanced, input, limits);
}
