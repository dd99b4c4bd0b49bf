// SPDX-License-Identifier: Apache-2.0
// The one thread that looks at the machine.
#ifndef ZEB_AGENT_FRONT_SERVE_WATCHER_H
#define ZEB_AGENT_FRONT_SERVE_WATCHER_H

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "agent/front/serve/seen.h"

namespace serve {

using Clock = std::chrono::steady_clock;

// How often there is a look: each interval, but none takes more than a tenth of the time.
Clock::duration paceOf(Clock::duration interval, Clock::duration turn);

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
};

// `seen` is null before the first look.
Health healthOf(const Progress& progress, const Seen* seen, Clock::time_point now);

// Looks from its making until its end, and keeps the last of what it saw. All functions may be
// called by any thread.
class Watcher {
 public:
  struct Settings {
    Clock::duration interval = std::chrono::seconds(2);
    std::string version = {};  // of the agent, for metrics
  };

  // `look` takes a snapshot, with the machine's facts and with events; `each` is told of each turn.
  // Both are called by the watcher's thread alone. What they throw ends the turn, not the thread.
  using Look = std::function<std::shared_ptr<const model::Snapshot>()>;
  using Each = std::function<void(const Seen&)>;

  Watcher(Settings settings, Look look, Each each);
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
  void turn();
  void setFailure(const std::string& why);
  std::shared_ptr<const model::Snapshot> before(const model::Snapshot& now) const;

  const Settings settings_;
  const Look look_;
  const Each each_;

  // Of the thread alone.
  std::vector<std::shared_ptr<const model::Snapshot>> looks_;

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
