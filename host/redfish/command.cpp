#include "host/common/common.h"
#include "host/redfish/mockup.h"
#include "host/redfish/perform.h"
#include "host/redfish/redfish.h"
#include "host/redfish/request.h"
#include "host/redfish/source.h"

// Operands that stand beside a saved document: METHOD and URI, or DIRECTORY.
static UINTN ownOperands(const XYL_REQUEST &request) {
  return request.Options[XYL_OPTION_REQUEST] != nullptr ? 2 : 1;
}

static bool readsController(const XYL_REQUEST &request) {
  return request.OperandCount <= ownOperands(request);
}

static bool runsRequest(const XYL_REQUEST &request) {
  return request.Options[XYL_OPTION_REQUEST] != nullptr && request.Options[XYL_OPTION_YES] != nullptr;
}

XYL_NEED redfishNeed(const XYL_REQUEST &request) {
  return !readsController(request) ? XYL_NEED_NOTHING : runsRequest(request) ? XYL_NEED_TO_CHANGE : XYL_NEED_TO_READ;
}

// All resources by their URIs, and the methods that change them, as one document.
static XYL_RESULT printTree(const XYL_CONTEXT &context, const REDFISH_RESOURCES &resources) {
  std::string text = R"({"resources":)";
  char separator = '{';
  for (const auto &[uri, resource] : resources) {
    text += separator + Json(uri).dump() + ":" + resource.dump();
    separator = ',';
  }
  text += R"(},"methods":)" + methodsOf(resources).dump() + "}\n";
  context.Front->WriteOut(context.Front, text.c_str(), text.size());
  return succeeded();
}

static XYL_RESULT writeTree(const XYL_CONTEXT &context, const REDFISH_MODEL &model, const CHAR8 *directory) {
  if (hasOption(context, XYL_OPTION_OUTPUT)) {
    complain(context.Front, "--output goes with --request; the resources are written to a directory");
    return wrongUsage();
  }
  REDFISH_RESOURCES resources = makeResources(model);
  if (isStandardOutput(directory)) {
    return printTree(context, resources);
  }
  writeMockup(directory, resources, hasOption(context, XYL_OPTION_FORCE));
  say(context.Front, "%d resources in %a/redfish\n", static_cast<UINT32>(resources.size()), directory);
  return succeeded();
}

// The answer that a service would give is the output, since the client of the service reads it.
static XYL_RESULT tellRefusal(const XYL_CONTEXT &context, const REDFISH_REFUSAL &refusal) {
  // The URI need not be UTF-8.
  std::string body = errorBody(refusal).dump(2, ' ', /* ensure_ascii= */ false, Json::error_handler_t::replace) + "\n";
  context.Front->WriteOut(context.Front, body.c_str(), body.size());
  const REDFISH_PROBLEM &first = refusal.problems->front();
  complain(context.Front, "%a", problemText(first).c_str());
  return std::string(first.key) == "ResourceMissingAtURI" ? notFound() : failed(EFI_INVALID_PARAMETER);
}

static XYL_RESULT writeChanges(const XYL_CONTEXT &context, CHANGE_WRITER *writer) {
  closeDocument(writer);
  const CHAR8 *file = context.Request->Options[XYL_OPTION_OUTPUT];
  if (writer->Text.Failed) {
    complain(context.Front, "there is not enough memory");
    return failed(EFI_OUT_OF_RESOURCES);
  }
  if (file != nullptr) {
    return writeDocument(context, file, textOf(writer->Text), writer->Text.Length);
  }
  sayDocument(context.Front, textOf(writer->Text), writer->Text.Length);
  return succeeded();
}

static std::string readBody(const CHAR8 *file) {
  std::string body;
  EFI_STATUS status = readHostFile(isStandardOutput(file) ? "/dev/stdin" : file, &body);
  if (EFI_ERROR(status)) {
    throw CLIENT_ERROR(status, std::string("cannot read '") + file + "': " + statusWords(status));
  }
  return body;
}

static XYL_RESULT answerRequest(const XYL_CONTEXT &context, const CHAR8 *document) {
  const CHAR8 *const *operands = context.Request->Operands;
  const CHAR8 *const *options = context.Request->Options;
  std::string body = readBody(options[XYL_OPTION_REQUEST]);
  if (runsRequest(*context.Request)) {
    const CHAR8 *etag = options[XYL_OPTION_IF_MATCH];
    return performRequest(context, {operands[0], operands[1], body, etag != nullptr ? etag : ""});
  }
  REDFISH_MODEL model;
  XYL_RESULT result = readRedfishSource(context, document, &model);
  if (isFailure(result)) {
    return result;
  }
  WRITER_HOLDER holder;
  std::vector<REDFISH_PROBLEM> notes;
  try {
    putRequest({model, operands[0], operands[1], body}, makeResources(model), &holder.writer, &notes);
    if (isEmpty(holder.writer)) {
      refuse("NoOperation");
    }
  } catch (const REDFISH_REFUSAL &refusal) {
    return tellRefusal(context, refusal);
  }
  for (const REDFISH_PROBLEM &note : notes) {
    complain(context.Front, "%a It is left out.", problemText(note).c_str());
  }
  return writeChanges(context, &holder.writer);
}

static XYL_RESULT wrongWords(const XYL_CONTEXT &context, const CHAR8 *words) {
  complain(context.Front, "%a", words);
  return wrongUsage();
}

XYL_RESULT runRedfish(const XYL_CONTEXT &context) {
  const XYL_REQUEST &request = *context.Request;
  UINTN own = ownOperands(request);
  if (request.OperandCount < own || request.OperandCount > own + 1) {
    return wrongWords(context, own == 1 ? "write 'xyl redfish [SAVED.xml] DIRECTORY', or METHOD and URI with --request"
                                        : "--request wants METHOD URI [SAVED.xml]");
  }
  bool isLive = readsController(request);
  bool runs = runsRequest(request);
  if (runs && (!isLive || hasOption(context, XYL_OPTION_OUTPUT))) {
    return wrongWords(context, "--yes runs the request on a controller; leave out the document and --output");
  }
  if (!runs && (hasOption(context, XYL_OPTION_YES) || hasOption(context, XYL_OPTION_IF_MATCH))) {
    return wrongWords(context, "--yes goes with --request, and --if-match with both");
  }
  const CHAR8 *document = isLive ? nullptr : request.Operands[own == 1 ? 0 : 2];
  if (own == 2) {
    return answerRequest(context, document);
  }
  REDFISH_MODEL model;
  XYL_RESULT result = readRedfishSource(context, document, &model);
  return isFailure(result) ? result : writeTree(context, model, request.Operands[isLive ? 0 : 1]);
}
