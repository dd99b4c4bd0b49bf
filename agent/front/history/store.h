// SPDX-License-Identifier: Apache-2.0
// A history's file, open to be written by this process alone.
#ifndef ZEB_AGENT_FRONT_HISTORY_STORE_H
#define ZEB_AGENT_FRONT_HISTORY_STORE_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "agent/front/history/database.h"
#include "agent/front/history/place.h"
#include "agent/front/history/recorder.h"

namespace history {

inline constexpr std::uint64_t kMostBytes = std::uint64_t{2} << 30;
inline constexpr std::uint64_t kLeastBytes = std::uint64_t{16} << 20;

struct Limits {
  std::string path = {};
  std::uint64_t bytes = kMostBytes;  // of the file, its write-ahead log and its index together
  Recorder::Settings recorder = {};
};

// Opens the file, makes or migrates its tables, and records into it. For one thread.
class Store {
 public:
  // `lock` must be held and `path` be prepared, as long as this lives. Throws Failure, and Refusal
  // when it is of a newer zebmon or of another program.
  Store(const Limits& limits, std::int64_t wallMs);

  // False, and nothing is written, while a reader keeps the write-ahead log from being emptied.
  // Throws Failure; then this is of no more use.
  bool record(const Sight& sight);

 private:
  bool logIsShort();

  const Limits limits_;
  Database database_;
  std::unique_ptr<Recorder> recorder_;  // last: its statements end before the database
};

}  // namespace history

#endif  // ZEB_AGENT_FRONT_HISTORY_STORE_H
