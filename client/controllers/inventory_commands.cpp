// list, identify, get and log.
#include "base/pool.h"
#include "base/text.h"
#include "client/controllers/controllers.h"
#include "client/documents/documents.h"
#include "client/output/output.h"
#include "debug_log_ring.h"
#include "driver/controller/controller.h"
#include "driver/xml/xml.h"

namespace xyl::client {

// The states that objects of a kind are in, and how many of them.
static constexpr UINTN stateCount = 8; // the known states have fewer values

struct States {
  UINT32 counts[stateCount]; // indexed by state; the last one counts all others
  EFI_STATUS status;         // of reading the list
};

template <class T> static void countStates(RAID_MGMT_PROTOCOL *controller, UINT32 objectType, States *states) {
  *states = {};
  RAID_CMD_RESULT answer;
  states->status = driver::issueCommand(controller, RAID_COMMAND_GET, objectType, &answer);
  if (EFI_ERROR(states->status)) {
    states->status = states->status == EFI_NOT_FOUND ? EFI_SUCCESS : states->status;
    return;
  }
  const T *records = static_cast<const T *>(answer.Data);
  for (UINT32 i = 0; i < driver::recordCount(&answer); ++i) {
    ++states->counts[records[i].State < stateCount ? records[i].State : 0];
  }
  driver::giveBack(controller, &answer);
}

static void sayStates(const Front *front, const CHAR8 *kind, const States &states) {
  WordList list = {};
  for (UINTN state = 0; state < stateCount; ++state) {
    if (states.counts[state] != 0) {
      appendNumber(list, ", ", states.counts[state]);
      append(list, " ", driver::GetNameFromValue(state, driver::g_stateTable));
    }
  }
  say(front, "     %a: %a\n", kind,
      EFI_ERROR(states.status) ? statusWords(states.status)
      : *list.text != 0        ? list.text
                               : "none");
}

static void writeStates(Json *json, const CHAR8 *name, const States &states) {
  jsonObject(json, name);
  for (UINTN state = 0; state < stateCount; ++state) {
    if (states.counts[state] != 0) {
      jsonNumber(json, driver::GetNameFromValue(state, driver::g_stateTable), states.counts[state]);
    }
  }
  jsonEnd(json);
}

// What the list tells of one controller.
struct Listed {
  UINT32 number;
  ControllerIdentity identity;
  States virtualDisks;
  States disks;
};

static void sayListed(const Front *front, const Listed &listed) {
  say(front, "%3d  ", listed.number);
  sayIdentity(front, listed.identity);
  say(front, "\n");
  sayStates(front, "virtual disks", listed.virtualDisks);
  sayStates(front, "disks", listed.disks);
}

static void writeListed(Json *json, const Listed &listed) {
  jsonObject(json, nullptr);
  jsonNumber(json, "number", listed.number);
  jsonText(json, "name", listed.identity.name);
  jsonText(json, "pci", listed.identity.place);
  jsonText(json, "wwn", listed.identity.wwn);
  writeStates(json, "virtualDisks", listed.virtualDisks);
  writeStates(json, "disks", listed.disks);
  jsonEnd(json);
}

static Result list(const Context &context, Json *json, EFI_HANDLE handle, UINT32 number) {
  Listed listed = {};
  listed.number = number;
  RAID_MGMT_PROTOCOL *controller = nullptr;
  Result result = managementOf(context, handle, &controller);
  if (isFailure(result)) {
    return result;
  }
  if (EFI_ERROR(readIdentity(controller, &listed.identity))) {
    textNarrow(listed.identity.name, controllerName(handle), sizeof(listed.identity.name) - 1);
  }
  countStates<RAID_VD_RECORD>(controller, RAID_OBJECT_VIRTUAL_DISK, &listed.virtualDisks);
  countStates<RAID_PD_RECORD>(controller, RAID_OBJECT_PHYSICAL_DISK, &listed.disks);
  if (json != nullptr) {
    writeListed(json, listed);
  } else {
    sayListed(context.front, listed);
  }
  EFI_STATUS status = EFI_ERROR(listed.virtualDisks.status) ? listed.virtualDisks.status : listed.disks.status;
  if (EFI_ERROR(status)) {
    complain(context.front, "controller %d does not tell all that it has: %a", number, statusWords(status));
    return failed(status);
  }
  return succeeded();
}

// The first failure counts.
static Result listAll(const Context &context, Json *json, const Controllers &controllers) {
  Result result = succeeded();
  for (UINTN i = 0; i < controllers.count; ++i) {
    Result listed = list(context, json, controllers.handles[i], static_cast<UINT32>(i + 1));
    result = isFailure(result) ? result : listed;
  }
  return result;
}

Result runList(const Context &context) {
  Controllers controllers;
  Result result = findControllers(context, &controllers);
  if (isFailure(result)) {
    return result;
  }
  if (hasOption(context, optionJson)) {
    Json json = {};
    json.front = context.front;
    jsonObject(&json, nullptr);
    jsonArray(&json, "controllers");
    result = listAll(context, &json, controllers);
    jsonEnd(&json);
    jsonEnd(&json);
  } else {
    result = listAll(context, /* json= */ nullptr, controllers);
  }
  poolFree(controllers.handles);
  return result;
}

static void writeIdentity(const Front *front, const RAID_XYL_IDENTIFY_DATA &data) {
  Json json = {};
  json.front = front;
  jsonObject(&json, nullptr);
  jsonNumber(&json, "revision", data.Words[0]);
  jsonArray(&json, "words");
  for (UINT32 word : data.Words) {
    jsonNumber(&json, nullptr, word);
  }
  jsonEnd(&json);
  jsonEnd(&json);
}

Result runIdentify(const Context &context) {
  RAID_XYL_PROTOCOL *operations = nullptr;
  Result result = selectController(context, &operations);
  if (isFailure(result)) {
    return result;
  }
  RAID_XYL_IDENTIFY_DATA data = {};
  EFI_STATUS status = operations->Identify_Live(operations, &data);
  if (EFI_ERROR(status)) {
    complain(context.front, "the driver does not identify itself: %a", statusWords(status));
    return failed(status);
  }
  if (hasOption(context, optionJson)) {
    writeIdentity(context.front, data);
    return succeeded();
  }
  say(context.front, "revision %d\nwords    %08x %08x %08x %08x %08x\n", data.Words[0], data.Words[0], data.Words[1],
      data.Words[2], data.Words[3], data.Words[4]);
  return succeeded();
}

// For people, beside the document, which has neither: where it came from and when, by the machine's clock.
static void sayOrigin(const Front *front, const CHAR8 *file, const Controller &controller) {
  if (isStandardOutput(file) || front->isSameFile(front, file, "/dev/stdout")) {
    return; // it would stand behind the document
  }
  sayText(front, file);
  say(front, ": ");
  sayIdentity(front, controller.identity);
  Text server = {};
  putServerName(&server, front);
  if (server.length != 0) {
    say(front, ", in %a", textOf(server));
  }
  freeText(&server);
  EFI_TIME now = {};
  if (!EFI_ERROR(front->systemTable->RuntimeServices->GetTime(&now, /* Capabilities= */ nullptr))) {
    say(front, ", read %04d-%02d-%02d %02d:%02d:%02d", now.Year, now.Month, now.Day, now.Hour, now.Minute, now.Second);
  }
  say(front, "\n");
}

Result runGet(const Context &context) {
  Controller controller;
  Result result = openController(context, &controller);
  if (isFailure(result)) {
    return result;
  }
  DocumentText document;
  bool isWhole = true;
  result = readWholeInventory(context, controller, &document, &isWhole);
  if (isFailure(result)) {
    return result;
  }
  const CHAR8 *file = context.request->options[optionOutput];
  if (file == nullptr) {
    sayDocument(context.front, document.text, document.size);
  } else {
    result = writeDocument(context, file, document.text, document.size);
    if (!isFailure(result)) {
      sayOrigin(context.front, file, controller);
    }
  }
  releaseDocument(&document);
  return isFailure(result) || isWhole ? result : failed(EFI_ABORTED);
}

// Cuts the text into its lines.
static void writeLines(const Front *front, CHAR8 *text) {
  Json json = {};
  json.front = front;
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

Result runLog(const Context &context) {
  if (context.front->kind == frontHost) {
    complain(context.front, "nothing is kept between runs; give --log trace to the command whose log you want");
    return wrongUsage();
  }
  static const EFI_GUID ringGuid = DEBUG_LOG_RING_PROTOCOL_GUID;
  void *found = nullptr;
  if (EFI_ERROR(g_bootServices->LocateProtocol(&ringGuid, nullptr, &found))) {
    complain(context.front, "there is no log to show; load DebugLog.efi before the driver");
    return notFound();
  }
  DEBUG_LOG_RING_PROTOCOL *ring = static_cast<DEBUG_LOG_RING_PROTOCOL *>(found);
  CHAR8 *text = nullptr;
  EFI_STATUS status = ring->GetText(ring, &text);
  if (EFI_ERROR(status)) {
    complain(context.front, "the log cannot be read: %a", statusWords(status));
    return failed(status);
  }
  if (hasOption(context, optionJson)) {
    writeLines(context.front, text);
  } else {
    sayLines(context.front, text);
  }
  poolFree(text);
  return succeeded();
}

} // namespace xyl::client
