// The log of a restore or a configuration change, step by step.
#include "base/text.h"
#include "client/steps/steps.h"
#include "host/report/report_sections.h"

namespace xyl::host::report {

static constexpr struct {
  const char *name;
  const char *words;
} g_steps[] = {
    {"GetLive", "read the controller"},
    {"Validate", "compare the saved configuration with the controller"},
    {"ResetConfig", "destroy the configuration"},
    {"ClearForeignConfig", "clear foreign configurations"},
    {"RemoveCtrlKey", "remove the key"},
    {"ChangeAdapter", "change the adapter's settings"},
    {"CreateVD", "create a virtual disk"},
    {"ChangePD", "change a disk"},
    {"DELETE", "delete"},
    {"CREATE", "create"},
    {"CHANGE", "change"},
    {"IMPORT_FOREIGN", "import foreign configurations"},
    {"CLEAR_FOREIGN", "clear foreign configurations"},
    {"LOCK", "lock the controller with a key"},
    {"SECURE_ERASE", "erase a self-encrypting disk"},
    {"REKEY", "change the key"},
};

static std::string stepWords(const CHAR8 *name) {
  for (const auto &row : g_steps) {
    if (textEqual(name, row.name)) {
      return row.words;
    }
  }
  return "";
}

Steps countSteps(const XML_NODE *log) {
  Steps count = {0, 0};
  client::LogStep step;
  for (const XML_NODE *node = client::childNamed(log, "Operation"); node != nullptr; node = client::nextSame(node)) {
    client::readStep(node, &step);
    ++count.all;
    count.failed += step.failed ? 1 : 0;
  }
  return count;
}

static void putStep(HtmlTable &table, size_t number, const client::LogStep &step) {
  static constexpr Status done = {"online", "Success", false};
  static constexpr Status failed = {"failed", "Fail", true};
  static constexpr Status harmless = {"ready", "Fail, harmless", false};
  table.row("step" + std::to_string(number));
  table.text(std::to_string(number));
  std::string name;
  put(name, "<span>%<small>%</small></span>", {orDash(documentText(step.name)), stepWords(step.name)});
  table.cell(name);
  std::string result;
  putStatus(result, step.failed ? failed : textEqual(step.result, "Success") ? done : harmless);
  table.cell(result);
  table.text(step.status == EFI_SUCCESS ? orDash("") : client::statusWords(step.status));
  std::string object = documentText(step.object.text);
  bool cut = textLength(step.object.text) == client::listCapacity - 1;
  table.text(orDash(object) + (cut ? "..." : ""));
}

static void putRunTime(Report &report) {
  const XML_NODE *options = client::childNamed(report.log, "Options");
  if (options != nullptr) {
    put(report.page, "<p class=\"note\">Virtual disks kept: %. Ends at the first failing step: %.</p>\n",
        {orDash(fieldOf(options, "PreserveVD")), orDash(fieldOf(options, "StopOnError"))});
  }
}

// The first failing step in words.
static std::string firstFailure(const XML_NODE *log) {
  size_t number = 1;
  client::LogStep step;
  for (const XML_NODE *node = client::childNamed(log, "Operation"); node != nullptr;
       node = client::nextSame(node), ++number) {
    client::readStep(node, &step);
    if (step.failed) {
      return "step " + std::to_string(number) + ", " + documentText(step.name) + ": " +
             client::statusWords(step.status);
    }
  }
  return "";
}

static void putSteps(Report &report) {
  HtmlTable table(report.page, "Steps in the order in which they were taken",
                  {"#", "Step", "Result", "Code", "Object"});
  size_t number = 0;
  client::LogStep step;
  for (const XML_NODE *node = client::childNamed(report.log, "Operation"); node != nullptr;
       node = client::nextSame(node)) {
    client::readStep(node, &step);
    putStep(table, ++number, step);
  }
}

void putLog(Report &report) {
  if (report.log == nullptr) {
    return;
  }
  std::string &page = report.page;
  Steps count = countSteps(report.log);
  bool restore = textEqual(report.log->Name, "RaidRestore");
  put(page, "<section aria-labelledby=\"log\"><h2 id=\"log\">%</h2>\n", {restore ? "Restore" : "Configuration change"});
  std::string steps = countText(count.all, "step");
  if (count.failed == 0) {
    put(page, "<p class=\"call\">%, none failed.</p>\n", {steps});
  } else {
    put(page, "<p class=\"call bad\">% of % failed, the first one at %.</p>\n",
        {std::to_string(count.failed), steps, firstFailure(report.log)});
  }
  putRunTime(report);
  putSteps(report);
  put(page, "</section>\n");
}

} // namespace xyl::host::report
