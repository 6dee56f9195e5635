#include "host/fleet/fleet.h"

#include <cstring>

#include "client/documents/documents.h"
#include "client/ensure/layout.h"
#include "client/guard/guard.h"
#include "client/output/output.h"
#include "host/common/common.h"
#include "host/fleet/survey.h"
#include "host/report/report_sections.h"

namespace xyl::host::fleet {

namespace {

// Files in numbers, by what is to be said of them.
struct Totals {
  size_t configurations = 0;
  size_t troubled = 0;
  size_t odd = 0;     // configurations outside the largest group of their model
  size_t lacking = 0; // configurations that are not as the layout says
};

Totals totalsOf(const Survey &survey) {
  Totals totals;
  for (const Row &row : survey.rows) {
    bool isConfiguration = row.group != noGroup;
    totals.configurations += isConfiguration ? 1 : 0;
    totals.troubled += row.troubles.empty() ? 0 : 1;
    totals.lacking += row.lacks.empty() ? 0 : 1;
    totals.odd += isConfiguration && survey.groups[row.group].usual != row.group ? 1 : 0;
  }
  return totals;
}

// layout is the file's name, or empty.
std::string totalWords(const Survey &survey, const std::string &layout) {
  Totals totals = totalsOf(survey);
  std::string lacking = ", " + std::to_string(totals.lacking) + " not as '" + layout + "' says";
  return host::report::countText(survey.rows.size(), "file") + ", " +
         host::report::countText(totals.configurations, "configuration") + " in " +
         host::report::countText(survey.groups.size(), "group") + ", " + std::to_string(totals.odd) +
         " unlike the most of their model, " + std::to_string(totals.troubled) + " with something wrong" +
         (layout.empty() ? "" : lacking);
}

std::string groupNumber(size_t group) {
  return group == noGroup ? "-" : std::to_string(group + 1);
}

std::string joinedText(const std::vector<std::string> &texts, const char *separator) {
  std::string all;
  for (const std::string &text : texts) {
    all += (all.empty() ? "" : separator) + text;
  }
  return all;
}

// --- Tables ---

bool sayGroups(const client::Front *front, const Survey &survey, bool isJudged) {
  static constexpr client::TableColumn columns[] = {{"group", 6, true, false},
                                                    {"files", 6, true, false},
                                                    {"controller", 30, false, false},
                                                    {"virtual disks", 200, false, false}};
  static constexpr client::TableColumn judgedColumns[] = {
      columns[0], columns[1], {"lacking", 7, true, false}, columns[2], columns[3]};
  client::Table table = {columns, std::size(columns), {}, false};
  if (isJudged) {
    table = {judgedColumns, std::size(judgedColumns), {}, false};
  }
  for (size_t i = 0; i < survey.groups.size(); ++i) {
    client::addCell(&table, groupNumber(i).c_str());
    client::addCell(&table, std::to_string(survey.groups[i].files.size()).c_str());
    if (isJudged) {
      client::addCell(&table, std::to_string(survey.groups[i].lacking).c_str());
    }
    client::addCell(&table, survey.groups[i].model.c_str());
    client::addCell(&table, survey.groups[i].virtualDisks.c_str());
  }
  return client::sayTable(front, &table);
}

// A text of any length.
void sayLine(const client::Front *front, const std::string &text) {
  client::say(front, "  ");
  client::sayText(front, text.c_str());
  client::say(front, "\n");
}

void sayOdd(const client::Front *front, const Survey &survey) {
  for (size_t i = 0; i < survey.groups.size(); ++i) {
    const Group &group = survey.groups[i];
    if (group.usual == i) {
      continue;
    }
    client::say(front, "\ngroup %a is not as group %a:\n", groupNumber(i).c_str(), groupNumber(group.usual).c_str());
    for (const std::string &line : group.differences) {
      sayLine(front, line);
    }
    for (const std::string &file : group.files) {
      sayLine(front, "in " + file);
    }
  }
}

void sayTroubles(const client::Front *front, const Survey &survey) {
  bool isFirst = true;
  for (const Row &row : survey.rows) {
    if (!row.troubles.empty()) {
      client::say(front, isFirst ? "\nsomething is wrong:\n" : "");
      sayLine(front, row.file + ": " + joinedText(row.troubles, "; "));
      isFirst = false;
    }
  }
}

void sayLacks(const client::Front *front, const Survey &survey, const std::string &layout) {
  bool isFirst = true;
  for (const Row &row : survey.rows) {
    if (!row.lacks.empty()) {
      client::say(front, isFirst ? "\nnot as '%a' says:\n" : "", layout.c_str());
      sayLine(front, row.file + ": " + joinedText(row.lacks, "; "));
      isFirst = false;
    }
  }
}

void sayAll(const client::Front *front, const Survey &survey, const std::string &layout) {
  if (!survey.groups.empty() && !sayGroups(front, survey, !layout.empty())) {
    throw std::bad_alloc();
  }
  sayLacks(front, survey, layout);
  sayOdd(front, survey);
  sayTroubles(front, survey);
  client::say(front, "\n%a\n", totalWords(survey, layout).c_str());
}

// --- JSON ---

void writeTexts(client::Json *json, const char *name, const std::vector<std::string> &texts) {
  client::jsonArray(json, name);
  for (const std::string &text : texts) {
    client::jsonText(json, nullptr, text.c_str());
  }
  client::jsonEnd(json);
}

void writeGroup(client::Json *json, const Survey &survey, size_t number, bool isJudged) {
  const Group &group = survey.groups[number];
  client::jsonObject(json, nullptr);
  client::jsonNumber(json, "group", number + 1);
  client::jsonNumber(json, "count", group.files.size());
  client::jsonText(json, "controller", group.model.c_str());
  client::jsonNumber(json, "usual", group.usual + 1);
  if (isJudged) {
    client::jsonNumber(json, "lacking", group.lacking);
  }
  writeTexts(json, "differences", group.differences);
  client::jsonArray(json, "features");
  for (const auto &[line, count] : group.features) {
    client::jsonObject(json, nullptr);
    client::jsonText(json, "what", line.c_str());
    client::jsonNumber(json, "count", count);
    client::jsonEnd(json);
  }
  client::jsonEnd(json);
  client::jsonEnd(json);
}

void writeRow(client::Json *json, const Row &row) {
  client::jsonObject(json, nullptr);
  client::jsonText(json, "file", row.file.c_str());
  row.group == noGroup ? client::jsonNull(json, "group") : client::jsonNumber(json, "group", row.group + 1);
  if (!row.serial.empty()) {
    client::jsonText(json, "serial", row.serial.c_str());
  }
  writeTexts(json, "wrong", row.troubles);
  if (row.isJudged) {
    writeTexts(json, "lacks", row.lacks);
  }
  client::jsonEnd(json);
}

void writeJson(const client::Front *front, const Survey &survey, bool isJudged) {
  client::Json json = {};
  json.front = front;
  client::jsonObject(&json, nullptr);
  client::jsonArray(&json, "groups");
  for (size_t i = 0; i < survey.groups.size(); ++i) {
    writeGroup(&json, survey, i, isJudged);
  }
  client::jsonEnd(&json);
  client::jsonArray(&json, "files");
  for (const Row &row : survey.rows) {
    writeRow(&json, row);
  }
  client::jsonEnd(&json);
  client::jsonEnd(&json);
}

// --- The page ---

std::string escaped(const std::string &text) {
  std::string markup;
  host::report::put(markup, "%", {text});
  return markup;
}

void putGroups(std::string &page, const Survey &survey, const std::string &layout) {
  std::string lacking = "Not as " + layout + " says";
  std::vector<std::string_view> columns = {"Group", "Files", "Controller", "Unlike the largest one"};
  if (!layout.empty()) {
    columns.push_back(lacking);
  }
  host::report::HtmlTable table(page, "Groups of equal configurations", columns);
  for (size_t i = 0; i < survey.groups.size(); ++i) {
    const Group &group = survey.groups[i];
    table.row("g" + groupNumber(i));
    table.text(groupNumber(i));
    table.text(std::to_string(group.files.size()));
    table.text(group.model);
    table.text(host::report::orDash(joinedText(group.differences, "; ")));
    if (!layout.empty()) {
      table.text(std::to_string(group.lacking));
    }
  }
}

// What is wrong comes first, then what is not as it should be, then what is unlike others.
constexpr int weights = 4;
int weightOf(const Survey &survey, const Row &row) {
  bool isOdd = row.group != noGroup && survey.groups[row.group].usual != row.group;
  return !row.troubles.empty() ? 0 : !row.lacks.empty() ? 1 : isOdd ? 2 : 3;
}

// A name as a reference: what has a meaning there is written in hexadecimal digits.
std::string urlOf(const std::string &name) {
  std::string url;
  for (char letter : name) {
    bool isPlain = std::isalnum(static_cast<unsigned char>(letter)) != 0 || std::strchr("/-_.~", letter) != nullptr;
    char code[4];
    std::snprintf(code, sizeof(code), "%%%02X", static_cast<unsigned>(static_cast<unsigned char>(letter)));
    url += isPlain ? std::string(1, letter) : code;
  }
  return url;
}

void putRows(std::string &page, const Survey &survey, const std::string &reports, const std::string &layout) {
  std::string lacking = "Not as " + layout + " says";
  std::vector<std::string_view> columns = {"File", "Group", "Wrong"};
  if (!layout.empty()) {
    columns.push_back(lacking);
  }
  host::report::HtmlTable table(page, "Files; what is wrong comes first", columns);
  for (int weight = 0; weight < weights; ++weight) {
    for (const Row &row : survey.rows) {
      if (weightOf(survey, row) != weight) {
        continue;
      }
      std::string link;
      if (row.group != noGroup && !reports.empty()) {
        host::report::put(link, R"(<a href="%">%</a>)", {urlOf(reports + "/" + reportName(row)), row.file});
      }
      table.row();
      table.cell(link.empty() ? escaped(row.file) : link);
      table.text(groupNumber(row.group));
      table.text(host::report::orDash(joinedText(row.troubles, "; ")));
      if (!layout.empty()) {
        table.text(host::report::orDash(joinedText(row.lacks, "; ")));
      }
    }
  }
}

std::string pageOf(const Survey &survey, const std::string &folder, const std::string &reports,
                   const std::string &layout) {
  std::string page;
  std::string title = "RAID configurations in " + folder;
  host::report::putPageHead(page, title);
  host::report::put(page, "<header class=\"wrap\">\n<h1>%</h1>\n", {title});
  host::report::put(page, "<p class=\"note\">%.</p>\n</header>\n<main class=\"wrap\">\n", {totalWords(survey, layout)});
  putGroups(page, survey, layout);
  putRows(page, survey, reports, layout);
  host::report::put(page, "</main>\n</body>\n</html>\n");
  return page;
}

// --- The command ---

// The folder of reports as the page leads to it.
std::string linkTo(const std::filesystem::path &reports, const CHAR8 *page) {
  namespace fs = std::filesystem;
  fs::path from = fs::weakly_canonical(fs::absolute(page)).parent_path();
  return reports.empty() ? "" : fs::weakly_canonical(fs::absolute(reports)).lexically_proximate(from).string();
}

constexpr UINTN pageRoom = 64 << 10;

// Closes an output that was not written.
struct OutputHolder {
  const client::Context &context;
  client::Output *output;

