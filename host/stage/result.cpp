#include "host/stage/result.h"

#include <algorithm>
#include <cerrno>
#include <map>

#include <fcntl.h>
#include <unistd.h>

#include "host/common/common.h"
#include "host/common/json.h"

namespace xyl::host::stage {

namespace fs = std::filesystem;

namespace {

std::string textIn(const nlohmann::json &json, const char *name) {
  auto found = json.find(name);
  return found != json.end() && found->is_string() ? found->get<std::string>() : "";
}

nlohmann::json parsed(const std::string &text) {
  nlohmann::json json = readJson(text);
  return json.is_object() ? json : nlohmann::json::object();
}

int numberIn(const nlohmann::json &json, const char *name) {
  auto found = json.find(name);
  return found != json.end() && found->is_number_integer() ? found->get<int>() : 0;
}

// --- What goes where ---

// What the job left, by where it goes below the folder.
struct Fetched {
  std::map<std::string, std::string> files;
  nlohmann::json result = nlohmann::json::object();
  bool hasResult = false;
};

// The result that the medium's image wrote; a power cut may leave only the old one or the new one beside its place.
// Empty when there is none as a whole.
std::string resultPlace(const std::map<std::string, std::string> &left) {
  const std::string folder = std::string(work) + "/results/";
  for (const char *suffix : {".json", ".json.xyl-new", ".json.xyl-old"}) {
    for (const auto &[place, content] : left) {
      if (place.starts_with(folder) && place.ends_with(suffix) && !textIn(parsed(content), "state").empty()) {
        return place;
      }
    }
  }
  return "";
}

Fetched collect(const Site &site, const Look &look) {
  std::map<std::string, std::string> left;
  for (const StagedFile &file : look.left) {
    std::string path = onPartition(site, file.place).string();
    EFI_STATUS status = readHostFile(path, &left[file.place]);
    if (EFI_ERROR(status)) {
      throw ClientError(status, "cannot read '" + path + "': " + client::statusWords(status));
    }
  }
  Fetched fetched;
  std::string result = resultPlace(left);
  std::string lines = result.substr(0, result.find(".json")) + ".lines";
  for (auto &[place, content] : left) {
    std::string target = "files/" + place.substr(std::string(work).size() + 1);
    fetched.files[place == result ? "result.json" : place == lines ? "result.lines" : target] = content;
  }
  fetched.hasResult = !result.empty();
  fetched.result = fetched.hasResult ? parsed(left[result]) : fetched.result;
  return fetched;
}

// --- Writing it safely ---

void checkTargets(const Fetched &fetched, const fs::path &folder, FileReplaces replaces) {
  for (const auto &[name, content] : fetched.files) {
    if (replaces == FileReplaces::none && fs::exists(folder / name)) {
      throw ClientError(EFI_ALREADY_STARTED, "'" + (folder / name).string() +
                                                 "' exists; take the result to another folder, or overwrite it with "
                                                 "--force");
    }
  }
}

void writeTarget(const fs::path &path, const std::string &content, FileReplaces replaces) {
  std::error_code error;
  fs::create_directories(path.parent_path(), error);
  EFI_STATUS status = writeHostFile(path.string(), content, replaces);
  std::string written;
  if (!EFI_ERROR(status)) {
    status = readHostFile(path.string(), &written);
  }
  if (EFI_ERROR(status) || written != content) {
    throw ClientError(EFI_ERROR(status) ? status : EFI_DEVICE_ERROR, "cannot write '" + path.string() +
                                                                         "': " + client::statusWords(status) +
                                                                         "; all is kept on the system partition");
  }
}

// The folders, too, are on the disk then.
void syncAll(const fs::path &folder) {
  int file = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  int result = file < 0 ? -1 : syncfs(file);
  int error = errno;
  if (file >= 0) {
    close(file);
  }
  if (result != 0) {
    throw ClientError(statusFromErrno(error), "cannot write '" + folder.string() +
                                                  "': " + client::statusWords(statusFromErrno(error)) +
                                                  "; all is kept on the system partition");
  }
}

// --- What came of it ---

// What a job that was cut off told last of its lines, which the result has at its end only.
nlohmann::json linesOf(const Fetched &fetched) {
  if (fetched.result.contains("lines")) {
    return fetched.result["lines"];
  }
  std::map<int, nlohmann::json> last;
  auto found = fetched.files.find("result.lines");
  std::istringstream text(found != fetched.files.end() ? found->second : "");
  for (std::string line; std::getline(text, line);) {
    nlohmann::json json = parsed(line);
    if (numberIn(json, "line") != 0) {
      last[numberIn(json, "line")] = json;
    }
  }
  nlohmann::json lines = nlohmann::json::array();
  for (const auto &[number, json] : last) {
    lines.push_back(json);
  }
  return lines;
}

// What a state comes to.
std::string stateWords(const Fetched &fetched) {
  std::string state = textIn(fetched.result, "state");
  if (!fetched.hasResult) {
    return "left files, and no whole result";
  }
  if (state == "running") {
    return "was cut off: the power went, or somebody or a limit reset the machine";
  }
  if (state == "stopped") {
    return "was stopped, since the system partition took no more";
  }
  if (state == "refused") {
    return "has mistakes for this machine, and nothing ran: " + textIn(fetched.result, "mistakes");
  }
  return "is done";
}

void sayJob(const client::Front &front, const Fetched &fetched, const nlohmann::json &lines) {
  client::sayLines(&front, ("The job " + stateWords(fetched) + "\n").c_str());
  for (const nlohmann::json &driver : fetched.result.value("drivers", nlohmann::json::array())) {
    if (textIn(driver, "status") != "Success") {
      client::sayLines(&front, ("Driver " + textIn(driver, "file") + ": " + textIn(driver, "status") + "\n").c_str());
    }
  }
  for (const nlohmann::json &line : lines) {
    std::string outcome = textIn(line, "outcome").empty() ? textIn(line, "state") : textIn(line, "outcome");
    client::say(&front, "%4d  %-11a  ", numberIn(line, "line"), outcome.c_str());
    client::sayLines(&front, (textIn(line, "command") + "\n").c_str());
  }
}

client::Result verdict(const Fetched &fetched, const nlohmann::json &lines) {
  bool isFailed = textIn(fetched.result, "state") != "done";
  bool isDifferent = false;
  for (const nlohmann::json &line : lines) {
    isFailed = isFailed || textIn(line, "outcome") == "failed";
    isDifferent = isDifferent || textIn(line, "outcome") == "different";
  }
  return isFailed ? client::failed(EFI_DEVICE_ERROR) : isDifferent ? client::different() : client::succeeded();
}

} // namespace

client::Result fetchResult(const client::Front &front, const Site &site, const Look &look, const fs::path &folder,
                           FileReplaces replaces) {
  Fetched fetched = collect(site, look);
  checkTargets(fetched, folder, replaces);
  for (const auto &[name, content] : fetched.files) {
    writeTarget(folder / name, content, replaces);
  }
  syncAll(folder);
  nlohmann::json lines = linesOf(fetched);
  sayJob(front, fetched, lines);
  for (const auto &[name, content] : fetched.files) {
    client::say(&front, "%10lu  %a\n", UINT64{content.size()}, (folder / name).c_str());
  }
  return verdict(fetched, lines);
}

} // namespace xyl::host::stage
