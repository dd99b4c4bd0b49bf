// SPDX-License-Identifier: Apache-2.0
// What a history costs: made looks of busy nodes are recorded as fast as it goes, then a node's day
// is drawn. Prints a line each. usage: zebhistorycost DIRECTORY [NODES] [LOOKS]
#include <fmt/format.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <string>

#include "agent/front/history/reading.h"
#include "agent/front/history/recording.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::int64_t kBegin = 1'800'000'000;
constexpr std::int64_t kInterval = 2;

reader::RecordId idOf(std::uint32_t type, std::uint32_t number) {
  const std::uint32_t numbers[] = {type, 1000, 1, number};
  std::uint8_t bytes[reader::RecordId::kBytes];
  std::memcpy(bytes, numbers, sizeof bytes);
  return reader::RecordId(bytes);
}

// Flows of eight nodes, in each of which something happens between any two looks.
class Busy {
 public:
  explicit Busy(std::uint32_t nodes) {
    broker_.segment.state = reader::State::ok;
    broker_.segment.uuid = "1-2-3";
    broker_.segment.id = 7;
    broker_.segment.size = 4096;
    broker_.tree = reader::Broker{};
    broker_.tree->label = "BUSY";
    broker_.tree->uuid = "1-2-3";
    broker_.tree->resetTime = kBegin - 1;
    auto& group = broker_.tree->executionGroups.emplace_back();
    group.label = "orders";
    for (std::uint32_t i = 0; i < nodes; ++i) add(group, i);
  }

  std::shared_ptr<const model::SeenBroker> next() {
    for (auto& flow : broker_.tree->executionGroups[0].messageFlows) {
      for (auto& node : flow.nodes) grow(*node.statistics);
    }
    return std::make_shared<const model::SeenBroker>(broker_);
  }

 private:
  static void add(reader::ExecutionGroup& group, std::uint32_t number) {
    if (number % 8 == 0) {
      auto& flow = group.messageFlows.emplace_back();
      flow.label = "Flow " + std::to_string(number / 8);
      flow.recordId = idOf(4, number);
    }
    reader::Node node;
    node.label = "Node " + std::to_string(number % 8);
    node.type = number % 8 == 0 ? 1 : 3;
    node.recordId = idOf(5, number);
    node.statistics = reader::Statistics{};
    node.statistics->recordId = idOf(6, number);
    node.statistics->messageCount = node.statistics->sumSize = 0;
    node.statistics->sumElapsed = node.statistics->sumQueued = 0;
    node.statistics->firstCollection = kBegin;
    group.messageFlows.back().nodes.push_back(std::move(node));
  }

  void grow(reader::Statistics& statistics) {
    const std::int64_t messages = 20 + static_cast<std::int64_t>(random_() % 80);
    *statistics.messageCount += messages;
    *statistics.sumSize += messages * (500 + static_cast<std::int64_t>(random_() % 1000));
    *statistics.sumElapsed += messages * (1 + static_cast<std::int64_t>(random_() % 20));
    *statistics.sumQueued += messages * static_cast<std::int64_t>(random_() % 5);
  }

  model::SeenBroker broker_;
  std::mt19937 random_{1};
};

double processorSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// Bytes that this process has handed to the system to be written.
double writtenBytes() {
  std::ifstream in("/proc/self/io");
  for (std::string word; in >> word;) {
    double number = 0;
    if (word == "wchar:" && in >> number) return number;
  }
  return 0;
}

void record(const std::string& file, std::uint32_t nodes, int looks) {
  Busy busy(nodes);
  history::Recording recording({.path = file},
                               [](const std::string& line) { fmt::print("{}\n", line); });
  double spent = 0;
  double longest = 0;
  double most = 0;
  const double written = writtenBytes();
  for (int i = 0; i < looks; ++i) {
    auto snapshot = std::make_shared<model::Snapshot>();
    snapshot->brokers = {busy.next()};
    snapshot->wall =
        std::chrono::system_clock::time_point(std::chrono::seconds(kBegin + i * kInterval));
    snapshot->steady = Clock::time_point(std::chrono::seconds(i * kInterval));
    const double before = processorSeconds();
    const auto begin = Clock::now();
    recording.take(history::Sight{.snapshot = std::move(snapshot)});
    recording.flush();
    const double work = processorSeconds() - before;
    spent += work;
    most = std::max(most, work);
    longest = std::max(longest, std::chrono::duration<double>(Clock::now() - begin).count());
  }
  fmt::print(
      "recording {} nodes: {:.2f} ms of a processor a look, {:.2f} % of a core at a look "
      "every {} s; {:.0f} ms for the most work, and the longest took {:.0f} ms\n",
      nodes, spent / looks * 1e3, spent / looks / kInterval * 100, kInterval, most * 1e3,
      longest * 1e3);
  fmt::print("written: {:.0f} KiB a look\n", (writtenBytes() - written) / looks / 1024);
}

void measureSize(const std::string& file) {
  const history::Database database = history::openToRead(file);
  const auto number = [&](const char* sql) {
    return static_cast<double>(database.integerOf(sql).value_or(0));
  };
  const double bytes =
      (number("PRAGMA page_count") - number("PRAGMA freelist_count")) * number("PRAGMA page_size");
  const double samples = number("SELECT sum(samples + minutes + hours) FROM part");
  fmt::print("file: {:.1f} MiB in use; {:.1f} bytes a sample in closed parts, all included\n",
             bytes / 1048576, bytes / samples);
  double pages = 0;
  try {
    pages = number("SELECT sum(pgsize) FROM dbstat WHERE name IN ('sample', 'minute', 'hour')");
    fmt::print("of the tables of samples alone: {:.1f}\n", pages / samples);
  } catch (const history::Failure&) {
    fmt::print("the tables alone can't be told: this SQLite has no dbstat\n");
  }
}

void measureDay(const std::string& file, int looks, std::int64_t points, const char* what) {
  const history::Question question{.broker = "BUSY",
                                   .group = "orders",
                                   .flow = "Flow 0",
                                   .node = "Node 3",
                                   .fromS = kBegin + looks * kInterval - 86400,
                                   .untilS = kBegin + looks * kInterval,
                                   .points = points};
  double best = 1e9;
  std::size_t drawn = 0;
  for (int i = 0; i < 20; ++i) {
    const auto begin = Clock::now();
    const history::Curves curves = history::curvesOf(history::openToRead(file), question);
    best = std::min(best, std::chrono::duration<double, std::milli>(Clock::now() - begin).count());
    drawn = curves.nodes.at(0).points.size();
  }
  fmt::print("{}: {} points in {:.1f} ms\n", what, drawn, best);
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 2) return 64;
  const std::string file = std::string(arguments[1]) + "/history.db";
  const auto nodes = static_cast<std::uint32_t>(count > 2 ? std::atoi(arguments[2]) : 800);
  const int looks = count > 3 ? std::atoi(arguments[3]) : 43500;
  try {
    record(file, nodes, looks);
    measureSize(file);
    measureDay(file, looks, 1000, "a node's day");
  } catch (const history::Refusal& refusal) {
    fmt::print("{}\n", refusal.sentence);
    return 1;
  }
  return 0;
}
