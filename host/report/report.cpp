#include "host/report/report.h"

#include <sys/stat.h>

#include "base/pool.h"
#include "base/status_text.h"
#include "base/text.h"
#include "client/controllers/controllers.h"
#include "client/guard/guard.h"
#include "host/common/common.h"
#include "host/report/report_sections.h"

namespace xyl::host::report {

// What the command line names. With an older document the newer one is shown.
struct Input {
  HostDocument trees[3];
  HostDocument *configuration = nullptr;
  HostDocument *older = nullptr;
  HostDocument *log = nullptr;
};

static bool isLog(const XML_NODE *root) {
  return textEqual(root->Name, "RaidRestore") || textEqual(root->Name, "RaidConfig");
}

static client::Result readLive(const client::Context &context, Report *report, Input *input) {
  client::Controller controller;
  client::Result result = client::openController(context, &controller);
  if (client::isFailure(result)) {
    return result;
  }
  input->configuration = &input->trees[0];
  report->source = "the controller itself";
  bool isWhole = true;
  result = client::readToldInventory(context, controller, &input->configuration->text, &isWhole);
  report->isWhole = isWhole;
  return client::isFailure(result) ? result
                                   : client::parseTree(context, "the inventory", input->configuration->text.text,
                                                       &input->configuration->root);
}

// Sorts a parsed document into its role; the first configuration is the older one when a second comes.
static client::Result takeDocument(const client::Context &context, const CHAR8 *name, HostDocument *tree,
                                   Report *report, Input *input) {
  if (isLog(tree->root) && input->log == nullptr && input->configuration != nullptr) {
    input->log = tree;
    report->logSource = documentText(name);
    return client::succeeded();
  }
  if (client::adapterOf(tree->root) == nullptr) {
    client::complain(context.front,
                     isLog(tree->root) ? "%a is a log; give the configuration first, and one log at most"
                                       : "%a has no adapter, so it is no configuration document",
                     name);
    return client::failed(EFI_INVALID_PARAMETER);
  }
  if (input->older != nullptr) {
    client::complain(context.front, "%a is a third configuration; only two can be compared", name);
    return client::failed(EFI_INVALID_PARAMETER);
  }
  input->older = input->configuration;
  report->comparedWith = report->source;
  input->configuration = tree;
  report->source = documentText(name);
  struct stat file = {};
  report->written = stat(name, &file) == 0 ? dateText(file.st_mtime) : "";
  return client::succeeded();
}

static client::Result readFiles(const client::Context &context, Report *report, Input *input) {
  for (UINTN i = 0; i < context.request->operandCount; ++i) {
    const CHAR8 *name = context.request->operands[i];
    HostDocument *tree = &input->trees[i];
    client::Result result = client::readDocument(context, name, &tree->text);
    if (!client::isFailure(result)) {
      result = client::parseTree(context, name, tree->text.text, &tree->root);
    }
    if (!client::isFailure(result)) {
      result = takeDocument(context, name, tree, report, input);
    }
    if (client::isFailure(result)) {
      return result;
    }
  }
  return client::succeeded();
}

static void writeSections(Report *report) {
  static constexpr void (*sections[])(Report & report) = {putPageStart,  putSummary,      putLog,    putDifferences,
                                                          putEnclosures, putVirtualDisks, putSpares, putDisks,
                                                          putAdapter,    putPageEnd};
  for (auto *put : sections) {
    put(*report);
  }
}

// Frees the differences, also when the page does not come about.
struct DifferencesHolder {
  client::Differences list = {};

  DifferencesHolder() = default;
  DifferencesHolder(const DifferencesHolder &) = delete;
  DifferencesHolder &operator=(const DifferencesHolder &) = delete;
  ~DifferencesHolder() { client::freeDifferences(&list); }
};

static void writePage(Report *report, const Input &input) {
  DifferencesHolder differences;
  Changes changes;
  report->model = readModel(input.configuration->root);
  report->log = input.log != nullptr ? input.log->root : nullptr;
  if (input.older != nullptr) {
    EFI_STATUS status = client::diffDocuments(input.older->root, input.configuration->root, &differences.list);
    if (EFI_ERROR(status)) {
      throw ClientError(status, std::string("the documents cannot be compared: ") + statusText(status));
    }
    changes = readChanges(differences.list);
    report->changes = &changes;
  }
  writeSections(report);
  report->changes = nullptr;
}

std::string reportPage(const XML_NODE *root, const std::string &source) {
  Report report;
  report.source = source;
  report.model = readModel(root);
  writeSections(&report);
  return report.page;
}

client::Need reportNeed(const client::Request &request) {
  return request.operandCount == 0 ? client::Need::toRead : client::Need::nothing;
}

client::Result runReport(const client::Context &context) {
  Report report;
  Input input;
  client::Result result =
      context.request->operandCount == 0 ? readLive(context, &report, &input) : readFiles(context, &report, &input);
  if (client::isFailure(result)) {
    return result;
  }
  writePage(&report, input);
  const CHAR8 *file = context.request->options[client::optionOutput];
  if (file != nullptr) {
    return client::writeDocument(context, file, report.page.c_str(), report.page.size());
  }
  context.front->writeOut(context.front, report.page.c_str(), report.page.size());
  return client::succeeded();
}

} // namespace xyl::host::report
