#include "client.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

Client::Client() {
  std::string pattern = (fs::temp_directory_path() / "xyl-test-XXXXXX").string();
  folder_ = mkdtemp(pattern.data());
  fs::create_directory(folder_ + "/work");
}

Client::~Client() {
  fs::remove_all(folder_);
}

// In the child process.
static void redirect(int descriptor, const std::string &file, int flags) {
  int opened = open(file.c_str(), flags, 0600);
  dup2(opened, descriptor);
  close(opened);
}

RUN Client::run(const std::vector<std::string> &arguments) {
  std::string program = RAIDXYL_BINARY_DIR "/apps/xyl/xyl";
  std::vector<char *> argv = {program.data()};
  for (const std::string &argument : arguments) {
    argv.push_back(const_cast<char *>(argument.c_str()));
  }
  argv.push_back(nullptr);
  pid_t child = fork();
  if (child == 0) {
    redirect(STDIN_FILENO, "/dev/null", O_RDONLY);
    redirect(STDOUT_FILENO, folder_ + "/out", O_WRONLY | O_CREAT | O_TRUNC);
    redirect(STDERR_FILENO, folder_ + "/error", O_WRONLY | O_CREAT | O_TRUNC);
    if (chdir((folder_ + "/work").c_str()) == 0) {
      execv(program.c_str(), argv.data());
    }
    _exit(127);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read("../out"), read("../error")};
}

std::string Client::output(const std::vector<std::string> &arguments) {
  RUN run = this->run(arguments);
  EXPECT_EQ(run.code, 0) << testing::PrintToString(arguments) << run.error;
  EXPECT_EQ(run.error, "") << testing::PrintToString(arguments);
  return run.out;
}

std::string Client::read(const std::string &file) {
  std::ifstream stream(folder_ + "/work/" + file, std::ios::binary);
  EXPECT_TRUE(stream.good()) << file;
  std::ostringstream text;
  text << stream.rdbuf();
  return text.str();
}

void Client::write(const std::string &file, const std::string &text) {
  std::ofstream(folder_ + "/work/" + file, std::ios::binary) << text;
}

void Client::edit(const std::string &file, const std::string &from, const std::string &to) {
  std::string text = read(file);
  size_t place = text.find(from);
  ASSERT_NE(place, std::string::npos) << from;
  write(file, text.replace(place, from.size(), to));
}

void Client::link(const std::string &target, const std::string &name) {
  fs::create_symlink(target, folder_ + "/work/" + name);
}

size_t Client::fileCount() {
  return static_cast<size_t>(std::distance(fs::directory_iterator(folder_ + "/work"), fs::directory_iterator{}));
}
