// SPDX-License-Identifier: Apache-2.0
// zebmon as a service: looks at the machine, and answers over HTTP what it saw.
#ifndef ZEB_AGENT_FRONT_SERVE_SERVER_H
#define ZEB_AGENT_FRONT_SERVE_SERVER_H

#include <functional>
#include <string>

#include "agent/front/serve/options.h"

namespace serve {

// Where what the server says goes.
struct Voice {
  std::function<void(const std::string&)> tell;  // lines of the start, with their ends
  std::function<void(const std::string&)> log;   // sentences without their full stop
};

// Serves until SIGINT or SIGTERM comes. To be called while the process has one thread: it gives up
// rights for good, and blocks the two signals. Throws Trouble when it can't start.
void serve(const Options& options, const Voice& voice);

// Only looks, and keeps the history: without HTTP, and of the options with those alone that concern
// this. Otherwise like serve(); without a history it can't start either.
void record(const Options& options, const Voice& voice);

}  // namespace serve

#endif  // ZEB_AGENT_FRONT_SERVE_SERVER_H
