// Runs the host program as its users do.
#pragma once

#include <string>
#include <vector>

struct RUN {
  int code = -1; // of the exit, or -1 for any other end
  std::string out;
  std::string error;
};

// A folder of its own for each test, in which the program runs; it goes with its files.
class Client {
public:
  Client();
  ~Client();

  // Without a terminal at the standard input.
  RUN run(const std::vector<std::string> &arguments);
  // The standard output of a run that has to succeed.
  std::string output(const std::vector<std::string> &arguments);

  std::string read(const std::string &file);
  void write(const std::string &file, const std::string &text);
  // Replaces the first from in a file, which must be there.
  void edit(const std::string &file, const std::string &from, const std::string &to);
  void link(const std::string &target, const std::string &name);
  size_t fileCount();

private:
  std::string folder_;
};
