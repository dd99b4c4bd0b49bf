// SPDX-License-Identifier: Apache-2.0
#include "tests/processes/groups.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstring>
#include <thread>

#include "tests/processes/numbered.h"
#include "tests/support/plugin.h"

namespace support {
namespace {

std::u16string wide(const std::string& text) {
  return {text.begin(), text.end()};
}

// Has a signal interrupt system calls every 200 microseconds, as long as it lives.
class Interruptions {
 public:
  Interruptions() {
    struct sigaction action {};
    action.sa_handler = [](int) {};  // and no SA_RESTART
    sigaction(SIGALRM, &action, nullptr);
    every(200);
  }
  ~Interruptions() { every(0); }
  Interruptions(const Interruptions&) = delete;
  Interruptions& operator=(const Interruptions&) = delete;

 private:
  static void every(suseconds_t microseconds) {
    const itimerval interval{{0, microseconds}, {0, microseconds}};
    setitimer(ITIMER_REAL, &interval, nullptr);
  }
};

// The count that is stored of a node, read as any other process would.
class StoredCount {
 public:
  explicit StoredCount(const std::u16string& label) : at_(statisticsOf(label).at()) {}

  // Looks until two looks agree: a reset by another process may be under way.
  long long look() const {
    for (Bytes before, now = copy();; now = copy()) {
      if (now == before) return StoredRecord(now, at_).count();
      before = now;
    }
  }

 private:
  Bytes copy() const { return {segment_.at(at_), segment_.at(at_ + 168)}; }

  WritableSegment segment_;
  std::size_t at_;
};

class Group {
 public:
  explicit Group(const std::vector<std::string>& words)
      : number_(std::stoi(words[0])),
        messages_(std::stoi(words[1])),
        failing_(words[2] == "failing"),
        interrupted_(words[3] == "interrupted"),
        watched_(words[5] == "watched") {
    startLibrary();
    host().recording = false;
    host().script.rethrow = [](int&) { throw Rethrown{}; };
    host().script.propagate = [this](int& code, HostMessage*) {
      code = failing_ && sent_ % 2 == 0 ? 64 : 0;
    };
    plan_.label = nodeLabel(number_);
    plan_.eventMessage = wide(words[4]);
    where_.executionGroup = u"group " + wide(words[0]);
  }

  void deployNode() {
    node_ = deploy(plan_, where_);
    if (watched_) stored_ = std::make_unique<StoredCount>(plan_.label);
  }

  void sendAll() {
    const auto interruptions = interrupted_ ? std::make_unique<Interruptions>() : nullptr;
    for (int i = 0; i < messages_; ++i) sendOne();
  }

  int sendUntilTold(Steps& parent) {
    std::atomic<bool> told = false;
    std::thread working([&] {
      while (!told) {
        if (stored_)
          sendWatched();
        else
          sendOne();
      }
    });
    parent.tell("working");
    parent.hear();
    told = true;
    working.join();
    return sent_;
  }

  int end() {
    stored_.reset();
    node_.reset();
    for (const LogEntry& message : host().messages())
      std::fprintf(stderr, "%s\n", message.text.c_str());
    return host().messages().empty() && !miscounted_ ? 0 : 1;
  }

 private:
  void sendOne() {
    ++sent_;
    try {
      sendNumbered(*node_, number_, sent_, 1000 + number_);
    } catch (const Rethrown&) {
    }
  }

  // A group that deploys resets the statistics, before or after this message is counted.
  void sendWatched() {
    const long long before = stored_->look();
    sendOne();
    const long long after = stored_->look();
    const bool idle = before == counted_ || before == 0;
    if (!idle || (after != before + 1 && after != 1 && after != 0)) {
      std::fprintf(stderr, "message %d of group %d: counted %lld, then %lld, then %lld\n", sent_,
                   number_, counted_, before, after);
      miscounted_ = true;
    }
    counted_ = after;
  }

