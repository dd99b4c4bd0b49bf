// SPDX-License-Identifier: Apache-2.0
// What a server is told when it starts.
#ifndef ZEB_AGENT_FRONT_SERVE_OPTIONS_H
#define ZEB_AGENT_FRONT_SERVE_OPTIONS_H

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "agent/front/history/store.h"
#include "agent/front/serve/listening.h"
#include "agent/model/scope.h"
#include "agent/render/metrics.h"
#include "flowfile/file.h"

namespace serve {

struct KeepOptions {
  std::optional<std::string> file = {};  // nothing: the default one; empty: no history
  std::uint64_t mostBytes = history::kMostBytes;
};

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

}  // namespace serve

#endif  // ZEB_AGENT_FRONT_SERVE_OPTIONS_H
