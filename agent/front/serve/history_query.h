// SPDX-License-Identifier: Apache-2.0
// What a client asks of the history, as the query of a target says it.
#ifndef ZEB_AGENT_FRONT_SERVE_HISTORY_QUERY_H
#define ZEB_AGENT_FRONT_SERVE_HISTORY_QUERY_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace serve {

// Names are any UTF-8. Times are seconds since 1970.
struct HistoryQuery {
  std::optional<std::string> broker = {};  // with neither group nor flow: what there is of it
  std::optional<std::string> group = {};
  std::optional<std::string> flow = {};
  std::optional<std::string> node = {};
  std::optional<std::int64_t> from = {};
  std::optional<std::int64_t> until = {};
  std::int64_t points = 300;
  bool events = false;  // recorded events of the flow too

  // Curves of a flow, and not what there is.
  bool isOfFlow() const { return broker && group && flow; }
};

// Nothing when it isn't understood: an unknown name, one that comes twice, no UTF-8, no time
// between 1970 and 9999, a number of points that isn't 2 to 1,000, events that are not "1", or a
// flow without its group.
std::optional<HistoryQuery> parseHistoryQuery(std::string_view query);

// "1800000000", "1800000000.5" or a date with time and zone, in whole seconds. Nothing for others.
std::optional<std::int64_t> parseMoment(std::string_view text);

// Without its %XX. Nothing when one of them is none.
std::optional<std::string> percentDecoded(std::string_view text);

}  // namespace serve

#endif  // ZEB_AGENT_FRONT_SERVE_HISTORY_QUERY_H
