// SPDX-License-Identifier: Apache-2.0
#include "agent/model/event_totals.h"

namespace model {

void EventTotals::add(std::span<const reader::Event> events) {
  for (const reader::Event& event : events) {
    switch (event.kind()) {
      case reader::EventKind::message:
        ++messages;
        break;
      case reader::EventKind::exception:
        ++exceptions;
        break;
      case reader::EventKind::unknown:
        ++unknown;
    }
  }
}

void add(TotalsByKeyFile& totals, const FollowLook& look, bool first) {
  for (const News& news : look.news) {
    EventTotals& own = totals[news.broker->segment.keyFile];
    if (first) continue;
    own.add(news.events);
    for (const Gap& gap : news.gaps) {
      if (gap.node.empty()) own.missed += gap.missed.least;
    }
  }
}

}  // namespace model
