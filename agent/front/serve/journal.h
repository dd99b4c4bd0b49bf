// SPDX-License-Identifier: Apache-2.0
// Log lines that no number of clients can turn into a flood.
#ifndef ZEB_AGENT_FRONT_SERVE_JOURNAL_H
#define ZEB_AGENT_FRONT_SERVE_JOURNAL_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

namespace serve {

// Writes the first line of a kind at once and counts the others: one line a minute and kind. May be
// used by any thread.
class Journal {
 public:
  using Time = std::chrono::steady_clock::time_point;

  // `write` gets one printable line at a time, without its end.
  explicit Journal(std::function<void(const std::string&)> write) : write_(std::move(write)) {}

  // `kind` is one of few, and nothing of a client's. `detail` goes behind it in the first line of a
  // minute.
  void note(const std::string& kind, const std::string& detail, Time now);

  // Says how many of each kind there were besides, when their minute is over. To be called from
  // time to time.
  void sumUp(Time now);

 private:
  struct Kind {
    Time first;
    std::uint64_t more = 0;
  };

  std::function<void(const std::string&)> write_;
  std::mutex guard_;
  std::map<std::string, Kind> kinds_;
};

// What a client sent, for a line: printable, in quotes, at most 200 bytes long; empty for nothing.
std::string cited(std::string_view bytes);

}  // namespace serve

#endif  // ZEB_AGENT_FRONT_SERVE_JOURNAL_H
