// SPDX-License-Identifier: Apache-2.0
// Execution groups, message flows, nodes and what these measured.
#include <algorithm>

#include "agent/render/words.h"
#include "read/handles.h"

using read_c::give;
using read_c::giveId;
using read_c::handleAt;
using read_c::objectOf;

namespace {

using reader::Statistics;

// A number of 32 bits is always readable.
zebread_status give(std::int32_t number, std::int64_t* to) {
  return give(std::optional(number), ZEBREAD_OK, to);
}

zebread_status giveNumber(const Statistics& numbers, zebread_statistic which, std::int64_t* to) {
  switch (which) {
    case ZEBREAD_MESSAGE_COUNT:
      return give(numbers.messageCount, ZEBREAD_UNREADABLE, to);
    case ZEBREAD_SIZE_SUM_BYTES:
      return give(numbers.sumSize, ZEBREAD_UNREADABLE, to);
    case ZEBREAD_SIZE_MIN_BYTES:
      return give(numbers.minSize, to);
    case ZEBREAD_SIZE_MAX_BYTES:
      return give(numbers.maxSize, to);
    case ZEBREAD_ELAPSED_SUM_MS:
      return give(numbers.sumElapsed, ZEBREAD_UNREADABLE, to);
    case ZEBREAD_ELAPSED_MIN_MS:
      return give(numbers.minElapsed, to);
    case ZEBREAD_ELAPSED_MAX_MS:
      return give(numbers.maxElapsed, to);
    case ZEBREAD_QUEUED_SUM_MS:
      return give(numbers.sumQueued, ZEBREAD_UNREADABLE, to);
    case ZEBREAD_QUEUED_MIN_MS:
      return give(numbers.minQueued, to);
    case ZEBREAD_QUEUED_MAX_MS:
      return give(numbers.maxQueued, to);
    case ZEBREAD_FIRST_COLLECTION:
      return give(numbers.firstCollection, ZEBREAD_ABSENT, to);
    case ZEBREAD_LAST_COLLECTION:
      return give(numbers.lastCollection, ZEBREAD_ABSENT, to);
  }
  return ZEBREAD_INVALID;
}

template <class Object>
const reader::RecordId* idOf(const Object* object) {
  return object == nullptr ? nullptr : &object->recordId;
}

}  // namespace

void read_c::giveId(const reader::RecordId* id, std::uint8_t* to) {
  if (to != nullptr) std::ranges::copy((id == nullptr ? reader::RecordId() : *id).bytes(), to);
}

const char* zebread_group_label(const zebread_group* group) noexcept {
  return group == nullptr ? nullptr : objectOf(group)->label.c_str();
}

const char* zebread_group_uuid(const zebread_group* group) noexcept {
  return group == nullptr ? nullptr : objectOf(group)->uuid.c_str();
}

int32_t zebread_group_process_id(const zebread_group* group) noexcept {
  return group == nullptr ? 0 : objectOf(group)->processId;
}

int zebread_group_deleted(const zebread_group* group) noexcept {
  return group != nullptr && objectOf(group)->deleted;
}

void zebread_group_record_id(const zebread_group* group, uint8_t* id) noexcept {
  giveId(idOf(objectOf(group)), id);
}

size_t zebread_group_flow_count(const zebread_group* group) noexcept {
  return group == nullptr ? 0 : objectOf(group)->messageFlows.size();
}

const zebread_flow* zebread_group_flow(const zebread_group* group, size_t index) noexcept {
  return group == nullptr ? nullptr : handleAt<zebread_flow>(objectOf(group)->messageFlows, index);
}

const char* zebread_flow_label(const zebread_flow* flow) noexcept {
  return flow == nullptr ? nullptr : objectOf(flow)->label.c_str();
}

int zebread_flow_deleted(const zebread_flow* flow) noexcept {
  return flow != nullptr && objectOf(flow)->deleted;
}

void zebread_flow_record_id(const zebread_flow* flow, uint8_t* id) noexcept {
  giveId(idOf(objectOf(flow)), id);
}

size_t zebread_flow_node_count(const zebread_flow* flow) noexcept {
  return flow == nullptr ? 0 : objectOf(flow)->nodes.size();
}

const zebread_node* zebread_flow_node(const zebread_flow* flow, size_t index) noexcept {
  return flow == nullptr ? nullptr : handleAt<zebread_node>(objectOf(flow)->nodes, index);
}

const char* zebread_node_label(const zebread_node* node) noexcept {
  return node == nullptr ? nullptr : objectOf(node)->label.c_str();
}

uint32_t zebread_node_type(const zebread_node* node) noexcept {
  return node == nullptr ? 0 : objectOf(node)->type;
}

const char* zebread_node_type_name(const zebread_node* node) noexcept {
  return node == nullptr ? nullptr : render::nodeTypeName(objectOf(node)->type);
}

const char* zebread_node_sub_flow(const zebread_node* node) noexcept {
  return node == nullptr ? nullptr : objectOf(node)->subFlowName.c_str();
}

int zebread_node_deleted(const zebread_node* node) noexcept {
  return node != nullptr && objectOf(node)->deleted;
}

void zebread_node_record_id(const zebread_node* node, uint8_t* id) noexcept {
  giveId(idOf(objectOf(node)), id);
}

zebread_status zebread_node_statistic(const zebread_node* node, zebread_statistic which,
                                      int64_t* value) noexcept {
  std::int64_t ignored = 0;
  if (node == nullptr || value == nullptr) return ZEBREAD_INVALID;
  const auto& statistics = objectOf(node)->statistics;
  if (statistics) return giveNumber(*statistics, which, value);
  return giveNumber({}, which, &ignored) == ZEBREAD_INVALID ? ZEBREAD_INVALID : ZEBREAD_ABSENT;
}

int zebread_node_torn(const zebread_node* node) noexcept {
  return node != nullptr && objectOf(node)->statistics && objectOf(node)->statistics->torn;
}

zebread_status zebread_node_statistics_record_id(const zebread_node* node, uint8_t* id) noexcept {
  if (node == nullptr || id == nullptr) return ZEBREAD_INVALID;
  if (!objectOf(node)->statistics) return ZEBREAD_ABSENT;
  giveId(&objectOf(node)->statistics->recordId, id);
  return ZEBREAD_OK;
}
