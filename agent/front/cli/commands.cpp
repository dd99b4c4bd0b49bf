// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/commands.h"

namespace cli {

std::span<const Command> commands() {
  static constexpr Command kCommands[] = {
      {"brokers", "The brokers that have shared memory here", declareBrokers, runBrokers},
      {"stats", "Messages, sizes and times of every node", declareStats, runStats},
      {"flow", "Where a message flow's time goes", declareFlow, runFlow},
      {"top", "All flows on one screen that goes on", declareTop, runTop},
      {"events", "What nodes posted, the newest last", declareEvents, runEvents},
      {"message", "One message's way over all nodes and brokers", declareMessage, runMessage},
      {"locks", "Who holds a lock, who waits, and what it guards", declareLocks, runLocks},
      {"doctor", "What is wrong, what comes of it, and what to do", declareDoctor, runDoctor},
      {"check", "One line and an exit code for alerting systems", declareCheck, runCheck},
      {"metrics", "All figures for Prometheus", declareMetrics, runMetrics},
      {"serve", "All of it over HTTP, for browsers and Prometheus", declareServe, runServe},
      {"record", "Keep what is seen in a file, for later", declareRecord, runRecord},
      {"size", "How full shared memory is, or how large it must be", declareSize, runSize},
      {"changes", "What became slower, faster, more or less, and when", declareChanges, runChanges,
       true},
      {"config", "The settings in force, and what is wrong with them", declareConfig, runConfig},
      {"snapshot", "Write all of it into a file, to be looked at later", declareSnapshot,
       runSnapshot},
      {"diff", "What happened between two files of \"snapshot\"", declareDiff, runDiff},
      {"reset", "Statistics back to zero", declareReset, runReset},
  };
  return kCommands;
}

}  // namespace cli