  const int number_;
  const int messages_;
  const bool failing_;
  const bool interrupted_;
  const bool watched_;
  int sent_ = 0;
  long long counted_ = 0;  // by the last watched message
  bool miscounted_ = false;
  NodePlan plan_;
  ScriptedNode where_;
  std::unique_ptr<NodeContext> node_;
  std::unique_ptr<StoredCount> stored_;
};

int group(Steps& parent, const std::vector<std::string>& words) {
  Group group(words);
  for (std::string line = parent.hear(); !line.empty() && line != "end"; line = parent.hear()) {
    if (line == "deploy") {
      group.deployNode();
      parent.tell("deployed");
    } else if (line == "send") {
      group.sendAll();
      parent.tell("sent");
    } else if (line == "work") {
      const int sent = group.sendUntilTold(parent);
      parent.tell(std::to_string(sent));
    }
  }
  return group.end();
}
const Role kGroupRole("group", group);

const StoredRecord* parentOf(const StoredRecord& record, const std::vector<StoredRecord>& records) {
  const auto parent =
      std::find_if(records.begin(), records.end(),
                   [&](const StoredRecord& candidate) { return record.isChildOf(candidate); });
  return parent == records.end() ? nullptr : &*parent;
}

}  // namespace

std::u16string nodeLabel(int number) {
  return u"node of group " + wide(std::to_string(number));
}

GroupProcesses startGroups(const std::vector<GroupPlan>& plans) {
  GroupProcesses groups;
  for (const GroupPlan& plan : plans) {
    groups.push_back(std::make_unique<Child>(
        "group", std::vector<std::string>{
                     std::to_string(plan.number), std::to_string(plan.messages),
                     plan.failing ? "failing" : "well", plan.interrupted ? "interrupted" : "quiet",
                     plan.eventMessage, plan.watched ? "watched" : "unwatched"}));
  }
  return groups;
}

std::vector<GroupPlan> plansFor(int groups, GroupPlan plan) {
  std::vector<GroupPlan> plans;
  for (plan.number = 0; plan.number < groups; ++plan.number) plans.push_back(plan);
  return plans;
}

void tellAll(GroupProcesses& groups, const std::string& line) {
  for (auto& group : groups) group->tell(line);
}

void hearAll(GroupProcesses& groups, const std::string& line) {
  for (auto& group : groups) EXPECT_EQ(group->hear(), line);
}

void haveAll(GroupProcesses& groups, const std::string& line, const std::string& answer) {
  tellAll(groups, line);
  hearAll(groups, answer);
}

void endAll(GroupProcesses& groups) {
  tellAll(groups, "end");
  for (auto& group : groups) EXPECT_EQ(group->wait(), 0) << "it said why on its standard error";
}

std::vector<std::u16string> reachableNodes(const std::vector<StoredRecord>& records) {
  EXPECT_EQ(ofType(records, kBroker).size(), 1U);
  std::vector<std::u16string> labels;
  for (const StoredRecord& node : ofType(records, kNode)) {
    const StoredRecord* const flow = parentOf(node, records);
    const StoredRecord* const group = flow ? parentOf(*flow, records) : nullptr;
    const StoredRecord* const broker = group ? parentOf(*group, records) : nullptr;
    if (broker && broker->type() == kBroker) labels.push_back(node.label());
  }
  std::sort(labels.begin(), labels.end());
  return labels;
}

std::vector<std::u16string> allLabels(int groups) {
  std::vector<std::u16string> labels;
  for (int number = 0; number < groups; ++number) labels.push_back(nodeLabel(number));
  std::sort(labels.begin(), labels.end());
  return labels;
}

int orphans(const std::vector<StoredRecord>& records) {
  const auto isOrphan = [&](const StoredRecord& record) {
    if (record.type() == kBroker) return false;
    const StoredRecord* const parent = parentOf(record, records);
    return !parent || parent->type() != record.type() - 1;
  };
  return static_cast<int>(std::count_if(records.begin(), records.end(), isOrphan));
}

}  // namespace support
