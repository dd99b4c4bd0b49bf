// SPDX-License-Identifier: Apache-2.0
// Follows what nodes post, on one machine: looks often enough, and each time with little work.
#ifndef ZEB_AGENT_MODEL_FOLLOWER_H
#define ZEB_AGENT_MODEL_FOLLOWER_H

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "agent/model/gaps.h"
#include "agent/model/snapshot.h"
#include "agent/reader/events.h"

namespace model {

// What one look brought of one broker.
struct News {
  // As at its last whole look. Never null; it has neither areas nor events.
  std::shared_ptr<const SeenBroker> broker;

  std::vector<Gap> gaps;              // before these events
  std::vector<reader::Event> events;  // new since the look before, the oldest first
};

struct FollowLook {
  std::chrono::system_clock::time_point wall;  // before the first broker was read
  std::vector<News> news;                      // in the order of key files

  // Of a look at everything: all brokers, without their areas. Null when only events were read.
  std::shared_ptr<const Snapshot> whole;
};

// How long to wait until the next look, counted from the beginning of the last one: a quarter of
// the time in which a ring of `slots` events turns at so many events a second. A burst of kBurst
// may begin any time, so a ring is looked at as often as that asks for too, but below kBusy not
// more often than every kShortestQuiet. Never longer than `most`, nor shorter than kShortest.
inline constexpr double kBurst = 1e6;
inline constexpr double kBusy = 10000;
inline constexpr std::chrono::milliseconds kShortestQuiet{5};
inline constexpr std::chrono::milliseconds kShortest{1};
std::chrono::milliseconds pauseFor(std::uint64_t slots, double perSecond,
                                   std::chrono::milliseconds most);

// For one thread.
class Follower {
 public:
  // `directory` as a Collector takes it. Everything is looked at every `most`; in between only
  // events are. What `known` points to must live as long.
  Follower(const std::string& directory, std::chrono::milliseconds most, FlowKnowledge known = {});

  // The first look brings all events that are in memory. A segment is attached only while it is
  // copied; no lock is taken, and nothing is made or written.
  FollowLook look();

  // How long to wait now, for all brokers. The time since the last look began is taken off.
  std::chrono::milliseconds pause() const;

 private:
  using Clock = std::chrono::steady_clock;

  struct Followed {
    std::string keyFile;
    reader::EventLog log;
    GapCounter gaps;
    std::shared_ptr<const SeenBroker> broker;  // null while there is no such key file
    double perSecond = 0;                      // events, of late
    bool waits = false;                        // for the next look at all: quick ones bring nothing
  };

  FollowLook lookAtAll();
  News lookAt(Followed& followed, std::int64_t wall);
  void lookAtEvents(Followed& followed, FollowLook& look);
  void measure(Followed& followed, std::uint64_t events);

  std::string directory_;
  std::chrono::milliseconds most_;
  FlowKnowledge known_;
  std::map<std::string, Followed> followed_;  // by key file
  Clock::time_point begun_{};                 // of this look
  Clock::time_point before_{};                // and of the one before
  Clock::time_point whole_{};                 // of the last look at all
};

}  // namespace model

#endif  // ZEB_AGENT_MODEL_FOLLOWER_H
