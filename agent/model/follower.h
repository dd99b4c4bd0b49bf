// SPDX-License-Identifier: Apache-2.0
// Goes on looking at one machine: at everything now and then, and in between at what nodes post,
// often enough and each time with little work.
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
#include "agent/model/machine_facts.h"
#include "agent/model/scope.h"
#include "agent/model/snapshot.h"
#include "agent/reader/events.h"

namespace model {

// What one look brought of one broker.
struct News {
  // As at its last whole look. Never null.
  std::shared_ptr<const SeenBroker> broker;

  std::vector<Gap> gaps;              // before these events
  std::vector<reader::Event> events;  // new since the look before, the oldest first
};

struct FollowLook {
  std::chrono::system_clock::time_point wall;  // before the first broker was read
  std::vector<News> news;                      // in the order of key files

  // Of a look at everything: all brokers, without their areas unless FollowOptions say otherwise.
  // Null when only events were read.
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

struct FollowOptions {
  Scope scope = {};
  FlowKnowledge known = {};  // what it points to must live as long

  // What whole looks hold besides. With any, each broker has its areas, and its latest events since
  // the whole look before, at most Follower::kMostKept.
  MachineFacts machine = MachineFacts::leave;
};

// For one thread.
class Follower {
 public:
  static constexpr std::size_t kMostKept = 2000;

  // `directory` as a Collector takes it. Everything is looked at every `most`; in between only
  // events are.
  Follower(const std::string& directory, std::chrono::milliseconds most,
           FollowOptions options = {});

  // The first look brings all events that are in memory. A segment is attached only while it is
  // copied; no lock is taken, and nothing is made or written.
  FollowLook look();

  // For one who decides himself when everything is looked at. The first look must be at all.
  FollowLook lookAtAll();
  FollowLook lookAtEvents();

  // How long to wait now, for all brokers. The time since the last look began is taken off.
  std::chrono::milliseconds pause() const;

  // How long after the beginning of the last look events should be looked at again.
  std::chrono::milliseconds eventPause() const;

 private:
  using Clock = std::chrono::steady_clock;

  struct Followed {
    std::string keyFile;
    reader::EventLog log;
    GapCounter gaps;
    std::shared_ptr<const SeenBroker> broker;  // null while there is no such key file
    double perSecond = 0;                      // events, of late
    bool waits = false;                        // for the next look at all: quick ones bring nothing
    reader::EventLog::Batch kept;              // since the last whole look
  };

  bool isComplete() const { return options_.machine != MachineFacts::leave; }
  void begin();
  News lookAt(Followed& followed, std::int64_t wall, std::uint64_t& left, bool whole);
  void keep(Followed& followed, const reader::EventLog::Batch& batch) const;
  void forgetAllBut(const std::vector<std::string>& keyFiles);
  void lookAtEvents(Followed& followed, std::uint64_t& left, FollowLook& look);
  void measure(Followed& followed, std::uint64_t events);

  std::string directory_;
  std::chrono::milliseconds most_;
  FollowOptions options_;
  std::map<std::string, Followed> followed_;  // by key file
  Clock::time_point begun_{};                 // of this look
  Clock::time_point before_{};                // and of the one before
  Clock::time_point whole_{};                 // of the last look at all
};

}  // namespace model

#endif  // ZEB_AGENT_MODEL_FOLLOWER_H
