#include "host/fleet/survey.h"

#include <algorithm>
#include <numeric>
#include <set>

#include <unistd.h>

#include "client/ensure/judge.h"
#include "client/ensure/tell.h"
#include "client/output/output.h"
#include "driver/request/request.h"
#include "host/common/common.h"
#include "host/common/json.h"
#include "host/report/report.h"

namespace xyl::host::fleet {

namespace fs = std::filesystem;

namespace {

using Json = nlohmann::json;

void keepText(const client::Front *front, const CHAR8 *text, UINTN length) {
  static_cast<std::string *>(front->context)->append(text, length);
}

// What was complained of, without the program's name.
std::string complaintOf(const std::string &printed) {
  std::string line = printed.substr(0, printed.find('\n'));
  return line.substr(line.find("xyl: ") == 0 ? 5 : 0);
}

// A configuration as the driver has it, given back at the end.
struct Configuration {
  RAID_CONFIG *records = nullptr;

  Configuration() = default;
  Configuration(const Configuration &) = delete;
  Configuration &operator=(const Configuration &) = delete;
  ~Configuration() { driver::releaseConfig(records); }
};

// The lines of a table without their columns.
std::vector<std::string> linesOf(const std::string &printed) {
  std::vector<std::string> lines;
  for (size_t at = 0; at < printed.size();) {
    size_t end = std::min(printed.find('\n', at), printed.size());
    std::string line;
    for (; at < end; ++at) {
      bool isColumn = printed[at] == ' ' && (line.empty() || line.back() == ' ');
      line += isColumn ? "" : printed.substr(at, 1);
    }
    lines.push_back(line);
    at = end + 1;
  }
  return lines;
}

class Surveyor {
public:
  Surveyor(const client::Context &context, const fs::path &folder, const fs::path &reports,
           const client::ensure::Layout *layout)
      : folder_(folder), reports_(reports), layout_(layout),
        replaces_(client::hasOption(context, client::optionForce) ? FileReplaces::old : FileReplaces::none),
        front_(*context.front), context_{&front_, context.request} {
    front_.context = &complaint_;
    front_.writeError = keepText;
  }

  Survey run() {
    for (const std::string &file : files()) {
      Row row = {.file = file, .serial = {}, .troubles = {}, .lacks = {}};
      file.ends_with(".json") ? readResult(&row) : readConfiguration(&row);
      survey_.rows.push_back(row);
    }
    sortGroups();
    compareGroups();
    return std::move(survey_);
  }

private:
  // Files with a name that fits, and folders that nobody may look into.
  std::set<std::string> files() const {
    std::set<std::string> names;
    std::error_code error;
    fs::recursive_directory_iterator entry(folder_, fs::directory_options::skip_permission_denied, error);
    for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
      const fs::path &path = entry->path();
      std::error_code unknown; // of a link that leads nowhere, which is told when it is read
      fs::file_type type = entry->status(unknown).type();
      bool isMeant = type == fs::file_type::directory
                         ? access(path.c_str(), R_OK | X_OK) != 0
                         : (type == fs::file_type::regular || type == fs::file_type::not_found) &&
                               (path.extension() == ".xml" || path.extension() == ".json");
      if (isMeant) {
        names.insert(path.lexically_relative(folder_).string());
      }
    }
    if (!error && access(folder_.c_str(), R_OK | X_OK) != 0) {
      error = std::make_error_code(std::errc::permission_denied);
    }
    if (error) {
      throw ClientError(statusFromErrno(error.value()), "cannot read '" + folder_.string() + "': " + error.message());
    }
    return names;
  }

  std::string pathOf(const Row &row) const { return (folder_ / row.file).string(); }

  void readConfiguration(Row *row) {
    HostDocument document;
    complaint_.clear();
    client::Result result = client::readDocument(context_, pathOf(*row).c_str(), &document.text);
    if (!client::isFailure(result)) {
      result = client::parseTree(context_, "it", document.text.text, &document.root);
    }
    if (client::isFailure(result)) {
      row->troubles.push_back(complaintOf(complaint_));
      return;
    }
    if (client::adapterOf(document.root) == nullptr) {
      row->troubles.push_back("it has no adapter, so it is no configuration document");
      return;
    }
    host::report::Model model = host::report::readModel(document.root);
    row->troubles = troublesOf(model);
    row->group = groupOf(model, row->file);
    if (layout_ != nullptr) {
      judge(row, document.text.text);
    }
    if (!reports_.empty()) {
      writeReport(*row, document.root);
    }
  }

