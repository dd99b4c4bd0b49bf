// SPDX-License-Identifier: Apache-2.0
// The one place where the machine is looked at.
#ifndef ZEB_AGENT_MODEL_COLLECTOR_H
#define ZEB_AGENT_MODEL_COLLECTOR_H

#include <map>
#include <memory>
#include <string>

#include "agent/model/machine_facts.h"
#include "agent/model/snapshot.h"
#include "agent/reader/events.h"

namespace model {

enum class Events { skip, leave, read };  // skip: their areas aren't even copied

// Takes snapshots of one machine: its temporary directory, and the segment of each key file in it.
// Keeps only what it needs to tell new events from old ones. For one thread.
class Collector {
 public:
  // `directory` may lack its last "/". Empty: the one that the library uses on this machine. Of a
  // broker at most `mostBytes` of shared memory are looked at.
  explicit Collector(std::string directory, Events events = Events::leave,
                     MachineFacts machine = MachineFacts::leave,
                     std::uint64_t mostBytes = reader::CopyBounds::kMostBytes);

  // By key file: how far the events of each broker were read.
  using Marks = std::map<std::string, reader::RingMark>;

  // Events up to there are no longer new.
  void resume(const Marks& marks);
  Marks marks() const;

  // Looks at everything once. Never null; what can't be read is a fact of the snapshot. A segment
  // is attached only while it is copied; no lock is taken, and nothing is made or written.
  std::shared_ptr<const Snapshot> take();

 private:
  std::shared_ptr<const SeenBroker> look(const std::string& keyFile, std::int64_t wall);
  void forgetAllBut(const std::vector<std::string>& keyFiles);

  std::string directory_;
  Events events_;
  MachineFacts machine_;
  reader::CopyBounds bounds_;
  std::map<std::string, reader::EventLog> logs_;  // by key file
};

}  // namespace model

#endif  // ZEB_AGENT_MODEL_COLLECTOR_H
