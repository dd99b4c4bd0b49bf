// SPDX-License-Identifier: Apache-2.0
// Writes into single records of a segment's statistics area, in place.
#ifndef ZEB_AGENT_ACT_RECORD_WRITER_H
#define ZEB_AGENT_ACT_RECORD_WRITER_H

#include <cstdint>
#include <map>
#include <span>
#include <string>

#include "agent/model/snapshot.h"

namespace act {

// For one broker as it was seen. The caller holds the lock that guards what is written.
class RecordWriter {
 public:
  explicit RecordWriter(const model::SeenBroker& broker);

  enum class Written { yes, moved, refused, failed };

  // All figures of the statistics record with this ID become zero. `moved`, and nothing written,
  // when it is no longer where it was seen.
  Written clear(const reader::RecordId& id);

  // The broker record's reset time, in seconds since 1901.
  Written setResetTime(const reader::RecordId& id, std::uint32_t calendar);

  int error() const { return error_; }  // errno of what failed

 private:
  // Has `change` write into the record's bytes in shared memory, of which a copy was just found
  // sane and of this type and ID.
  template <class Change>
  Written inPlace(const reader::RecordId& id, std::uint32_t type, Change change);

  struct Place {
    std::uint64_t at;    // in the segment
    std::uint64_t most;  // bytes from there to the end of what is stored in the area
  };

  const reader::Segment& segment_;
  std::map<std::string, Place> places_;  // by ID
  int error_ = 0;
};

}  // namespace act

#endif  // ZEB_AGENT_ACT_RECORD_WRITER_H
