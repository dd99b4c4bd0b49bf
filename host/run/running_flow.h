// SPDX-License-Identifier: Apache-2.0
// A message flow at work: a thread that feeds its queue, and threads that run its chain of nodes.
#ifndef ZEB_HOST_RUN_RUNNING_FLOW_H
#define ZEB_HOST_RUN_RUNNING_FLOW_H

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "flowfile/file.h"
#include "host/run/message_queue.h"
#include "host/run/node.h"
#include "host/run/output.h"
#include "host/run/plugin.h"
#include "host/run/tally.h"
#include "host/sources/random.h"
#include "host/sources/source.h"
#include "host/sources/stop_signal.h"

namespace host {

// Where a flow counts: its own counts, and those of its nodes in their order. Not owned; none is
// null.
struct FlowTally {
  FlowCount* flow;
  std::vector<NodeCount*> nodes;
};

// What is the same for all flows of a run.
struct FlowSettings {
  // Where the chance of all flows starts; each mixes in its own labels.
  std::uint64_t seed = 1;
  // How many messages a flow takes from its source, at most. 0: all.
  std::uint64_t messageLimit = 0;
  // The inputs of all flows of the file: none of them may be the output.
  std::vector<FileId> inputs;
};

// Made, started and ended by the group's own thread. The feeding thread takes messages from the
// source at their times; the flow's threads each take one message at a time through the whole
// chain.
class RunningFlow {
 public:
  // Deploys the monitoring nodes and opens source and output. What the arguments refer to must
  // outlive the flow. Throws std::runtime_error with what went wrong.
  RunningFlow(const flowfile::Flow& flow, const HostNames& names, const Plugin& plugin,
              FlowTally tally, const FlowSettings& settings, const StopSignal& stop);

  // Deletes the node contexts; the flow must have ended or never been started.
  ~RunningFlow();
  RunningFlow(const RunningFlow&) = delete;
  RunningFlow& operator=(const RunningFlow&) = delete;

  // Starts the threads. `ended` is called by one of them when every message has been handled: the
  // source ended, its limit was reached, it failed, or `stop` was raised. Call it once.
  void start(std::function<void()> ended);

  // Lets the threads finish their messages, deletes the node contexts and deploys the nodes again;
  // messages that wait go on waiting meanwhile. Does nothing once the flow has ended. Throws
  // std::runtime_error with what went wrong.
  void redeploy();

  // Runs one message through the nodes and counts how it ended. For several threads at once. A
  // failure of a node ends here.
  void handle(HostMessage& message);

  // Waits until the flow has ended, and writes out what waits in the output. What went wrong with
  // source or output, the latest of several; empty when nothing did.
  const std::string& problem();

  // Monitoring nodes whose attributes don't read back as they were set, in words.
  const std::vector<std::string>& differences() const { return differences_; }

 private:
  using Step = std::function<void(HostMessage&)>;

  void deploy();
  void startWorkers();
  void joinWorkers();
  Step monitorStep(std::size_t position);
  Step workStep(const flowfile::WorkNode& node, std::size_t position);
  void runFrom(std::size_t position, HostMessage& message);
  void feed();
  std::unique_ptr<HostMessage> makeMessage(const Draft& draft, std::uint64_t number) const;
  void work();
  void writeOutput(const HostMessage& message);
  void cantWrite();

  const flowfile::Flow& flow_;
  const HostNames names_;
  const Plugin& plugin_;
  FlowTally tally_;
  FlowSettings settings_;
  const StopSignal& stop_;
  std::uint64_t seed_;     // of this flow
  std::uint64_t started_;  // nanoseconds since 1970, part of the message IDs
  std::unique_ptr<MessageSource> source_;
  std::optional<OutputFile> output_;
  std::mutex outputMutex_;
  MessageQueue queue_;
  std::vector<std::unique_ptr<DeployedNode>> nodes_;  // null for working nodes
  std::vector<Step> steps_;
  std::vector<std::string> differences_;
  std::string problem_;
  std::thread feeder_;
  std::mutex deployment_;  // held while the workers are changed or waited for
  std::vector<std::thread> workers_;
  bool ended_ = false;
};

// True when the failure is to hit the message of that number, counted from 1: every n-th, and
// others by chance. `random` is asked for one number, but not for an n-th message.
bool fails(const flowfile::Failure& failure, std::uint64_t number, Random& random);

}  // namespace host

#endif  // ZEB_HOST_RUN_RUNNING_FLOW_H