  // What 'ensure' would do or refuse. Whether the controller is one over disks, with shorter names, no document tells.
  void judge(Row *row, const CHAR8 *text) {
    Configuration configuration;
    complaint_.clear();
    if (client::isFailure(xyl::client::readConfiguration(context_, "it", text, &configuration.records))) {
      row->troubles.push_back(complaintOf(complaint_));
      return;
    }
    client::ensure::Judgement judgement;
    if (EFI_ERROR(client::ensure::judge(*configuration.records, /* isOnDisks= */ false, *layout_, &judgement))) {
      throw std::bad_alloc();
    }
    std::string printed;
    client::Front front = front_;
    front.context = &printed;
    front.writeOut = keepText;
    client::ensure::sayJudgement(&front, *configuration.records, judgement, client::ensure::Lines::open);
    row->lacks = linesOf(printed);
    row->isJudged = true;
  }

  void writeReport(const Row &row, const XML_NODE *root) const {
    fs::path name = reports_ / reportName(row);
    fs::create_directories(name.parent_path());
    EFI_STATUS status = writeHostFile(name.string(), host::report::reportPage(root, row.file), replaces_);
    if (status == EFI_ALREADY_STARTED) {
      throw ClientError(status, "'" + name.string() + "' exists; --force replaces it");
    }
    if (EFI_ERROR(status)) {
      throw ClientError(status, "cannot write '" + name.string() + "': " + client::statusWords(status));
    }
  }

  // What a boot medium left of its job.
  void readResult(Row *row) {
    std::string text;
    EFI_STATUS status = readHostFile(pathOf(*row), &text);
    Json result = readJson(text);
    if (EFI_ERROR(status) || !result.is_object() || !result.contains("state") || !result["state"].is_string()) {
      row->troubles.push_back(EFI_ERROR(status) ? client::statusWords(status) : "it is no result of a boot medium");
      return;
    }
    Json machine = result.value("machine", Json::object());
    row->serial =
        machine.is_object() && machine.contains("serial") && machine["serial"].is_string() ? machine["serial"] : "";
    if (result["state"] != "done") {
      row->troubles.push_back("its job is " + result["state"].get<std::string>());
    }
    for (const Json &line : result.value("lines", Json::array())) {
      if (line.is_object() && line.contains("exitCode") && line["exitCode"] != 0) {
        row->troubles.push_back("line " + line.value("line", Json()).dump() + " of its job ended with exit code " +
                                line["exitCode"].dump());
      }
    }
  }

  // The group of the configuration, which may be a new one.
  size_t groupOf(const host::report::Model &model, const std::string &file) {
    Features features = featuresOf(model);
    auto [place, isNew] = groupByFeatures_.emplace(features, survey_.groups.size());
    if (isNew) {
      std::string levels;
      for (const host::report::VirtualDisk &each : model.virtualDisks) {
        levels += (levels.empty() ? "" : ", ") + host::report::fieldOf(each.node, "RAIDLevel");
      }
      survey_.groups.push_back(
          {host::report::fieldOf(model.adapter, "Name"), std::move(features), levels, {}, 0, {}, 0});
    }
    survey_.groups[place->second].files.push_back(file);
    return place->second;
  }

  // Models together, the larger groups first.
  void sortGroups() {
    std::vector<size_t> order(survey_.groups.size());
    std::iota(order.begin(), order.end(), size_t{0});
    std::stable_sort(order.begin(), order.end(), [this](size_t a, size_t b) {
      const Group &left = survey_.groups[a];
      const Group &right = survey_.groups[b];
      return left.model != right.model ? left.model < right.model : left.files.size() > right.files.size();
    });
    std::vector<size_t> places(order.size());
    std::vector<Group> sorted;
    for (size_t i = 0; i < order.size(); ++i) {
      places[order[i]] = i;
      sorted.push_back(std::move(survey_.groups[order[i]]));
    }
    survey_.groups = std::move(sorted);
    for (Row &row : survey_.rows) {
      row.group = row.group == noGroup ? noGroup : places[row.group];
      if (!row.lacks.empty()) {
        ++survey_.groups[row.group].lacking;
      }
    }
  }

  void compareGroups() {
    for (size_t i = 0; i < survey_.groups.size(); ++i) {
      Group &group = survey_.groups[i];
      bool isFirst = i == 0 || survey_.groups[i - 1].model != group.model;
      group.usual = isFirst ? i : survey_.groups[i - 1].usual;
      group.differences = differencesOf(survey_.groups[group.usual].features, group.features);
    }
  }

  fs::path folder_;
  fs::path reports_;
  const client::ensure::Layout *layout_;
  FileReplaces replaces_;
  std::string complaint_;
  client::Front front_;
  client::Context context_;
  Survey survey_;
  std::map<Features, size_t> groupByFeatures_;
};

} // namespace

Survey surveyFolder(const client::Context &context, const fs::path &folder, const fs::path &reports,
                    const client::ensure::Layout *layout) {
  return Surveyor(context, folder, reports, layout).run();
}

} // namespace xyl::host::fleet
