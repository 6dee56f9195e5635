#include "host/stage/stage.h"

#include <algorithm>
#include <set>

#include <sys/stat.h>

#include "base/crc32.h"
#include "client/jobs/jobs.h"
#include "host/common/common.h"
#include "host/medium/medium.h"
#include "host/stage/result.h"

namespace xyl::host::stage {

namespace fs = std::filesystem;

namespace {

constexpr const char *description = "RAID job (once)";
constexpr uint64_t resultRoom = 0x100000; // for what the job writes

std::string optionText(const client::Context &context, client::OptionId id) {
  const CHAR8 *text = context.request->options[id];
  return text != nullptr ? text : "";
}

// Keeps another run from the same system partition.
void lockPartition(const SystemPartition &system, FileLock *lock) {
  EFI_STATUS status = lock->take(system.folder.string(), /* patience= */ std::chrono::milliseconds(0));
  if (EFI_ERROR(status)) {
    throw ClientError(status, status == EFI_NOT_READY
                                  ? "another run works on '" + system.name + "'"
                                  : "cannot read '" + system.name + "': " + client::statusWords(status));
  }
}

// --- The job ---

// What is to be said about a job before it runs.
struct Job {
  std::set<client::JobEnd> ends;
  bool hasPassphrases = false;
  uint32_t sum = 0;
};

bool readsPassphrase(const client::Front &front, const client::JobLine &line) {
  client::Front own = front;
  own.kind = client::frontShell;
  own.commands = client::g_xylCommands;
  own.writeOut = own.writeError = [](const client::Front *, const CHAR8 *, UINTN) {};
  client::Request request = {};
  return !client::isFailure(client::parseJob(&own, line, &request)) &&
         (request.options[client::optionPassphraseFile] != nullptr ||
          request.options[client::optionOldPassphraseFile] != nullptr);
}

Job readJob(const client::Front &front, const fs::path &file) {
  std::string content;
  EFI_STATUS status = readHostFile(file.string(), &content);
  static constexpr client::JobName rows[] = {{"SERIAL", nullptr}, {"UUID", nullptr}};
  client::JobFile jobs;
  if (EFI_ERROR(status) ||
      client::isFailure(client::readJobs(&front, content.data(), content.size(), {rows, 2}, &jobs))) {
    throw ClientError(EFI_ABORTED, "'" + file.string() + "' changed meanwhile");
  }
  Job job;
  job.sum = crc32Of(content.data(), content.size());
  bool isOver = false;
  for (UINT32 i = 0; i < jobs.lines.count; ++i) {
    const client::JobLine &line = jobs.lines.items[i];
    if (line.end != client::jobGoesOn) {
      job.ends.insert(line.end);
      isOver = isOver || line.condition == client::jobAlways;
    } else {
      job.hasPassphrases = job.hasPassphrases || readsPassphrase(front, line);
    }
  }
  if (!isOver && jobs.source.wordCount == 0) { // else the job is on a server
    job.ends.insert(client::jobReturn);
  }
  client::freeJobs(&jobs);
  return job;
}

std::string endWords(const Job &job) {
  static constexpr const char *words[] = {"goes on with its boot order", "restarts", "switches off"};
  std::string text;
  for (client::JobEnd end : job.ends) {
    text += (text.empty() ? "" : " or ") + std::string(words[end]);
  }
  return text.empty() ? "goes on as the job says that it fetches" : text;
}

// --- The images ---

// Where a build or a bundle has them, seen from the program.
fs::path imagesFor(const client::Context &context, const std::string &architecture) {
  std::string given = optionText(context, client::optionImages);
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
  throw UsageError("the images are not beside this program; --images names the folder with RaidBoot.efi");
}

// --- Refusals ---

// No other boot may be ordered, and nothing of anybody be in the way.
void checkFree(const Site &site, const Look &look) {
  if (look.state == State::foreign) {
    throw ClientError(EFI_ALREADY_STARTED, "'" + onPartition(site, look.foreign).string() +
                                               "' is in the way, and is none that this command made; nothing was "
                                               "changed");
  }
  if (look.state == State::waiting) {
    throw ClientError(EFI_ALREADY_STARTED, "a job is staged already and waits for the next boot; 'xyl stage --cancel' "
                                           "takes it back");
  }
  if (look.state == State::ran) {
    throw ClientError(EFI_ALREADY_STARTED, "the job that was staged has begun, at least; fetch what it left with 'xyl "
                                           "stage --result DIR' first");
  }
  std::optional<uint16_t> next = site.variables.next();
  bool isOurs = next && look.manifest && next == look.manifest->number;
  if (next && !isOurs) {
    std::string name = Variables::optionName(*next);
    throw ClientError(EFI_ALREADY_STARTED, "the next boot is ordered already: BootNext is " + name + " \"" +
                                               descriptionOf(site.variables.read(name).value_or("")) + "\"");
  }
}

// A file takes whole clusters, and a folder at least one.
void checkRoom(const Machine &machine, const Site &site, const Payload &payload) {
  Room room = machine.room(site.system.folder);
  uint64_t wanted = resultRoom;
  for (const PayloadFile &file : payload.files) {
    wanted += (file.size + room.cluster - 1) / room.cluster * room.cluster + room.cluster;
  }
  if (wanted > room.free) {
    throw ClientError(EFI_VOLUME_FULL, "'" + site.system.name + "' has room for " + sizeText(room.free) +
                                           ", and files and results want " + sizeText(wanted));
  }
}

// --- What is said ---

void sayStaged(const client::Front &front, const Site &site, const Payload &payload, const Manifest &manifest,
               const Job &job) {
  uint64_t size = 0;
  for (const PayloadFile &file : payload.files) {
    size += file.size;
  }
  client::say(&front, "On %a (%a): %ld files, %a, in \\EFI\\raidxyl and \\raidxyl.\n", site.system.name.c_str(),
              site.system.device.c_str(), UINT64{payload.files.size()}, sizeText(size).c_str());
  client::say(&front, "The next boot of this machine is %a \"%a\": it does the job once, and %a.\n",
              Variables::optionName(manifest.number).c_str(), description, endWords(job).c_str());
  client::sayLines(
      &front,
      ("The boot order stays as it is (" + site.variables.orderText() + "), for all boots after it.\n").c_str());
  client::say(
      &front,
      "Then 'xyl stage --result DIR' fetches what came of it; until then 'xyl stage --cancel' takes it back.\n");
  if (job.hasPassphrases) {
    struct stat kept = {};
    bool isOpen = stat(site.system.folder.c_str(), &kept) == 0 && (kept.st_mode & 0077) != 0;
    client::say(&front,
                "Note: passphrases of the job lie on the system partition until then, readable for whoever has the "
                "disk%a.\n",
                isOpen ? ", and for others on this machine, too: it is mounted without umask=0077" : "");
  }
  if (site.variables.isSecureBoot()) {
    client::say(&front,
                "Note: Secure Boot is on. The images are signed; whether the firmware trusts the key shows at the next "
                "boot.\n");
  }
}

void sayStays(const client::Front &front, const std::vector<std::string> &stays) {
  for (const std::string &place : stays) {
    client::sayLines(&front, ("Left, since this command did not make it: " + place + "\n").c_str());
  }
}

// --- The three ways ---

client::Result begin(const client::Context &context, const Machine &machine, Site *site) {
  const client::Front &front = *context.front;
  fs::path folder = context.request->operands[0];
  std::string jobs = (folder / "jobs.txt").string();
  client::Request request = *context.request;
  request.operands[0] = jobs.c_str();
  client::say(&front, "What it will do:\n");
  client::Result result = runJobs({&front, &request});
  if (client::isFailure(result)) {
    return result;
  }
  Job job = readJob(front, jobs);
  std::string architecture = architectureOf(machine);
  Payload payload =
      collectPayload(folder, imagesFor(context, architecture), architecture, site->variables.isSecureBoot());
  if (payload.job != job.sum) {
    throw ClientError(EFI_ABORTED, "'" + jobs + "' changed meanwhile");
  }
  Look look = lookAt(*site);
  checkFree(*site, look);
  if (look.state != State::nothing) {
    client::say(&front, "An earlier run that was cut off, or never booted, is cleaned up first.\n");
    takeBack(site, look);
    checkFree(*site, lookAt(*site)); // others may have put something beside it
  }
  checkRoom(machine, *site, payload); // with what the earlier run gave back
  uint16_t number = site->variables.freeNumber();
  std::string image = imageName;
  std::replace(image.begin(), image.end(), '/', '\\');
  Manifest manifest =
      manifestOf(payload, bootOf(machine), number, bootOption(site->system.partition, "\\" + image, description));
  put(site, payload, manifest);
  sayStaged(front, *site, payload, manifest, job);
  return client::succeeded();
}

// Without anything to fetch: why.
client::Result tellNothing(const client::Front &front, const Machine &machine, const Site &site, const Look &look) {
  if (look.state == State::nothing || look.state == State::foreign) {
    client::complain(&front, "nothing is staged on '%a'", site.system.name.c_str());
    return client::notFound();
  }
  if (look.state == State::waiting) {
    bool isSame = !bootOf(machine).empty() && bootOf(machine) == look.manifest->boot;
    client::complain(&front, "there is no result yet: %a",
                     isSame ? "the machine was not restarted since"
                            : "the firmware has not booted what it was told to");
    return client::notFound();
  }
  if (look.manifest && isRemembered(site, *look.manifest)) {
    client::complain(
        &front, "the job began, and the firmware could not write to the system partition: what came of it was shown "
                "on the console ('xyl unpack'); 'xyl stage --cancel' cleans up");
    return client::failed(EFI_WRITE_PROTECTED);
  }
  client::complain(&front,
                   "the job left nothing: the staging was cut off, or the firmware did not start the image; 'xyl stage "
                   "--cancel' cleans up");
  return client::failed(EFI_NOT_STARTED);
}

// What is fetched must not lie where it is cleaned up.
void checkTarget(const Site &site, const fs::path &folder) {
  std::error_code error;
  fs::path target = fs::weakly_canonical(folder, error) / "";
  fs::path system = fs::weakly_canonical(site.system.folder, error) / "";
  if (target.string().starts_with(system.string())) {
    throw UsageError("'" + folder.string() + "' lies on the system partition; take the result to another place");
  }
}

client::Result fetch(const client::Context &context, const Machine &machine, Site *site) {
  const client::Front &front = *context.front;
  fs::path folder = context.request->operandCount != 0 ? context.request->operands[0] : ".";
  Look look = lookAt(*site);
  if (look.state == State::fetched) {
    sayStays(front, takeBack(site, look));
    client::complain(&front, "the result was fetched before; now what was left of it is cleaned up, too");
    return client::notFound();
  }
  if (look.state != State::ran) {
    return tellNothing(front, machine, *site, look);
  }
  checkTarget(*site, folder);
  FileReplaces replaces =
      context.request->options[client::optionForce] != nullptr ? FileReplaces::old : FileReplaces::none;
  client::Result result = fetchResult(front, *site, look, folder, replaces);
  noteFetched(site, look);
  sayStays(front, takeBack(site, look));
  client::say(&front, "The system partition and the firmware's variables are cleaned up.\n");
  return result;
}

client::Result cancel(const client::Context &context, Site *site) {
  const client::Front &front = *context.front;
  Look look = lookAt(*site);
  if (look.state == State::nothing || look.state == State::foreign) {
    client::complain(&front, "nothing is staged on '%a'", site->system.name.c_str());
    return client::notFound();
  }
  if (look.state == State::ran) {
    throw ClientError(EFI_ALREADY_STARTED, "the job has begun, at least; 'xyl stage --result DIR' fetches what it left "
                                           "and cleans up");
  }
  sayStays(front, takeBack(site, look));
  client::say(&front, "It is taken back: the next boot is as ever.\n");
  return client::succeeded();
}

client::Result run(const client::Context &context, const Machine &machine, Changes *changes) {
  bool fetches = client::hasOption(context, client::optionResult);
  bool cancels = client::hasOption(context, client::optionCancel);
  if (fetches && cancels) {
    throw UsageError("--result and --cancel exclude each other");
  }
  if (cancels ? context.request->operandCount != 0 : !fetches && context.request->operandCount == 0) {
    throw UsageError(cancels ? "--cancel takes no folder" : "'stage' needs an argument DIR, --result or --cancel");
  }
  fs::path variables = findVariables(machine);
  SystemPartition system = findSystemPartition(machine, optionText(context, client::optionEsp));
  FileLock lock;
  lockPartition(system, &lock);
  Site site = {system, Variables(variables, *changes), *changes};
  if (cancels) {
    return cancel(context, &site);
  }
  return fetches ? fetch(context, machine, &site) : begin(context, machine, &site);
}

} // namespace

client::Result stageOn(const client::Context &context, const Machine &machine, Changes *changes) {
  try {
    return run(context, machine, changes);
  } catch (const fs::filesystem_error &error) {
    EFI_STATUS status = statusFromErrno(error.code().value());
    throw ClientError(status, "cannot read '" + error.path1().string() + "': " + client::statusWords(status));
  }
}

client::Result runStage(const client::Context &context) {
  stage::Changes changes;
  return stage::stageOn(context, stage::thisMachine(), &changes);
}

} // namespace xyl::host::stage
