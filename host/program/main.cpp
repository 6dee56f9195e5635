// The host program: the client's commands against a simulated controller.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>

#include <sys/ioctl.h>
#include <unistd.h>

#include "client/command_line/command_line.h"
#include "host/common/common.h"
#include "host/layouts/layouts.h"
#include "host/platform/platform.h"
#include "host/program/busy.h"
#include "host/program/host_commands.h"
#include "host/program/outputs.h"
#include "host/program/secret.h"

namespace xyl::host {

static void writeOut(const client::Front *, const CHAR8 *text, UINTN length) {
  std::fwrite(text, 1, length, stdout);
}

static void writeError(const client::Front *, const CHAR8 *text, UINTN length) {
  std::fflush(stdout);
  std::fwrite(text, 1, length, stderr);
}

static EFI_STATUS readFile(const client::Front *, const CHAR8 *name, CHAR8 **data, UINTN *size) {
  std::string content;
  EFI_STATUS status = readHostFile(name, &content);
  if (!EFI_ERROR(status)) {
    *data = static_cast<CHAR8 *>(poolAllocate(content.size() + 1));
    status = *data == nullptr ? EFI_OUT_OF_RESOURCES : EFI_SUCCESS;
  }
  if (!EFI_ERROR(status)) {
    std::memcpy(*data, content.c_str(), content.size() + 1);
    *size = content.size();
  }
  wipeBytes(content.data(), content.size()); // change documents may hold passphrases
  return status;
}

static client::Answer askYes(const client::Front *, const CHAR8 *question) {
  if (isatty(STDIN_FILENO) == 0) {
    return client::Answer::noTerminal;
  }
  std::fflush(stdout);
  std::fputs(question, stderr);
  std::string line;
  std::getline(std::cin, line);
  return line == "yes" ? client::Answer::yes : client::Answer::no;
}

// How far an operation has come: a bar on a terminal, and lines where they are asked for.
namespace {
struct Shown {
  bool inLines = false;
  std::unique_ptr<Busy> bar;            // null: none
  const client::Front *front = nullptr; // that the lines of the running operation go to; null: none
  client::progress::Progress progress = {};
};
Shown g_shown;
} // namespace

static void showBusy(const client::Front *front, bool begins, UINT32 steps) {
  g_shown.bar.reset();
  g_shown.front = begins && g_shown.inLines ? front : nullptr;
  g_shown.progress = {.total = steps};
  if (begins && !g_shown.inLines && isatty(STDERR_FILENO) != 0) {
    auto write = [front](const std::string &text) { writeError(front, text.c_str(), text.size()); };
    g_shown.bar = std::make_unique<Busy>(write, std::chrono::seconds(1), steps);
  }
}

static void showStep(const client::progress::Step &step) {
  if (g_shown.bar != nullptr) {
    g_shown.bar->tellStep(step);
  }
  if (g_shown.front != nullptr) {
    client::progress::countStep(&g_shown.progress, step);
    std::string line = std::string(client::progress::stepLine(g_shown.progress).text) + "\n";
    writeError(g_shown.front, line.c_str(), line.size());
  }
}

static bool hasColours() {
  const char *none = std::getenv("NO_COLOR");
  const char *terminal = std::getenv("TERM");
  bool plain = (none != nullptr && *none != 0) || (terminal != nullptr && std::strcmp(terminal, "dumb") == 0);
  return !plain && isatty(STDOUT_FILENO) != 0;
}

// The columns of a line: what COLUMNS says, else the terminal, but no more than anywhere else.
static UINTN columnsOfLine() {
  const char *text = std::getenv("COLUMNS");
  unsigned long columns = text != nullptr ? std::strtoul(text, nullptr, 10) : 0;
  winsize size = {};
  if (columns == 0 && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0) {
    columns = size.ws_col;
  }
  return columns != 0 && columns < 80 ? columns : 80;
}

static std::string optionOf(const client::Request &request, client::OptionId id) {
  return request.options[id] != nullptr ? request.options[id] : "";
}

// Checks what the options say about the controller and the log.
static client::Result platformOptions(const client::Front &front, const client::Request &request,
                                      PlatformOptions *options) {
  options->preset = optionOf(request, client::optionPreset);
  options->controllerFile = optionOf(request, client::optionController);
  options->disks.assign(request.disks, request.disks + (client::xylDisksAreNames(request) ? 0 : request.diskCount));
  options->logLevel = optionOf(request, client::optionLog);
  const std::string &level = options->logLevel;
  if (!level.empty() && level != "trace" && level != "warn" && level != "error") {
    client::complain(&front, "--log wants trace, warn or error, not '%a'", level.c_str());
    return client::wrongUsage();
  }
  int sources = !options->preset.empty() + !options->controllerFile.empty() + !options->disks.empty();
  if (sources > 1) {
    client::complain(&front, "--preset, --controller and --disk exclude each other; give one of them");
    return client::wrongUsage();
  }
  if (!client::xylNeedsController(request)) {
    options->preset.clear();
    options->controllerFile.clear();
    options->disks.clear();
  } else if (sources == 0) {
    client::complain(&front, "no controller is given; use --preset NAME ('xyl sim presets'), --controller FILE "
                             "('xyl sim new') or --disk FILE");
    return client::wrongUsage();
  }
  return client::succeeded();
}

// The file of a simulated controller stands for its server; disks are this machine's.
static std::string serverName(const PlatformOptions &options) {
  char name[256] = "";
  if (!options.disks.empty() && gethostname(name, sizeof(name) - 1) != 0) {
    name[0] = 0;
  }
  return options.controllerFile + name;
}

static client::Result runOnPlatform(client::Front &front, const client::Request &request) {
  PlatformOptions options;
  client::Result result = platformOptions(front, request, &options);
  if (client::isFailure(result)) {
    return result;
  }
  options.changes = client::xylChangesController(request);
  options.onStep = showStep;
  Platform platform(options);
  front.systemTable = platform.systemTable();
  std::string server = serverName(options);
  front.serverName = server.c_str();
  result = client::xylRun(&front, request);
  std::fflush(stdout);
  // Also after a failure: steps done before it stay done.
  platform.saveController();
  std::string console = platform.takeConsole();
  for (const std::string &fault : platform.close(/* namesWereAsked= */ client::xylAsksNames(request))) {
    client::complain(&front, "internal error: %a", fault.c_str());
    result = client::failed(EFI_DEVICE_ERROR);
  }
  console += platform.takeConsole();
  client::complainLines(&front, console.c_str());
  return result;
}

} // namespace xyl::host

using namespace xyl;
using namespace xyl::host;

int main(int argc, char **argv) {
  client::Front front = {nullptr,  client::frontHost, nullptr,         writeOut,       writeError,
                         readFile, openHostOutput,    closeHostOutput, isSameHostFile, askYes};
  front.terminal = isatty(STDOUT_FILENO) != 0;
  front.colours = hasColours();
  front.columns = columnsOfLine();
  front.commands = g_hostCommands;
  front.askSecret = askHostSecret;
  front.busy = showBusy;
  front.translateLayout = layouts::translateLayout;
  client::Request request;
  client::Result result = client::xylParse(&front, static_cast<UINTN>(argc > 0 ? argc - 1 : 0), argv + 1, &request);
  if (!client::isFailure(result)) {
    client::xylSilence(&front, request);
    g_shown.inLines = request.options[client::optionProgress] != nullptr;
  }
  if (!client::isFailure(result) && !client::xylHelp(&front, request)) {
    result = guarded(front, [&] { return runOnPlatform(front, request); });
  }
  client::xylTellFailure(&front, request, result);
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    client::complain(&front, "the output cannot be written");
    result = client::failed(EFI_DEVICE_ERROR);
  }
  return result.outcome;
}
