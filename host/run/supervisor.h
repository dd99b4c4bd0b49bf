// SPDX-License-Identifier: Apache-2.0
// The parent of a run: starts a process for each execution group, keeps them in step, and passes
// on signals.
#ifndef ZEB_HOST_RUN_SUPERVISOR_H
#define ZEB_HOST_RUN_SUPERVISOR_H

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "flowfile/file.h"
#include "host/run/disturbed.h"
#include "host/run/drill_plan.h"
#include "host/run/execution_group.h"
#include "host/run/options.h"
#include "host/run/standstill.h"
#include "host/run/tally.h"

namespace host {

// Belongs to one thread, in a process that has no other: it forks. The first SIGINT or SIGTERM
// drains the flows, the second kills all processes.
class Supervisor {
 public:
  // Takes over SIGINT and SIGTERM for the rest of the process's life, and opens the log. The
  // arguments must outlive it. Throws FileError for the log, else std::system_error.
  Supervisor(const flowfile::File& file, const RunOptions& options, Tally& tally);

  // Kills what is still running.
  ~Supervisor();
  Supervisor(const Supervisor&) = delete;
  Supervisor& operator=(const Supervisor&) = delete;

  // The steps of a run, in this order. Each returns false when it can't go on: a process ended
  // before its time (see problems()) or a second signal came (see stoppedBy()). Throws
  // std::system_error when no process or socket can be made.
  //
  // Starts the processes and waits until each has deployed its nodes. Deploying a node resets the
  // statistics of its whole broker, so no message may flow anywhere before.
  bool deploy();
  // Lets messages flow until all flows have ended, the duration is over, a signal comes or a
  // process is lost, and until every message of the others has been handled; performs the drills
  // meanwhile. `tick` is called at least five times a second, with the time since messages flow. A
  // process that a drill killed is not lost. Once one is gone, messages that stand still for five
  // seconds at the end of the run are given up.
  bool run(const std::function<void(std::chrono::duration<double>)>& tick);
  // Has the contexts deleted and waits for the processes to end; with a process gone, for five
  // seconds.
  bool leave();

  // What went wrong so far, a sentence each. They may hold any bytes of the flow file.
  const std::vector<std::string>& problems() const { return problems_; }
  // What the run ends with when something did: the code of the process that failed first, and
  // kExitDifference when it had none.
  int code() const { return code_; }
  // What became of the drills, in the order of the file's.
  const std::vector<DrillResult>& drills() const { return plan_.results(); }
  // What lost processes and drills leave incomparable.
  Disturbed disturbed() const;
  // The first signal's number; 0 when none came.
  int stopping() const { return firstSignal_; }
  // The second signal's number; 0 when none came.
  int stoppedBy() const { return stoppedBy_; }
  // How long messages have flowed; 0 before `run`.
  std::chrono::duration<double> elapsed() const { return elapsed_; }

 private:
  using Clock = std::chrono::steady_clock;

  // One group's process.
  struct Child {
    std::string label;
    pid_t pid = -1;
    int socket = -1;
    bool deployed = false;
    bool drained = false;
    bool left = false;
    // Why its figures are not whole, a clause; empty as long as it lives.
    std::string lost = {};
    // It was stopped, and goes on then; at the end of the run otherwise.
    std::optional<Clock::time_point> goesOn = {};
  };

  void fork(std::size_t group);
  void tell(Command command);
  void drain();
  bool every(bool Child::*state) const;
  bool waitFor(bool Child::*state, bool ending, Clock::time_point until);
  void takeReport(Child& child, bool ending);
  void takeDrill(const std::string& report);
  void takeSignal();
  void reap(Child& child, bool ending);
  void killAll();

  Clock::time_point nextMoment() const;
  void performDue();
  bool perform(std::size_t place);
  void letGoOn();
  void lookForStandstill();
  void giveUp(const std::string& problem);
  bool anyLost() const;
  std::size_t groupOf(const Child& child) const;

  const flowfile::File& file_;
  const RunOptions& options_;
  Tally& tally_;
  int logFile_ = -1;
  int signals_ = -1;
  std::vector<Child> children_;
  std::vector<std::string> problems_;
  int code_ = kExitDifference;
  DrillPlan plan_;
  Clock::time_point begin_;
  Standstill standstill_;
  bool standstillSaid_ = false;
  bool gaveUp_ = false;
  std::chrono::duration<double> elapsed_{};
  bool deployed_ = false;
  bool draining_ = false;
  int firstSignal_ = 0;
  int stoppedBy_ = 0;
};

}  // namespace host

#endif  // ZEB_HOST_RUN_SUPERVISOR_H
