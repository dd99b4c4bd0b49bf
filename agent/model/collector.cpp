// SPDX-License-Identifier: Apache-2.0
#include "agent/model/collector.h"

#include <algorithm>
#include <utility>

#include "agent/model/calendar.h"
#include "agent/reader/temporary_directory.h"

namespace model {

Collector::Collector(std::string directory, Events events, MachineFacts machine,
                     std::uint64_t mostBytes)
    : directory_(reader::keyFileDirectory(std::move(directory))),
      events_(events),
      machine_(machine),
      bounds_{.mostBytes = mostBytes, .events = events != Events::skip} {}

std::shared_ptr<const Snapshot> Collector::take() {
  auto snapshot = std::make_shared<Snapshot>();
  snapshot->wall = std::chrono::system_clock::now();
  snapshot->steady = std::chrono::steady_clock::now();
  snapshot->directory = directory_;
  const reader::KeyFiles files = reader::findKeyFiles(directory_);
  snapshot->error = files.error;
  const std::int64_t wall = secondsOf(*snapshot);
  if (files.error == 0) {
    forgetAllBut(files.paths);
    for (const std::string& path : files.paths) snapshot->brokers.push_back(look(path, wall));
  }
  snapshot->machine = machineOf(*snapshot, machine_);
  return snapshot;
}

// A segment that can't be read for a moment is not a new one: its log is left as it is.
std::shared_ptr<const SeenBroker> Collector::look(const std::string& keyFile, std::int64_t wall) {
  auto broker = std::make_shared<SeenBroker>(decoded(reader::readSegment(keyFile, bounds_), wall));
  if (events_ == Events::read && broker->segment.size > 0) {
    broker->events = logs_[keyFile].read(broker->segment, broker->damage);
    makeNearest(*broker->events, wall);
  }
  return broker;
}

void Collector::resume(const Marks& marks) {
  for (const auto& [keyFile, mark] : marks) {
    logs_.insert_or_assign(keyFile, reader::EventLog(mark));
  }
}

Collector::Marks Collector::marks() const {
  Marks marks;
  for (const auto& [keyFile, log] : logs_) {
    if (const auto mark = log.mark()) marks.emplace(keyFile, *mark);
  }
  return marks;
}

void Collector::forgetAllBut(const std::vector<std::string>& keyFiles) {
  std::erase_if(logs_, [&keyFiles](const auto& log) {
    return !std::binary_search(keyFiles.begin(), keyFiles.end(), log.first);
  });
}

}  // namespace model
