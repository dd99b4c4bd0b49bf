// SPDX-License-Identifier: Apache-2.0
// What one look saw: brokers, their shared memory, and what is wrong with it.
#include "read/handles.h"

using read_c::give;
using read_c::handleAt;
using read_c::objectOf;

static_assert(ZEBREAD_STATE_FAILED == static_cast<int>(model::Condition::failed));
static_assert(ZEBREAD_STATE_FULL == static_cast<int>(model::Condition::full));

namespace {

const reader::Segment* segmentOf(const zebread_broker* broker) {
  return broker != nullptr && broker->seen->segment.size > 0 ? &broker->seen->segment : nullptr;
}

template <class Value>
zebread_status giveOfSegment(const zebread_broker* broker, Value reader::Segment::*member,
                             std::int64_t* to) {
  if (broker == nullptr) return ZEBREAD_INVALID;
  const reader::Segment* const segment = segmentOf(broker);
  return give(segment == nullptr ? std::nullopt : std::optional(segment->*member), ZEBREAD_ABSENT,
              to);
}

const reader::Broker* treeOf(const zebread_broker* broker) {
  return broker != nullptr && broker->seen->tree ? &*broker->seen->tree : nullptr;
}

const reader::EventLog::Batch* eventsOf(const zebread_broker* broker) {
  return broker != nullptr && broker->seen->events ? &*broker->seen->events : nullptr;
}

}  // namespace

void zebread_snapshot_free(zebread_snapshot* snapshot) noexcept {
  delete snapshot;
}

int64_t zebread_snapshot_wall_ms(const zebread_snapshot* snapshot) noexcept {
  return snapshot == nullptr ? 0 : snapshot->wall;
}

int64_t zebread_snapshot_steady_ms(const zebread_snapshot* snapshot) noexcept {
  return snapshot == nullptr ? 0 : snapshot->steady;
}

const char* zebread_snapshot_directory(const zebread_snapshot* snapshot) noexcept {
  return snapshot == nullptr ? nullptr : snapshot->directory.c_str();
}

size_t zebread_snapshot_broker_count(const zebread_snapshot* snapshot) noexcept {
  return snapshot == nullptr ? 0 : snapshot->brokers.size();
}

const zebread_broker* zebread_snapshot_broker(const zebread_snapshot* snapshot,
                                              size_t index) noexcept {
  return snapshot == nullptr ? nullptr : handleAt<zebread_broker>(snapshot->brokers, index);
}

const char* zebread_broker_label(const zebread_broker* broker) noexcept {
  const reader::Broker* const tree = treeOf(broker);
  return tree == nullptr ? nullptr : tree->label.c_str();
}

const char* zebread_broker_uuid(const zebread_broker* broker) noexcept {
  return broker == nullptr ? nullptr : broker->uuid.c_str();
}

const char* zebread_broker_key_file(const zebread_broker* broker) noexcept {
  return broker == nullptr ? nullptr : broker->seen->segment.keyFile.c_str();
}

zebread_state zebread_broker_state(const zebread_broker* broker) noexcept {
  return broker == nullptr ? ZEBREAD_STATE_FAILED : static_cast<zebread_state>(broker->condition);
}

const char* zebread_broker_state_name(const zebread_broker* broker) noexcept {
  return broker == nullptr ? nullptr : nameOf(broker->condition);
}

const char* zebread_broker_problem(const zebread_broker* broker) noexcept {
  return broker == nullptr || broker->problem.empty() ? nullptr : broker->problem.c_str();
}

zebread_status zebread_broker_reset_time(const zebread_broker* broker, int64_t* seconds) noexcept {
  if (broker == nullptr) return ZEBREAD_INVALID;
  const reader::Broker* const tree = treeOf(broker);
  return give(tree == nullptr ? reader::Time() : tree->resetTime, ZEBREAD_ABSENT, seconds);
}

zebread_status zebread_broker_segment_id(const zebread_broker* broker, int64_t* id) noexcept {
  return giveOfSegment(broker, &reader::Segment::id, id);
}

