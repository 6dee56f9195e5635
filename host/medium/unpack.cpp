#include "host/medium/unpack.h"

#include <cstdlib>
#include <filesystem>
#include <map>
#include <sstream>

#include "base/crc32.h"
#include "client/transcript/transcript.h"
#include "host/common/common.h"

namespace xyl::host {

namespace fs = std::filesystem;

// A file as it stands in a log.
struct LoggedFile {
  std::string content;
  bool isWhole = false;
};

// What a log has between its marks.
struct Logged {
  std::map<std::string, LoggedFile> files; // by name; of several with one name the last counts
  int nameless = 0;                        // files whose first mark is not there
};

// The plain letters of a log that a program kept as UTF-16; quoted-printable has no others.
static std::string narrowText(const std::string &log) {
  bool isLittle = log.starts_with("\xFF\xFE");
  if (!isLittle && !log.starts_with("\xFE\xFF")) {
    return log;
  }
  std::string narrow;
  for (size_t i = 2; i + 1 < log.size(); i += 2) {
    bool isPlain = log[isLittle ? i + 1 : i] == 0;
    narrow += isPlain ? log[isLittle ? i : i + 1] : '?';
  }
  return narrow;
}

// Without what steers a terminal, and without carriage returns.
static std::string plainText(const std::string &log) {
  std::string plain;
  for (size_t i = 0; i < log.size(); ++i) {
    if (log[i] == '\x1b' && i + 1 < log.size() && log[i + 1] == '[') {
      for (i += 2; i < log.size() && (log[i] < '@' || log[i] > '~'); ++i) {
      }
    } else if (log[i] != '\r') {
      plain += log[i];
    }
  }
  return plain;
}

// Appends what a line of quoted-printable text says; whether the next line goes on with it.
static bool decode(std::string line, std::string *content) {
  line.erase(line.find_last_not_of(" \t") + 1);
  for (size_t i = 0; i < line.size(); ++i) {
    if (line[i] != '=') {
      *content += line[i];
    } else if (i + 1 == line.size()) {
      return true;
    } else {
      *content += static_cast<char>(std::strtoul(line.substr(i + 1, 2).c_str(), nullptr, 16));
      i += 2;
    }
  }
  return false;
}

// What stands behind the mark, if the line has it.
static bool isMarked(const std::string &line, const char *mark, std::string *rest) {
  size_t at = line.find(mark);
  if (at != std::string::npos) {
    *rest = line.substr(at + std::string(mark).size());
    rest->erase(rest->find_last_not_of(" \t") + 1);
  }
  return at != std::string::npos;
}

static bool isWhole(const std::string &content, const std::string &end) {
  size_t size = 0;
  std::string crc;
  std::istringstream(end) >> size >> crc;
  return size == content.size() && std::strtoul(crc.c_str(), nullptr, 16) == crc32Of(content.data(), content.size());
}

// Reads a log line by line.
struct LogReader {
  Logged logged;
  LoggedFile *open = nullptr;
  std::string name;
  bool isInName = false; // the next line goes on with it

  void begin() {
    open = &logged.files[name];
    *open = {};
  }
  void end(const std::string &mark) {
    if (isInName) {
      begin(); // cut within its name
    }
    logged.nameless += open == nullptr ? 1 : 0;
    if (open != nullptr) {
      open->isWhole = isWhole(open->content, mark);
    }
    open = nullptr;
    isInName = false;
  }
  void readName(const std::string &line) {
    isInName = decode(line, &name);
    if (!isInName) {
      begin();
    }
  }
  void read(const std::string &line) {
    std::string rest;
    if (isMarked(line, client::transcriptFile, &rest)) {
      open = nullptr;
      name = "";
      readName(rest);
    } else if (isMarked(line, client::transcriptEnd, &rest)) {
      end(rest);
    } else if (isInName) {
      readName(line);
    } else if (open != nullptr && !decode(line, &open->content)) {
      open->content += '\n';
    }
  }
};

static Logged filesOf(const std::string &log) {
  LogReader reader;
  std::istringstream lines(plainText(narrowText(log)));
  for (std::string line; std::getline(lines, line);) {
    reader.read(line);
  }
  return reader.logged;
}

// The path below the folder that a name of the medium becomes, or an empty one: a log may come from anywhere, and leads
// nowhere else.
static fs::path pathOf(std::string name) {
  for (char &letter : name) {
    letter = letter == '\\' ? '/' : letter;
  }
  fs::path path = fs::path(name).relative_path().lexically_normal();
  bool isBelow = !path.empty() && *path.begin() != ".." && path.has_filename() && path != ".";
  return isBelow && name.find('\0') == std::string::npos ? path : fs::path();
}

static void writeFile(const fs::path &path, const std::string &content, FileReplaces replaces) {
  std::error_code error;
  fs::create_directories(path.parent_path(), error);
  EFI_STATUS status = writeHostFile(path.string(), content, replaces);
  if (status == EFI_ALREADY_STARTED) {
    throw ClientError(status,
                      "'" + path.string() + "' exists; unpack into another folder, or overwrite it with --force");
  }
  if (EFI_ERROR(status)) {
    throw ClientError(status, "cannot write '" + path.string() + "': " + client::statusWords(status));
  }
}

// Writes one file; what is in its way is told.
static EFI_STATUS tryFile(const client::Front &front, const fs::path &path, const std::string &content,
                          FileReplaces replaces) {
  try {
    writeFile(path, content, replaces);
  } catch (const ClientError &error) {
    client::complain(&front, "%a", error.what());
    return error.status;
  }
  client::say(&front, "%10lu  %a\n", UINT64{content.size()}, path.c_str());
  return EFI_SUCCESS;
}

// Tells what came, but not as it was.
static void tellDamage(const client::Front &front, const Logged &logged, const std::string &damaged) {
  if (!damaged.empty()) {
    client::complain(&front, "these came cut or changed, and were left out: %a", damaged.c_str());
  }
  if (logged.nameless != 0) {
    client::complain(&front, "files without the line that names them were left out: %d", logged.nameless);
  }
}

client::Result runUnpack(const client::Context &context) {
  const client::Front &front = *context.front;
  const client::Request &request = *context.request;
  const CHAR8 *log = request.operands[0];
  std::string content;
  EFI_STATUS status = readHostFile(log, &content);
  if (EFI_ERROR(status)) {
    client::complain(&front, "cannot read '%a': %a", log, client::statusWords(status));
    return status == EFI_NOT_FOUND ? client::notFound() : client::failed(status);
  }
  FileReplaces replaces = request.options[client::optionForce] != nullptr ? FileReplaces::old : FileReplaces::none;
  std::string damaged;
  Logged logged = filesOf(content);
  for (const auto &[name, file] : logged.files) {
    fs::path path = pathOf(name);
    if (!file.isWhole || path.empty()) {
      damaged += (damaged.empty() ? "" : ", ") + (path.empty() ? "'" + name + "', no name for a file here" : name);
    } else {
      EFI_STATUS written = tryFile(front, fs::path(request.operands[1]) / path, file.content, replaces);
      status = EFI_ERROR(written) ? written : status;
    }
  }
  tellDamage(front, logged, damaged);
  if (logged.files.empty() && logged.nameless == 0) {
    client::complain(&front, "there are no results in '%a'", log);
    return client::notFound();
  }
  bool isWhole = damaged.empty() && logged.nameless == 0;
  return EFI_ERROR(status) ? client::failed(status)
         : isWhole         ? client::succeeded()
                           : client::failed(EFI_VOLUME_CORRUPTED);
}

} // namespace xyl::host
