#include "host/stage/stage.h"

#include <algorithm>
#include <set>

#include <sys/stat.h>

#include "base/crc32.h"
#include "client/jobs/jobs.h"
#include "host/common/common.h"
#include "host/medium/medium.h"
#include "host/stage/result.h"

namespace stage {

namespace fs = std::filesystem;

namespace {

constexpr const char *DESCRIPTION = "RAID job (once)";
constexpr uint64_t RESULT_ROOM = 0x100000; // for what the job writes

std::string optionText(const XYL_CONTEXT &context, XYL_OPTION_ID id) {
  const CHAR8 *text = context.Request->Options[id];
  return text != nullptr ? text : "";
}

// Keeps another run from the same system partition.
void lockPartition(const SystemPartition &system, FileLock *lock) {
  EFI_STATUS status = lock->take(system.folder.string(), /* patience= */ std::chrono::milliseconds(0));
  if (EFI_ERROR(status)) {
    throw CLIENT_ERROR(status, status == EFI_NOT_READY ? "another run works on '" + system.name + "'"
                                                       : "cannot read '" + system.name + "': " + statusWords(status));
  }
}

// --- The job ---

// What is to be said about a job before it runs.
struct Job {
  std::set<JOB_END> ends;
  bool hasPassphrases = false;
  uint32_t sum = 0;
};

bool readsPassphrase(const XYL_FRONT &front, const JOB_LINE &line) {
  XYL_FRONT own = front;
  own.Kind = XYL_FRONT_SHELL;
  own.Commands = g_xylCommands;
  own.WriteOut = own.WriteError = [](const XYL_FRONT *, const CHAR8 *, UINTN) {};
  XYL_REQUEST request = {};
  return !isFailure(parseJob(&own, line, &request)) && (request.Options[XYL_OPTION_PASSPHRASE_FILE] != nullptr ||
                                                        request.Options[XYL_OPTION_OLD_PASSPHRASE_FILE] != nullptr);
}

Job readJob(const XYL_FRONT &front, const fs::path &file) {
  std::string content;
  EFI_STATUS status = readHostFile(file.string(), &content);
  static constexpr JOB_NAME rows[] = {{"SERIAL", nullptr}, {"UUID", nullptr}};
  JOB_FILE jobs;
  if (EFI_ERROR(status) || isFailure(readJobs(&front, content.data(), content.size(), {rows, 2}, &jobs))) {
    throw CLIENT_ERROR(EFI_ABORTED, "'" + file.string() + "' changed meanwhile");
  }
  Job job;
  job.sum = crc32Of(content.data(), content.size());
  bool isOver = false;
  for (UINT32 i = 0; i < jobs.Lines.count; ++i) {
    const JOB_LINE &line = jobs.Lines.items[i];
    if (line.End != JOB_GOES_ON) {
      job.ends.insert(line.End);
      isOver = isOver || line.Condition == JOB_ALWAYS;
    } else {
      job.hasPassphrases = job.hasPassphrases || readsPassphrase(front, line);
    }
  }
  if (!isOver && jobs.Source.WordCount == 0) { // else the job is on a server
    job.ends.insert(JOB_RETURN);
  }
  freeJobs(&jobs);
  return job;
}

std::string endWords(const Job &job) {
  static constexpr const char *words[] = {"goes on with its boot order", "restarts", "switches off"};
  std::string text;
  for (JOB_END end : job.ends) {
    text += (text.empty() ? "" : " or ") + std::string(words[end]);
  }
  return text.empty() ? "goes on as the job says that it fetches" : text;
}

// --- The images ---

// Where a build or a bundle has them, seen from the program.
fs::path imagesFor(const XYL_CONTEXT &context, const std::string &architecture) {
  std::string given = optionText(context, XYL_OPTION_IMAGES);
  if (!given.empty()) {
    return given;
  }
  std::error_code error;
  fs::path program = fs::read_symlink("/proc/self/exe", error).parent_path();
  bool isX64 = architecture == "x64";
  for (const fs::path &folder : {program / ".." / "RaidXylBinPkg" / (isX64 ? "X64" : "AARCH64"),
                                 program / ".." / ".." / (isX64 ? "efi" : "efi-aarch64")}) {
    if (fs::exists(folder / "RaidBoot.efi")) {
      return folder.lexically_normal();
    }
  }
  throw USAGE_ERROR("the images are not beside this program; --images names the folder with RaidBoot.efi");
}

// --- Refusals ---

// No other boot may be ordered, and nothing of anybody be in the way.
void checkFree(const Site &site, const Look &look) {
  if (look.state == State::Foreign) {
    throw CLIENT_ERROR(EFI_ALREADY_STARTED, "'" + onPartition(site, look.foreign).string() +
                                                "' is in the way, and is none that this command made; nothing was "
                                                "changed");
  }
  if (look.state == State::Waiting) {
    throw CLIENT_ERROR(EFI_ALREADY_STARTED, "a job is staged already and waits for the next boot; 'xyl stage --cancel' "
                                            "takes it back");
  }
  if (look.state == State::Ran) {
    throw CLIENT_ERROR(EFI_ALREADY_STARTED, "the job that was staged has begun, at least; fetch what it left with 'xyl "
                                            "stage --result DIR' first");
  }
  std::optional<uint16_t> next = site.variables.next();
  bool isOurs = next && look.manifest && next == look.manifest->number;
  if (next && !isOurs) {
    std::string name = Variables::optionName(*next);
    throw CLIENT_ERROR(EFI_ALREADY_STARTED, "the next boot is ordered already: BootNext is " + name + " \"" +
                                                descriptionOf(site.variables.read(name).value_or("")) + "\"");
  }
}

// A file takes whole clusters, and a folder at least one.
void checkRoom(const Machine &machine, const Site &site, const Payload &payload) {
  Room room = machine.room(site.system.folder);
  uint64_t wanted = RESULT_ROOM;
  for (const PayloadFile &file : payload.files) {
    wanted += (file.size + room.cluster - 1) / room.cluster * room.cluster + room.cluster;
  }
  if (wanted > room.free) {
    throw CLIENT_ERROR(EFI_VOLUME_FULL, "'" + site.system.name + "' has room for " + sizeText(room.free) +
                                            ", and files and results want " + sizeText(wanted));
  }
}

// --- What is said ---

void sayStaged(const XYL_FRONT &front, const Site &site, const Payload &payload, const Manifest &manifest,
               const Job &job) {
  uint64_t size = 0;
  for (const PayloadFile &file : payload.files) {
    size += file.size;
  }
  say(&front, "On %a (%a): %ld files, %a, in \\EFI\\raidxyl and \\raidxyl.\n", site.system.name.c_str(),
      site.system.device.c_str(), UINT64{payload.files.size()}, sizeText(size).c_str());
  say(&front, "The next boot of this machine is %a \"%a\": it does the job once, and %a.\n",
      Variables::optionName(manifest.number).c_str(), DESCRIPTION, endWords(job).c_str());
  sayLines(&front,
           ("The boot order stays as it is (" + site.variables.orderText() + "), for all boots after it.\n").c_str());
  say(&front,
      "Then 'xyl stage --result DIR' fetches what came of it; until then 'xyl stage --cancel' takes it back.\n");
  if (job.hasPassphrases) {
    struct stat kept = {};
    bool isOpen = stat(site.system.folder.c_str(), &kept) == 0 && (kept.st_mode & 0077) != 0;
    say(&front,
        "Note: passphrases of the job lie on the system partition until then, readable for whoever has the "
        "disk%a.\n",
        isOpen ? ", and for others on this machine, too: it is mounted without umask=0077" : "");
  }
  if (site.variables.isSecureBoot()) {
    say(&front, "Note: Secure Boot is on. The images are signed; whether the firmware trusts the key shows at the next "
                "boot.\n");
  }
}

void sayStays(const XYL_FRONT &front, const std::vector<std::string> &stays) {
  for (const std::string &place : stays) {
    sayLines(&front, ("Left, since this command did not make it: " + place + "\n").c_str());
  }
}

// --- The three ways ---

XYL_RESULT begin(const XYL_CONTEXT &context, const Machine &machine, Site *site) {
  const XYL_FRONT &front = *context.Front;
  fs::path folder = context.Request->Operands[0];
  std::string jobs = (folder / "jobs.txt").string();
  XYL_REQUEST request = *context.Request;
  request.Operands[0] = jobs.c_str();
  say(&front, "What it will do:\n");
  XYL_RESULT result = runJobs({&front, &request});
  if (isFailure(result)) {
    return result;
  }
  Job job = readJob(front, jobs);
  std::string architecture = architectureOf(machine);
  Payload payload =
      collectPayload(folder, imagesFor(context, architecture), architecture, site->variables.isSecureBoot());
  if (payload.job != job.sum) {
    throw CLIENT_ERROR(EFI_ABORTED, "'" + jobs + "' changed meanwhile");
  }
  Look look = lookAt(*site);
  checkFree(*site, look);
  if (look.state != State::Nothing) {
    say(&front, "An earlier run that was cut off, or never booted, is cleaned up first.\n");
    takeBack(site, look);
    checkFree(*site, lookAt(*site)); // others may have put something beside it
  }
  checkRoom(machine, *site, payload); // with what the earlier run gave back
  uint16_t number = site->variables.freeNumber();
  std::string image = IMAGE;
  std::replace(image.begin(), image.end(), '/', '\\');
  Manifest manifest =
      manifestOf(payload, bootOf(machine), number, bootOption(site->system.partition, "\\" + image, DESCRIPTION));
  put(site, payload, manifest);
  sayStaged(front, *site, payload, manifest, job);
  return succeeded();
}

// Without anything to fetch: why.
XYL_RESULT tellNothing(const XYL_FRONT &front, const Machine &machine, const Site &site, const Look &look) {
  if (look.state == State::Nothing || look.state == State::Foreign) {
    complain(&front, "nothing is staged on '%a'", site.system.name.c_str());
    return notFound();
  }
  if (look.state == State::Waiting) {
    bool isSame = !bootOf(machine).empty() && bootOf(machine) == look.manifest->boot;
    complain(&front, "there is no result yet: %a",
             isSame ? "the machine was not restarted since" : "the firmware has not booted what it was told to");
    return notFound();
  }
  if (look.manifest && isRemembered(site, *look.manifest)) {
    complain(&front,
             "the job began, and the firmware could not write to the system partition: what came of it was shown "
             "on the console ('xyl unpack'); 'xyl stage --cancel' cleans up");
    return failed(EFI_WRITE_PROTECTED);
  }
  complain(&front, "the job left nothing: the staging was cut off, or the firmware did not start the image; 'xyl stage "
                   "--cancel' cleans up");
  return failed(EFI_NOT_STARTED);
}

// What is fetched must not lie where it is cleaned up.
void checkTarget(const Site &site, const fs::path &folder) {
  std::error_code error;
  fs::path target = fs::weakly_canonical(folder, error) / "";
  fs::path system = fs::weakly_canonical(site.system.folder, error) / "";
  if (target.string().starts_with(system.string())) {
    throw USAGE_ERROR("'" + folder.string() + "' lies on the system partition; take the result to another place");
  }
}

XYL_RESULT fetch(const XYL_CONTEXT &context, const Machine &machine, Site *site) {
  const XYL_FRONT &front = *context.Front;
  fs::path folder = context.Request->OperandCount != 0 ? context.Request->Operands[0] : ".";
  Look look = lookAt(*site);
  if (look.state == State::Fetched) {
    sayStays(front, takeBack(site, look));
    complain(&front, "the result was fetched before; now what was left of it is cleaned up, too");
    return notFound();
  }
  if (look.state != State::Ran) {
    return tellNothing(front, machine, *site, look);
  }
  checkTarget(*site, folder);
  FILE_REPLACES replaces =
      context.Request->Options[XYL_OPTION_FORCE] != nullptr ? FILE_REPLACES_OLD : FILE_REPLACES_NONE;
  XYL_RESULT result = fetchResult(front, *site, look, folder, replaces);
  noteFetched(site, look);
  sayStays(front, takeBack(site, look));
  say(&front, "The system partition and the firmware's variables are cleaned up.\n");
  return result;
}

XYL_RESULT cancel(const XYL_CONTEXT &context, Site *site) {
  const XYL_FRONT &front = *context.Front;
  Look look = lookAt(*site);
  if (look.state == State::Nothing || look.state == State::Foreign) {
    complain(&front, "nothing is staged on '%a'", site->system.name.c_str());
    return notFound();
  }
  if (look.state == State::Ran) {
    throw CLIENT_ERROR(EFI_ALREADY_STARTED,
                       "the job has begun, at least; 'xyl stage --result DIR' fetches what it left "
                       "and cleans up");
  }
  sayStays(front, takeBack(site, look));
  say(&front, "It is taken back: the next boot is as ever.\n");
  return succeeded();
}

XYL_RESULT run(const XYL_CONTEXT &context, const Machine &machine, Changes *changes) {
  bool fetches = hasOption(context, XYL_OPTION_RESULT);
  bool cancels = hasOption(context, XYL_OPTION_CANCEL);
  if (fetches && cancels) {
    throw USAGE_ERROR("--result and --cancel exclude each other");
  }
  if (cancels ? context.Request->OperandCount != 0 : !fetches && context.Request->OperandCount == 0) {
    throw USAGE_ERROR(cancels ? "--cancel takes no folder" : "'stage' needs an argument DIR, --result or --cancel");
  }
  fs::path variables = findVariables(machine);
  SystemPartition system = findSystemPartition(machine, optionText(context, XYL_OPTION_ESP));
  FileLock lock;
  lockPartition(system, &lock);
  Site site = {system, Variables(variables, *changes), *changes};
  if (cancels) {
    return cancel(context, &site);
  }
  return fetches ? fetch(context, machine, &site) : begin(context, machine, &site);
}

} // namespace

XYL_RESULT stageOn(const XYL_CONTEXT &context, const Machine &machine, Changes *changes) {
  try {
    return run(context, machine, changes);
  } catch (const fs::filesystem_error &error) {
    EFI_STATUS status = statusFromErrno(error.code().value());
    throw CLIENT_ERROR(status, "cannot read '" + error.path1().string() + "': " + statusWords(status));
  }
}

} // namespace stage

XYL_RESULT runStage(const XYL_CONTEXT &context) {
  stage::Changes changes;
  return stage::stageOn(context, stage::thisMachine(), &changes);
}
