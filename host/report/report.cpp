#include "host/report/report.h"

#include <sys/stat.h>

#include "base/pool.h"
#include "base/status_text.h"
#include "base/text.h"
#include "client/controllers/controllers.h"
#include "client/guard/guard.h"
#include "host/common/common.h"
#include "host/report/report_sections.h"

// What the command line names. With an older document the newer one is shown.
struct REPORT_INPUT {
  HOST_DOCUMENT trees[3];
  HOST_DOCUMENT *configuration = nullptr;
  HOST_DOCUMENT *older = nullptr;
  HOST_DOCUMENT *log = nullptr;
};

static bool isLog(const XML_NODE *root) {
  return textEqual(root->Name, "RaidRestore") || textEqual(root->Name, "RaidConfig");
}

static XYL_RESULT readLive(const XYL_CONTEXT &context, REPORT *report, REPORT_INPUT *input) {
  CONTROLLER controller;
  XYL_RESULT result = openController(context, &controller);
  if (isFailure(result)) {
    return result;
  }
  input->configuration = &input->trees[0];
  report->source = "the controller itself";
  bool isWhole = true;
  result = readToldInventory(context, controller, &input->configuration->text, &isWhole);
  report->isWhole = isWhole;
  return isFailure(result)
             ? result
             : parseTree(context, "the inventory", input->configuration->text.Text, &input->configuration->root);
}

// Sorts a parsed document into its role; the first configuration is the older one when a second comes.
static XYL_RESULT takeDocument(const XYL_CONTEXT &context, const CHAR8 *name, HOST_DOCUMENT *tree, REPORT *report,
                               REPORT_INPUT *input) {
  if (isLog(tree->root) && input->log == nullptr && input->configuration != nullptr) {
    input->log = tree;
    report->logSource = documentText(name);
    return succeeded();
  }
  if (adapterOf(tree->root) == nullptr) {
    complain(context.Front,
             isLog(tree->root) ? "%a is a log; give the configuration first, and one log at most"
                               : "%a has no adapter, so it is no configuration document",
             name);
    return failed(EFI_INVALID_PARAMETER);
  }
  if (input->older != nullptr) {
    complain(context.Front, "%a is a third configuration; only two can be compared", name);
    return failed(EFI_INVALID_PARAMETER);
  }
  input->older = input->configuration;
  report->comparedWith = report->source;
  input->configuration = tree;
  report->source = documentText(name);
  struct stat file = {};
  report->written = stat(name, &file) == 0 ? dateText(file.st_mtime) : "";
  return succeeded();
}

static XYL_RESULT readFiles(const XYL_CONTEXT &context, REPORT *report, REPORT_INPUT *input) {
  for (UINTN i = 0; i < context.Request->OperandCount; ++i) {
    const CHAR8 *name = context.Request->Operands[i];
    HOST_DOCUMENT *tree = &input->trees[i];
    XYL_RESULT result = readDocument(context, name, &tree->text);
    if (!isFailure(result)) {
      result = parseTree(context, name, tree->text.Text, &tree->root);
    }
    if (!isFailure(result)) {
      result = takeDocument(context, name, tree, report, input);
    }
    if (isFailure(result)) {
      return result;
    }
  }
  return succeeded();
}

static void writeSections(REPORT *report) {
  static constexpr void (*sections[])(REPORT & report) = {putPageStart,  putSummary,      putLog,    putDifferences,
                                                          putEnclosures, putVirtualDisks, putSpares, putDisks,
                                                          putAdapter,    putPageEnd};
  for (auto *put : sections) {
    put(*report);
  }
}

// Frees the differences, also when the page does not come about.
struct DIFFERENCES_HOLDER {
  DIFFERENCES list = {};

  DIFFERENCES_HOLDER() = default;
  DIFFERENCES_HOLDER(const DIFFERENCES_HOLDER &) = delete;
  DIFFERENCES_HOLDER &operator=(const DIFFERENCES_HOLDER &) = delete;
  ~DIFFERENCES_HOLDER() { freeDifferences(&list); }
};

static void writePage(REPORT *report, const REPORT_INPUT &input) {
  DIFFERENCES_HOLDER differences;
  REPORT_CHANGES changes;
  report->model = readModel(input.configuration->root);
  report->log = input.log != nullptr ? input.log->root : nullptr;
  if (input.older != nullptr) {
    EFI_STATUS status = diffDocuments(input.older->root, input.configuration->root, &differences.list);
    if (EFI_ERROR(status)) {
      throw CLIENT_ERROR(status, std::string("the documents cannot be compared: ") + statusText(status));
    }
    changes = readChanges(differences.list);
    report->changes = &changes;
  }
  writeSections(report);
  report->changes = nullptr;
}

std::string reportPage(const XML_NODE *root, const std::string &source) {
  REPORT report;
  report.source = source;
  report.model = readModel(root);
  writeSections(&report);
  return report.page;
}

XYL_NEED reportNeed(const XYL_REQUEST &request) {
  return request.OperandCount == 0 ? XYL_NEED_TO_READ : XYL_NEED_NOTHING;
}

XYL_RESULT runReport(const XYL_CONTEXT &context) {
  REPORT report;
  REPORT_INPUT input;
  XYL_RESULT result =
      context.Request->OperandCount == 0 ? readLive(context, &report, &input) : readFiles(context, &report, &input);
  if (isFailure(result)) {
    return result;
  }
  writePage(&report, input);
  const CHAR8 *file = context.Request->Options[XYL_OPTION_OUTPUT];
  if (file != nullptr) {
    return writeDocument(context, file, report.page.c_str(), report.page.size());
  }
  context.Front->WriteOut(context.Front, report.page.c_str(), report.page.size());
  return succeeded();
}
