// SPDX-License-Identifier: Apache-2.0
// What a lock guards, by name.
#ifndef ZEB_AGENT_MODEL_GUARDED_H
#define ZEB_AGENT_MODEL_GUARDED_H

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "agent/model/selection.h"
#include "agent/model/snapshot.h"

namespace model {

// Its broker is null when that is not known: then its key file, or the record, is gone. Group, flow
// and node are told of the statistics whose record was found; an attach table has its group alone.
struct Guarded : Part {
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
