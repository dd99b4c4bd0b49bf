// SPDX-License-Identifier: Apache-2.0
// Words for locks and for processes. All of them are printable, whatever names they tell.
#ifndef ZEB_AGENT_RENDER_LOCK_WORDS_H
#define ZEB_AGENT_RENDER_LOCK_WORDS_H

#include <string>

#include "agent/model/lock_view.h"

namespace render {

// "Order in of OrderEntry, orders", "segment", "attach table of process 25112 (orders)".
std::string guardText(const model::Guarded& guarded);

// In JSON: "statistics", "segment", "statisticsArea", "eventTemplatesArea", "eventDataArea",
// "attachTable", "unknown".
const char* guardName(model::Guarded::What what);

// "free", "held", "waited for", "half a lock", "no objects", "no permission".
std::string lockState(const model::LockView& lock);

// "alive", "dead", "numberUsedAgain", "diedMaking", "unknown".
const char* fateName(model::Fate fate);

// Why a fate is unknown, as half a sentence; empty when it is known.
std::string doubtText(model::Doubt doubt);

}  // namespace render

#endif  // ZEB_AGENT_RENDER_LOCK_WORDS_H
