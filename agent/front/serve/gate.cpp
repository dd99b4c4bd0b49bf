// SPDX-License-Identifier: Apache-2.0
#include "agent/front/serve/gate.h"

#include <algorithm>

#include "agent/reader/bounded_file.h"
#include "agent/reader/letters.h"

namespace serve {
namespace {

constexpr std::size_t kMostBytes = 1024;  // of a body, and of a query

struct Place {
  const char* path;
  Route route;
  const char* name;
};

constexpr Place kPlaces[] = {{"/api/v1/page", Route::page, "page"},
                             {"/metrics", Route::metrics, "metrics"},
                             {"/api/v1/brokers", Route::brokers, "brokers"},
                             {"/api/v1/stats", Route::stats, "stats"},
                             {"/api/v1/flows", Route::flows, "flows"},
                             {"/api/v1/events", Route::events, "events"},
                             {"/api/v1/findings", Route::findings, "findings"},
                             {"/api/v1/history", Route::history, "history"},
                             {"/api/v1/changes", Route::changes, "changes"},
                             {"/healthz", Route::healthz, "healthz"},
                             {"/readyz", Route::readyz, "readyz"}};

// A target divided at its first "?".
struct Target {
  std::string_view path;
  std::string_view query;
};

Target targetOf(const Request& request) {
  const std::string_view whole = request.target;
  const auto mark = whole.find('?');
  if (mark == whole.npos) return {whole, {}};
  return {whole.substr(0, mark), whole.substr(mark + 1)};
}

Verdict verdictFor(std::string_view path) {
  const auto* const place = std::ranges::find(kPlaces, path, &Place::path);
  if (place != std::end(kPlaces)) return {.route = place->route};
  const auto files = page::files();
  const auto file = std::ranges::find(files, path, &page::File::path);
  if (file == files.end()) return {};
  return {.route = Route::file, .file = &*file};
}

Verdict refusal(int status, std::string problem, std::string_view quoted = {}) {
  return {.status = status, .problem = std::move(problem), .quoted = std::string(quoted)};
}

using Refusal = std::optional<Verdict>;

// Others might take such a name for the one without its blank, and what is behind them would then
// disagree about who is asked.
bool hasOddName(const Request& request) {
  return std::ranges::any_of(request.headers, [](const Header& header) {
    return std::ranges::any_of(header.first, [](char c) { return c <= ' ' || c > '~'; });
  });
}

Refusal refuseForm(const Request& request) {
  if (hasLargeBody(request)) return refusal(413, "the body is too large. Send none");
  if (hasOddName(request)) return refusal(400, "a header has a blank in its name. Leave that out");
  const Target target = targetOf(request);
  if (target.query.size() > kMostBytes) return refusal(414, "the query is too long. Shorten it");
  if (request.method != "GET" && request.method != "HEAD") {
    Verdict verdict = refusal(405, "nothing can be changed here. Use GET or HEAD", request.method);
    verdict.headers = {{"Allow", "GET, HEAD"}};
    return verdict;
  }
  if (target.path.starts_with('/')) return {};
  return refusal(400, "the target is no path. Ask for one like /metrics", request.target);
}

Refusal refuseHost(const Request& request, const Rules& rules) {
  const auto hosts = request.valuesOf("Host");
  if (hosts.size() != 1 || hosts[0].empty()) {
    return refusal(400, "there must be one header Host. Send one");
  }
  const auto host = hostOf(hosts[0]);
  if (host && std::ranges::find(rules.hosts, *host) != rules.hosts.end()) return {};
  return refusal(421, "this server has another name. Start it with --host to give it one",
                 hosts[0]);
}

// Another page may have the same host and another port: the whole authority counts. A server
// without TLS may be behind one that has it.
bool isOwn(std::string_view origin, const Rules& rules, std::string_view host) {
  const auto end = origin.find("://");
  if (end == origin.npos || !reader::sameLetters(origin.substr(end + 3), host)) return false;
  const std::string_view scheme = origin.substr(0, end);
  return reader::sameLetters(scheme, "https") ||
         (!rules.tls && reader::sameLetters(scheme, "http"));
}

// A link in another page may lead here, to the page that shows nothing yet.
Refusal refuseOrigin(const Request& request, const Rules& rules, std::string_view path) {
  const std::string_view host = request.valuesOf("Host")[0];
  for (const std::string_view origin : request.valuesOf("Origin")) {
    if (!isOwn(origin, rules, host)) {
      return refusal(403, "pages of other servers may not ask. Open this server's own", origin);
    }
  }
  for (const std::string_view site : request.valuesOf("Sec-Fetch-Site")) {
    if (path != "/" && reader::sameLetters(site, "cross-site")) {
      return refusal(403, "pages of other servers may not ask. Open this server's own", site);
    }
  }
  return {};
}

bool showsToken(const Request& request, const Token& token) {
  constexpr std::string_view kScheme = "Bearer ";
  const auto values = request.valuesOf("Authorization");
  return values.size() == 1 && reader::sameLetters(values[0].substr(0, kScheme.size()), kScheme) &&
         token.is(trimmed(values[0].substr(kScheme.size())));
}

Refusal refuseEvents(const Rules& rules) {
  if (showsEvents(rules)) return {};
  return refusal(403, "events are off. Start the server with --events or with a token");
}

Refusal refuseStranger(const Request& request, const Rules& rules, Route route) {
  const bool free = route == Route::healthz || route == Route::file;
  if (rules.token && !free && !showsToken(request, *rules.token)) {
    Verdict verdict = refusal(401, "a token is needed. Send it as \"Authorization: Bearer TOKEN\"");
    verdict.headers = {{"WWW-Authenticate", "Bearer realm=\"zebmon\""}};
    return verdict;
  }
  return route == Route::events ? refuseEvents(rules) : Refusal();
}

Refusal takeHistory(std::string_view query, const Rules& rules, Verdict& verdict) {
  auto parsed = parseHistoryQuery(query);
  if (!parsed) {
    return refusal(400,
                   "the query is not understood. It is like ?broker=B&group=G&flow=F, and has "
                   "perhaps node, from, until, points and events=1",
                   query);
  }
  verdict.history = std::move(*parsed);
  return verdict.history.events ? refuseEvents(rules) : Refusal();
}

// The one parameter that there is. Others are refused: a misspelt one would pass unnoticed.
Refusal takeQuery(std::string_view query, const Rules& rules, Verdict& verdict) {
  if (verdict.route == Route::history) return takeHistory(query, rules, verdict);
  if (query.empty()) return {};
  constexpr std::string_view kSince = "since=";
  const bool takesSince = verdict.route == Route::events || verdict.route == Route::page;
  const auto since = takesSince && query.starts_with(kSince)
                         ? reader::unsignedOf(query.substr(kSince.size()))
                         : std::nullopt;
  if (!since) {
    return refusal(400,
                   "the query is not understood. Events and page take one: "
                   "?since=SEQUENCE",
                   query);
  }
  verdict.since = *since;
  return {};
}

}  // namespace

const char* nameOf(Route route) {
  if (route == Route::file) return "file";
  const auto* const place = std::ranges::find(kPlaces, route, &Place::route);
  return place == std::end(kPlaces) ? "-" : place->name;
}

std::vector<std::string> routeNames() {
  std::vector<std::string> names;
  for (const Place& place : kPlaces) names.emplace_back(place.name);
  return names;
}

std::optional<std::string> hostOf(std::string_view authority) {
  std::size_t end = authority.find(':');
  if (authority.starts_with('[')) {
    end = authority.find(']');
    if (end == authority.npos) return {};
    ++end;
  }
  const std::string_view host = authority.substr(0, end);
  if (host.empty()) return {};
  const std::string_view port = authority.substr(host.size());
  if (!port.empty() && port != ":" &&
      (port[0] != ':' || port.size() > 6 ||
       reader::unsignedOf(port.substr(1)).value_or(65536) > 65535)) {
    return {};
  }
  return reader::lowered(host);
}

bool showsEvents(const Rules& rules) {
  return rules.token || rules.events;
}

bool hasLargeBody(const Request& request) {
  if (!request.valuesOf("Transfer-Encoding").empty()) return true;
  const auto lengths = request.valuesOf("Content-Length");
  return lengths.size() > 1 || std::ranges::any_of(lengths, [](std::string_view length) {
           return reader::unsignedOf(length).value_or(kMostBytes + 1) > kMostBytes;
         });
}

Verdict judge(const Request& request, const Rules& rules) {
  const Target target = targetOf(request);
  Verdict verdict = verdictFor(target.path);
  Refusal refused = refuseForm(request);
  if (!refused) refused = refuseHost(request, rules);
  if (!refused) refused = refuseOrigin(request, rules, target.path);
  if (!refused && verdict.route == Route::none) {
    refused = refusal(404,
                      "there is nothing here. There are /, /metrics, /api/v1/brokers, stats, "
                      "flows, events, findings, history and page, /healthz and /readyz",
                      target.path);
  }
  if (!refused) refused = refuseStranger(request, rules, verdict.route);
  if (!refused) refused = takeQuery(target.query, rules, verdict);
  if (!refused) return verdict;
  refused->route = verdict.route;
  return *refused;
}

}  // namespace serve
