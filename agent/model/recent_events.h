// SPDX-License-Identifier: Apache-2.0
// What nodes posted of late, over all looks of one who goes on looking.
#ifndef ZEB_AGENT_MODEL_RECENT_EVENTS_H
#define ZEB_AGENT_MODEL_RECENT_EVENTS_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "agent/model/snapshot.h"

namespace model {

class RecentEvents {
 public:
  // So long an exception counts.
  static constexpr std::chrono::seconds kWindow{60};

  // So many exceptions are kept, and so many of all other events; the oldest go.
  static constexpr std::size_t kMost = 2000;

  struct Posted {
    std::uint64_t number = 0;  // counts all events that were added
    std::string keyFile;       // of the broker
    std::string broker;        // its label
    reader::Event event;
    std::chrono::steady_clock::time_point until;  // when an exception no longer counts
  };

  // Takes the events that are new in this look, which is later than those added before. An event
  // counts as posted at the moment of its look; in the first look at its broker its own time says
  // how long ago it was.
  void add(const Snapshot& look);

  // The newest events of one kind, or of all kinds, at most kMost of each; the newest last. They
  // live until the next add().
  std::vector<const Posted*> latest(std::optional<reader::EventKind> kind = {}) const;

  // Exception events of the last minute at all nodes of one label in a flow, echoes included.
  std::size_t exceptionsAt(const std::string& keyFile, const std::string& group,
                           const std::string& flow, const std::string& node) const;

  // Messages that failed in the last minute in a flow: each once.
  std::size_t failuresIn(const std::string& keyFile, const std::string& group,
                         const std::string& flow) const;

  // Events of the last minute were overwritten before they could be read, in the first look too, or
  // are no longer kept: both counts may be too low.
  bool countsMayBeLow() const { return now_ < lowUntil_; }

 private:
  using Time = std::chrono::steady_clock::time_point;
  using Place = std::vector<std::string>;  // key file, group, flow; and node

  void add(const SeenBroker& broker, const Snapshot& look);
  void doubt(const std::optional<std::chrono::seconds>& reach);
  void forget();
  void count();

  std::uint64_t added_ = 0;
  std::set<std::string> known_;  // key files that were looked at
  Time now_;
  Time lowUntil_;
  std::deque<Posted> exceptions_;
  std::deque<Posted> others_;
  std::map<Place, std::size_t> counts_;
};

}  // namespace model

#endif  // ZEB_AGENT_MODEL_RECENT_EVENTS_H
