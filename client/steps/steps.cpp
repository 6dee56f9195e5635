#include "client/steps/steps.h"

#include "base/text.h"

static const CHAR8 *attributeOf(const XML_NODE *node, const CHAR8 *name) {
  for (const XML_ATTRIBUTE *attribute = node->Attributes; attribute != nullptr; attribute = attribute->Next) {
    if (textEqual(attribute->Name, name) && attribute->Value != nullptr) {
      return attribute->Value;
    }
  }
  return "";
}

static void describeDisk(WORD_LIST &words, const XML_NODE *disk, bool) {
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
static void describeVirtualDisk(WORD_LIST &words, const XML_NODE *virtualDisk, bool creates) {
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

static void describeKey(WORD_LIST &words, const XML_NODE *key, bool) {
  append(words, "", "key ");
  append(words, "", childText(key, "Mode"));
  append(words, " ", childText(key, "KeyId"));
}

static void describeSettings(WORD_LIST &words, const XML_NODE *, bool) {
  append(words, "", "adapter settings");
}

static void describeObject(WORD_LIST &words, const XML_NODE *object, bool) {
  append(words, "", nodeText(object));
}

// The validation summary's first element; the others are its siblings.
static void describeValidation(WORD_LIST &words, const XML_NODE *version, bool) {
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

struct DETAIL_WORDS {
  const CHAR8 *Element;
  void (*Describe)(WORD_LIST &words, const XML_NODE *element, bool creates);
};

static constexpr DETAIL_WORDS g_details[] = {
    {"Object", describeObject},  {"Adapter", describeSettings}, {"AdapterFwVer", describeValidation},
    {"VD", describeVirtualDisk}, {"PD", describeDisk},          {"Key", describeKey},
    {"NewKey", describeKey},
};

static void describeDetail(WORD_LIST &words, const XML_NODE *detail, bool creates) {
  const XML_NODE *first = detail != nullptr ? detail->FirstChild : nullptr;
  for (const DETAIL_WORDS &row : g_details) {
    if (first != nullptr && textEqual(first->Name, row.Element)) {
      row.Describe(words, first, creates);
      return;
    }
  }
}

void readStep(const XML_NODE *operation, LOG_STEP *step) {
  *step = {};
  step->Name = attributeOf(operation, "name");
  step->Result = childText(operation, "Status");
  // The log has the code without the bit that marks an error.
  UINT64 code = parseHex(childText(operation, "ErrorCode"));
  step->Status = code == 0 ? EFI_SUCCESS : EFI_ERROR_CODE(code);
  describeDetail(step->Object, childNamed(operation, "Detail"),
                 textEqual(step->Name, "CREATE") || textEqual(step->Name, "CreateVD"));
  step->Failed = !textEqual(step->Result, "Success") && !textEqual(step->Name, "GetLive");
}

static void countStep(const LOG_STEP &step, STEP_COUNTS *counts) {
  ++counts->Steps;
  bool reads = textEqual(step.Name, "GetLive") || textEqual(step.Name, "Validate");
  counts->Changes += !reads && !step.Failed ? 1 : 0;
  if (step.Failed) {
    counts->FirstFailure = counts->Failed == 0 ? step.Status : counts->FirstFailure;
    ++counts->Failed;
  }
}

void saySteps(const XYL_FRONT *front, const XML_NODE *log, STEP_COUNTS *counts) {
  *counts = {};
  bool isWide = front->Columns >= 80;
  say(front, isWide ? "%4a  %-20a  %-8a  %-20a  %a\n" : "%4a  %-20a  %-8a\n", "", "Step", "Result", "Code", "Object");
  LOG_STEP step;
  for (const XML_NODE *node = childNamed(log, "Operation"); node != nullptr; node = nextSame(node)) {
    readStep(node, &step);
    countStep(step, counts);
    say(front, "%4d  %-20a  ", counts->Steps, orNone(step.Name));
    sayMarked(front, orNone(step.Result), 8);
    const CHAR8 *code = step.Status == EFI_SUCCESS ? "-" : statusWords(step.Status);
    say(front, isWide ? "  %-20a  %a\n" : "\n      %a  %a\n", code, orNone(step.Object.Text));
  }
}

void writeSteps(JSON *json, const XML_NODE *log, STEP_COUNTS *counts) {
  *counts = {};
  LOG_STEP step;
  jsonArray(json, "steps");
  for (const XML_NODE *node = childNamed(log, "Operation"); node != nullptr; node = nextSame(node)) {
    readStep(node, &step);
    countStep(step, counts);
    jsonObject(json, nullptr);
    jsonText(json, "step", step.Name);
    jsonText(json, "result", step.Result);
    jsonText(json, "status", statusWords(step.Status));
    jsonText(json, "object", step.Object.Text);
    jsonEnd(json);
  }
  jsonEnd(json);
}
