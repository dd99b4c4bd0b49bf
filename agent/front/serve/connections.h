// SPDX-License-Identifier: Apache-2.0
// Which connections are open, and how long each may take. Closes none itself.
#ifndef ZEB_AGENT_FRONT_SERVE_CONNECTIONS_H
#define ZEB_AGENT_FRONT_SERVE_CONNECTIONS_H

#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <vector>

namespace serve {

// Keeps the book; it is told what happens, and when. For one thread at a time.
class Connections {
 public:
  using Time = std::chrono::steady_clock::time_point;

  struct Limits {
    std::size_t most = 256;                   // connections at once
    std::chrono::milliseconds request{2000};  // from a request's first byte until it is complete
    std::chrono::milliseconds answer{10000};  // from there until its answer is sent
    std::chrono::milliseconds idle{90000};    // without a request
  };

  // Why a connection's time is over, and which one it is.
  enum class Late { request, answer, idle };
  struct Overdue {
    int socket;
    Late what;
  };

  explicit Connections(Limits limits) : limits_(limits) {}

  // A new one, which waits for its first request.
  void opened(int socket, Time now);

  // It sent something. Only what comes while it waits for a request is a first byte.
  void heard(int socket, Time now);

  // Its request is complete.
  void asked(int socket, Time now);

  // The answer is sent: it waits for its next request.
  void answered(int socket, Time now);

  // It was shut down and doesn't count any more; closed() follows.
  void shut(int socket);
  void closed(int socket);

  // How many are open and not shut.
  std::size_t open() const;

  // How many are open, those that were shut and are not yet closed included.
  std::size_t held() const { return all_.size(); }

  // More than half of the places are in use: then a connection gets one answer, and ends.
  bool crowded() const { return open() > limits_.most / 2; }

  bool full() const { return open() >= limits_.most; }

  // The one that has waited longest for its request to be complete; nothing when all are being
  // answered.
  std::optional<int> longestWaiting() const;

  // Those that wait for a first byte.
  std::vector<int> silent() const;

  // The server works for one of them, and then no more. The others can't be heard meanwhile, so
  // that time is not taken off a request's, until its answer would be late.
  void working(Time now);
  void worked(Time now);

  // Those whose time is over.
  std::vector<Overdue> overdue(Time now) const;

 private:
  enum class State { silent, asking, answering, shut };
  struct Connection {
    State state = State::silent;
    Time since;              // when it began to wait, or when its first byte came
    Time waits;              // when it began to wait
    Time::duration work{0};  // of the server until then
  };

  Connection* find(int socket);
  Time::duration workUntil(Time now) const;

  Limits limits_;
  Time::duration work_{0};         // of the server, in all
  std::optional<Time> workSince_;  // it works now
  std::map<int, Connection> all_;
};

}  // namespace serve

#endif  // ZEB_AGENT_FRONT_SERVE_CONNECTIONS_H
