#include "host/medium/unpack.h"

#include <cstdlib>
#include <filesystem>
#include <map>
#include <sstream>

#include "base/crc32.h"
#include "client/transcript/transcript.h"
#include "host/common/common.h"

namespace fs = std::filesystem;

// A file as it stands in a log.
struct LOGGED_FILE {
  std::string content;
  bool isWhole = false;
};

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

// Appends a line of quoted-printable text.
static void decode(std::string line, std::string *content) {
  line.erase(line.find_last_not_of(" \t") + 1);
  for (size_t i = 0; i < line.size(); ++i) {
    if (line[i] != '=') {
      *content += line[i];
    } else if (i + 1 == line.size()) {
      return; // the line goes on
    } else {
      *content += static_cast<char>(std::strtoul(line.substr(i + 1, 2).c_str(), nullptr, 16));
      i += 2;
    }
  }
  *content += '\n';
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

// The files by name; of several with one name the last counts.
static std::map<std::string, LOGGED_FILE> filesOf(const std::string &log) {
  std::map<std::string, LOGGED_FILE> files;
  LOGGED_FILE *open = nullptr;
  std::istringstream lines(plainText(log));
  std::string rest;
  for (std::string line; std::getline(lines, line);) {
    if (isMarked(line, TRANSCRIPT_FILE, &rest)) {
      open = &files[rest];
      *open = {};
    } else if (open != nullptr && isMarked(line, TRANSCRIPT_END, &rest)) {
      open->isWhole = isWhole(open->content, rest);
      open = nullptr;
    } else if (open != nullptr) {
      decode(line, &open->content);
    }
  }
  return files;
}

// The path below the folder that a name of the medium becomes; a log may come from anywhere, and leads nowhere else.
static fs::path pathOf(std::string name) {
  for (char &letter : name) {
    letter = letter == '\\' ? '/' : letter;
  }
  fs::path path = fs::path(name).relative_path().lexically_normal();
  if (path.empty() || *path.begin() == ".." || !path.has_filename() || path == ".") {
    throw CLIENT_ERROR(EFI_INVALID_PARAMETER, "'" + name + "' in the log is no name for a file here");
  }
  return path;
}

static void writeFile(const fs::path &path, const std::string &content, FILE_REPLACES replaces) {
  std::error_code error;
  fs::create_directories(path.parent_path(), error);
  EFI_STATUS status = writeHostFile(path.string(), content, replaces);
  if (status == EFI_ALREADY_STARTED) {
    throw CLIENT_ERROR(status,
                       "'" + path.string() + "' exists; unpack into another folder, or overwrite it with --force");
  }
  if (EFI_ERROR(status)) {
    throw CLIENT_ERROR(status, "cannot write '" + path.string() + "': " + statusWords(status));
  }
}

XYL_RESULT runUnpack(const XYL_HOST &host, const XYL_REQUEST &request) {
  const CHAR8 *log = request.Operands[0];
  std::string content;
  EFI_STATUS status = readHostFile(log, &content);
  if (EFI_ERROR(status)) {
    complain(&host, "cannot read '%a': %a", log, statusWords(status));
    return status == EFI_NOT_FOUND ? notFound() : failed(status);
  }
  FILE_REPLACES replaces = request.Options[XYL_OPTION_FORCE] != nullptr ? FILE_REPLACES_OLD : FILE_REPLACES_NONE;
  std::string damaged;
  std::map<std::string, LOGGED_FILE> files = filesOf(content);
  for (const auto &[name, file] : files) {
    fs::path path = fs::path(request.Operands[1]) / pathOf(name);
    if (!file.isWhole) {
      damaged += (damaged.empty() ? "" : ", ") + name;
      continue;
    }
    writeFile(path, file.content, replaces);
    say(&host, "%10lu  %a\n", UINT64{file.content.size()}, path.c_str());
  }
  if (files.empty()) {
    complain(&host, "there are no results in '%a'", log);
    return notFound();
  }
  if (!damaged.empty()) {
    complain(&host, "these came cut or changed, and were left out: %a", damaged.c_str());
    return failed(EFI_VOLUME_CORRUPTED);
  }
  return succeeded();
}
