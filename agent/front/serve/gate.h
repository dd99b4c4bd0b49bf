// SPDX-License-Identifier: Apache-2.0
// Who may ask for what: decided from the request alone, before anything is looked up or made.
#ifndef ZEB_AGENT_FRONT_SERVE_GATE_H
#define ZEB_AGENT_FRONT_SERVE_GATE_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "agent/front/page/files.h"
#include "agent/front/serve/history_query.h"
#include "agent/front/serve/request.h"
#include "agent/front/serve/token.h"

namespace serve {

// `file` is the page and all that it consists of, `page` what it asks for at each interval.
enum class Route {
  none,
  file,
  page,
  metrics,
  brokers,
  stats,
  flows,
  events,
  findings,
  history,
  changes,
  healthz,
  readyz
};

// As log lines call it: "metrics", "brokers", ...; "-" for none.
const char* nameOf(Route route);

// Of all that have one.
std::vector<std::string> routeNames();

struct Rules {
  // That the header Host may name: lower case, without a port, IPv6 addresses in brackets.
  std::vector<std::string> hosts = {"localhost", "127.0.0.1", "[::1]"};
  bool tls = false;
  std::optional<Token> token = {};  // without it, everybody who can connect may ask
  bool events = false;              // texts of events may leave without a token
};

struct Verdict {
  int status = 200;
  Route route = Route::none;

  // Of Route::file, and only there: one of the page's own.
  const page::File* file = nullptr;

  // Of /api/v1/events and /api/v1/page: only events that came behind this one.
  std::uint64_t since = 0;

  // Of /api/v1/history.
  HistoryQuery history = {};

  // Of a refusal: what is wrong and what to do, and what of the client's was refused (any bytes).
  std::string problem = {};
  std::string quoted = {};
  std::vector<Header> headers = {};
};

// In this order: a body that is too large (413), a header with an odd name (400), a query that is
// too large (414), the method (405), a target that is no path (400), Host (400, 421), Origin and
// Sec-Fetch-Site (403), the route (404), the token (401), events that are off (403), the query
// (400).
Verdict judge(const Request& request, const Rules& rules);

// Whether texts of events may be in an answer.
bool showsEvents(const Rules& rules);

// Whether the request announces more body than is read, or two lengths of it, so that it is refused
// before it is sent.
bool hasLargeBody(const Request& request);

// The name in a Host header or an authority, in lower case and without its port. Nothing when it
// is empty or its port is no number.
std::optional<std::string> hostOf(std::string_view authority);

}  // namespace serve

#endif  // ZEB_AGENT_FRONT_SERVE_GATE_H
