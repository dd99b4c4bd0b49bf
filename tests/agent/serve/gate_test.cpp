// SPDX-License-Identifier: Apache-2.0
// Which requests are let in, and why others are not.
#include "agent/front/serve/gate.h"

#include <gtest/gtest.h>

namespace gate_test {

namespace {

using serve::judge;
using serve::Request;
using serve::Route;
using serve::Rules;
using serve::Verdict;

constexpr char kSecret[] = "0123456789abcdef0123456789abcdef";

Request get(const std::string& target) {
  return {.method = "GET", .target = target, .headers = {{"Host", "localhost:9847"}}};
}

Request with(Request request, const std::string& name, const std::string& value) {
  request.headers.emplace_back(name, value);
  return request;
}

Request toHost(const std::string& host) {
  return {.method = "GET", .target = "/metrics", .headers = {{"Host", host}}};
}

int statusOf(const Request& request, const Rules& rules = {}) {
  return judge(request, rules).status;
}

Rules withToken() {
  Rules rules;
  rules.token = serve::Token(kSecret);
  return rules;
}

std::string valueOf(const Verdict& verdict, const std::string& name) {
  for (const auto& [key, value] : verdict.headers) {
    if (key == name) return value;
  }
  return "none";
}

}  // namespace

TEST(Gate, EveryRouteIsFound) {
  const std::pair<const char*, Route> routes[] = {{"/", Route::file},
                                                  {"/page/app.js", Route::file},
                                                  {"/api/v1/page", Route::page},
                                                  {"/metrics", Route::metrics},
                                                  {"/api/v1/brokers", Route::brokers},
                                                  {"/api/v1/stats", Route::stats},
                                                  {"/api/v1/flows", Route::flows},
                                                  {"/api/v1/findings", Route::findings},
                                                  {"/api/v1/changes", Route::changes},
                                                  {"/healthz", Route::healthz},
                                                  {"/readyz", Route::readyz}};
  for (const auto& [path, route] : routes) {
    const Verdict verdict = judge(get(path), {});
    EXPECT_EQ(200, verdict.status) << path << ": " << verdict.problem;
    EXPECT_EQ(route, verdict.route) << path;
  }
  EXPECT_STREQ("findings", nameOf(Route::findings));
  EXPECT_STREQ("file", nameOf(Route::file));
  EXPECT_STREQ("-", nameOf(Route::none));
  EXPECT_EQ("/page/app.js", judge(get("/page/app.js"), {}).file->path);
  EXPECT_EQ(nullptr, judge(get("/metrics"), {}).file);
}

TEST(Gate, NothingElseIsThere) {
  for (const char* path :
       {"//", "/page", "/page/", "/page/none.js", "/page/../", "/index.html", "//metrics",
        "/metrics/", "/Metrics", "/metrics%00", "/%6detrics", "/metrics#x", "/../metrics",
        "/api/v1", "/api/v1/histories", "/metrics\n", "/api/v1/../../metrics"}) {
    EXPECT_EQ(404, statusOf(get(path))) << path;
  }
  for (const char* target : {"", "metrics", "*", "http://localhost/metrics", "\xFF"}) {
    EXPECT_EQ(400, statusOf(get(target))) << target;
  }
}

TEST(Gate, OnlyGetAndHeadAreAllowed) {
  for (const char* method :
       {"POST", "PUT", "DELETE", "OPTIONS", "TRACE", "CONNECT", "get", "", "GETX", "G\xFFT"}) {
    Request request = get("/metrics");
    request.method = method;
    const Verdict verdict = judge(request, {});
    EXPECT_EQ(405, verdict.status) << method;
    EXPECT_EQ("GET, HEAD", valueOf(verdict, "Allow"));
  }
  Request head = get("/metrics");
  head.method = "HEAD";
  EXPECT_EQ(200, statusOf(head));
}

TEST(Gate, OwnHostsAreKnownOnAnyPort) {
  Rules rules;
  rules.hosts.push_back("web1.example.net");
  for (const char* host :
       {"localhost", "LocalHost:1", "127.0.0.1", "127.0.0.1:65535", "[::1]", "[::1]:9847",
        " localhost ", "localhost:", "web1.example.net", "WEB1.example.net:443"}) {
    EXPECT_EQ(200, statusOf(toHost(host), rules)) << host;
  }
}

TEST(Gate, OtherHostsAreMisdirected) {
  for (const char* host : {"evil.example",
                           "localhost.",
                           "localhost.evil.example",
                           "127.0.0.1.evil.example",
                           "127.0.0.2",
                           "localhost:65536",
                           "localhost:99999999999999999999",
                           "localhost:80:80",
                           "localhost:8a",
                           "localhost:+80",
                           "localhost:-1",
                           "[::1",
                           "::1",
                           "[::1]x",
                           "[::2]",
                           "user@localhost",
                           "localhost,evil.example",
                           "localhost evil",
                           "local\xC3\xB6host",
                           "0x7f.1",
                           "localhost/",
                           ":80",
                           "[]"}) {
    EXPECT_EQ(421, statusOf(toHost(host))) << host;
  }
}

TEST(Gate, AMissingOrDoubledHostIsRefused) {
  EXPECT_EQ(400, statusOf({.method = "GET", .target = "/metrics", .headers = {}}));
  EXPECT_EQ(400, statusOf(toHost("")));
  EXPECT_EQ(400, statusOf(toHost(" \t")));
  EXPECT_EQ(400, statusOf(with(get("/metrics"), "hOST", "localhost")));
}

TEST(Gate, AHeaderWithABlankInItsNameIsRefused) {
  for (const char* name : {"Host ", " Host", "Ho\tst", "Ho\x7Fst", "Host\xC2\xA0"}) {
    EXPECT_EQ(400, statusOf(with(get("/metrics"), name, "evil"))) << name;
  }
  EXPECT_EQ(200, statusOf(with(get("/metrics"), "X!~0", "\x7F and blanks")));
}

TEST(Gate, OnlyTheOwnOriginMayAsk) {
  const auto fromOrigin = [](const char* origin, bool tls) {
    Rules rules;
    rules.tls = tls;
    return statusOf(with(get("/metrics"), "Origin", origin), rules);
  };
  EXPECT_EQ(200, fromOrigin("http://localhost:9847", false));
  EXPECT_EQ(200, fromOrigin("HTTP://LOCALHOST:9847", false));
  EXPECT_EQ(200, fromOrigin("https://localhost:9847", false)) << "another server may speak TLS";
  EXPECT_EQ(200, fromOrigin("https://localhost:9847", true));
  EXPECT_EQ(403, fromOrigin("http://localhost:9847", true));
  for (const char* origin :
       {"null", "", "http://localhost", "http://localhost:9848", "http://127.0.0.1:9847",
        "http://evil.example", "http://localhost:9847/", "http://localhost:9847.evil.example",
        "ftp://localhost:9847", "://localhost:9847", "localhost:9847", "file://"}) {
    EXPECT_EQ(403, fromOrigin(origin, false)) << origin;
  }
  const Request both = with(with(get("/metrics"), "Origin", "http://localhost:9847"), "Origin",
                            "http://evil.example");
  EXPECT_EQ(403, statusOf(both));
}

TEST(Gate, PagesOfOtherSitesMayNotAsk) {
  for (const char* site : {"same-origin", "same-site", "none"}) {
    EXPECT_EQ(200, statusOf(with(get("/metrics"), "Sec-Fetch-Site", site))) << site;
  }
  EXPECT_EQ(403, statusOf(with(get("/metrics"), "Sec-Fetch-Site", "cross-site")));
  EXPECT_EQ(403, statusOf(with(get("/healthz"), "sec-fetch-site", "Cross-Site")));
  EXPECT_EQ(403, statusOf(with(get("/page/app.js"), "Sec-Fetch-Site", "cross-site")));
}

TEST(Gate, AnyPageMayLeadToThePage) {
  EXPECT_EQ(200, statusOf(with(get("/"), "Sec-Fetch-Site", "cross-site")));
  EXPECT_EQ(403, statusOf(with(get("/"), "Origin", "http://evil.example")));
}

TEST(Gate, BodiesAndQueriesAreBounded) {
  EXPECT_EQ(200, statusOf(with(get("/metrics"), "Content-Length", "1024")));
  for (const char* length : {"1025", "99999999999999999999999", "-1", "1e3", "", "0x10"}) {
    EXPECT_EQ(413, statusOf(with(get("/metrics"), "Content-Length", length))) << length;
  }
  EXPECT_EQ(413, statusOf(with(get("/metrics"), "Transfer-Encoding", "chunked")));
  const Request once = with(get("/metrics"), "Content-Length", "1");
  EXPECT_EQ(413, statusOf(with(once, "content-length", "1"))) << "two lengths";
  EXPECT_EQ(400, statusOf(get("/metrics?" + std::string(1024, 'a'))));
  EXPECT_EQ(414, statusOf(get("/metrics?" + std::string(1025, 'a'))));
}

TEST(Gate, ATokenIsNeededForAllButHealthAndThePagesFiles) {
  const Rules rules = withToken();
  const Verdict refused = judge(get("/metrics"), rules);
  EXPECT_EQ(401, refused.status);
  EXPECT_EQ("Bearer realm=\"zebmon\"", valueOf(refused, "WWW-Authenticate"));
  EXPECT_EQ(401, statusOf(get("/readyz"), rules));
  EXPECT_EQ(401, statusOf(get("/api/v1/page"), rules));
  for (const char* path : {"/healthz", "/", "/page/style.css"}) {
    EXPECT_EQ(200, statusOf(get(path), rules)) << path;
  }
  const std::string secret = kSecret;
  for (const std::string& shown :
       std::vector<std::string>{"Bearer " + secret, "bearer  " + secret + " "}) {
    EXPECT_EQ(200, statusOf(with(get("/metrics"), "authorization", shown), rules)) << shown;
    EXPECT_EQ(200, statusOf(with(get("/api/v1/events"), "Authorization", shown), rules));
  }
  for (const std::string& shown : std::vector<std::string>{
           secret, "Basic " + secret, "Bearer", "Bearer ", "Bearer " + secret + "0",
           "Bearer " + secret.substr(1), "Bearer" + secret, "Bearer " + secret + "," + secret}) {
    EXPECT_EQ(401, statusOf(with(get("/metrics"), "Authorization", shown), rules)) << shown;
  }
  const Request twice = with(with(get("/metrics"), "Authorization", "Bearer " + secret),
                             "Authorization", "Bearer " + secret);
  EXPECT_EQ(401, statusOf(twice, rules));
  EXPECT_EQ(401, statusOf(get("/metrics?token=" + secret), rules)) << "never in a URL";
}

TEST(Gate, EventsAreShownOnPurposeOnly) {
  EXPECT_EQ(403, statusOf(get("/api/v1/events")));
  const Request recorded = get("/api/v1/history?broker=b&group=g&flow=f&events=1");
  EXPECT_EQ(403, statusOf(recorded));
  EXPECT_EQ(200, statusOf(recorded, {.events = true}));
  Rules rules;
  rules.events = true;
  EXPECT_EQ(200, statusOf(get("/api/v1/events"), rules));
  EXPECT_EQ(401, statusOf(get("/api/v1/events"), withToken()));
}

TEST(Gate, ThePageTakesASequenceAlsoWithoutEvents) {
  EXPECT_EQ(7U, judge(get("/api/v1/page?since=7"), {}).since);
  EXPECT_EQ(400, statusOf(get("/?since=7")));
}

TEST(Gate, EventsTakeASequence) {
  Rules rules;
  rules.events = true;
  EXPECT_EQ(0U, judge(get("/api/v1/events"), rules).since);
  EXPECT_EQ(18446744073709551615U,
            judge(get("/api/v1/events?since=18446744073709551615"), rules).since);
  for (const char* query : {"since=", "since=-1", "since=18446744073709551616", "since=1&since=2",
                            "Since=1", "since=1%20", "a", "since"}) {
    EXPECT_EQ(400, statusOf(get(std::string("/api/v1/events?") + query), rules)) << query;
  }
  EXPECT_EQ(400, statusOf(get("/metrics?since=1"), rules));
}

TEST(Gate, ARefusalKeepsWhatWasSent) {
  EXPECT_EQ("evil.example", judge(toHost("evil.example"), {}).quoted);
  EXPECT_EQ("/no", judge(get("/no"), {}).quoted);
  EXPECT_EQ("", judge(get("/metrics"), withToken()).quoted);
}

}  // namespace gate_test
