#include "host/common/common.h"
#include "host/redfish/mockup.h"
#include "host/redfish/perform.h"
#include "host/redfish/redfish.h"
#include "host/redfish/request.h"
#include "host/redfish/source.h"

namespace xyl::host::redfish {

// Operands that stand beside a saved document: METHOD and URI, or DIRECTORY.
static UINTN ownOperands(const client::Request &request) {
  return request.options[client::optionRequest] != nullptr ? 2 : 1;
}

static bool readsController(const client::Request &request) {
  return request.operandCount <= ownOperands(request);
}

static bool runsRequest(const client::Request &request) {
  return request.options[client::optionRequest] != nullptr && request.options[client::optionYes] != nullptr;
}

client::Need redfishNeed(const client::Request &request) {
  return !readsController(request) ? client::Need::nothing
         : runsRequest(request)    ? client::Need::toChange
                                   : client::Need::toRead;
}

// All resources by their URIs, and the methods that change them, as one document.
static client::Result printTree(const client::Context &context, const Resources &resources) {
  std::string text = R"({"resources":)";
  char separator = '{';
  for (const auto &[uri, resource] : resources) {
    text += separator + Json(uri).dump() + ":" + resource.dump();
    separator = ',';
  }
  text += R"(},"methods":)" + methodsOf(resources).dump() + "}\n";
  context.front->writeOut(context.front, text.c_str(), text.size());
  return client::succeeded();
}

static client::Result writeTree(const client::Context &context, const Model &model, const CHAR8 *directory) {
  if (client::hasOption(context, client::optionOutput)) {
    client::complain(context.front, "--output goes with --request; the resources are written to a directory");
    return client::wrongUsage();
  }
  Resources resources = makeResources(model);
  if (client::isStandardOutput(directory)) {
    return printTree(context, resources);
  }
  writeMockup(directory, resources, client::hasOption(context, client::optionForce));
  client::say(context.front, "%d resources in %a/redfish\n", static_cast<UINT32>(resources.size()), directory);
  return client::succeeded();
}

// The answer that a service would give is the output, since the client of the service reads it.
static client::Result tellRefusal(const client::Context &context, const Refusal &refusal) {
  // The URI need not be UTF-8.
  std::string body = errorBody(refusal).dump(2, ' ', /* ensure_ascii= */ false, Json::error_handler_t::replace) + "\n";
  context.front->writeOut(context.front, body.c_str(), body.size());
  const Problem &first = refusal.problems->front();
  client::complain(context.front, "%a", problemText(first).c_str());
  return std::string(first.key) == "ResourceMissingAtURI" ? client::notFound() : client::failed(EFI_INVALID_PARAMETER);
}

static client::Result writeChanges(const client::Context &context, client::ChangeWriter *writer) {
  client::closeDocument(writer);
  const CHAR8 *file = context.request->options[client::optionOutput];
  if (writer->text.failed) {
    client::complain(context.front, "there is not enough memory");
    return client::failed(EFI_OUT_OF_RESOURCES);
  }
  if (file != nullptr) {
    return client::writeDocument(context, file, client::textOf(writer->text), writer->text.length);
  }
  client::sayDocument(context.front, client::textOf(writer->text), writer->text.length);
  return client::succeeded();
}

static std::string readBody(const CHAR8 *file) {
  std::string body;
  EFI_STATUS status = readHostFile(client::isStandardOutput(file) ? "/dev/stdin" : file, &body);
  if (EFI_ERROR(status)) {
    throw ClientError(status, std::string("cannot read '") + file + "': " + client::statusWords(status));
  }
  return body;
}

static client::Result answerRequest(const client::Context &context, const CHAR8 *document) {
  const CHAR8 *const *operands = context.request->operands;
  const CHAR8 *const *options = context.request->options;
  std::string body = readBody(options[client::optionRequest]);
  if (runsRequest(*context.request)) {
    const CHAR8 *etag = options[client::optionIfMatch];
    return performRequest(context, {operands[0], operands[1], body, etag != nullptr ? etag : ""});
  }
  Model model;
  client::Result result = readRedfishSource(context, document, &model);
  if (client::isFailure(result)) {
    return result;
  }
  WriterHolder holder;
  std::vector<Problem> notes;
  try {
    putRequest({model, operands[0], operands[1], body}, makeResources(model), &holder.writer, &notes);
    if (isEmpty(holder.writer)) {
      refuse("NoOperation");
    }
  } catch (const Refusal &refusal) {
    return tellRefusal(context, refusal);
  }
  for (const Problem &note : notes) {
    client::complain(context.front, "%a It is left out.", problemText(note).c_str());
  }
  return writeChanges(context, &holder.writer);
}

static client::Result wrongWords(const client::Context &context, const CHAR8 *words) {
  client::complain(context.front, "%a", words);
  return client::wrongUsage();
}

client::Result runRedfish(const client::Context &context) {
  const client::Request &request = *context.request;
  UINTN own = ownOperands(request);
  if (request.operandCount < own || request.operandCount > own + 1) {
    return wrongWords(context, own == 1 ? "write 'xyl redfish [SAVED.xml] DIRECTORY', or METHOD and URI with --request"
                                        : "--request wants METHOD URI [SAVED.xml]");
  }
  bool isLive = readsController(request);
  bool runs = runsRequest(request);
  if (runs && (!isLive || client::hasOption(context, client::optionOutput))) {
    return wrongWords(context, "--yes runs the request on a controller; leave out the document and --output");
  }
  if (!runs && (client::hasOption(context, client::optionYes) || client::hasOption(context, client::optionIfMatch))) {
    return wrongWords(context, "--yes goes with --request, and --if-match with both");
  }
  const CHAR8 *document = isLive ? nullptr : request.operands[own == 1 ? 0 : 2];
  if (own == 2) {
    return answerRequest(context, document);
  }
  Model model;
  client::Result result = readRedfishSource(context, document, &model);
  return client::isFailure(result) ? result : writeTree(context, model, request.operands[isLive ? 0 : 1]);
}

} // namespace xyl::host::redfish
