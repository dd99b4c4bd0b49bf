// SPDX-License-Identifier: Apache-2.0
// HTTP over sockets. The only place that knows libmicrohttpd.
#ifndef ZEB_AGENT_FRONT_SERVE_HTTP_SERVER_H
#define ZEB_AGENT_FRONT_SERVE_HTTP_SERVER_H

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "agent/front/serve/connections.h"
#include "agent/front/serve/request.h"

namespace serve {

// A certificate with its key, as PEM texts.
struct Identity {
  std::string certificate;
  std::string key;
};

// Answers from its making until its end, with two threads of its own: one accepts connections and
// watches over their time, one speaks HTTP.
class HttpServer {
 public:
  struct Settings {
    Connections::Limits limits = {};

    // How often it looks whether connections speak and whose time is over.
    std::chrono::milliseconds tick{250};

    std::optional<Identity> identity = {};  // with one, all connections are TLS

    // How many bytes of answers may wait to be taken, without those that clients share. Above that
    // who asks for more than a little is told to come back.
    std::size_t mostUnsent = std::size_t{64} << 20;
  };

  // Called by the thread that speaks HTTP. Must not throw.
  using Handler = std::function<Reply(const Request&)>;

  // Told when a connection was shut because its time was over, to make room, or without its answer
  // because too many wait to be taken; by either thread.
  enum class Shut { request, answer, idle, crowded, unsent };
  using OnShut = std::function<void(Shut)>;

  // `listening` are sockets that listen; they stay their owner's. Throws Trouble.
  HttpServer(std::vector<int> listening, Settings settings, Handler handler, OnShut onShut);

  // No answer is under way afterwards.
  ~HttpServer();
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

 private:
  class Engine;
  std::unique_ptr<Engine> engine_;
};

}  // namespace serve

#endif  // ZEB_AGENT_FRONT_SERVE_HTTP_SERVER_H
