// SPDX-License-Identifier: Apache-2.0
// Events, each joined with its template.
#include <algorithm>

#include "read/handles.h"

using read_c::give;
using read_c::giveId;
using read_c::objectOf;

static_assert(ZEBREAD_EVENT_UNKNOWN == static_cast<int>(reader::EventKind::unknown));
static_assert(ZEBREAD_EVENT_MESSAGE == static_cast<int>(reader::EventKind::message));
static_assert(ZEBREAD_EVENT_EXCEPTION == static_cast<int>(reader::EventKind::exception));

namespace {

using reader::Event;
using reader::EventTemplate;

const char* textOf(const zebread_event* event, std::string Event::*member) {
  return event == nullptr ? nullptr : (objectOf(event)->*member).c_str();
}

const char* textOf(const zebread_event* event, std::string EventTemplate::*member) {
  if (event == nullptr || !objectOf(event)->origin) return nullptr;
  return (*objectOf(event)->origin.*member).c_str();
}

template <class Bytes>
void giveBytes(const zebread_event* event, Bytes Event::*member, std::uint8_t* to) {
  static_assert(std::tuple_size_v<Bytes> == ZEBREAD_MESSAGE_ID_BYTES);
  if (to != nullptr) std::ranges::copy(event == nullptr ? Bytes() : objectOf(event)->*member, to);
}

}  // namespace

zebread_event_kind zebread_event_kind_of(const zebread_event* event) noexcept {
  return event == nullptr ? ZEBREAD_EVENT_UNKNOWN
                          : static_cast<zebread_event_kind>(objectOf(event)->kind());
}

zebread_status zebread_event_time(const zebread_event* event, int64_t* seconds) noexcept {
  return event == nullptr ? ZEBREAD_INVALID : give(objectOf(event)->time, ZEBREAD_ABSENT, seconds);
}

int64_t zebread_event_created_ms(const zebread_event* event) noexcept {
  return event == nullptr ? 0 : objectOf(event)->recordId.created().inMilliseconds();
}

void zebread_event_record_id(const zebread_event* event, uint8_t* id) noexcept {
  giveId(event == nullptr ? nullptr : &objectOf(event)->recordId, id);
}

int32_t zebread_event_thread_id(const zebread_event* event) noexcept {
  return event == nullptr ? 0 : objectOf(event)->threadId;
}

void zebread_event_message_id(const zebread_event* event, uint8_t* id) noexcept {
  giveBytes(event, &Event::messageId, id);
}

void zebread_event_correlation_id(const zebread_event* event, uint8_t* id) noexcept {
  giveBytes(event, &Event::correlationId, id);
}

int32_t zebread_event_put_application_type(const zebread_event* event) noexcept {
  return event == nullptr ? 0 : objectOf(event)->putApplicationType;
}

const char* zebread_event_put_application_name(const zebread_event* event) noexcept {
  return textOf(event, &Event::putApplicationName);
}

const char* zebread_event_put_date(const zebread_event* event) noexcept {
  return textOf(event, &Event::putDate);
}

const char* zebread_event_put_time(const zebread_event* event) noexcept {
  return textOf(event, &Event::putTime);
}

const char* zebread_event_group(const zebread_event* event) noexcept {
  return textOf(event, &EventTemplate::executionGroup);
}

const char* zebread_event_flow(const zebread_event* event) noexcept {
  return textOf(event, &EventTemplate::messageFlow);
}

const char* zebread_event_node(const zebread_event* event) noexcept {
  return textOf(event, &EventTemplate::node);
}

uint32_t zebread_event_node_type(const zebread_event* event) noexcept {
  return event == nullptr || !objectOf(event)->origin ? 0 : objectOf(event)->origin->nodeType;
}

const char* zebread_event_text(const zebread_event* event) noexcept {
  return textOf(event, &EventTemplate::text);
}

void zebread_event_template_id(const zebread_event* event, uint8_t* id) noexcept {
  giveId(event == nullptr ? nullptr : &objectOf(event)->templateId, id);
}
