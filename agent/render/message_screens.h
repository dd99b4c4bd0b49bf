// SPDX-License-Identifier: Apache-2.0
// One message's way as people and programs see it.
#ifndef ZEB_AGENT_RENDER_MESSAGE_SCREENS_H
#define ZEB_AGENT_RENDER_MESSAGE_SCREENS_H

#include <string>
#include <vector>

#include "agent/model/message_way.h"
#include "agent/render/json.h"
#include "agent/render/sheet.h"

namespace render {

// One row an event. Times have milliseconds and are in `zone`; a table leaves out the date when
// summaryOf() tells it.
std::vector<Column> messageColumns();
Sheet messageSheet(const model::MessageWay& way, Zone zone);

// Schema "zebmon.message": the events of eventDocument, each with "afterMs" and "matched".
Json messageDocument(const model::Snapshot& snapshot, const model::MessageWay& way);

// "Message ID" and "3 events in 1 broker on 2026-01-31, 12 ms from the first to the last", a line
// each.
std::string summaryOf(const model::MessageWay& way, Zone zone);

// Why `ways` are not the way of one message, and what to do; empty when they are.
std::string problemOf(const std::vector<model::MessageWay>& ways, const std::string& prefix);

}  // namespace render

#endif  // ZEB_AGENT_RENDER_MESSAGE_SCREENS_H
