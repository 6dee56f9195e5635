#include "host/controller_file/controller_file.h"

#include "base/status_text.h"
#include "host/common/common.h"
#include "host/controller_file/controller_state.h"
#include "host/controller_file/state_json.h"
#include "providers/sim_controller/presets.h"

static constexpr UINT64 FILE_FORMAT = 2; // 1: members had names of their own
static constexpr std::chrono::seconds LOCK_PATIENCE(2);

static Json parseJson(const std::string &text) {
  try {
    return Json::parse(text);
  } catch (const Json::exception &error) {
    std::string what = error.what();
    size_t place = what.find("parse error at ");
    throw CLIENT_ERROR(EFI_INVALID_PARAMETER,
                       "it is no JSON: " + (place != std::string::npos ? what.substr(place) : what));
  }
}

static SIM_OWNER readState(const std::string &text) {
  Json json = parseJson(text);
  STATE_READER reader(json, "");
  UINT64 format = 0;
  if (!json.is_object() || json.count("format") == 0) {
    throw CLIENT_ERROR(EFI_INVALID_PARAMETER, "it is no controller file: \"format\" is missing");
  }
  reader.number("format", format, ~0ULL);
  if (format != FILE_FORMAT) {
    throw CLIENT_ERROR(EFI_UNSUPPORTED, "its format is " + std::to_string(format) + ", this program knows format " +
                                            std::to_string(FILE_FORMAT) +
                                            "; make the controller anew with 'xyl sim new'");
  }
  sim::Controller *sim = nullptr;
  EFI_STATUS status = sim::createEmpty(&sim);
  if (EFI_ERROR(status)) {
    throw CLIENT_ERROR(status, "there is no memory for the controller");
  }
  SIM_OWNER owner(sim);
  visitController(reader, *sim);
  reader.refuseUnknown();
  const char *fault = sim::stateFault(sim);
  if (fault != nullptr) {
    throw CLIENT_ERROR(EFI_INVALID_PARAMETER, fault);
  }
  return owner;
}

[[noreturn]] static void refuseFile(const std::string &file, EFI_STATUS status) {
  std::string hint = status == EFI_NOT_FOUND ? "; 'xyl sim new --preset demo " + file + "' makes it" : "";
  throw CLIENT_ERROR(status, "cannot read '" + file + "': " + statusText(status) + hint);
}

void lockController(const std::string &file, FileLock *lock) {
  EFI_STATUS status = lock->take(file, LOCK_PATIENCE);
  if (status == EFI_NOT_READY) {
    throw CLIENT_ERROR(status, "'" + file + "' is being changed by another xyl; try again when that one has ended");
  }
  if (EFI_ERROR(status)) {
    refuseFile(file, status);
  }
}

SIM_OWNER loadController(const std::string &file) {
  std::string text;
  EFI_STATUS status = readHostFile(file, &text);
  if (EFI_ERROR(status)) {
    refuseFile(file, status);
  }
  try {
    return readState(text);
  } catch (const CLIENT_ERROR &error) {
    throw CLIENT_ERROR(error.status, "cannot use '" + file + "': " + error.what());
  }
}

void saveController(const std::string &file, sim::Controller &sim, FILE_REPLACES replaces) {
  sim::dropSpentFaults(&sim);
  STATE_WRITER writer;
  writer.json["format"] = FILE_FORMAT;
  visitController(writer, sim);
  std::string text = writer.json.dump(2, ' ', /* ensure_ascii= */ false, Json::error_handler_t::replace) + "\n";
  EFI_STATUS status = writeHostFile(file, text, replaces);
  if (status == EFI_ALREADY_STARTED) {
    throw CLIENT_ERROR(status, "'" + file + "' exists; choose another name or replace it with --force");
  }
  if (EFI_ERROR(status)) {
    throw CLIENT_ERROR(status, "cannot write '" + file + "': " + statusText(status));
  }
}

SIM_OWNER makePreset(const std::string &name) {
  sim::Controller *sim = nullptr;
  EFI_STATUS status = sim::create(name.c_str(), &sim);
  if (EFI_ERROR(status)) {
    std::string names;
    for (UINT32 i = 0; sim::presetAt(i) != nullptr; ++i) {
      names += (i == 0 ? "" : ", ") + std::string(sim::presetAt(i)->name);
    }
    throw CLIENT_ERROR(status, status == EFI_NOT_FOUND
                                   ? "there is no preset '" + name + "'; there are " + names
                                   : "the controller cannot be made: " + std::string(statusText(status)));
  }
  return SIM_OWNER(sim);
}
