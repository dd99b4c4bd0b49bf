// SPDX-License-Identifier: Apache-2.0
// What a lock guards, by name.
#ifndef ZEB_AGENT_MODEL_GUARDED_H
#define ZEB_AGENT_MODEL_GUARDED_H

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "agent/model/snapshot.h"

namespace model {

struct Guarded {
  enum class What {
    unknown,         // the name is none that the library gives
    statistics,      // one node's statistics
    segment,         // the segment's header, and where areas are placed in it
    statisticsArea,  // where new records go in it; other areas likewise
    templatesArea,
    eventsArea,
    attachTable,  // which segments one process has attached
  };

  What what = What::unknown;

  // Whose it is. Null when that is not known: then its key file, or the record, is gone.
  std::shared_ptr<const SeenBroker> broker;

  // The node, and where it is deployed; of statistics whose record was found only. Any bytes. An
  // attach table has its group alone.
  std::string group;
  std::string flow;
  std::string node;

  std::int32_t process = 0;  // of an attach table, as the name says
};

// The segment of its broker, when that is known.
std::optional<reader::MappedSegment> segmentOf(const Guarded& guarded);

// Tells locks apart by the names of their key files, as far as one snapshot knows their brokers.
class Guards {
 public:
  explicit Guards(const Snapshot& snapshot);

  // `name` is that of a reader::Lock.
  Guarded of(const std::string& name) const;

 private:
  void addRecords(const std::shared_ptr<const SeenBroker>& broker);

  std::map<std::string, Guarded> known_;
};

}  // namespace model

#endif  // ZEB_AGENT_MODEL_GUARDED_H
