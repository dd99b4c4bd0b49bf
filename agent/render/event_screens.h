// SPDX-License-Identifier: Apache-2.0
// Events beyond their long form: one line each, rows for CSV, and how often there are which.
#ifndef ZEB_AGENT_RENDER_EVENT_SCREENS_H
#define ZEB_AGENT_RENDER_EVENT_SCREENS_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "agent/model/event_counts.h"
#include "agent/model/snapshot.h"
#include "agent/render/sheet.h"

namespace render {

// How lines of one event are written.
struct ShortStyle {
  Zone zone = Zone::utc;
  std::optional<std::size_t> width = {};  // columns of the terminal; nothing: nothing is cut
};

// The day on which an event was posted, as dateOnly() writes it.
std::string dayOf(const reader::Event& event, Zone zone);

// The head above short lines of one broker and day: two lines.
std::string shortHeader(const model::SeenBroker& broker, const std::string& day,
                        const ShortStyle& style);

// "04:09:31.250Z Fulfil/Reserve 04:09:31Z 00007F3A order seen": the time, flow and node or the node
// alone, when the message was put, the thread in hexadecimal, the text; of an exception "!" and
// what failed. Fits a terminal of 80 columns and more, and takes no more than one line.
std::string shortLine(const reader::Event& event, const ShortStyle& style);

// One row an event, for CSV.
std::vector<Column> eventsColumns();
Row eventRow(const model::SeenBroker& broker, const reader::Event& event);

// One row a kind of events, as model::countEvents() counted them `by`.
std::vector<Column> eventCountsColumns(model::CountBy by);
Sheet eventCountsSheet(const std::vector<model::EventCount>& counts, model::CountBy by);

// The low half of the thread's handle, as debuggers show it: "00007F3A".
std::string threadText(const reader::Event& event);

// Whether the text, the application, or group, flow and node ("orders/Fulfil/Reserve") have
// `pattern` in them, as they are shown (model::isIn).
bool shows(const reader::Event& event, const std::string& pattern);

}  // namespace render

#endif  // ZEB_AGENT_RENDER_EVENT_SCREENS_H
