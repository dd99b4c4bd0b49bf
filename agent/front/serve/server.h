// SPDX-License-Identifier: Apache-2.0
// zebmon as a service: looks at the machine, and answers over HTTP what it saw.
#ifndef ZEB_AGENT_FRONT_SERVE_SERVER_H
#define ZEB_AGENT_FRONT_SERVE_SERVER_H

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "agent/front/serve/event_book.h"
#include "agent/front/serve/http_server.h"
#include "agent/front/serve/keeper.h"
#include "agent/front/serve/listening.h"
#include "agent/front/serve/watcher.h"

namespace serve {

// As the command line says it.
struct Options {
  std::string directory = {};  // of the key files; empty: as the library is configured here
  Address listen{.host = "127.0.0.1", .port = 9847};  // unless systemd hands sockets over
  SocketRights rights = {};
  std::chrono::milliseconds interval{2000};
  model::Scope scope{.mostBrokers = 64, .mostTotal = 256 << 20};
  std::vector<std::string> hosts = {};  // names of this server, besides its addresses
  std::string tokenFile = {};           // paths; empty: none
  std::string certificateFile = {};
  std::string keyFile = {};
  std::shared_ptr<const flowfile::File> flows = {};  // what is known of flows; null: nothing
  KeepOptions history = {};
  render::MetricsOptions metrics = {};  // its exposition doesn't count: clients choose one
  bool events = false;
  bool insecure = false;
};

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
