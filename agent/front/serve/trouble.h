// SPDX-License-Identifier: Apache-2.0
// Why a server can't start.
#ifndef ZEB_AGENT_FRONT_SERVE_TROUBLE_H
#define ZEB_AGENT_FRONT_SERVE_TROUBLE_H

#include <string>

namespace serve {

// Thrown by what prepares a server.
struct Trouble {
  enum class Kind {
    usage,   // what was asked for can't be had
    system,  // a call failed, with `error`
  };

  Kind kind = Kind::usage;
  std::string sentence;  // what is wrong, and what to do; without its full stop, any bytes
  int error = 0;         // errno
};

// "can't WHAT: why. WHAT TO DO", of a call that has just failed with `error`.
Trouble failedCall(const std::string& what, int error, const std::string& remedy);

}  // namespace serve

#endif  // ZEB_AGENT_FRONT_SERVE_TROUBLE_H
