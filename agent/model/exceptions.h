// SPDX-License-Identifier: Apache-2.0
// Exceptions as people count them: once a message. Every node that a failing message had passed
// posts an event, the innermost first: the last is the outermost, and the others are its echoes.
#ifndef ZEB_AGENT_MODEL_EXCEPTIONS_H
#define ZEB_AGENT_MODEL_EXCEPTIONS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "agent/model/nesting.h"
#include "agent/model/rates.h"
#include "agent/reader/events.h"

namespace model {

// One failure of one message.
struct Exception {
  std::size_t event = 0;  // index of the outermost node's event

  // Indexes of the echoes, in the order of posting: the first one is nearest to the failure.
  std::vector<std::size_t> echoes;
};

// The failures that `events`, oldest first, tell of; in the order of their outermost events. Events
// of one flow, message ID and thread are one failure, until a node posts its second: then the
// message failed again. Events whose template is gone belong to nothing.
std::vector<Exception> exceptionsOf(std::span<const reader::Event> events);

// An exception's text without the words that all of them begin with: "ORIGIN(CODE). TEXT". Any
// other text as it is. It stays the template's.
std::string_view reasonOf(const reader::EventTemplate& origin);

// How many messages failed between a node and the node directly inside it: the outer one posted an
// exception, and none of the nodes directly in it did. By index, as the flow's nodes; 0 where
// nothing is inside, since there a failure is no loss.
std::vector<std::uint64_t> failedBehind(const FlowGrowth& flow, const Nesting& nesting,
                                        std::span<const reader::Event> events);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_EXCEPTIONS_H
