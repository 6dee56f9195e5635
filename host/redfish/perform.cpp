#include "host/redfish/perform.h"

#include <algorithm>

#include "client/change/change.h"
#include "host/redfish/request.h"
#include "host/redfish/source.h"

namespace xyl::host::redfish {

// The configuration at one time.
struct Look {
  Model model;
  Resources resources;
};

static client::Result lookAt(const client::Context &context, const client::Controller &controller, Look *look) {
  look->model = {};
  client::Result result = readRedfishController(context, controller, &look->model);
  if (!client::isFailure(result)) {
    look->resources = makeResources(look->model);
  }
  return result;
}

// --- The change ---

// What the client tells of a change.
struct Told {
  std::string out; // a JSON document, as of 'apply'
  std::string error;
};

static void keepOut(const client::Front *front, const CHAR8 *text, UINTN length) {
  static_cast<Told *>(front->context)->out.append(text, length);
}

static void keepError(const client::Front *front, const CHAR8 *text, UINTN length) {
  static_cast<Told *>(front->context)->error.append(text, length);
}

// Takes the document over.
static client::Result apply(const client::Context &context, const client::Controller &controller,
                            client::ChangeWriter *writer, Told *told) {
  client::Front front = *context.front;
  front.context = told;
  front.writeOut = keepOut;
  front.writeError = keepError;
  client::Request request = *context.request;
  request.options[client::optionJson] = "";
  client::ChangeRequest change = {"the request",
                                  "change",
                                  {writer->text.chars, writer->text.length},
                                  /* SavedOf= */ nullptr,
                                  /* Prepare= */ nullptr,
                                  /* PrepareData= */ nullptr};
  writer->text = {};
  client::Result result = client::applyChanges({&front, &request}, controller, change);
  client::lookAgain();
  return result;
}

// What the controller says to what it has not done.
static Problem problemOf(EFI_STATUS status, const std::string &words) {
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
static std::string wordsOf(const Told &told) {
  Json document = Json::parse(told.out, nullptr, /* allow_exceptions= */ false);
  for (const Json &step : document.is_object() ? document.value("steps", Json::array()) : Json::array()) {
    if (step.value("result", "") != "Success") {
      return "The controller refuses " + step.value("step", "") + " of " + step.value("object", "") + ": " +
             step.value("status", "") + ".";
    }
  }
  return told.error.substr(0, told.error.find('\n'));
}

static bool isHalfDone(const Told &told) {
  Json document = Json::parse(told.out, nullptr, /* allow_exceptions= */ false);
  return document.is_object() && document.value("failure", "") == "half done";
}

// --- The answer ---

// The volume that was not there before, or "": nobody else makes any in between.
static std::string createdBy(const Look &before, const Look &after) {
  for (const Json &volume : after.model.volumes) {
    if (!before.model.volumeById.contains(idOf(volume))) {
      return volumeUri(after.model, volume);
    }
  }
  return "";
}

// What a change has left out stands beside where it would be.
static void putNotes(Json *answer, const std::vector<Problem> &notes) {
  for (const Problem &note : notes) {
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

static void print(const client::Context &context, const Json &answer) {
  std::string text = answer.dump(-1, ' ', /* ensure_ascii= */ false, Json::error_handler_t::replace) + "\n";
  context.front->writeOut(context.front, text.c_str(), text.size());
}

static Json refused(const Refusal &refusal) {
  return {{"status", httpStatusOf(refusal)}, {"body", errorBody(refusal)}};
}

// What was done shows in the resource, what was not in a message beside it.
static Json doneAnswer(const Deed &deed, const Look &before, const Look &after, const Problem *problem) {
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

static void needMatch(const Deed &deed, const Look &look) {
  std::string target = targetOf(deed.uri, look.resources);
  if (!deed.ifMatch.empty() && !target.empty() && look.resources.at(target).value("@odata.etag", "") != deed.ifMatch) {
    refuse("PreconditionFailed");
  }
}

// The change document; throws Refusal.
static void write(const Deed &deed, const Look &look, client::ChangeWriter *writer, std::vector<Problem> *notes) {
  needMatch(deed, look);
  putRequest({look.model, deed.method, deed.uri, deed.body}, look.resources, writer, notes);
  if (!isEmpty(*writer)) {
    client::closeDocument(writer);
  }
  if (writer->text.failed) {
    throw std::bad_alloc();
  }
}

client::Result performRequest(const client::Context &context, const Deed &deed) {
  client::Controller controller;
  Look before;
  client::Result result = client::openController(context, &controller);
  result = client::isFailure(result) ? result : lookAt(context, controller, &before);
  if (client::isFailure(result)) {
    return result;
  }
  WriterHolder holder;
  std::vector<Problem> notes;
  try {
    write(deed, before, &holder.writer, &notes);
  } catch (const Refusal &refusal) {
    print(context, refused(refusal));
    return client::succeeded();
  }
  if (isEmpty(holder.writer)) {
    Json answer = doneAnswer(deed, before, before, /* problem= */ nullptr);
    putNotes(&answer, notes);
    print(context, answer);
    return client::succeeded();
  }
  Told told;
  Look after;
  result = apply(context, controller, &holder.writer, &told);
  client::Result looked = lookAt(context, controller, &after);
  Problem problem = problemOf(result.status, wordsOf(told));
  bool isDone = !client::isFailure(result) || isHalfDone(told);
  if (client::isFailure(looked)) {
    problem = {"InternalError",
               {},
               "",
               std::string("The change was ") + (isDone ? "" : "not ") +
                   "made; what the controller holds now cannot be read."};
    isDone = false;
  }
  Json answer = isDone ? doneAnswer(deed, before, after, client::isFailure(result) ? &problem : nullptr)
                       : refused({std::make_shared<std::vector<Problem>>(1, problem)});
  if (isDone) {
    putNotes(&answer, notes);
  }
  print(context, answer);
  return client::succeeded();
}

} // namespace xyl::host::redfish
