// SPDX-License-Identifier: Apache-2.0
// How a run is going, for the person who watches it.
#ifndef ZEB_HOST_REPORT_PROGRESS_H
#define ZEB_HOST_REPORT_PROGRESS_H

#include <chrono>
#include <string>

#include "flowfile/file.h"
#include "host/run/tally.h"

namespace host {

// Writes to standard error: one line that is rewritten on a terminal, else a line every 10 s.
class Progress {
 public:
  Progress(const flowfile::File& file, const Tally& tally);

  void show(std::chrono::duration<double> elapsed);

  // Ends the rewritten line.
  void finish();

 private:
  std::string line(std::chrono::duration<double> elapsed) const;

  const flowfile::File& file_;
  const Tally& tally_;
  bool terminal_;
  bool shown_ = false;
  std::chrono::duration<double> next_;
};

}  // namespace host

#endif  // ZEB_HOST_REPORT_PROGRESS_H
