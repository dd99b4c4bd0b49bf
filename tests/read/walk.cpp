// SPDX-License-Identifier: Apache-2.0
#include "tests/read/walk.h"

#include <sstream>

namespace {

std::string shown(const char* text) {
  return text == nullptr ? "NULL" : "\"" + std::string(text) + "\"";
}

template <class Handle>
std::string number(const Handle* handle, zebread_status (*ask)(const Handle*, std::int64_t*)) {
  std::int64_t value = -77;
  const zebread_status status = ask(handle, &value);
  if (status == ZEBREAD_OK) return std::to_string(value);
  return value == -77 ? "status " + std::to_string(status) : "changed";
}

template <class Handle>
std::string id(const Handle* handle, void (*ask)(const Handle*, std::uint8_t*), std::size_t bytes) {
  std::uint8_t raw[ZEBREAD_MESSAGE_ID_BYTES];
  char digits[2 * ZEBREAD_MESSAGE_ID_BYTES + 1];
  ask(handle, raw);
  zebread_hex(raw, bytes, digits);
  return digits;
}

template <class Handle>
std::string id(const Handle* handle, void (*ask)(const Handle*, std::uint8_t*)) {
  return id(handle, ask, ZEBREAD_RECORD_ID_BYTES);
}

void walkNode(std::ostream& out, const zebread_node* node) {
  out << "node " << shown(zebread_node_label(node)) << ' ' << zebread_node_type(node) << ' '
      << shown(zebread_node_type_name(node)) << ' ' << shown(zebread_node_sub_flow(node)) << ' '
      << zebread_node_deleted(node) << ' ' << id(node, zebread_node_record_id) << ' '
      << zebread_node_torn(node) << '\n';
  for (int which = ZEBREAD_MESSAGE_COUNT; which <= ZEBREAD_LAST_COLLECTION + 1; ++which) {
    std::int64_t value = -77;
    const auto status = zebread_node_statistic(node, static_cast<zebread_statistic>(which), &value);
    out << "  " << which << ": " << status << ' ' << value << '\n';
  }
  std::uint8_t raw[ZEBREAD_RECORD_ID_BYTES] = {};
  char digits[2 * ZEBREAD_RECORD_ID_BYTES + 1];
  out << "  " << zebread_node_statistics_record_id(node, raw);
  zebread_hex(raw, sizeof raw, digits);
  out << ' ' << digits << '\n';
}

void walkGroup(std::ostream& out, const zebread_group* group) {
  out << "group " << shown(zebread_group_label(group)) << ' ' << shown(zebread_group_uuid(group))
      << ' ' << zebread_group_process_id(group) << ' ' << zebread_group_deleted(group) << ' '
      << id(group, zebread_group_record_id) << '\n';
  for (std::size_t i = 0; i < zebread_group_flow_count(group); ++i) {
    const zebread_flow* const flow = zebread_group_flow(group, i);
    out << "flow " << shown(zebread_flow_label(flow)) << ' ' << zebread_flow_deleted(flow) << ' '
        << id(flow, zebread_flow_record_id) << '\n';
    for (std::size_t j = 0; j < zebread_flow_node_count(flow); ++j) {
      walkNode(out, zebread_flow_node(flow, j));
    }
  }
}

void walkEvent(std::ostream& out, const zebread_event* event) {
  out << "event " << zebread_event_kind_of(event) << ' ' << number(event, zebread_event_time) << ' '
      << zebread_event_created_ms(event) << ' ' << id(event, zebread_event_record_id) << ' '
      << zebread_event_thread_id(event) << ' '
      << id(event, zebread_event_message_id, ZEBREAD_MESSAGE_ID_BYTES) << ' '
      << id(event, zebread_event_correlation_id, ZEBREAD_MESSAGE_ID_BYTES) << ' '
      << zebread_event_put_application_type(event) << ' '
      << shown(zebread_event_put_application_name(event)) << ' '
      << shown(zebread_event_put_date(event)) << ' ' << shown(zebread_event_put_time(event)) << ' '
      << shown(zebread_event_group(event)) << ' ' << shown(zebread_event_flow(event)) << ' '
      << shown(zebread_event_node(event)) << ' ' << zebread_event_node_type(event) << ' '
      << shown(zebread_event_text(event)) << ' ' << id(event, zebread_event_template_id) << '\n';
}

void walkBroker(std::ostream& out, const zebread_broker* broker) {
  out << "broker " << shown(zebread_broker_label(broker)) << ' '
      << shown(zebread_broker_uuid(broker)) << ' ' << shown(zebread_broker_key_file(broker)) << ' '
      << zebread_broker_state(broker) << ' ' << shown(zebread_broker_state_name(broker)) << ' '
      << shown(zebread_broker_problem(broker)) << ' ' << number(broker, zebread_broker_reset_time)
      << ' ' << number(broker, zebread_broker_segment_bytes) << ' '
      << number(broker, zebread_broker_attached) << ' '
      << shown(zebread_broker_reading_group(broker)) << ' '
      << number(broker, zebread_broker_missed_events) << '\n';
  for (std::size_t i = 0; i < zebread_broker_area_count(broker); ++i) {
    const zebread_area* const area = zebread_broker_area(broker, i);
    out << "area " << shown(zebread_area_name(area)) << ' ' << zebread_area_size_bytes(area) << ' '
        << zebread_area_used_bytes(area) << ' ' << zebread_area_uncopied_bytes(area) << ' '
        << zebread_area_wrapped(area) << '\n';
  }
  for (std::size_t i = 0; i < zebread_broker_damage_count(broker); ++i) {
    const zebread_damage* const damage = zebread_broker_damage(broker, i);
    out << "damage " << shown(zebread_damage_area(damage)) << ' ' << zebread_damage_offset(damage)
        << ' ' << shown(zebread_damage_reason(damage)) << '\n';
  }
  for (std::size_t i = 0; i < zebread_broker_group_count(broker); ++i) {
    walkGroup(out, zebread_broker_group(broker, i));
  }
  for (std::size_t i = 0; i < zebread_broker_event_count(broker); ++i) {
    walkEvent(out, zebread_broker_event(broker, i));
  }
}

}  // namespace

std::string walk(const zebread_snapshot* snapshot) {
  std::ostringstream out;
  out << "snapshot " << shown(zebread_snapshot_directory(snapshot)) << '\n';
  for (std::size_t i = 0; i < zebread_snapshot_broker_count(snapshot); ++i) {
    walkBroker(out, zebread_snapshot_broker(snapshot, i));
  }
  return out.str();
}
