// SPDX-License-Identifier: Apache-2.0
// Alone in its file: the system's header gives many plain words another meaning.
#include "agent/front/screen/terminfo.h"

#include <curses.h>
#include <term.h>
#include <unistd.h>

namespace terminal {
namespace {

// Empty when the terminal has no such sequence.
std::string sequence(const char* name) {
  const char* const text = tigetstr(name);
  const bool known = text != nullptr && text != reinterpret_cast<const char*>(-1);
  return known ? text : "";
}

}  // namespace

bool canMoveTheCursor() {
  int problem = 0;
  return setupterm(nullptr, STDOUT_FILENO, &problem) == OK && !sequence("cup").empty();
}

std::string restoreSequence() {
  return sequence("sgr0") + sequence("rmkx") + sequence("cnorm") + sequence("rmcup");
}

}  // namespace terminal
