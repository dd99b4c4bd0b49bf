// SPDX-License-Identifier: Apache-2.0
// What was added to nodes, as a history keeps it: the one place that knows where a time's samples
// are.
#ifndef ZEB_AGENT_FRONT_HISTORY_SAMPLES_H
#define ZEB_AGENT_FRONT_HISTORY_SAMPLES_H

#include <cstdint>
#include <functional>
#include <limits>

#include "agent/front/history/broker_counts.h"
#include "agent/front/history/database.h"
#include "agent/model/past.h"

namespace history {

// How fine samples are kept. The finer ones don't reach back as far.
enum class Step { look, minute, hour };

// The first moment that samples of a step in parts tell of, in milliseconds since 1970; the largest
// number when there are none. Throws Failure.
std::int64_t oldestOf(const Database& database, std::int64_t broker, Step step);

// The finest that has all that any of them has from then on. Throws Failure.
Step finestSince(const Database& database, std::int64_t broker, std::int64_t fromMs);

// Which samples: of one broker, or of some of its nodes alone.
struct Wanted {
  Step step = Step::look;
  model::Period period;
  std::int64_t broker = 0;
  std::int64_t firstNode = 0;
  std::int64_t lastNode = std::numeric_limits<std::int64_t>::max();
};

struct Sample {
  std::int64_t node = 0;
  // In the period. A look tells of the time before it, so among looks its moment is the last
  // millisecond of that. A minute's or an hour's is its begin.
  std::int64_t atMs = 0;
  Amounts added;
};

// Each of them once, in no order. What is too new to be in a minute or an hour comes finer than
// was asked for. Throws Failure.
void eachSample(const Database& database, const Wanted& wanted,
                const std::function<void(const Sample&)>& take);

}  // namespace history

#endif  // ZEB_AGENT_FRONT_HISTORY_SAMPLES_H
