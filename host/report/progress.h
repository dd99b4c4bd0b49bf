// SPDX-License-Identifier: Apache-2.0
// How a run is going, for the person who watches it.
#ifndef ZEB_HOST_REPORT_PROGRESS_H
#define ZEB_HOST_REPORT_PROGRESS_H

#include <chrono>
#include <string>

#include "flowfile/file.h"
#include "host/run/tally.h"

namespace host {

// One line, without a newline: the time since messages flow, what was handled in it, and how late
// the latest message was when that is more than a second. Other processes count on meanwhile, so
// its numbers belong to no one moment.
std::string progressLine(const flowfile::File& file, const Tally& tally,
                         std::chrono::duration<double> elapsed);

// Writes to standard error: one line that is rewritten on a terminal, else a line every 10 s.
class Progress {
 public:
  // Both must outlive it.
  Progress(const flowfile::File& file, const Tally& tally);

  // To be called often: it decides when there is something to write.
  void show(std::chrono::duration<double> elapsed);

  // Removes the rewritten line, so that what is written next begins at the left.
  void finish();

 private:
  const flowfile::File& file_;
  const Tally& tally_;
  bool terminal_;
  bool shown_ = false;
  std::chrono::duration<double> next_;
};

}  // namespace host

#endif  // ZEB_HOST_REPORT_PROGRESS_H
