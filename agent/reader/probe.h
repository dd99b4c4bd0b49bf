// SPDX-License-Identifier: Apache-2.0
// Whether a plug-in can be loaded. A program of its own tries: what it loads may crash, or never
// come back.
#ifndef ZEB_AGENT_READER_PROBE_H
#define ZEB_AGENT_READER_PROBE_H

#include <chrono>
#include <string>

namespace reader {

struct Probe {
  enum class Outcome {
    notTried,  // the program is not there, or can't be started: `error`
    ended,     // by itself: `code`, and the first line that it wrote
    killed,    // by the signal `code`
    late,      // it had not ended in time, and was killed
  };

  Outcome outcome = Outcome::notTried;
  int error = 0;
  int code = 0;
  std::string line;  // any bytes, at most kMostOfLine

  static constexpr std::size_t kMostOfLine = 4096;

  bool loaded() const { return outcome == Outcome::ended && code == 0; }

  // What the program says of what it loaded, by its key: "version", "nodeClass", or "error" when
  // it could not. Empty when it says none.
  std::string value(const std::string& key) const;
};

// How its outcomes are called in files.
inline constexpr const char* kProbeNames[] = {"notTried", "ended", "killed", "late"};

// Starts `program` with the plug-in's path and waits until it ends, or has had its time. What it
// writes on standard error goes nowhere, and it gets nothing of this process's environment.
Probe tryPlugIn(const std::string& program, const std::string& library,
                std::chrono::milliseconds time = std::chrono::seconds(10));

}  // namespace reader

#endif  // ZEB_AGENT_READER_PROBE_H
