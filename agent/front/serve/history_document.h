// SPDX-License-Identifier: Apache-2.0
// What is answered out of the history.
#ifndef ZEB_AGENT_FRONT_SERVE_HISTORY_DOCUMENT_H
#define ZEB_AGENT_FRONT_SERVE_HISTORY_DOCUMENT_H

#include <cstdint>
#include <string>

#include "agent/front/history/recording.h"
#include "agent/front/serve/history_query.h"

namespace serve {

// "zebmon.history" of a flow, else "zebmon.history.contents", on one line. `recording` is null when
// there is no history: then the lists are empty. `now` is the wall time in seconds since 1970.
std::string historyDocument(const HistoryQuery& query, const history::Recording* recording,
                            std::int64_t now);

}  // namespace serve

#endif  // ZEB_AGENT_FRONT_SERVE_HISTORY_DOCUMENT_H
