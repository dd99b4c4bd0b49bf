// SPDX-License-Identifier: Apache-2.0
// Events into a history: each once, and no more than a broker may have.
#ifndef ZEB_AGENT_FRONT_HISTORY_EVENT_WRITER_H
#define ZEB_AGENT_FRONT_HISTORY_EVENT_WRITER_H

#include <cstdint>
#include <map>
#include <span>
#include <unordered_map>

#include "agent/front/history/database.h"
#include "agent/front/history/moment.h"
#include "agent/model/follower.h"

namespace history {

class EventWriter {
 public:
  // `perSecond` is what a broker may post; more is counted and not stored. Events get numbers above
  // those of runs that began earlier than `beganMs`, the wall time.
  EventWriter(const Database& database, std::int64_t perSecond, std::int64_t beganMs);

  // To be called when some may have been removed.
  void forgetTemplates() { templates_.clear(); }

  // Of one broker. Inside a transaction. The look is the one behind them.
  void write(std::int64_t broker, const model::News& news, const Moment& look);

 private:
  using Templates = std::unordered_map<reader::RecordId, std::int64_t, reader::RecordIdHash>;

  std::int64_t templateOf(std::int64_t broker, const reader::Event& event);
  std::size_t allowed(std::int64_t broker, const Moment& look);
  std::int64_t insert(std::int64_t broker, const reader::Event& event);
  void writeGap(std::int64_t broker, const model::Gap& gap, const Moment& look);

  const Database& database_;
  const std::int64_t perSecond_;
  Statement insert_;
  Statement insertTemplate_;
  std::int64_t added_ = 0;                             // bytes of templates, by one call
  std::int64_t last_;                                  // number of an event
  std::map<std::int64_t, Templates> templates_;        // of brokers, those with texts alone
  std::map<std::int64_t, std::int64_t> lastSteadyMs_;  // of brokers
};

// Adds to what was too much of one kind: "nodes", "events" or "bytes".
void countOver(const Database& database, std::int64_t broker, const char* what,
               std::uint64_t number);

}  // namespace history

#endif  // ZEB_AGENT_FRONT_HISTORY_EVENT_WRITER_H
