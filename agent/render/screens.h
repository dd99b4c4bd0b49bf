// SPDX-License-Identifier: Apache-2.0
// What people see of a snapshot: one function a screen. Texts end in a newline, or are empty.
#ifndef ZEB_AGENT_RENDER_SCREENS_H
#define ZEB_AGENT_RENDER_SCREENS_H

#include <string>
#include <vector>

#include "agent/model/snapshot.h"
#include "agent/render/sheet.h"

namespace render {

// One row a broker.
std::vector<Column> brokersColumns();
Sheet brokersSheet(const model::Snapshot& snapshot);

// One row a node; brokers whose resources are unknown have none.
std::vector<Column> statisticsColumns();
Sheet statisticsSheet(const model::Snapshot& snapshot);

// A head and a table a broker; those whose resources are unknown are left out. Each table is
// arranged by itself; without titles there are no heads either.
std::string statisticsTables(const model::Snapshot& snapshot, const Arrangement& wanted,
                             TableStyle style);

// The head above the lines of a broker's events.
std::string eventsHeader(const model::SeenBroker& broker);

// Two to four lines.
std::string eventLines(const reader::Event& event, Zone zone);

}  // namespace render

#endif  // ZEB_AGENT_RENDER_SCREENS_H
