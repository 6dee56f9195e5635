#include "client/progress/progress.h"

#include "base/text.h"
#include "client/output/output.h"

namespace xyl::client::progress {

static constexpr UINT32 barCells = 20;

// A piece of a text.
struct Span {
  const CHAR8 *start;
  UINTN length;
};

// Takes what off the front of text, if it begins with that.
static bool takeStart(Span *text, const CHAR8 *what) {
  UINTN length = textLength(what);
  if (length > text->length || __builtin_memcmp(text->start, what, length) != 0) {
    return false;
  }
  *text = {text->start + length, text->length - length};
  return true;
}

// Moves text to behind the first place of what in it.
static bool takeBehind(Span *text, const CHAR8 *what) {
  for (; text->length != 0; *text = {text->start + 1, text->length - 1}) {
    if (takeStart(text, what)) {
      return true;
    }
  }
  return false;
}

// The line at *ring without its end, behind which *ring moves.
static Span takeLine(const CHAR8 **ring) {
  Span line = {*ring, 0};
  for (; **ring != 0 && **ring != '\n'; ++*ring) {
    ++line.length;
  }
  *ring += **ring != 0 ? 1 : 0;
  return line;
}

bool readStep(const CHAR8 *text, UINTN length, Step *step) {
  Span rest = {text, length};
  if (!takeStart(&rest, "AddProgressNode, operation = ")) {
    return false;
  }
  Span name = rest;
  static constexpr const CHAR8 *code = ", errCode=";
  if (!takeBehind(&rest, code)) {
    return false;
  }
  name.length = static_cast<UINTN>(rest.start - name.start) - textLength(code);
  *step = {};
  for (UINTN i = 0; i < name.length && i < sizeof(step->name) - 1; ++i) {
    step->name[i] = name.start[i];
  }
  UINT32 number = 0;
  for (UINTN i = 0; i < rest.length && rest.start[i] >= '0' && rest.start[i] <= '9'; ++i) {
    number = number * 10 + static_cast<UINT32>(rest.start[i] - '0');
  }
  step->status = number == 0 ? EFI_SUCCESS : EFI_ERROR_CODE(number);
  return true;
}

const CHAR8 *behindMark(const CHAR8 *ring, const CHAR8 *mark) {
  const CHAR8 *found = nullptr;
  UINTN length = textLength(mark);
  while (*ring != 0) {
    Span line = takeLine(&ring);
    if (line.length >= length && __builtin_memcmp(line.start + line.length - length, mark, length) == 0) {
      found = ring;
    }
  }
  return found;
}

bool nextStep(const CHAR8 **ring, Step *step) {
  while (**ring != 0) {
    Span line = takeLine(ring); // "LEVEL routine: text"
    if (takeBehind(&line, " ") && takeStart(&line, stepRoutine) && takeStart(&line, ": ") &&
        readStep(line.start, line.length, step)) {
      return true;
    }
  }
  return false;
}

// A controller without disks fails the question for them, which is no mishap.
static bool isMishap(const Step &step) {
  return step.status != EFI_SUCCESS && !textEqual(step.name, "GetLive");
}

void countStep(Progress *progress, const Step &step) {
  ++progress->done;
  progress->failed += isMishap(step) ? 1 : 0;
  progress->last = step;
}

static void appendCount(WordList &line, const Progress &progress) {
  appendNumber(line, " ", progress.done);
  if (progress.done <= progress.total) {
    appendNumber(line, " of ", progress.total);
  }
}

WordList stepLine(const Progress &progress) {
  WordList line = {"step"};
  appendCount(line, progress);
  append(line, ": ", progress.last.name);
  append(line, ", ", progress.last.status != EFI_SUCCESS ? statusWords(progress.last.status) : "");
  return line;
}

static void appendBar(WordList &line, const Progress &progress) {
  if (progress.done > progress.total) {
    append(line, "", "step");
    return;
  }
  UINT32 full = progress.done * barCells / progress.total;
  append(line, "", "[");
  for (UINT32 i = 0; i < barCells; ++i) {
    append(line, "", i < full ? "#" : "-");
  }
  append(line, "", "]");
}

WordList barLine(const Progress &progress, UINT32 seconds) {
  WordList line = {};
  if (progress.done == 0) {
    append(line, "", "working");
  } else {
    appendBar(line, progress);
    appendCount(line, progress);
    if (progress.failed != 0) {
      appendNumber(line, ", ", progress.failed);
      append(line, " ", "failed");
    }
    append(line, ", ", progress.last.name);
  }
  appendNumber(line, ", ", seconds);
  append(line, "", " s");
  return line;
}

} // namespace xyl::client::progress
