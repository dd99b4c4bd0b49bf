// SPDX-License-Identifier: Apache-2.0
// What people see of a snapshot: one function a screen. Texts end in a newline, or are empty.
#ifndef ZEB_AGENT_RENDER_SCREENS_H
#define ZEB_AGENT_RENDER_SCREENS_H

#include <string>

#include "agent/model/snapshot.h"

namespace render {

// One line a broker; empty when there is none.
std::string brokersTable(const model::Snapshot& snapshot);

// One row a node, broker by broker; those whose resources are unknown are left out.
std::string statisticsTables(const model::Snapshot& snapshot);

// What stands above the lines of a broker's events.
std::string eventsHeader(const model::SeenBroker& broker);

// Two to four lines.
std::string eventLines(const reader::Event& event);

}  // namespace render

#endif  // ZEB_AGENT_RENDER_SCREENS_H
