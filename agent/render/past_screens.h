// SPDX-License-Identifier: Apache-2.0
// What a history tells, for people and for programs.
#ifndef ZEB_AGENT_RENDER_PAST_SCREENS_H
#define ZEB_AGENT_RENDER_PAST_SCREENS_H

#include <cstdint>
#include <string>
#include <vector>

#include "agent/model/past.h"
#include "agent/model/selection.h"
#include "agent/render/drawing.h"
#include "agent/render/json.h"
#include "agent/render/sheet.h"

namespace render {

// A broker of a history and what was added in it.
struct PastView {
  model::PastBroker broker;
  model::View view;         // with no brokers where nothing was kept
  bool isLastLook = false;  // all since the reset, instead of a period
};

// One row a node: what was added in all.
std::vector<Column> totalsColumns();
Sheet totalsSheet(const std::vector<PastView>& past, const model::Selection& selection);

// A head and a table a broker; the age of a last look is that at `now`, in seconds since 1970.
std::string totalsTables(const std::vector<PastView>& past, const model::Selection& selection,
                         const Arrangement& wanted, const TableStyle& style, std::int64_t now);

// "zebmon.totals".
Json totalsDocument(const std::vector<PastView>& past, const model::Selection& selection);

// What begins a screen of a broker: which time it is of, and what is not known of it. Lines that
// end in a newline.
std::string periodText(const PastView& past, const TableStyle& style, std::int64_t now);

// The documents "zebmon.rates" and "zebmon.flow" of one broker or more, each with its "period".
Json pastRatesDocument(const std::vector<PastView>& past, const model::Selection& selection);
Json pastFlowDocument(const std::vector<PastView>& past, const model::Selection& selection);

// "zebmon.doctor", where each finding has "begin" and "end".
Json pastFindingsDocument(const std::vector<model::PastFinding>& past, std::int64_t collectedAt);

// Worst first, each with its begin and end in what was seen, and one line that sums it up.
std::string pastFindingsScreen(const std::vector<model::PastFinding>& past,
                               const TableStyle& style);

// Flow by flow, a line a change: "Priced: self 9.1 -> 14.2 ms since 14:05Z, one minute after a
// deployment of stock". A date is told where it isn't that of `now`, in seconds since 1970.
std::string changesScreen(const std::vector<model::PastChange>& changes, const TableStyle& style,
                          std::int64_t now);

// "zebmon.changes", of a period in milliseconds since 1970.
Json changesDocument(const std::vector<model::PastChange>& changes, const model::Period& period);

}  // namespace render

#endif  // ZEB_AGENT_RENDER_PAST_SCREENS_H
