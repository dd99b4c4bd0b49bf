// SPDX-License-Identifier: Apache-2.0
// The one thread that looks at the machine.
#ifndef ZEB_AGENT_FRONT_SERVE_WATCHER_H
#define ZEB_AGENT_FRONT_SERVE_WATCHER_H

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "agent/front/serve/seen.h"
#include "agent/model/follower.h"

namespace serve {

using Clock = std::chrono::steady_clock;

// How often there is a look: each interval, but looks take no more than a tenth of the time. One
// that took long alone doesn't count: the machine, or this process, may have stood still.
class Pace {
 public:
  explicit Pace(Clock::duration interval) : interval_(interval) {}

  // After one more look, which took so long: the time from its begin to that of the next one.
  Clock::duration after(Clock::duration turn);

 private:
  Clock::duration interval_;
  Clock::duration before_{0};  // what the look before took
};

// The shortest time between two looks at the events.
inline constexpr std::chrono::milliseconds kShortestGlance{20};

// How the looks went, at one moment.
struct Progress {
  Clock::duration interval{0};  // as it was asked for
  Clock::duration pace{0};      // as it is
  Clock::time_point alive;      // when the thread last began or ended a turn
  std::string failure;          // why the last turn brought nothing; empty when it did
};

struct Health {
  bool alive = false;  // the thread works
  bool ready = false;  // what can be asked for is younger than three intervals

  // What isn't as it should be, a sentence each without its full stop. Nothing of what was seen is
  // in them: anybody may read this.
  std::vector<std::string> degraded;

  Clock::duration pace{0};  // between looks, as it is
};

// `seen` is null before the first look.
Health healthOf(const Progress& progress, const Seen* seen, Clock::time_point now);

// Looks from its making until its end, and keeps the last of what it saw. All functions may be
// called by any thread.
class Watcher {
 public:
  struct Settings {
    Clock::duration interval = std::chrono::seconds(2);
    std::string version = {};                          // of the agent, for metrics
    std::vector<std::uint32_t> owners = {};            // whose findings are told; none: all
    std::string directory = {};                        // of the key files, if one was named
    std::shared_ptr<const flowfile::File> flows = {};  // as Seen has it
    render::MetricsOptions metrics = {};               // likewise
  };

  // What it looks with. `all` takes a snapshot with the machine's facts. In between `events` takes
  // what was posted, again after `pause` since the last look began; without it nothing is.
  struct Eyes {
    std::function<model::FollowLook()> all;
    std::function<model::FollowLook()> events = {};
    std::function<Clock::duration()> pause = {};
  };

  // Who is told. `news`: what each look brought of events, each once. `each`: each look at all,
  // after its news.
  struct Sinks {
    std::function<void(const model::FollowLook&)> news;
    std::function<void(const Seen&)> each;
  };

  // All of them are called by the watcher's thread alone. What they throw ends the turn, not the
  // thread.
  Watcher(Settings settings, Eyes eyes, Sinks sinks);
  ~Watcher();
  Watcher(const Watcher&) = delete;
  Watcher& operator=(const Watcher&) = delete;

  // What was seen last; null before the first look.
  std::shared_ptr<const Texts> latest() const;

  // Waits for the first look; false when it failed.
  bool waitForFirst();

  Health health() const;

 private:
  void run();
  Clock::time_point next(Clock::time_point due, Clock::time_point begin) const;
  void turn();
  void glance();
  void tell(model::FollowLook look);
  void setFailure(const std::string& why);
  std::shared_ptr<const model::Snapshot> before(const model::Snapshot& now) const;

  const Settings settings_;
  const Eyes eyes_;
  const Sinks sinks_;

  // Of the thread alone.
  std::vector<std::shared_ptr<const model::Snapshot>> looks_;
  std::set<std::string> keyFiles_;  // of each segment the first
  model::TotalsByKeyFile posted_;
  std::chrono::system_clock::time_point started_;

  mutable std::mutex guard_;
  std::condition_variable changed_;
  std::shared_ptr<const Texts> latest_;
  Progress progress_;
  bool turned_ = false;
  bool stop_ = false;
  std::thread thread_;  // last: it uses all of the above
};

}  // namespace serve

#endif  // ZEB_AGENT_FRONT_SERVE_WATCHER_H
