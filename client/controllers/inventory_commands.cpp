// list, identify, get and log.
#include "base/pool.h"
#include "base/text.h"
#include "client/controllers/controllers.h"
#include "client/documents/documents.h"
#include "client/output/output.h"
#include "debug_log_ring.h"
#include "driver/controller/controller.h"
#include "driver/xml/xml.h"

// The states that objects of a kind are in, and how many of them.
static constexpr UINTN STATE_COUNT = 8; // the known states have fewer values

struct STATES {
  UINT32 Counts[STATE_COUNT]; // indexed by state; the last one counts all others
  EFI_STATUS Status;          // of reading the list
};

template <class T> static void countStates(RAID_MGMT_PROTOCOL *controller, UINT32 objectType, STATES *states) {
  *states = {};
  RAID_CMD_RESULT answer;
  states->Status = issueCommand(controller, RAID_COMMAND_GET, objectType, &answer);
  if (EFI_ERROR(states->Status)) {
    states->Status = states->Status == EFI_NOT_FOUND ? EFI_SUCCESS : states->Status;
    return;
  }
  const T *records = static_cast<const T *>(answer.Data);
  for (UINT32 i = 0; i < recordCount(&answer); ++i) {
    ++states->Counts[records[i].State < STATE_COUNT ? records[i].State : 0];
  }
  giveBack(controller, &answer);
}

static void sayStates(const XYL_FRONT *front, const CHAR8 *kind, const STATES &states) {
  WORD_LIST list = {};
  for (UINTN state = 0; state < STATE_COUNT; ++state) {
    if (states.Counts[state] != 0) {
      appendNumber(list, ", ", states.Counts[state]);
      append(list, " ", GetNameFromValue(state, g_stateTable));
    }
  }
  say(front, "     %a: %a\n", kind,
      EFI_ERROR(states.Status) ? statusWords(states.Status)
      : *list.Text != 0        ? list.Text
                               : "none");
}

static void writeStates(JSON *json, const CHAR8 *name, const STATES &states) {
  jsonObject(json, name);
  for (UINTN state = 0; state < STATE_COUNT; ++state) {
    if (states.Counts[state] != 0) {
      jsonNumber(json, GetNameFromValue(state, g_stateTable), states.Counts[state]);
    }
  }
  jsonEnd(json);
}

// What the list tells of one controller.
struct LISTED {
  UINT32 Number;
  CONTROLLER_IDENTITY Identity;
  STATES VirtualDisks;
  STATES Disks;
};

static void sayListed(const XYL_FRONT *front, const LISTED &listed) {
  say(front, "%3d  ", listed.Number);
  sayIdentity(front, listed.Identity);
  say(front, "\n");
  sayStates(front, "virtual disks", listed.VirtualDisks);
  sayStates(front, "disks", listed.Disks);
}

static void writeListed(JSON *json, const LISTED &listed) {
  jsonObject(json, nullptr);
  jsonNumber(json, "number", listed.Number);
  jsonText(json, "name", listed.Identity.Name);
  jsonText(json, "pci", listed.Identity.Place);
  jsonText(json, "wwn", listed.Identity.Wwn);
  writeStates(json, "virtualDisks", listed.VirtualDisks);
  writeStates(json, "disks", listed.Disks);
  jsonEnd(json);
}

static XYL_RESULT list(const XYL_CONTEXT &context, JSON *json, EFI_HANDLE handle, UINT32 number) {
  LISTED listed = {};
  listed.Number = number;
  RAID_MGMT_PROTOCOL *controller = nullptr;
  XYL_RESULT result = managementOf(context, handle, &controller);
  if (isFailure(result)) {
    return result;
  }
  if (EFI_ERROR(readIdentity(controller, &listed.Identity))) {
    textNarrow(listed.Identity.Name, controllerName(handle), sizeof(listed.Identity.Name) - 1);
  }
  countStates<RAID_VD_RECORD>(controller, RAID_OBJECT_VIRTUAL_DISK, &listed.VirtualDisks);
  countStates<RAID_PD_RECORD>(controller, RAID_OBJECT_PHYSICAL_DISK, &listed.Disks);
  if (json != nullptr) {
    writeListed(json, listed);
  } else {
    sayListed(context.Front, listed);
  }
  EFI_STATUS status = EFI_ERROR(listed.VirtualDisks.Status) ? listed.VirtualDisks.Status : listed.Disks.Status;
  if (EFI_ERROR(status)) {
    complain(context.Front, "controller %d does not tell all that it has: %a", number, statusWords(status));
    return failed(status);
  }
  return succeeded();
}

// The first failure counts.
static XYL_RESULT listAll(const XYL_CONTEXT &context, JSON *json, const CONTROLLERS &controllers) {
  XYL_RESULT result = succeeded();
  for (UINTN i = 0; i < controllers.Count; ++i) {
    XYL_RESULT listed = list(context, json, controllers.Handles[i], static_cast<UINT32>(i + 1));
    result = isFailure(result) ? result : listed;
  }
  return result;
}

