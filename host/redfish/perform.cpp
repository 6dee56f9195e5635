#include "host/redfish/perform.h"

#include <algorithm>

#include "client/change/change.h"
#include "host/redfish/request.h"
#include "host/redfish/source.h"

// The configuration at one time.
struct REDFISH_LOOK {
  REDFISH_MODEL model;
  REDFISH_RESOURCES resources;
};

static XYL_RESULT lookAt(const XYL_CONTEXT &context, const CONTROLLER &controller, REDFISH_LOOK *look) {
  look->model = {};
  XYL_RESULT result = readRedfishController(context, controller, &look->model);
  if (!isFailure(result)) {
    look->resources = makeResources(look->model);
  }
  return result;
}

// --- The change ---

// What the client tells of a change.
struct TOLD {
  std::string out; // a JSON document, as of 'apply'
  std::string error;
};

static void keepOut(const XYL_FRONT *front, const CHAR8 *text, UINTN length) {
  static_cast<TOLD *>(front->Context)->out.append(text, length);
}

static void keepError(const XYL_FRONT *front, const CHAR8 *text, UINTN length) {
  static_cast<TOLD *>(front->Context)->error.append(text, length);
}

// Takes the document over.
static XYL_RESULT apply(const XYL_CONTEXT &context, const CONTROLLER &controller, CHANGE_WRITER *writer, TOLD *told) {
  XYL_FRONT front = *context.Front;
  front.Context = told;
  front.WriteOut = keepOut;
  front.WriteError = keepError;
  XYL_REQUEST request = *context.Request;
  request.Options[XYL_OPTION_JSON] = "";
  CHANGE_REQUEST change = {"the request",
                           "change",
                           {writer->Text.Chars, writer->Text.Length},
                           /* SavedOf= */ nullptr,
                           /* Prepare= */ nullptr,
                           /* PrepareData= */ nullptr};
  writer->Text = {};
  XYL_RESULT result = applyChanges({&front, &request}, controller, change);
  lookAgain();
  return result;
}

// What the controller says to what it has not done.
static REDFISH_PROBLEM problemOf(EFI_STATUS status, const std::string &words) {
  static constexpr struct {
    EFI_STATUS status;
    const char *key;
  } rows[] = {
      {EFI_INVALID_PARAMETER, "GeneralError"}, {EFI_UNSUPPORTED, "GeneralError"},
      {EFI_NOT_FOUND, "GeneralError"},         {EFI_ACCESS_DENIED, "ResourceInUse"},
      {EFI_NOT_READY, "ResourceInUse"},        {EFI_OUT_OF_RESOURCES, "InsufficientStorage"},
  };
  const auto *row =
      std::find_if(std::begin(rows), std::end(rows), [&](const auto &each) { return each.status == status; });
  return {row != std::end(rows) ? row->key : "InternalError", {}, "", words};
}

// The step that failed, in words; without one what was complained of.
static std::string wordsOf(const TOLD &told) {
  Json document = Json::parse(told.out, nullptr, /* allow_exceptions= */ false);
  for (const Json &step : document.is_object() ? document.value("steps", Json::array()) : Json::array()) {
    if (step.value("result", "") != "Success") {
      return "The controller refuses " + step.value("step", "") + " of " + step.value("object", "") + ": " +
             step.value("status", "") + ".";
    }
  }
  return told.error.substr(0, told.error.find('\n'));
}

static bool isHalfDone(const TOLD &told) {
  Json document = Json::parse(told.out, nullptr, /* allow_exceptions= */ false);
  return document.is_object() && document.value("failure", "") == "half done";
}

// --- The answer ---

// The volume that was not there before, or "": nobody else makes any in between.
static std::string createdBy(const REDFISH_LOOK &before, const REDFISH_LOOK &after) {
  for (const Json &volume : after.model.volumes) {
    if (!before.model.volumeById.contains(idOf(volume))) {
      return volumeUri(after.model, volume);
    }
  }
  return "";
}

