// What the host program leaves in its memory: a passphrase must be nowhere when it ends.
#include <cstring>

#include <fcntl.h>
#include <sys/ptrace.h>
#include <unistd.h>

#include "tests/client/client.h"
#include "tests/support/paths.h"

// How often part stands in the memory that the process may write to.
static size_t countInMemory(pid_t process, const std::string &part) {
  std::string folder = "/proc/" + std::to_string(process);
  int memory = open((folder + "/mem").c_str(), O_RDONLY | O_CLOEXEC);
  std::ifstream maps(folder + "/maps");
  size_t count = 0;
  for (std::string line; std::getline(maps, line);) {
    unsigned long from = 0, to = 0;
    char writes = 0;
    sscanf(line.c_str(), "%lx-%lx r%c", &from, &to, &writes);
    if (writes != 'w' || to - from > 1UL << 32) { // the sanitizer's own map is that large
      continue;
    }
    std::string piece(1 << 20, 0);
    for (unsigned long at = from; at < to; at += piece.size() - part.size()) {
      // What was never touched cannot be read, and holds nothing.
      ssize_t length = pread(memory, piece.data(), std::min<unsigned long>(piece.size(), to - at), at);
      std::string_view read(piece.data(), std::max<ssize_t>(length, 0));
      for (size_t found = 0; (found = read.find(part, found)) != read.npos; ++found) {
        ++count;
      }
    }
  }
  close(memory);
  return count;
}

// Runs the program in the folder with the arguments and stops it at its end.
static pid_t runToItsEnd(const std::string &folder, const std::string &arguments) {
  pid_t process = fork();
  if (process == 0) {
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    std::string line = "cd '" + folder + "' && exec " + binaryDir() + "/bin/xyl " + arguments + " >/dev/null 2>&1";
    setenv("ASAN_OPTIONS", "detect_leaks=0", 1); // it cannot look for leaks in a traced process
    execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
    _exit(127);
  }
  int status = 0;
  waitpid(process, &status, 0);
  ptrace(PTRACE_SETOPTIONS, process, nullptr, PTRACE_O_TRACEEXIT | PTRACE_O_EXITKILL);
  do {
    ptrace(PTRACE_CONT, process, nullptr, nullptr);
    waitpid(process, &status, 0);
  } while (WIFSTOPPED(status) && status >> 8 != (SIGTRAP | PTRACE_EVENT_EXIT << 8));
  return process;
}

TEST(Xyl, LeavesNoPassphraseInItsMemory) {
  Client client("demo");
  const std::string secret = "Secret-17-Word", encoded = "U2VjcmV0LTE3LVdvcmQ=";
  std::string document = "<raidData><Method name=\"Lock\"><Object><Key><Mode>LKM</Mode><KeyID>k</KeyID><Passphrase>" +
                         encoded + "</Passphrase></Key></Object></Method>";
  client.write("key.xml", document + "</raidData>");
  client.write("long.xml", document + std::string(200000, ' ') + "</raidData>");
  for (const char *words : {"apply key.xml", "apply long.xml", "show key.xml", "plan long.xml"}) {
    pid_t process = runToItsEnd(client.folder(), words + std::string(" --preset empty"));
    EXPECT_NE(countInMemory(process, "--preset"), 0u); // the search finds what is there
    EXPECT_EQ(countInMemory(process, secret), 0u) << words;
    EXPECT_EQ(countInMemory(process, encoded), 0u) << words;
    ptrace(PTRACE_CONT, process, nullptr, nullptr);
    waitpid(process, nullptr, 0);
  }
}