XYL_RESULT runList(const XYL_CONTEXT &context) {
  CONTROLLERS controllers;
  XYL_RESULT result = findControllers(context, &controllers);
  if (isFailure(result)) {
    return result;
  }
  if (hasOption(context, XYL_OPTION_JSON)) {
    JSON json = {};
    json.Front = context.Front;
    jsonObject(&json, nullptr);
    jsonArray(&json, "controllers");
    result = listAll(context, &json, controllers);
    jsonEnd(&json);
    jsonEnd(&json);
  } else {
    result = listAll(context, /* json= */ nullptr, controllers);
  }
  poolFree(controllers.Handles);
  return result;
}

static void writeIdentity(const XYL_FRONT *front, const RAID_XYL_IDENTIFY_DATA &data) {
  JSON json = {};
  json.Front = front;
  jsonObject(&json, nullptr);
  jsonNumber(&json, "revision", data.Words[0]);
  jsonArray(&json, "words");
  for (UINT32 word : data.Words) {
    jsonNumber(&json, nullptr, word);
  }
  jsonEnd(&json);
  jsonEnd(&json);
}

XYL_RESULT runIdentify(const XYL_CONTEXT &context) {
  RAID_XYL_PROTOCOL *operations = nullptr;
  XYL_RESULT result = selectController(context, &operations);
  if (isFailure(result)) {
    return result;
  }
  RAID_XYL_IDENTIFY_DATA data = {};
  EFI_STATUS status = operations->Identify_Live(operations, &data);
  if (EFI_ERROR(status)) {
    complain(context.Front, "the driver does not identify itself: %a", statusWords(status));
    return failed(status);
  }
  if (hasOption(context, XYL_OPTION_JSON)) {
    writeIdentity(context.Front, data);
    return succeeded();
  }
  say(context.Front, "revision %d\nwords    %08x %08x %08x %08x %08x\n", data.Words[0], data.Words[0], data.Words[1],
      data.Words[2], data.Words[3], data.Words[4]);
  return succeeded();
}

// For people, beside the document, which has neither: where it came from and when, by the machine's clock.
static void sayOrigin(const XYL_FRONT *front, const CHAR8 *file, const CONTROLLER &controller) {
  if (isStandardOutput(file) || front->IsSameFile(front, file, "/dev/stdout")) {
    return; // it would stand behind the document
  }
  sayText(front, file);
  say(front, ": ");
  sayIdentity(front, controller.Identity);
  TEXT server = {};
  putServerName(&server, front);
  if (server.Length != 0) {
    say(front, ", in %a", textOf(server));
  }
  freeText(&server);
  EFI_TIME now = {};
  if (!EFI_ERROR(front->SystemTable->RuntimeServices->GetTime(&now, /* Capabilities= */ nullptr))) {
    say(front, ", read %04d-%02d-%02d %02d:%02d:%02d", now.Year, now.Month, now.Day, now.Hour, now.Minute, now.Second);
  }
  say(front, "\n");
}

XYL_RESULT runGet(const XYL_CONTEXT &context) {
  CONTROLLER controller;
  XYL_RESULT result = openController(context, &controller);
  if (isFailure(result)) {
    return result;
  }
  DOCUMENT_TEXT document;
  bool isWhole = true;
  result = readWholeInventory(context, controller, &document, &isWhole);
  if (isFailure(result)) {
    return result;
  }
  const CHAR8 *file = context.Request->Options[XYL_OPTION_OUTPUT];
  if (file == nullptr) {
    sayDocument(context.Front, document.Text, document.Size);
  } else {
    result = writeDocument(context, file, document.Text, document.Size);
    if (!isFailure(result)) {
      sayOrigin(context.Front, file, controller);
    }
  }
  releaseDocument(&document);
  return isFailure(result) || isWhole ? result : failed(EFI_ABORTED);
}

// Cuts the text into its lines.
static void writeLines(const XYL_FRONT *front, CHAR8 *text) {
  JSON json = {};
  json.Front = front;
  jsonObject(&json, nullptr);
  jsonArray(&json, "lines");
  while (*text != 0) {
    CHAR8 *end = text;
    while (*end != 0 && *end != '\n') {
      ++end;
    }
    bool isLast = *end == 0;
    *end = 0;
    jsonText(&json, nullptr, text);
    text = isLast ? end : end + 1;
  }
  jsonEnd(&json);
  jsonEnd(&json);
}

XYL_RESULT runLog(const XYL_CONTEXT &context) {
  if (context.Front->Kind == XYL_FRONT_HOST) {
    complain(context.Front, "nothing is kept between runs; give --log trace to the command whose log you want");
    return wrongUsage();
  }
  static const EFI_GUID ringGuid = DEBUG_LOG_RING_PROTOCOL_GUID;
  void *found = nullptr;
  if (EFI_ERROR(g_bootServices->LocateProtocol(&ringGuid, nullptr, &found))) {
    complain(context.Front, "there is no log to show; load DebugLog.efi before the driver");
    return notFound();
  }
  DEBUG_LOG_RING_PROTOCOL *ring = static_cast<DEBUG_LOG_RING_PROTOCOL *>(found);
  CHAR8 *text = nullptr;
  EFI_STATUS status = ring->GetText(ring, &text);
  if (EFI_ERROR(status)) {
    complain(context.Front, "the log cannot be read: %a", statusWords(status));
    return failed(status);
  }
  if (hasOption(context, XYL_OPTION_JSON)) {
    writeLines(context.Front, text);
  } else {
    sayLines(context.Front, text);
  }
  poolFree(text);
  return succeeded();
}
