// SPDX-License-Identifier: Apache-2.0
#include "agent/model/collector.h"

#include <algorithm>
#include <utility>

#include "agent/reader/temporary_directory.h"

namespace model {

Collector::Collector(std::string directory, Events events)
    : directory_(directory.empty() ? reader::temporaryDirectory()
                                   : reader::withSlash(std::move(directory))),
      events_(events) {}

std::shared_ptr<const Snapshot> Collector::take() {
  auto snapshot = std::make_shared<Snapshot>();
  snapshot->wall = std::chrono::system_clock::now();
  snapshot->steady = std::chrono::steady_clock::now();
  snapshot->directory = directory_;
  const reader::KeyFiles files = reader::findKeyFiles(directory_);
  snapshot->error = files.error;
  if (files.error != 0) return snapshot;
  forgetAllBut(files.paths);
  for (const std::string& path : files.paths) snapshot->brokers.push_back(look(path));
  return snapshot;
}

// A segment that can't be read for a moment is not a new one: its log is left as it is.
std::shared_ptr<const SeenBroker> Collector::look(const std::string& keyFile) {
  auto broker = std::make_shared<SeenBroker>(decoded(reader::readSegment(keyFile)));
  if (events_ == Events::read && broker->segment.size > 0) {
    broker->events = logs_[keyFile].read(broker->segment, broker->damage);
  }
  return broker;
}

void Collector::forgetAllBut(const std::vector<std::string>& keyFiles) {
  std::erase_if(logs_, [&keyFiles](const auto& log) {
    return !std::binary_search(keyFiles.begin(), keyFiles.end(), log.first);
  });
}

}  // namespace model
