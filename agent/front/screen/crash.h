// SPDX-License-Identifier: Apache-2.0
// The terminal given back by a process that crashes.
#ifndef ZEB_AGENT_FRONT_SCREEN_CRASH_H
#define ZEB_AGENT_FRONT_SCREEN_CRASH_H

#include <string>

namespace terminal {

// From now on a signal that ends this process with a core first sets the terminal at standard input
// to the modes that it has now, and writes `restore` to standard output. Longer texts than 255
// bytes are not kept.
void guardAgainstCrashes(const std::string& restore);

// No longer.
void endGuard();

}  // namespace terminal

#endif  // ZEB_AGENT_FRONT_SCREEN_CRASH_H