// What a change has left out stands beside where it would be.
static void putNotes(Json *answer, const std::vector<REDFISH_PROBLEM> &notes) {
  for (const REDFISH_PROBLEM &note : notes) {
    Json *holder = &(*answer)["body"];
    std::string name = note.property;
    size_t slash = name.find('/');
    if (slash != std::string::npos && holder->contains(name.substr(0, slash)) &&
        holder->at(name.substr(0, slash)).is_object()) {
      holder = &holder->at(name.substr(0, slash));
      name.erase(0, slash + 1);
    }
    (*holder)[name + "@Message.ExtendedInfo"].push_back(messageOf(note));
  }
}

static void print(const XYL_CONTEXT &context, const Json &answer) {
  std::string text = answer.dump(-1, ' ', /* ensure_ascii= */ false, Json::error_handler_t::replace) + "\n";
  context.Front->WriteOut(context.Front, text.c_str(), text.size());
}

static Json refused(const REDFISH_REFUSAL &refusal) {
  return {{"status", httpStatusOf(refusal)}, {"body", errorBody(refusal)}};
}

// What was done shows in the resource, what was not in a message beside it.
static Json doneAnswer(const REDFISH_DEED &deed, const REDFISH_LOOK &before, const REDFISH_LOOK &after,
                       const REDFISH_PROBLEM *problem) {
  std::string made = deed.method == "POST" ? createdBy(before, after) : "";
  std::string shown = deed.method == "PATCH" ? targetOf(deed.uri, after.resources) : made;
  Json answer = {{"status", !made.empty() ? 201 : !shown.empty() ? 200 : 204}};
  if (!made.empty()) {
    answer["location"] = made;
  }
  if (!shown.empty()) {
    answer["body"] = after.resources.at(shown);
  }
  if (problem != nullptr) {
    answer["body"]["@Message.ExtendedInfo"] = Json::array({messageOf(*problem)});
    answer["status"] = shown.empty() ? 200 : answer["status"].get<int>();
  }
  return answer;
}

static void needMatch(const REDFISH_DEED &deed, const REDFISH_LOOK &look) {
  std::string target = targetOf(deed.uri, look.resources);
  if (!deed.ifMatch.empty() && !target.empty() && look.resources.at(target).value("@odata.etag", "") != deed.ifMatch) {
    refuse("PreconditionFailed");
  }
}

// The change document; throws REDFISH_REFUSAL.
static void write(const REDFISH_DEED &deed, const REDFISH_LOOK &look, CHANGE_WRITER *writer,
                  std::vector<REDFISH_PROBLEM> *notes) {
  needMatch(deed, look);
  putRequest({look.model, deed.method, deed.uri, deed.body}, look.resources, writer, notes);
  if (!isEmpty(*writer)) {
    closeDocument(writer);
  }
  if (writer->Text.Failed) {
    throw std::bad_alloc();
  }
}

XYL_RESULT performRequest(const XYL_CONTEXT &context, const REDFISH_DEED &deed) {
  CONTROLLER controller;
  REDFISH_LOOK before;
  XYL_RESULT result = openController(context, &controller);
  result = isFailure(result) ? result : lookAt(context, controller, &before);
  if (isFailure(result)) {
    return result;
  }
  WRITER_HOLDER holder;
  std::vector<REDFISH_PROBLEM> notes;
  try {
    write(deed, before, &holder.writer, &notes);
  } catch (const REDFISH_REFUSAL &refusal) {
    print(context, refused(refusal));
    return succeeded();
  }
  if (isEmpty(holder.writer)) {
    Json answer = doneAnswer(deed, before, before, /* problem= */ nullptr);
    putNotes(&answer, notes);
    print(context, answer);
    return succeeded();
  }
  TOLD told;
  REDFISH_LOOK after;
  result = apply(context, controller, &holder.writer, &told);
  XYL_RESULT looked = lookAt(context, controller, &after);
  REDFISH_PROBLEM problem = problemOf(result.Status, wordsOf(told));
  bool isDone = !isFailure(result) || isHalfDone(told);
  if (isFailure(looked)) {
    problem = {"InternalError",
               {},
               "",
               std::string("The change was ") + (isDone ? "" : "not ") +
                   "made; what the controller holds now cannot be read."};
    isDone = false;
  }
  Json answer = isDone ? doneAnswer(deed, before, after, isFailure(result) ? &problem : nullptr)
                       : refused({std::make_shared<std::vector<REDFISH_PROBLEM>>(1, problem)});
  if (isDone) {
    putNotes(&answer, notes);
  }
  print(context, answer);
  return succeeded();
}
