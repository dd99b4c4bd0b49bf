// SPDX-License-Identifier: Apache-2.0
// Standard output that can be interrupted and whose reader may go away.
#ifndef ZEB_AGENT_FRONT_CLI_OUTPUT_H
#define ZEB_AGENT_FRONT_CLI_OUTPUT_H

#include <limits.h>

#include <atomic>
#include <cstddef>
#include <string_view>

namespace cli {

// Writes to a descriptor until its reader goes away, a write fails, or, once stopOnSignals() was
// called, SIGINT or SIGTERM arrives. One per process, since it changes how signals are taken. The
// descriptor stays its owner's. One thread may write while another one waits.
class Output {
 public:
  // To be made before anything is opened: a descriptor that is closed counts as a failed write,
  // also when nothing is written, and what is opened next would get its number.
  explicit Output(int descriptor);
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  // From now on both signals end the output instead of the process.
  void stopOnSignals();

  // False when the output has ended; then nothing more is written.
  bool write(std::string_view text);

  // Waits; false when the output has ended meanwhile.
  bool wait(int milliseconds);

  // errno of a failed write, 0 when the output is usable or came to a regular end. For the thread
  // that writes, or when it is over.
  int error() const { return error_; }

 private:
  bool ready(int milliseconds, short events);

  int descriptor_;
  int signals_ = -1;
  std::atomic<bool> ended_ = false;
  int error_ = 0;                 // of the thread that writes
  std::size_t piece_ = PIPE_BUF;  // bytes that are written at once
};

}  // namespace cli

#endif  // ZEB_AGENT_FRONT_CLI_OUTPUT_H
