// SPDX-License-Identifier: Apache-2.0
// What changed in the last day of the history, worked out beside the looks and the answers: for
// many nodes it takes seconds.
#ifndef ZEB_AGENT_FRONT_SERVE_WHAT_CHANGED_H
#define ZEB_AGENT_FRONT_SERVE_WHAT_CHANGED_H

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "agent/front/serve/seen.h"
#include "flowfile/file.h"

namespace serve {

// How long a text is kept at least that took so long to make: a minute, or fifty times as long.
std::chrono::steady_clock::duration restAfter(std::chrono::steady_clock::duration work);

// For any number of threads. Works only after somebody asked, in a thread of its own, and rests
// then.
class WhatChanged {
 public:
  using Clock = std::chrono::steady_clock;

  // Makes "zebmon.changes", its state "ok"; `goOn` says whether to go on. An empty text is none.
  // May throw history::Failure: then the text before stays.
  using Make = std::function<std::string(const std::function<bool()>& goOn)>;

  explicit WhatChanged(Make make);

  // Waits for what is under way, which is told to stop.
  ~WhatChanged();
  WhatChanged(const WhatChanged&) = delete;
  WhatChanged& operator=(const WhatChanged&) = delete;

  // The last text; null: there is none yet. Asks for a new one where it is due at `now`.
  Text latest(Clock::time_point now = Clock::now());

  // Waits until nothing is asked for.
  void settle();

 private:
  void run();
  bool goesOn();

  const Make make_;
  std::mutex guard_;
  std::condition_variable changed_;
  Text text_;
  Clock::time_point due_{};
  bool wanted_ = false;
  bool stop_ = false;
  std::thread thread_;  // last: it uses all of the above
};

// "zebmon.changes" of the last day, without any: there is no history ("off"), or nobody has looked
// into it yet ("working").
std::string noChanges(const char* state);

// Of the history in `path`, in which flows are chained as `flows` says; null: as can be inferred.
WhatChanged::Make changesOfLastDay(std::string path, std::shared_ptr<const flowfile::File> flows);

}  // namespace serve

#endif  // ZEB_AGENT_FRONT_SERVE_WHAT_CHANGED_H