  ~OutputHolder() { client::dropOutput(context, output); }
};

// A layout is for servers that are not alike.
bool isAllWell(const Survey &survey, bool isJudged) {
  Totals totals = totalsOf(survey);
  return totals.troubled == 0 && (isJudged ? totals.lacking : totals.odd) == 0;
}

// Reads the layout of --layout, if there is one.
client::Result readWanted(const client::Context &context, const CHAR8 *file, client::ensure::Layout *layout) {
  HostDocument document;
  client::Result result = file != nullptr ? client::readDocument(context, file, &document.text) : client::succeeded();
  return file == nullptr || client::isFailure(result)
             ? result
             : client::ensure::readLayout(context, file, document.text.text, layout);
}

} // namespace

client::Result runFleet(const client::Context &context) {
  const CHAR8 *folder = context.request->operands[0];
  const CHAR8 *file = context.request->options[client::optionOutput];
  const CHAR8 *reports = context.request->options[client::optionReports];
  bool isPrinted = file != nullptr && client::isStandardOutput(file);
  if (isPrinted && client::hasOption(context, client::optionJson)) {
    client::complain(context.front, "the standard output takes the page or --json, not both");
    return client::wrongUsage();
  }
  const CHAR8 *layoutFile = context.request->options[client::optionLayout];
  client::ensure::Layout layout;
  client::Result result = fleet::readWanted(context, layoutFile, &layout);
  if (client::isFailure(result)) {
    return result;
  }
  client::Output output = {};
  result = client::openOutput(context, file, fleet::pageRoom, &output);
  if (client::isFailure(result)) {
    return result;
  }
  fleet::OutputHolder holder{context, &output};
  std::string reportsFolder = reports != nullptr ? reports : "";
  std::string layoutName = layoutFile != nullptr ? layoutFile : "";
  fleet::Survey survey = fleet::surveyFolder(context, folder, reportsFolder, layoutFile != nullptr ? &layout : nullptr);
  if (survey.rows.empty()) {
    client::complain(context.front, "'%a' holds no .xml and no .json file", folder);
    return client::notFound();
  }
  if (file != nullptr) {
    std::string page = fleet::pageOf(survey, folder, fleet::linkTo(reportsFolder, file), layoutName);
    result = client::writeOutput(context, &output, page.c_str(), page.size(), /* before= */ "");
  }
  if (client::isFailure(result)) {
    return result;
  }
  if (client::hasOption(context, client::optionJson)) {
    fleet::writeJson(context.front, survey, layoutFile != nullptr);
  } else if (!isPrinted) {
    fleet::sayAll(context.front, survey, layoutName);
  }
  return fleet::isAllWell(survey, layoutFile != nullptr) ? client::succeeded() : client::different();
}

} // namespace xyl::host::fleet
