#include "host/program/secret.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <iterator>

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include "client/output/output.h"

namespace xyl::host {

static constexpr int g_ends[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM};
static volatile std::sig_atomic_t g_signal = 0;

static void keepSignal(int signal) {
  g_signal = signal;
}

// Signals that end the program come while it waits for a key, and end it when this goes.
class EndsWait {
public:
  EndsWait() {
    struct sigaction keeps = {};
    keeps.sa_handler = keepSignal;
    sigset_t ends;
    sigemptyset(&ends);
    for (size_t i = 0; i < std::size(g_ends); ++i) {
      sigaddset(&ends, g_ends[i]);
      sigaction(g_ends[i], nullptr, &actions_[i]);
      if (actions_[i].sa_handler != SIG_IGN) {
        sigaction(g_ends[i], &keeps, nullptr);
      }
    }
    sigprocmask(SIG_BLOCK, &ends, &mask_);
  }
  ~EndsWait() {
    for (size_t i = 0; i < std::size(g_ends); ++i) {
      sigaction(g_ends[i], &actions_[i], nullptr);
    }
    if (g_signal != 0) {
      raise(g_signal);
    }
    sigprocmask(SIG_SETMASK, &mask_, nullptr);
  }
  EndsWait(const EndsWait &) = delete;
  EndsWait &operator=(const EndsWait &) = delete;

  bool waitFor(int file) const {
    pollfd wanted = {file, POLLIN, 0};
    return ppoll(&wanted, 1, nullptr, &mask_) == 1;
  }

private:
  struct sigaction actions_[std::size(g_ends)] = {};
  sigset_t mask_ = {};
};

// The terminal of the program, also when its standard input is another one, without echo. Keys come one by one and end
// no program, so that the terminal is put back whatever is typed.
class QuietTerminal {
public:
  QuietTerminal() : file_(open("/dev/tty", O_RDWR | O_CLOEXEC)) {
    good_ = file_ >= 0 && tcgetattr(file_, &before_) == 0;
    if (good_) {
      termios quiet = before_;
      quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHONL | ICANON | ISIG);
      quiet.c_cc[VMIN] = 1;
      quiet.c_cc[VTIME] = 0;
      good_ = tcsetattr(file_, TCSAFLUSH, &quiet) == 0;
    }
  }
  ~QuietTerminal() {
    if (good_) {
      tcsetattr(file_, TCSAFLUSH, &before_);
    }
    if (file_ >= 0) {
      close(file_);
    }
  }
  QuietTerminal(const QuietTerminal &) = delete;
  QuietTerminal &operator=(const QuietTerminal &) = delete;

  bool good() const { return good_; }
  bool readByte(UINT8 *byte) const { return ends_.waitFor(file_) && read(file_, byte, 1) == 1; }
  void show(const char *text) const {
    if (write(file_, text, std::strlen(text)) < 0) {
      return; // a terminal that is gone gives no answer either
    }
  }

private:
  EndsWait ends_; // goes last
  int file_;
  bool good_;
  termios before_ = {};
};

EFI_STATUS askHostSecret(const client::Front *, const CHAR8 *question, CHAR8 *secret, UINTN capacity) {
  std::fflush(stdout);
  QuietTerminal terminal;
  if (!terminal.good()) {
    return EFI_NOT_FOUND;
  }
  terminal.show(question);
  client::SecretLine line = {secret, capacity, 0};
  client::SecretState state = client::SecretState::open;
  for (UINT8 byte = 0; state == client::SecretState::open;) {
    state = terminal.readByte(&byte) ? client::typeSecret(&line, byte) : client::SecretState::cancelled;
    byte = 0;
  }
  terminal.show("\n");
  return client::endSecret(&line, state);
}

} // namespace xyl::host
