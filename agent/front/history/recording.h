// SPDX-License-Identifier: Apache-2.0
// A history that is written while others look: a thread of its own, so that no disk delays a look.
#ifndef ZEB_AGENT_FRONT_HISTORY_RECORDING_H
#define ZEB_AGENT_FRONT_HISTORY_RECORDING_H

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "agent/front/history/store.h"

namespace history {

class Recording {
 public:
  enum class State {
    ok,
    paused,  // a reader keeps the write-ahead log long
    failed,  // it can't be written now; each sight tries again
  };

  struct Status {
    State state = State::ok;
    std::string problem = {};  // why it isn't ok: no full stop, and nothing of what was seen
  };

  // Takes the lock and opens the file; one that is damaged is set aside. `say` gets a sentence
  // without its full stop when something changes, from any thread. Throws Refusal when the file
  // can't be used at all.
  Recording(Limits limits, std::function<void(const std::string&)> say);

  // Writes what waits, and closes the file.
  ~Recording();
  Recording(const Recording&) = delete;
  Recording& operator=(const Recording&) = delete;

  // Both come back at once. When the file is slow, some sights are left out: what they would
  // have told is in the next one, and a mark. News belong to the next sight.
  void take(Sight sight);
  void take(std::vector<model::News> news);

  Status status() const;
  const std::string& path() const { return limits_.path; }

  // Waits until all that was taken is written, or could not be.
  void flush();

 private:
  void run();
  void write(Sight sight);
  void tryToWrite(const Sight& sight);
  void open();
  void fail(const Failure& failure);
  void replaceDamaged();
  void set(State state, const std::string& problem);

  const Limits limits_;
  const std::function<void(const std::string&)> say_;
  const WriterLock lock_;

  // Of the thread alone, once it runs.
  std::unique_ptr<Store> store_;
  std::vector<model::News> kept_;  // of sights that could not be written
  bool lost_ = false;

  mutable std::mutex guard_;
  std::condition_variable changed_;
  std::deque<Sight> waiting_;
  std::vector<model::News> news_;  // of the next sight
  bool leftOut_ = false;
  bool busy_ = false;
  bool stop_ = false;
  Status status_;
  std::thread thread_;  // last: it uses all of the above
};

// About how many bytes a history of so many nodes takes, where something happens in each of them at
// every look; without its events.
std::uint64_t expectedBytes(std::uint64_t nodes, double secondsBetweenLooks);

}  // namespace history

#endif  // ZEB_AGENT_FRONT_HISTORY_RECORDING_H
