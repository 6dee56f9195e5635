#include "host/controller_file/controller_file.h"

#include "base/status_text.h"
#include "host/common/common.h"
#include "host/controller_file/controller_state.h"
#include "host/controller_file/state_json.h"
#include "providers/sim_controller/presets.h"

namespace xyl::host {

static constexpr UINT64 fileFormat = 2; // 1: members had names of their own
static constexpr std::chrono::seconds lockPatience(2);

static Json parseJson(const std::string &text) {
  try {
    return Json::parse(text);
  } catch (const Json::exception &error) {
    std::string what = error.what();
    size_t place = what.find("parse error at ");
    throw ClientError(EFI_INVALID_PARAMETER,
                      "it is no JSON: " + (place != std::string::npos ? what.substr(place) : what));
  }
}

static SimOwner readState(const std::string &text) {
  Json json = parseJson(text);
  StateReader reader(json, "");
  UINT64 format = 0;
  if (!json.is_object() || json.count("format") == 0) {
    throw ClientError(EFI_INVALID_PARAMETER, "it is no controller file: \"format\" is missing");
  }
  reader.number("format", format, ~0ULL);
  if (format != fileFormat) {
    throw ClientError(EFI_UNSUPPORTED, "its format is " + std::to_string(format) + ", this program knows format " +
                                           std::to_string(fileFormat) +
                                           "; make the controller anew with 'xyl sim new'");
  }
  sim::Controller *sim = nullptr;
  EFI_STATUS status = sim::createEmpty(&sim);
  if (EFI_ERROR(status)) {
    throw ClientError(status, "there is no memory for the controller");
  }
  SimOwner owner(sim);
  visitController(reader, *sim);
  reader.refuseUnknown();
  const char *fault = sim::stateFault(sim);
  if (fault != nullptr) {
    throw ClientError(EFI_INVALID_PARAMETER, fault);
  }
  return owner;
}

[[noreturn]] static void refuseFile(const std::string &file, EFI_STATUS status) {
  std::string hint = status == EFI_NOT_FOUND ? "; 'xyl sim new --preset demo " + file + "' makes it" : "";
  throw ClientError(status, "cannot read '" + file + "': " + statusText(status) + hint);
}

void lockController(const std::string &file, FileLock *lock) {
  EFI_STATUS status = lock->take(file, lockPatience);
  if (status == EFI_NOT_READY) {
    throw ClientError(status, "'" + file + "' is being changed by another xyl; try again when that one has ended");
  }
  if (EFI_ERROR(status)) {
    refuseFile(file, status);
  }
}

SimOwner loadController(const std::string &file) {
  std::string text;
  EFI_STATUS status = readHostFile(file, &text);
  if (EFI_ERROR(status)) {
    refuseFile(file, status);
  }
  try {
    return readState(text);
  } catch (const ClientError &error) {
    throw ClientError(error.status, "cannot use '" + file + "': " + error.what());
  }
}

void saveController(const std::string &file, sim::Controller &sim, FileReplaces replaces) {
  sim::dropSpentFaults(&sim);
  StateWriter writer;
  writer.json["format"] = fileFormat;
  visitController(writer, sim);
  std::string text = writer.json.dump(2, ' ', /* ensure_ascii= */ false, Json::error_handler_t::replace) + "\n";
  EFI_STATUS status = writeHostFile(file, text, replaces);
  if (status == EFI_ALREADY_STARTED) {
    throw ClientError(status, "'" + file + "' exists; choose another name or replace it with --force");
  }
  if (EFI_ERROR(status)) {
    throw ClientError(status, "cannot write '" + file + "': " + statusText(status));
  }
}

SimOwner makePreset(const std::string &name) {
  sim::Controller *sim = nullptr;
  EFI_STATUS status = sim::create(name.c_str(), &sim);
  if (EFI_ERROR(status)) {
    std::string names;
    for (UINT32 i = 0; sim::presetAt(i) != nullptr; ++i) {
      names += (i == 0 ? "" : ", ") + std::string(sim::presetAt(i)->name);
    }
    throw ClientError(status, status == EFI_NOT_FOUND
                                  ? "there is no preset '" + name + "'; there are " + names
                                  : "the controller cannot be made: " + std::string(statusText(status)));
  }
  return SimOwner(sim);
}

} // namespace xyl::host
