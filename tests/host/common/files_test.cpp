// Files are whole or not there, whenever a signal comes.
#include "host/common/files.h"

#include <csignal>

#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/client/client.h"

using namespace xyl;

static int g_signal = 0; // comes while a file is made safe, when it has its content but not its name

extern "C" int fsync(int file) {
  return raise(g_signal) != 0 ? -1 : static_cast<int>(syscall(SYS_fsync, file));
}

TEST(Files, AreWholeWhenASignalEndsTheProgram) {
  for (int signal : {SIGINT, SIGTERM}) {
    Client client("empty");
    std::string name = client.path("made.xml");
    pid_t child = fork();
    if (child == 0) {
      std::signal(signal, SIG_DFL); // a shell may start the tests with it ignored
      g_signal = signal;
      _exit(host::writeHostFile(name, "whole") == EFI_SUCCESS ? 1 : 2);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal);
    client.expect({"0 !test $(ls | wc -l) = 3 && cat made.xml => whole"});
  }
}
