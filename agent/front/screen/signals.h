// SPDX-License-Identifier: Apache-2.0
// What somebody with a screen has to hear of: keys, signals, and that time has passed.
#ifndef ZEB_AGENT_FRONT_SCREEN_SIGNALS_H
#define ZEB_AGENT_FRONT_SCREEN_SIGNALS_H

#include <chrono>
#include <optional>

namespace terminal {

// Blocks SIGINT, SIGTERM, SIGHUP, SIGTSTP, SIGCONT and SIGWINCH for this process, and tells of them
// when it is asked. One per process, made before there are threads.
class Signals {
 public:
  // Throws std::system_error when the kernel refuses a descriptor.
  Signals();
  ~Signals();
  Signals(const Signals&) = delete;
  Signals& operator=(const Signals&) = delete;

  struct Woken {
    int signal = 0;       // 0: none came
    bool hungUp = false;  // nothing will ever come from it again
  };

  // Sleeps until a signal or a key comes, or so much time has passed.
  Woken wait(std::chrono::milliseconds most);

 private:
  int descriptor_;
};

}  // namespace terminal

#endif  // ZEB_AGENT_FRONT_SCREEN_SIGNALS_H
