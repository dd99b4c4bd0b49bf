// SPDX-License-Identifier: Apache-2.0
#include "agent/front/screen/crash.h"

#include <signal.h>
#include <termios.h>
#include <unistd.h>

#include <cstring>

namespace terminal {
namespace {

constexpr int kCrashes[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGQUIT, SIGSYS};

// All that the handler may touch.
struct Saved {
  termios modes;
  char restore[256];
  std::size_t length;
};
Saved saved;

// Only calls that a signal handler may make. The signal's own action follows.
void restoreTerminal(int number) {
  [[maybe_unused]] const auto written = write(STDOUT_FILENO, saved.restore, saved.length);
  tcsetattr(STDIN_FILENO, TCSANOW, &saved.modes);
  raise(number);
}

}  // namespace

void guardAgainstCrashes(const std::string& restore) {
  tcgetattr(STDIN_FILENO, &saved.modes);
  saved.length = restore.size() < sizeof saved.restore ? restore.size() : 0;
  std::memcpy(saved.restore, restore.data(), saved.length);
  struct sigaction action = {};
  action.sa_handler = restoreTerminal;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  for (const int number : kCrashes) sigaction(number, &action, nullptr);
}

void endGuard() {
  for (const int number : kCrashes) signal(number, SIG_DFL);
}

}  // namespace terminal
