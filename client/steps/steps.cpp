#include "client/steps/steps.h"

#include "base/text.h"

namespace xyl::client {

static const CHAR8 *attributeOf(const XML_NODE *node, const CHAR8 *name) {
  for (const XML_ATTRIBUTE *attribute = node->Attributes; attribute != nullptr; attribute = attribute->Next) {
    if (textEqual(attribute->Name, name) && attribute->Value != nullptr) {
      return attribute->Value;
    }
  }
  return "";
}

static void describeDisk(WordList &words, const XML_NODE *disk, bool) {
  append(words, " ", "disk ");
  appendNumber(words, "", parseHex(childText(disk, "ObjectId")));
  append(words, " ", childText(disk, "FQDD"));
  const CHAR8 *spare = childText(disk, "HotSpare");
  if (*spare != 0) {
    append(words, ", ", "hot spare ");
    append(words, "", spare);
  }
}

// The log lists the command's ids as disks; they are that only when it creates, else they name the virtual disk.
static void describeVirtualDisk(WordList &words, const XML_NODE *virtualDisk, bool creates) {
  append(words, "", "virtual disk");
  if (!creates) {
    appendNumber(words, " ", parseHex(childText(virtualDisk, "TargetId")));
  }
  append(words, " ", childText(virtualDisk, "Name"));
  const CHAR8 *level = childText(virtualDisk, "RaidLevel");
  if (*level != 0 && !textEqual(level, "Unknown")) {
    append(words, ", ", level);
  }
  const XML_NODE *disk = creates ? childNamed(childNamed(virtualDisk, "PDs"), "PD") : nullptr;
  for (const CHAR8 *separator = ", disks "; disk != nullptr; disk = nextSame(disk), separator = ", ") {
    appendNumber(words, separator, parseHex(childText(disk, "ObjectId")));
  }
}

static void describeKey(WordList &words, const XML_NODE *key, bool) {
  append(words, "", "key ");
  append(words, "", childText(key, "Mode"));
  append(words, " ", childText(key, "KeyId"));
}

static void describeSettings(WordList &words, const XML_NODE *, bool) {
  append(words, "", "adapter settings");
}

static void describeObject(WordList &words, const XML_NODE *object, bool) {
  append(words, "", nodeText(object));
}

// The validation summary's first element; the others are its siblings.
static void describeValidation(WordList &words, const XML_NODE *version, bool) {
  static constexpr const CHAR8 *meanings[][2] = {{"RestoreVDs", " saved virtual disks"},
                                                 {"AvailablePDs", " disks present"},
                                                 {"UsablePDs", " saved disks with a partner"}};
  append(words, "", "saved firmware ");
  append(words, "", orNone(nodeText(version)));
  for (const XML_NODE *node = version->NextSibling; node != nullptr; node = node->NextSibling) {
    for (const auto &meaning : meanings) {
      if (textEqual(node->Name, meaning[0])) {
        append(words, ", ", nodeText(node));
        append(words, "", meaning[1]);
      }
    }
  }
}

struct DetailWords {
  const CHAR8 *element;
  void (*describe)(WordList &words, const XML_NODE *element, bool creates);
};

static constexpr DetailWords g_details[] = {
    {"Object", describeObject},  {"Adapter", describeSettings}, {"AdapterFwVer", describeValidation},
    {"VD", describeVirtualDisk}, {"PD", describeDisk},          {"Key", describeKey},
    {"NewKey", describeKey},
};

static void describeDetail(WordList &words, const XML_NODE *detail, bool creates) {
  const XML_NODE *first = detail != nullptr ? detail->FirstChild : nullptr;
  for (const DetailWords &row : g_details) {
    if (first != nullptr && textEqual(first->Name, row.element)) {
      row.describe(words, first, creates);
      return;
    }
  }
}

void readStep(const XML_NODE *operation, LogStep *step) {
  *step = {};
  step->name = attributeOf(operation, "name");
  step->result = childText(operation, "Status");
  // The log has the code without the bit that marks an error.
  UINT64 code = parseHex(childText(operation, "ErrorCode"));
  step->status = code == 0 ? EFI_SUCCESS : EFI_ERROR_CODE(code);
  describeDetail(step->object, childNamed(operation, "Detail"),
                 textEqual(step->name, "CREATE") || textEqual(step->name, "CreateVD"));
  step->failed = !textEqual(step->result, "Success") && !textEqual(step->name, "GetLive");
}

static void countStep(const LogStep &step, StepCounts *counts) {
  ++counts->steps;
  bool reads = textEqual(step.name, "GetLive") || textEqual(step.name, "Validate");
  counts->changes += !reads && !step.failed ? 1 : 0;
  if (step.failed) {
    counts->firstFailure = counts->failed == 0 ? step.status : counts->firstFailure;
    ++counts->failed;
  }
}

void saySteps(const Front *front, const XML_NODE *log, StepCounts *counts) {
  *counts = {};
  bool isWide = front->columns >= 80;
  say(front, isWide ? "%4a  %-20a  %-8a  %-20a  %a\n" : "%4a  %-20a  %-8a\n", "", "Step", "Result", "Code", "Object");
  LogStep step;
  for (const XML_NODE *node = childNamed(log, "Operation"); node != nullptr; node = nextSame(node)) {
    readStep(node, &step);
    countStep(step, counts);
    say(front, "%4d  %-20a  ", counts->steps, orNone(step.name));
    sayMarked(front, orNone(step.result), 8);
    const CHAR8 *code = step.status == EFI_SUCCESS ? "-" : statusWords(step.status);
    say(front, isWide ? "  %-20a  %a\n" : "\n      %a  %a\n", code, orNone(step.object.text));
  }
}

void writeSteps(Json *json, const XML_NODE *log, StepCounts *counts) {
  *counts = {};
  LogStep step;
  jsonArray(json, "steps");
  for (const XML_NODE *node = childNamed(log, "Operation"); node != nullptr; node = nextSame(node)) {
    readStep(node, &step);
    countStep(step, counts);
    jsonObject(json, nullptr);
    jsonText(json, "step", step.name);
    jsonText(json, "result", step.result);
    jsonText(json, "status", statusWords(step.status));
    jsonText(json, "object", step.object.text);
    jsonEnd(json);
  }
  jsonEnd(json);
}

} // namespace xyl::client
