// SPDX-License-Identifier: Apache-2.0
// What is done with samples after ten minutes: they are put in the order of nodes, added up to
// minutes and hours, and removed when their time is over or room is short.
#ifndef ZEB_AGENT_FRONT_HISTORY_PARTS_H
#define ZEB_AGENT_FRONT_HISTORY_PARTS_H

#include <cstdint>
#include <functional>
#include <string>

#include "agent/front/history/database.h"
#include "agent/front/history/moment.h"

namespace history {

// About what a row of a sample, a minute or an hour takes in a file.
inline constexpr std::int64_t kRowBytes = 30;

class Parts {
 public:
  // At most `rows` rows are written in one transaction, which bounds the write-ahead log. `between`
  // is called after each transaction.
  Parts(const Database& database, std::int64_t rows, std::function<void()> between);

  // Removes what an earlier run left half-done.
  void begin();

  // Takes all that is recent into parts, one of each broker, and adds up the hours that are over at
  // the wall time `nowMs`. Not inside a transaction.
  void close(std::int64_t nowMs);

  // Removes what was kept long enough.
  void forget(std::int64_t nowMs);

  // Removes the oldest of what the broker has most of. False when it has nothing that can go.
  bool shrink(std::int64_t broker);

  // About how many bytes a broker takes.
  std::int64_t bytesOf(std::int64_t broker) const;

 private:
  struct Slice {
    std::int64_t broker;
    std::int64_t part;
    std::int64_t first;  // nodes
    std::int64_t last;
  };

  void take(std::int64_t broker, std::int64_t part, std::int64_t most);
  void take(const Slice& slice);
  void publish(std::int64_t broker, std::int64_t part);
  void addHours(std::int64_t broker, std::int64_t nowMs);
  void remove(const char* table, std::int64_t part);
  bool removeOldest(std::int64_t broker, const char* table);
  bool removeEvents(std::int64_t broker, std::int64_t beforeS);
  std::int64_t nextNumber() const;

  const Database& database_;
  const std::int64_t rows_;
  const std::function<void()> between_;
};

}  // namespace history

#endif  // ZEB_AGENT_FRONT_HISTORY_PARTS_H
