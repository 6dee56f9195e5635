// Runs the host program as its users do.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include "client/client.h"
#include "tests/support/paths.h"

using namespace xyl;

// A front that appends all that is written to a text.
inline client::Front frontInto(std::string &text) {
  client::Front front = {};
  front.context = &text;
  front.writeOut = front.writeError = [](const client::Front *to, const CHAR8 *part, UINTN length) {
    static_cast<std::string *>(to->context)->append(part, length);
  };
  return front;
}

// What a command of the system's shell shows on a terminal, where each answer is typed when its question has come.
inline std::string onTerminal(const std::string &line, const std::vector<std::string> &answers = {}) {
  int terminal = -1;
  pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
  if (child == 0) {
    execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
    _exit(127);
  }
  std::string text;
  size_t answered = 0;
  char buffer[4096];
  for (ssize_t got = 0; (got = read(terminal, buffer, sizeof buffer)) > 0;) {
    text.append(buffer, static_cast<size_t>(got));
    if (answered < answers.size() && (text.ends_with("phrase: ") || text.ends_with("again: "))) {
      const std::string &answer = answers[answered++];
      EXPECT_EQ(write(terminal, answer.data(), answer.size()), static_cast<ssize_t>(answer.size()));
    }
  }
  close(terminal);
  waitpid(child, nullptr, 0);
  return text;
}

// A folder of its own for each test, in which the program runs; it goes with its files.
class Client {
public:
  // Makes a controller in lab.json and writes what get says of it to saved.xml.
  explicit Client(const std::string &preset) {
    folder_ = std::string(mkdtemp((std::filesystem::temp_directory_path() / "xyl-XXXXXX").string().data())) + "/";
    std::filesystem::create_directory(folder_ + "work");
    expect({"0 sim new --preset " + preset + " lab.json", "0 get --controller lab.json -o saved.xml"});
  }
  ~Client() { std::filesystem::remove_all(folder_); }

  // Runs steps, "CODE LINE => PARTS": the exit code, a command line of xyl (of the system's shell behind a '!') and the
  // parts of what is printed, each behind the one before it, separated by '|'. A step with code 0 or 1 says nothing on
  // the error output, any other one says one line. A part behind a '^' follows at once. The standard input is no
  // terminal, $LAB is the controller, $TESTS and $Recorded are where tests and recordings lie. Returns what the last
  // step printed.
  std::string expect(const std::vector<std::string> &steps) {
    std::string printed;
    for (const std::string &step : steps) {
      size_t arrow = std::min(step.find(" => "), step.size());
      std::string line = step[2] == '!' ? step.substr(3, arrow - 3) : "xyl " + step.substr(2, arrow - 2);
      std::string start = "PATH=" + binaryDir() + "/bin:$PATH LAB='--controller lab.json' TESTS='" + sourceDir() +
                          "/tests' RECORDED='" + goldenDir() + "'" + variables_ + "; cd '" + folder_ + "work'; { ";
      int status = std::system((start + line + "; } </dev/null >../out 2>../error").c_str());
      std::string error = read("../error");
      printed = read("../out") + error;
      EXPECT_EQ(WIFEXITED(status) ? WEXITSTATUS(status) : -1, step[0] - '0') << step << "\n" << printed;
      EXPECT_EQ(std::count(error.begin(), error.end(), '\n'), step[0] < '2' ? 0 : 1) << step << "\n" << printed;
      EXPECT_TRUE(arrow == step.size() || contains(printed, step.substr(arrow + 4))) << step << "\n" << printed;
    }
    return printed;
  }

  // A variable of the steps from now on; it may have others in it.
  void set(const std::string &name, const std::string &value) { variables_ += " " + name + "=\"" + value + "\""; }

  std::string path(const std::string &file) const { return folder_ + "work/" + file; }

  std::string read(const std::string &file) {
    std::ifstream stream(path(file), std::ios::binary);
    EXPECT_TRUE(stream.good()) << file;
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  void write(const std::string &file, const std::string &text) { std::ofstream(path(file), std::ios::binary) << text; }
  // Replaces the first from in text, which must be there, and writes that to a file.
  void writeEdited(const std::string &file, std::string text, const std::string &from, const std::string &to) {
    size_t place = text.find(from);
    ASSERT_NE(place, std::string::npos) << from;
    write(file, text.replace(place, from.size(), to));
  }

  // Where the steps run.
  std::string folder() const { return folder_ + "work"; }

private:
  static bool contains(const std::string &text, const std::string &parts) {
    size_t from = 0;
    std::istringstream list(parts);
    for (std::string part; from != std::string::npos && std::getline(list, part, '|');) {
      bool isNext = part.starts_with('^');
      size_t found = text.find(part.substr(isNext), from);
      from = found == std::string::npos || (isNext && found != from) ? std::string::npos : found + part.size() - isNext;
    }
    return from != std::string::npos;
  }

  std::string folder_, variables_;
};
