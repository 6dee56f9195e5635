#include "driver/restore/restore.h"

#include "base/log.h"
#include "base/text.h"

namespace xyl::driver {

// What a text does to the run mode word.
struct RunModeText {
  const CHAR8 *text;
  UINT32 set;
  UINT32 clear;
};

static constexpr RunModeText g_modeTexts[] = {
    {"Restore", RUN_MODE_RESTORE, 0},
    {"Normal", RUN_MODE_NORMAL, 0},
};

static constexpr RunModeText g_stopOnErrorTexts[] = {
    {"True", RUN_MODE_STOP_ON_ERROR, 0},
    {"False", 0, RUN_MODE_STOP_ON_ERROR},
};

static constexpr RunModeText g_preserveTexts[] = {
    {"True", 0, 0},
    {"False", 0, RUN_MODE_PRESERVE_VD},
};

// Applies the text of element; false when it is none of texts.
template <UINTN count>
static bool applyText(const XML_NODE *element, const RunModeText (&texts)[count], UINT32 *flags) {
  for (const RunModeText &row : texts) {
    if (element->Content != nullptr && textEqual(element->Content, row.text)) {
      *flags = (*flags | row.set) & ~row.clear;
      return true;
    }
  }
  return false;
}

template <UINTN count>
static EFI_STATUS applyPlain(const XML_NODE *element, const RunModeText (&texts)[count], UINT32 *flags) {
  if (!applyText(element, texts, flags)) {
    LoggableText shown;
    LogPrint(LOG_ERROR, "parseRunTimeXML", "Node content is invalid: %a", loggableText(element->Content, shown));
    return EFI_INVALID_PARAMETER;
  }
  return EFI_SUCCESS;
}

static EFI_STATUS applyMode(const XML_NODE *element, UINT32 *flags) {
  return applyPlain(element, g_modeTexts, flags);
}

static EFI_STATUS applyStopOnError(const XML_NODE *element, UINT32 *flags) {
  return applyPlain(element, g_stopOnErrorTexts, flags);
}

// Only the first child counts, whatever its name.
static EFI_STATUS applyRaid(const XML_NODE *element, UINT32 *flags) {
  const XML_NODE *option = element->FirstChild;
  if (option == nullptr) {
    LogPrint(LOG_TRACE, "parseRunTimeXML", "No children for PreserveVDConfig");
    return EFI_INVALID_PARAMETER;
  }
  if (!applyText(option, g_preserveTexts, flags)) {
    LoggableText shown;
    LogPrint(LOG_ERROR, "parseRunTimeXML", "PreserveVDConfig Node content is invalid: %a",
             loggableText(option->Content, shown));
    return EFI_INVALID_PARAMETER;
  }
  bool preserved = textEqual(option->Content, "True");
  LogPrint(LOG_TRACE, "parseRunTimeXML",
           preserved ? "PreserveVDConfig:TRUE:*Mode %x" : "PreserveVDConfig:FALSE:*Mode %x", *flags);
  return EFI_SUCCESS;
}

struct RunModeElement {
  const CHAR8 *name;
  EFI_STATUS (*apply)(const XML_NODE *element, UINT32 *flags);
  const CHAR8 *before;
  const CHAR8 *after;
};

static constexpr RunModeElement g_runModeElements[] = {
    {"Mode", applyMode, "<Mode>:Before parseRunModeData %x", "<Mode>:After parseRunModeData = %x"},
    {"StopOnError", applyStopOnError, "<StopOnError>:Before parseRunModeData %x",
     "<StopOnError>:After parseRunModeData = %x"},
    {"Raid", applyRaid, "<Raid>:Before parseRunModeData %x", "<Raid>:After parseRunModeData %x"},
};

// Elements with other names are passed over.
static EFI_STATUS applyElement(const XML_NODE *element, UINT32 *flags) {
  for (const RunModeElement &row : g_runModeElements) {
    if (!textEqual(element->Name, row.name)) {
      continue;
    }
    LogPrint(LOG_TRACE, "parseRunTimeXML", row.before, *flags);
    EFI_STATUS status = row.apply(element, flags);
    if (EFI_ERROR(status)) {
      return status;
    }
    LogPrint(LOG_TRACE, "parseRunTimeXML", row.after, *flags);
  }
  return EFI_SUCCESS;
}

static EFI_STATUS applyDocument(const XML_NODE *root, UINT32 *flags) {
  *flags |= RUN_MODE_PRESERVE_VD;
  if (!textEqual(root->Name, "RunMode")) {
    LoggableText shown;
    LogPrint(LOG_ERROR, "parseRunTimeXML", "DOC head is %a, I don't know how to parse this",
             loggableText(root->Name, shown));
    return EFI_INVALID_PARAMETER;
  }
  if (root->FirstChild == nullptr) {
    LogPrint(LOG_WARN, "parseRunTimeXML", "No children, this is not valid");
    return EFI_INVALID_PARAMETER;
  }
  for (const XML_NODE *element = root->FirstChild; element != nullptr; element = element->NextSibling) {
    EFI_STATUS status = applyElement(element, flags);
    if (EFI_ERROR(status)) {
      return status;
    }
  }
  return EFI_SUCCESS;
}

static EFI_STATUS parseRunTime(const CHAR8 *text, UINT32 *flags) {
  LogPrint(LOG_TRACE, "parseRunTimeXML", "Parsing RunTime XML");
  getXMLProto();
  if (g_xmlProtocol == nullptr) {
    return EFI_NOT_FOUND;
  }
  XML_NODE *root = nullptr;
  LogPrint(LOG_TRACE, "parseRunTimeXML", "Parse XML Start...");
  EFI_STATUS parsed = g_xmlProtocol->Parse(g_xmlProtocol, text, &root);
  LogPrint(LOG_TRACE, "parseRunTimeXML", "Return from Parsing %r", parsed);
  if (root == nullptr) {
    LogPrint(LOG_ERROR, "parseRunTimeXML", "Parse doc failed to parse");
    return parsed;
  }
  EFI_STATUS status = parsed;
  if (EFI_ERROR(parsed)) {
    LogPrint(LOG_WARN, "parseRunTimeXML", "Parse XML returned error %r", parsed);
  } else {
    LogPrint(LOG_TRACE, "parseRunTimeXML", "Parse XML Complete");
    status = applyDocument(root, flags);
  }
  if (!EFI_ERROR(status)) {
    LogPrint(LOG_TRACE, "parseRunTimeXML", "Valid Status = %r", parsed);
  }
  FreeXMLNode(root);
  return status;
}

EFI_STATUS parseRunTimeXML(const CHAR8 *text, UINT32 *runModeFlag) {
  logEntered("parseRunTimeXML");
  EFI_STATUS status = EFI_INVALID_PARAMETER;
  if (text != nullptr && runModeFlag != nullptr) {
    status = parseRunTime(text, runModeFlag);
  }
  return logExit("parseRunTimeXML", status);
}

} // namespace xyl::driver
