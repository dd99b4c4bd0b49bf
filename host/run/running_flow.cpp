// SPDX-License-Identifier: Apache-2.0
#include "host/run/running_flow.h"

#include <fmt/format.h>

#include <cerrno>
#include <chrono>

#include "host/run/exception.h"
#include "host/sources/file_error.h"
#include "host/sources/schedule.h"

namespace host {
namespace {

void putBigEndian(std::uint8_t* at, std::uint64_t value) {
  for (int i = 7; i >= 0; --i, value >>= 8) at[i] = static_cast<std::uint8_t>(value);
}

}  // namespace

bool fails(const flowfile::Failure& failure, std::uint64_t number, Random& random) {
  if (failure.every != 0 && number % failure.every == 0) return true;
  return random.uniform() < failure.probability;
}

RunningFlow::RunningFlow(const flowfile::Flow& flow, const HostNames& names, const Plugin& plugin,
                         FlowTally tally, const FlowSettings& settings, const StopSignal& stop)
    : flow_(flow),
      names_(names),
      plugin_(plugin),
      tally_(std::move(tally)),
      settings_(settings),
      stop_(stop),
      seed_(mixSeeds(settings.seed, hashText(toUtf8(names.executionGroup) + "/" + flow.label))),
      started_(
          static_cast<std::uint64_t>(std::chrono::system_clock::now().time_since_epoch().count())),
      source_(openSource(settingsOf(flow.input), seed_, stop)),
      queue_(flow.input.queue) {
  if (flow.output) output_.emplace(flow.output->path, settings.inputs);
  deploy();
}

RunningFlow::~RunningFlow() {
  if (feeder_.joinable()) feeder_.join();
}

const std::string& RunningFlow::problem() {
  if (feeder_.joinable()) feeder_.join();
  if (output_ && !output_->flush()) cantWrite();
  return problem_;
}

void RunningFlow::cantWrite() {
  problem_ = FileError(errno, "can't write", flow_.output->path).what();
}

void RunningFlow::deploy() {
  for (std::size_t i = 0; i < flow_.nodes.size(); ++i) {
    if (const auto* work = std::get_if<flowfile::WorkNode>(&flow_.nodes[i])) {
      nodes_.push_back(nullptr);
      steps_.push_back(workStep(*work, i));
      continue;
    }
    const auto& monitor = std::get<flowfile::MonitorNode>(flow_.nodes[i]);
    nodes_.push_back(std::make_unique<DeployedNode>(
        plugin_, monitor, names_, [this, i](HostMessage& message) { runFrom(i + 1, message); }));
    steps_.push_back(monitorStep(i));
    if (const auto difference = nodes_.back()->difference(monitor); !difference.empty()) {
      differences_.push_back(fmt::format("{}: {}", monitor.label, difference));
    }
  }
}

// The node itself runs what is behind it, by propagating.
RunningFlow::Step RunningFlow::monitorStep(std::size_t position) {
  return [this, position](HostMessage& message) {
    nodes_[position]->evaluate(message);
    if (pendingException() == nullptr) return;
    ++tally_.flow->swallowed;
    raisePendingException();
  };
}

RunningFlow::Step RunningFlow::workStep(const flowfile::WorkNode& node, std::size_t position) {
  return [this, &node, position](HostMessage& message) {
    Random random(mixSeeds(mixSeeds(seed_, position), message.number()));
    std::this_thread::sleep_for(std::chrono::duration<double>(draw(node.latency, random)));
    if (node.failure && fails(*node.failure, message.number(), random)) {
      const auto& texts = node.failure->texts;
      throw MessageFailure{std::make_shared<ExceptionData>(ExceptionData{
          node.failure->origin, node.failure->code, texts[message.number() % texts.size()]})};
    }
    runFrom(position + 1, message);
  };
}

void RunningFlow::runFrom(std::size_t position, HostMessage& message) {
  if (position == steps_.size()) {
    writeOutput(message);
    return;
  }
  NodeCount& count = *tally_.nodes[position];
  count.add(message.size());
  try {
    steps_[position](message);
  } catch (const MessageFailure&) {
    ++count.failures;
    throw;
  }
}

void RunningFlow::handle(HostMessage& message) {
  try {
    runFrom(0, message);
    ++tally_.flow->handled;
  } catch (const MessageFailure&) {
    ++tally_.flow->failed;
  }
  clearPendingException();
}

void RunningFlow::writeOutput(const HostMessage& message) {
  if (!output_) return;
  const std::lock_guard lock(outputMutex_);
  if (!output_->write(message.body())) cantWrite();
}

void RunningFlow::start(std::function<void()> ended) {
  startWorkers();
  feeder_ = std::thread([this, ended = std::move(ended)] {
    try {
      feed();
    } catch (const std::exception& error) {
      const std::lock_guard lock(outputMutex_);
      problem_ = error.what();
    }
    queue_.close();
    {
      const std::lock_guard lock(deployment_);
      joinWorkers();
      ended_ = true;
    }
    ended();
  });
}

void RunningFlow::startWorkers() {
  for (unsigned i = 0; i < flow_.threads; ++i) workers_.emplace_back([this] { work(); });
}

void RunningFlow::joinWorkers() {
  for (std::thread& worker : workers_) worker.join();
  workers_.clear();
}

void RunningFlow::redeploy() {
  const std::lock_guard lock(deployment_);
  if (ended_) return;
  queue_.pause(true);
  joinWorkers();
  const auto goOn = [this](void*) {
    queue_.pause(false);
    startWorkers();
  };
  const std::unique_ptr<void, decltype(goOn)> atTheEnd(this, goOn);
  nodes_.clear();
  steps_.clear();
  deploy();
}

void RunningFlow::feed() {
  using Clock = Schedule::Clock;
  Schedule schedule(flow_.input, mixSeeds(seed_, hashText("arrival")), Clock::now());
  Draft draft;
  for (std::uint64_t number = 1; settings_.messageLimit == 0 || number <= settings_.messageLimit;
       ++number) {
    if (!source_->next(draft)) return;
    std::unique_ptr<HostMessage> message = makeMessage(draft, number);
    const Clock::time_point due = schedule.next();
    if (!stop_.waitUntil(due)) return;
    queue_.push(std::move(message));
    ++tally_.flow->entered;
    if (flow_.input.rate > 0) {
      raiseTo(tally_.flow->lagMillis, millisecondsLate(due, Clock::now()));
    }
  }
}

std::unique_ptr<HostMessage> RunningFlow::makeMessage(const Draft& draft,
                                                      std::uint64_t number) const {
  Descriptor descriptor;
  putBigEndian(descriptor.messageId.data(), seed_);
  putBigEndian(descriptor.messageId.data() + 8, started_);
  putBigEndian(descriptor.messageId.data() + 16, number);
  descriptor.correlationId = draft.name;
  descriptor.applicationType = flow_.input.applicationType;
  descriptor.applicationName = flow_.input.application;
  return std::make_unique<HostMessage>(number, descriptor, draft.body, flow_.input.lazy);
}

void RunningFlow::work() {
  while (const std::unique_ptr<HostMessage> message = queue_.pop()) handle(*message);
}

}  // namespace host
