// SPDX-License-Identifier: Apache-2.0
// One message's way: its events over all nodes and brokers.
#ifndef ZEB_AGENT_MODEL_MESSAGE_WAY_H
#define ZEB_AGENT_MODEL_MESSAGE_WAY_H

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "agent/model/selection.h"
#include "agent/model/snapshot.h"

namespace model {

// The snapshot owns what it points to.
struct WayStep {
  const SeenBroker* broker = nullptr;
  const reader::Event* event = nullptr;
  bool byCorrelation = false;  // it has the ID as its correlation ID: it may be an answer

  // When the event was made, in milliseconds since 1970, and the time since the step before; 0 for
  // the first one.
  std::int64_t createdMs = 0;
  std::int64_t afterMs = 0;
};

struct MessageWay {
  std::string id;              // 48 upper-case hexadecimal digits
  std::vector<WayStep> steps;  // by time; those of one broker and millisecond as they were posted
};

// The hexadecimal digits of an ID or of the beginning of one, in upper case; nothing for any other
// text. A leading "0x" is taken off.
std::optional<std::string> idPrefixOf(const std::string& text);

// Whether the ID begins with such digits; case counts. One of zeros alone is no ID: never.
bool begins(std::span<const std::uint8_t> id, const std::string& prefix);

// The way of each ID that begins with `prefix`, in the order of IDs, as far as it goes over the
// selected groups, flows and nodes. One of zeros alone is no ID. Brokers whose events were not read
// have no part in it.
std::vector<MessageWay> waysOf(const Snapshot& snapshot, const std::string& prefix,
                               const Selection& selection = {});

}  // namespace model

#endif  // ZEB_AGENT_MODEL_MESSAGE_WAY_H
