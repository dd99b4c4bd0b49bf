// SPDX-License-Identifier: Apache-2.0
#include "agent/front/serve/connections.h"

#include <algorithm>

namespace serve {

Connections::Connection* Connections::find(int socket) {
  const auto found = all_.find(socket);
  return found == all_.end() || found->second.state == State::shut ? nullptr : &found->second;
}

void Connections::opened(int socket, Time now) {
  all_[socket] = {.state = State::silent, .since = now, .waits = now};
}

void Connections::heard(int socket, Time now) {
  Connection* const connection = find(socket);
  if (connection == nullptr || connection->state != State::silent) return;
  connection->state = State::asking;
  connection->since = now;
  connection->work = workUntil(now);
}

void Connections::asked(int socket, Time now) {
  heard(socket, now);
  if (Connection* const connection = find(socket)) connection->state = State::answering;
}

void Connections::answered(int socket, Time now) {
  if (Connection* const connection = find(socket)) {
    *connection = {.state = State::silent, .since = now, .waits = now};
  }
}

void Connections::shut(int socket) {
  if (Connection* const connection = find(socket)) connection->state = State::shut;
}

void Connections::closed(int socket) {
  all_.erase(socket);
}

std::size_t Connections::open() const {
  return static_cast<std::size_t>(std::ranges::count_if(
      all_, [](const auto& entry) { return entry.second.state != State::shut; }));
}

std::optional<int> Connections::longestWaiting() const {
  std::optional<int> longest;
  Time since = Time::max();
  for (const auto& [socket, connection] : all_) {
    const bool waits = connection.state == State::silent || connection.state == State::asking;
    if (!waits || connection.waits >= since) continue;
    longest = socket;
    since = connection.waits;
  }
  return longest;
}

std::vector<int> Connections::silent() const {
  std::vector<int> sockets;
  for (const auto& [socket, connection] : all_) {
    if (connection.state == State::silent) sockets.push_back(socket);
  }
  return sockets;
}

void Connections::working(Time now) {
  workSince_ = now;
}

void Connections::worked(Time now) {
  work_ = workUntil(now);
  workSince_.reset();
}

Connections::Time::duration Connections::workUntil(Time now) const {
  return workSince_ ? work_ + (now - *workSince_) : work_;
}

std::vector<Connections::Overdue> Connections::overdue(Time now) const {
  const auto work = workUntil(now);
  std::vector<Overdue> late;
  for (const auto& [socket, connection] : all_) {
    const auto age = now - connection.since;
    if (connection.state == State::silent && age >= limits_.idle) {
      late.push_back({socket, Late::idle});
    } else if (connection.state == State::asking &&
               (age - (work - connection.work) >= limits_.request || age >= limits_.answer)) {
      late.push_back({socket, Late::request});
    } else if (connection.state == State::answering && age >= limits_.answer) {
      late.push_back({socket, Late::answer});
    }
  }
  return late;
}

}  // namespace serve
