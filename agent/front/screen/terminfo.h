// SPDX-License-Identifier: Apache-2.0
// What is known of the terminal that TERM names.
#ifndef ZEB_AGENT_FRONT_SCREEN_TERMINFO_H
#define ZEB_AGENT_FRONT_SCREEN_TERMINFO_H

#include <string>

namespace terminal {

// False also when nobody knows that terminal. To be asked first.
bool canMoveTheCursor();

// What to write to it to give it back as it was.
std::string restoreSequence();

}  // namespace terminal

#endif  // ZEB_AGENT_FRONT_SCREEN_TERMINFO_H
