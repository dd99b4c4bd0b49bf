// SPDX-License-Identifier: Apache-2.0
// A terminal's whole screen and its keys.
#ifndef ZEB_AGENT_FRONT_SCREEN_FULL_SCREEN_H
#define ZEB_AGENT_FRONT_SCREEN_FULL_SCREEN_H

#include <memory>
#include <optional>
#include <vector>

#include "agent/render/line.h"
#include "agent/render/top/state.h"

namespace terminal {

// Takes the terminal at standard input and output while it lives, and gives it back as it was: at
// its end, before the process is stopped, and also when the process crashes. One per process.
class FullScreen {
 public:
  // Null when TERM names no terminal on which the cursor can be moved. `colors` are used where the
  // terminal has some.
  static std::unique_ptr<FullScreen> open(bool colors);
  ~FullScreen();
  FullScreen(const FullScreen&) = delete;
  FullScreen& operator=(const FullScreen&) = delete;

  // At least 1 by 1.
  top::Size size() const;

  // One line below the other; what doesn't fit is not drawn, and what was there before is gone.
  void draw(const std::vector<render::Line>& lines);

  // The next key that was pressed; nothing when none is waiting. Never waits. To be asked once
  // before waiting for keys: only then the terminal is told to send those that are no characters.
  std::optional<top::Key> key();

  // Takes over the size that the terminal has now.
  void resize();

  // Gives the terminal back, stops this process as SIGTSTP would, and takes the terminal again once
  // it goes on. SIGTSTP must be blocked.
  void stop();

  // For a process that went on after somebody else stopped it.
  void takeAgain();

 private:
  explicit FullScreen(bool colors);

  bool colors_;
};

}  // namespace terminal

#endif  // ZEB_AGENT_FRONT_SCREEN_FULL_SCREEN_H
