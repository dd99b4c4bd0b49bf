// SPDX-License-Identifier: Apache-2.0
// What is behind the handles of the C interface. Handles of areas, damage, groups, flows, nodes and
// events are the model's own objects under another name.
#ifndef ZEB_READ_HANDLES_H
#define ZEB_READ_HANDLES_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "agent/model/collector.h"
#include "agent/model/condition.h"
#include "agent/model/selection.h"
#include "read/zebread.h"

struct zebread_reader {
  std::string directory;
  model::Selection selection;
  std::uint64_t mostBytes = reader::CopyBounds::kMostBytes;
  bool events = false;
  model::Collector::Marks marks;  // where to go on
  std::optional<model::Collector> collector;

  std::string cursor;
  zebread_status error = ZEBREAD_OK;
  char sentence[512] = "";  // stays usable without memory
};

struct zebread_broker {
  std::shared_ptr<const model::SeenBroker> seen;
  model::Condition condition = model::Condition::ok;
  std::string uuid;
  std::string problem;
  std::vector<reader::Damage> damage;
  std::vector<const reader::Area*> areas;  // those that there are, always in the same order
};

struct zebread_snapshot {
  std::int64_t wall = 0;    // milliseconds
  std::int64_t steady = 0;  // likewise
  std::string directory;
  std::vector<zebread_broker> brokers;
};

namespace read_c {

inline const reader::Area* objectOf(const zebread_area* handle) {
  return reinterpret_cast<const reader::Area*>(handle);
}
inline const reader::Damage* objectOf(const zebread_damage* handle) {
  return reinterpret_cast<const reader::Damage*>(handle);
}
inline const reader::ExecutionGroup* objectOf(const zebread_group* handle) {
  return reinterpret_cast<const reader::ExecutionGroup*>(handle);
}
inline const reader::MessageFlow* objectOf(const zebread_flow* handle) {
  return reinterpret_cast<const reader::MessageFlow*>(handle);
}
inline const reader::Node* objectOf(const zebread_node* handle) {
  return reinterpret_cast<const reader::Node*>(handle);
}
inline const reader::Event* objectOf(const zebread_event* handle) {
  return reinterpret_cast<const reader::Event*>(handle);
}

// The handle of a list's member; null behind the last one.
template <class Handle, class Object>
const Handle* handleAt(const std::vector<Object>& list, std::size_t index) {
  return index < list.size() ? reinterpret_cast<const Handle*>(&list[index]) : nullptr;
}

// Where the caller wants a value.
template <class Value>
zebread_status give(const std::optional<Value>& value, zebread_status otherwise, std::int64_t* to) {
  if (to == nullptr) return ZEBREAD_INVALID;
  if (!value) return otherwise;
  *to = static_cast<std::int64_t>(*value);
  return ZEBREAD_OK;
}

// 0 for no object.
void giveId(const reader::RecordId* id, std::uint8_t* to);

}  // namespace read_c

#endif  // ZEB_READ_HANDLES_H
