// SPDX-License-Identifier: Apache-2.0
#include "host/run/execution_group.h"

#include <fmt/format.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/run/drill.h"
#include "host/run/output.h"
#include "host/run/plugin.h"
#include "host/run/running_flow.h"
#include "host/run/say.h"
#include "host/sources/file_error.h"

namespace host {
namespace {

class GroupProcess {
 public:
  GroupProcess(const flowfile::File& file, std::size_t group, const RunOptions& options,
               Tally& tally, int socket)
      : file_(file),
        group_(file.groups[group]),
        plugin_(options.library),
        socket_(socket),
        running_(group_.flows.size()) {
    const HostNames brokerAndGroup{toText16(file.broker.label), toText16(group_.label), {}};
    const FlowSettings settings{file.seed, options.messages, inputFiles(file)};
    for (std::size_t i = 0; i < group_.flows.size(); ++i) {
      const flowfile::Flow& flow = group_.flows[i];
      HostNames names = brokerAndGroup;
      names.messageFlow = toText16(flow.label);
      FlowTally counts{&tally.flow(group, i), {}};
      for (std::size_t n = 0; n < flow.nodes.size(); ++n) {
        counts.nodes.push_back(&tally.node(group, i, n));
      }
      flows_.push_back(
          std::make_unique<RunningFlow>(flow, names, plugin_, counts, settings, stop_));
      for (const std::string& text : flows_.back()->differences()) warn(flow, text);
    }
    ended_ = eventfd(0, EFD_CLOEXEC);
    if (ended_ < 0) throw std::runtime_error("no eventfd");
  }
  ~GroupProcess() { close(ended_); }
  GroupProcess(const GroupProcess&) = delete;
  GroupProcess& operator=(const GroupProcess&) = delete;

  // Until the supervisor says "leave".
  int run() {
    report(Report::deployed);
    pollfd waits[2] = {{socket_, POLLIN, 0}, {ended_, POLLIN, 0}};
    bool left = false;
    bool drained = false;
    while (!left || !drained) {
      if (poll(waits, 2, -1) < 0) continue;
      if (waits[0].revents != 0) left = obey(drained);
      if (left && waits[0].revents != 0) waits[0].fd = -1;
      if (waits[1].revents != 0 && !drained) {
        waits[1].fd = -1;
        drained = true;
        report(Report::drained);
      }
    }
    return problems();
  }

 private:
  // Takes one command; true when it was the last.
  bool obey(bool& drained) {
    char packet[kLongestPacket] = {static_cast<char>(Command::leave)};
    const ssize_t got = read(socket_, packet, sizeof packet - 1);
    const auto command = static_cast<Command>(got > 0 ? packet[0] : char(Command::leave));
    if (command == Command::start) {
      started_ = true;
      for (const auto& flow : flows_) flow->start([this] { flowEnded(); });
      return false;
    }
    if (command == Command::drill) {
      const std::size_t place = std::stoul(packet + 1);
      report(Report::drill, std::to_string(place) + drill(file_.drills.at(place)));
      return false;
    }
    stop_.raise();
    if (!started_) drained = true;
    return command == Command::leave;
  }

  // Why it failed; empty when it was done.
  std::string drill(const flowfile::Drill& drill) {
    if (drill.kind != flowfile::Drill::Kind::redeploy) return perform(drill, file_.broker);
    try {
      for (const auto& flow : flows_) flow->redeploy();
    } catch (const std::exception& error) {
      return error.what();
    }
    return {};
  }

  void flowEnded() {
    if (--running_ == 0) eventfd_write(ended_, 1);
  }

  void report(Report what, const std::string& text = {}) const {
    const std::string packet = (static_cast<char>(what) + text).substr(0, kLongestPacket);
    // A supervisor that is gone shows as the socket's end on the next read.
    [[maybe_unused]] const ssize_t written = write(socket_, packet.data(), packet.size());
  }

  void warn(const flowfile::Flow& flow, const std::string& text) const {
    complain(fmt::format("{}/{}: {}", group_.label, flow.label, text));
  }

  int problems() {
    int code = kExitOk;
    for (std::size_t i = 0; i < flows_.size(); ++i) {
      if (flows_[i]->problem().empty()) continue;
      warn(group_.flows[i], flows_[i]->problem());
      code = kExitNoOutput;
    }
    return code;
  }

  const flowfile::File& file_;
  const flowfile::ExecutionGroup& group_;
  const Plugin plugin_;
  int socket_;
  int ended_ = -1;
  bool started_ = false;
  std::atomic<std::size_t> running_;
  StopSignal stop_;
  std::vector<std::unique_ptr<RunningFlow>> flows_;
};

}  // namespace

int runExecutionGroup(const flowfile::File& file, std::size_t group, const RunOptions& options,
                      Tally& tally, int socket) {
  try {
    return GroupProcess(file, group, options, tally, socket).run();
  } catch (const std::exception& error) {
    complain(fmt::format("execution group {}: {}", file.groups[group].label, error.what()));
    return dynamic_cast<const FileError*>(&error) != nullptr ? kExitNoOutput : kExitUnavailable;
  }
}

}  // namespace host
