// SPDX-License-Identifier: Apache-2.0
// What a reset would do, or did.
#ifndef ZEB_AGENT_RENDER_RESET_SCREENS_H
#define ZEB_AGENT_RENDER_RESET_SCREENS_H

#include <string>
#include <vector>

#include "agent/model/reset_plan.h"
#include "agent/render/json.h"
#include "agent/render/sheet.h"

namespace render {

// One row a node. A plan that was not carried out has no records: each row tells what would be
// done.
std::vector<Column> resetColumns();
Sheet resetSheet(const std::vector<model::ResetResult>& results);

// `file` has what was there before; empty when nothing was carried out.
Json resetDocument(const model::Snapshot& snapshot, const std::vector<model::ResetResult>& results,
                   const std::string& file);

// "reset", "wasAtZero", "noLock", "timedOut", "noPermission", "recordMoved", "failed".
const char* outcomeName(model::ResetOutcome outcome);

// What became of one record, and what to do about it, without a full stop.
std::string outcomeText(const model::RecordReset& record);

// What became of a broker's reset time, as a sentence without its full stop; empty when it is a
// matter of course: it was written.
std::string resetTimeText(const model::ResetResult& result);

}  // namespace render

#endif  // ZEB_AGENT_RENDER_RESET_SCREENS_H
