#include "client/controllers/controllers.h"
#include "host/common/common.h"
#include "host/redfish/mockup.h"
#include "host/redfish/redfish.h"
#include "host/redfish/request.h"

// Operands that stand beside a saved document: METHOD and URI, or DIRECTORY.
static UINTN ownOperands(const XYL_REQUEST &request) {
  return request.Options[XYL_OPTION_REQUEST] != nullptr ? 2 : 1;
}

bool redfishNeedsController(const XYL_REQUEST &request) {
  return request.OperandCount <= ownOperands(request);
}

// A document and its tree, given back at the end.
struct REDFISH_SOURCE {
  DOCUMENT_TEXT document = {};
  XML_NODE *root = nullptr;

  REDFISH_SOURCE() = default;
  REDFISH_SOURCE(const REDFISH_SOURCE &) = delete;
  REDFISH_SOURCE &operator=(const REDFISH_SOURCE &) = delete;
  ~REDFISH_SOURCE() {
    freeTree(root);
    releaseDocument(&document);
  }
};

static XYL_RESULT readLive(const XYL_CONTEXT &context, REDFISH_SOURCE *source) {
  CONTROLLER controller;
  bool isWhole = false;
  XYL_RESULT result = openController(context, &controller);
  return isFailure(result) ? result : readWholeInventory(context, controller, &source->document, &isWhole);
}

static XYL_RESULT readSource(const XYL_CONTEXT &context, const CHAR8 *file, REDFISH_SOURCE *source) {
  const CHAR8 *name = file != nullptr ? file : "the inventory";
  XYL_RESULT result = file != nullptr ? readDocument(context, file, &source->document) : readLive(context, source);
  if (!isFailure(result)) {
    result = parseTree(context, name, source->document.Text, &source->root);
  }
  if (!isFailure(result) && adapterOf(source->root) == nullptr) {
    complain(context.Host, "%a has no adapter, so it is no configuration document", name);
    result = failed(EFI_INVALID_PARAMETER);
  }
  return result;
}

static XYL_RESULT writeTree(const XYL_CONTEXT &context, const REDFISH_MODEL &model, const CHAR8 *directory) {
  if (hasOption(context, XYL_OPTION_OUTPUT)) {
    complain(context.Host, "--output goes with --request; the resources are written to a directory");
    return wrongUsage();
  }
  REDFISH_RESOURCES resources = makeResources(model);
  writeMockup(directory, resources, hasOption(context, XYL_OPTION_FORCE));
  say(context.Host, "%d resources in %a/redfish\n", static_cast<UINT32>(resources.size()), directory);
  return succeeded();
}

// The answer that a service would give is the output, since the client of the service reads it.
static XYL_RESULT tellRefusal(const XYL_CONTEXT &context, const REDFISH_REFUSAL &refusal) {
  // The URI need not be UTF-8.
  std::string body = errorBody(refusal).dump(2, ' ', /* ensure_ascii= */ false, Json::error_handler_t::replace) + "\n";
  context.Host->WriteOut(context.Host, body.c_str(), body.size());
  const REDFISH_PROBLEM &first = refusal.problems->front();
  complain(context.Host, "%a", problemText(first).c_str());
  return std::string(first.key) == "ResourceMissingAtURI" ? notFound() : failed(EFI_INVALID_PARAMETER);
}

static XYL_RESULT writeChanges(const XYL_CONTEXT &context, CHANGE_WRITER *writer) {
  closeDocument(writer);
  const CHAR8 *file = context.Request->Options[XYL_OPTION_OUTPUT];
  if (writer->Text.Failed) {
    complain(context.Host, "there is not enough memory");
    return failed(EFI_OUT_OF_RESOURCES);
  }
  if (file != nullptr) {
    return writeDocument(context, file, textOf(writer->Text), writer->Text.Length);
  }
  sayDocument(context.Host, textOf(writer->Text), writer->Text.Length);
  return succeeded();
}

// The text goes whatever happens.
struct WRITER_HOLDER {
  CHANGE_WRITER writer = {};

  WRITER_HOLDER() = default;
  WRITER_HOLDER(const WRITER_HOLDER &) = delete;
  WRITER_HOLDER &operator=(const WRITER_HOLDER &) = delete;
  ~WRITER_HOLDER() { freeText(&writer.Text); }
};

static XYL_RESULT answerRequest(const XYL_CONTEXT &context, const REDFISH_MODEL &model) {
  const CHAR8 *const *operands = context.Request->Operands;
  const CHAR8 *file = context.Request->Options[XYL_OPTION_REQUEST];
  std::string body;
  EFI_STATUS status = readHostFile(file, &body);
  if (EFI_ERROR(status)) {
    throw CLIENT_ERROR(status, std::string("cannot read '") + file + "': " + statusWords(status));
  }
  WRITER_HOLDER holder;
  try {
    putRequest({model, operands[0], operands[1], body}, &holder.writer);
  } catch (const REDFISH_REFUSAL &refusal) {
    return tellRefusal(context, refusal);
  }
  return writeChanges(context, &holder.writer);
}

XYL_RESULT runRedfish(const XYL_CONTEXT &context) {
  const XYL_REQUEST &request = *context.Request;
  UINTN own = ownOperands(request);
  if (request.OperandCount < own || request.OperandCount > own + 1) {
    complain(context.Host, own == 1 ? "write 'xyl redfish [SAVED.xml] DIRECTORY', or METHOD and URI with --request"
                                    : "--request wants METHOD URI [SAVED.xml]");
    return wrongUsage();
  }
  bool isLive = redfishNeedsController(request);
  const CHAR8 *file = isLive ? nullptr : request.Operands[own == 1 ? 0 : 2];
  REDFISH_SOURCE source;
  XYL_RESULT result = readSource(context, file, &source);
  if (isFailure(result)) {
    return result;
  }
  REDFISH_MODEL model;
  readRedfishModel(context.Host, source.root, &model);
  return own == 2 ? answerRequest(context, model) : writeTree(context, model, request.Operands[isLive ? 0 : 1]);
}
