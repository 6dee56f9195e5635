// The log of a restore or a configuration change, step by step.
#include "base/text.h"
#include "client/steps/steps.h"
#include "host/report/report_sections.h"

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

REPORT_STEPS countSteps(const XML_NODE *log) {
  REPORT_STEPS count = {0, 0};
  LOG_STEP step;
  for (const XML_NODE *node = childNamed(log, "Operation"); node != nullptr; node = nextSame(node)) {
    readStep(node, &step);
    ++count.all;
    count.failed += step.Failed ? 1 : 0;
  }
  return count;
}

static void putStep(HtmlTable &table, size_t number, const LOG_STEP &step) {
  static constexpr REPORT_STATUS done = {"online", "Success", false};
  static constexpr REPORT_STATUS failed = {"failed", "Fail", true};
  static constexpr REPORT_STATUS harmless = {"ready", "Fail, harmless", false};
  table.row("step" + std::to_string(number));
  table.text(std::to_string(number));
  std::string name;
  put(name, "<span>%<small>%</small></span>", {orDash(documentText(step.Name)), stepWords(step.Name)});
  table.cell(name);
  std::string result;
  putStatus(result, step.Failed ? failed : textEqual(step.Result, "Success") ? done : harmless);
  table.cell(result);
  table.text(step.Status == EFI_SUCCESS ? orDash("") : statusWords(step.Status));
  std::string object = documentText(step.Object.Text);
  bool cut = textLength(step.Object.Text) == LIST_CAPACITY - 1;
  table.text(orDash(object) + (cut ? "..." : ""));
}

static void putRunTime(REPORT &report) {
  const XML_NODE *options = childNamed(report.log, "Options");
  if (options != nullptr) {
    put(report.page, "<p class=\"note\">Virtual disks kept: %. Ends at the first failing step: %.</p>\n",
        {orDash(fieldOf(options, "PreserveVD")), orDash(fieldOf(options, "StopOnError"))});
  }
}

// The first failing step in words.
static std::string firstFailure(const XML_NODE *log) {
  size_t number = 1;
  LOG_STEP step;
  for (const XML_NODE *node = childNamed(log, "Operation"); node != nullptr; node = nextSame(node), ++number) {
    readStep(node, &step);
    if (step.Failed) {
      return "step " + std::to_string(number) + ", " + documentText(step.Name) + ": " + statusWords(step.Status);
    }
  }
  return "";
}

static void putSteps(REPORT &report) {
  HtmlTable table(report.page, "Steps in the order in which they were taken",
                  {"#", "Step", "Result", "Code", "Object"});
  size_t number = 0;
  LOG_STEP step;
  for (const XML_NODE *node = childNamed(report.log, "Operation"); node != nullptr; node = nextSame(node)) {
    readStep(node, &step);
    putStep(table, ++number, step);
  }
}

void putLog(REPORT &report) {
  if (report.log == nullptr) {
    return;
  }
  std::string &page = report.page;
  REPORT_STEPS count = countSteps(report.log);
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
