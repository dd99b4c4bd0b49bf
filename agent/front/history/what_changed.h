// SPDX-License-Identifier: Apache-2.0
// What changed in the flows of a history: model/changes.h with the minutes that it needs.
#ifndef ZEB_AGENT_FRONT_HISTORY_WHAT_CHANGED_H
#define ZEB_AGENT_FRONT_HISTORY_WHAT_CHANGED_H

#include <functional>
#include <vector>

#include "agent/front/history/reader.h"
#include "agent/model/flow_view.h"
#include "agent/model/selection.h"

namespace history {

// Of the selected brokers, groups, flows and nodes, by time. Looks at the day before the period,
// and for what is usual at a time of day at up to seven days before that. Chains that are not known
// are inferred, where that can be done. Once `goOn` says no, the rest is left out. Throws Failure.
std::vector<model::PastChange> changesIn(
    const Reader& reader, const model::Period& period, const model::Selection& selection,
    const model::FlowKnowledge& known, const std::function<bool()>& goOn = [] { return true; });

}  // namespace history

#endif  // ZEB_AGENT_FRONT_HISTORY_WHAT_CHANGED_H
