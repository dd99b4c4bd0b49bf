// SPDX-License-Identifier: Apache-2.0
// The events of the last looks, for clients that ask for what is new.
#ifndef ZEB_AGENT_FRONT_SERVE_EVENT_BOOK_H
#define ZEB_AGENT_FRONT_SERVE_EVENT_BOOK_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>

#include "agent/model/follower.h"

namespace serve {

// Keeps the newest events, numbered in the order in which they were seen. For any number of
// threads.
class EventBook {
 public:
  struct Limits {
    std::size_t events = 10000;
    std::size_t page = 1000;  // events in one answer
  };

  // The first number is made from the wall time `begin`, in seconds since 1970: numbers of an
  // earlier run are smaller, so a client that knows one of them gets all that there is.
  EventBook(std::int64_t begin, Limits limits);

  // Takes what a look brought.
  void add(const model::FollowLook& look);

  // "zebmon.events": those with a higher number than `since`, the oldest first, and whether there
  // are more. One line.
  std::string page(std::uint64_t since) const;

 private:
  // Its text is made when it is asked for: most events never are.
  struct Entry {
    std::uint64_t number;
    std::int64_t seenAt;  // seconds since 1970
    std::shared_ptr<const model::SeenBroker> broker;
    reader::Event event;
  };

  void add(const model::News& news);

  const Limits limits_;
  mutable std::mutex guard_;
  std::deque<Entry> entries_;
  std::uint64_t last_;
  std::uint64_t missed_ = 0;
  std::int64_t seenAt_ = 0;  // of the last look
};

}  // namespace serve

#endif  // ZEB_AGENT_FRONT_SERVE_EVENT_BOOK_H