zebread_status zebread_broker_segment_bytes(const zebread_broker* broker, int64_t* bytes) noexcept {
  return giveOfSegment(broker, &reader::Segment::size, bytes);
}

zebread_status zebread_broker_attached(const zebread_broker* broker, int64_t* count) noexcept {
  return giveOfSegment(broker, &reader::Segment::attached, count);
}

const char* zebread_broker_reading_group(const zebread_broker* broker) noexcept {
  if (broker == nullptr || broker->seen->segment.group.empty()) return nullptr;
  return broker->seen->segment.group.c_str();
}

size_t zebread_broker_area_count(const zebread_broker* broker) noexcept {
  return broker == nullptr ? 0 : broker->areas.size();
}

const zebread_area* zebread_broker_area(const zebread_broker* broker, size_t index) noexcept {
  if (index >= zebread_broker_area_count(broker)) return nullptr;
  return reinterpret_cast<const zebread_area*>(broker->areas[index]);
}

size_t zebread_broker_damage_count(const zebread_broker* broker) noexcept {
  return broker == nullptr ? 0 : broker->damage.size();
}

const zebread_damage* zebread_broker_damage(const zebread_broker* broker, size_t index) noexcept {
  return broker == nullptr ? nullptr : handleAt<zebread_damage>(broker->damage, index);
}

size_t zebread_broker_group_count(const zebread_broker* broker) noexcept {
  const reader::Broker* const tree = treeOf(broker);
  return tree == nullptr ? 0 : tree->executionGroups.size();
}

const zebread_group* zebread_broker_group(const zebread_broker* broker, size_t index) noexcept {
  const reader::Broker* const tree = treeOf(broker);
  return tree == nullptr ? nullptr : handleAt<zebread_group>(tree->executionGroups, index);
}

size_t zebread_broker_event_count(const zebread_broker* broker) noexcept {
  const reader::EventLog::Batch* const batch = eventsOf(broker);
  return batch == nullptr ? 0 : batch->events.size();
}

const zebread_event* zebread_broker_event(const zebread_broker* broker, size_t index) noexcept {
  const reader::EventLog::Batch* const batch = eventsOf(broker);
  return batch == nullptr ? nullptr : handleAt<zebread_event>(batch->events, index);
}

zebread_status zebread_broker_missed_events(const zebread_broker* broker, int64_t* least) noexcept {
  if (broker == nullptr) return ZEBREAD_INVALID;
  const reader::EventLog::Batch* const batch = eventsOf(broker);
  return give(batch == nullptr ? std::nullopt : std::optional(batch->missed), ZEBREAD_ABSENT,
              least);
}

const char* zebread_area_name(const zebread_area* area) noexcept {
  return area == nullptr ? nullptr : objectOf(area)->name.c_str();
}

int64_t zebread_area_size_bytes(const zebread_area* area) noexcept {
  return area == nullptr ? 0 : objectOf(area)->size;
}

int64_t zebread_area_used_bytes(const zebread_area* area) noexcept {
  return area == nullptr ? 0 : objectOf(area)->last;
}

int64_t zebread_area_uncopied_bytes(const zebread_area* area) noexcept {
  return area == nullptr ? 0 : objectOf(area)->uncopied();
}

int zebread_area_wrapped(const zebread_area* area) noexcept {
  return area != nullptr && objectOf(area)->wrapped();
}

const char* zebread_damage_area(const zebread_damage* damage) noexcept {
  return damage == nullptr ? nullptr : objectOf(damage)->area.c_str();
}

int64_t zebread_damage_offset(const zebread_damage* damage) noexcept {
  return damage == nullptr ? 0 : static_cast<std::int64_t>(objectOf(damage)->offset);
}

const char* zebread_damage_reason(const zebread_damage* damage) noexcept {
  return damage == nullptr ? nullptr : objectOf(damage)->reason.c_str();
}
