// SPDX-License-Identifier: Apache-2.0
#include "agent/front/serve/answers.h"

#include <fmt/format.h>

#include <ctime>

#include "agent/front/serve/gzip.h"
#include "agent/front/serve/history_document.h"
#include "agent/front/serve/negotiation.h"
#include "agent/front/serve/page_document.h"
#include "agent/render/json.h"

namespace serve {
namespace {

constexpr char kNoLook[] = "there was no look yet. Ask again in a moment";

Text textOf(std::string text) {
  return std::make_shared<const std::string>(std::move(text));
}

// For a client that comes before there is anything to tell.
Reply notYet(const std::string& problem) {
  Reply reply = errorReply(503, problem);
  reply.headers.push_back({"Retry-After", "2"});
  return reply;
}

Reply healthReply(const Health& health, bool well) {
  return {.status = well ? 200 : 503,
          .body = textOf(render::written(render::Json(health.degraded), true))};
}

const char* typeOf(Document document) {
  switch (document) {
    case Document::metrics:
      return "text/plain; version=0.0.4; charset=utf-8";
    case Document::openMetrics:
      return "application/openmetrics-text; version=1.0.0; charset=utf-8";
    default:
      return "application/json";
  }
}

Document documentOf(const Request& request, Route route) {
  switch (route) {
    case Route::brokers:
      return Document::brokers;
    case Route::stats:
      return Document::stats;
    case Route::flows:
      return Document::flows;
    case Route::findings:
      return Document::findings;
    default:
      break;
  }
  const bool open = expositionFor(request.listOf("Accept")) == render::Exposition::openMetrics;
  return open ? Document::openMetrics : Document::metrics;
}

bool wantsGzip(const Request& request) {
  return takesGzip(request.listOf("Accept-Encoding"));
}

// The method is the client's text, so any other than these two has one name.
std::string lineOf(const Request& request, Route route, int status) {
  const bool known = request.method == "GET" || request.method == "HEAD";
  return fmt::format("{} {} {}", known ? request.method.c_str() : "another method", nameOf(route),
                     status);
}

std::string detailOf(const Verdict& verdict, Clock::duration took) {
  const std::string sent = cited(verdict.quoted);
  return fmt::format(", {:.1f} ms{}{}", std::chrono::duration<double, std::milli>(took).count(),
                     sent.empty() ? "" : ": ", sent);
}

}  // namespace

Reply errorReply(int status, const std::string& problem) {
  return {.status = status,
          .body = textOf(render::written(render::Json{{"error", problem + "."}}, true))};
}

Reply Answers::answerDocument(const Request& request, Route route) const {
  const auto latest = watcher_.latest();
  if (!latest) return notYet(kNoLook);
  const Document document = documentOf(request, route);
  const bool gzip = wantsGzip(request);
  Text text = latest->of(document, gzip);
  if (!text) return notYet("rates need two looks. Ask again after the next one");
  return {.type = typeOf(document), .body = std::move(text), .gzip = gzip};
}

Reply Answers::answerText(const Request& request, Text text) const {
  const bool gzip = wantsGzip(request);
  return {.body = gzip ? textOf(gzipped(*text)) : std::move(text), .gzip = gzip};
}

Reply Answers::answerHistory(const Request& request, const HistoryQuery& query) const {
  try {
    return answerText(request,
                      textOf(historyDocument(query, keeper_.recording(), std::time(nullptr))));
  } catch (const history::Failure&) {
    return notYet("the history can't be read now. Ask again in a moment; /healthz says more");
  }
}

Reply Answers::answerChanges(const Request& request) const {
  if (changes_ == nullptr) return answerText(request, textOf(noChanges("off")));
  Text text = changes_->latest();
  return answerText(request, text ? std::move(text) : textOf(noChanges("working")));
}

Health Answers::health() const {
  Health health = watcher_.health();
  const std::string problem = keeper_.problem();
  if (!problem.empty()) health.degraded.push_back(problem);
  return health;
}

Reply Answers::answerPage(const Request& request, std::uint64_t since) const {
  const auto latest = watcher_.latest();
  if (!latest) return notYet(kNoLook);
  const Texts::Page& page = latest->page();
  Beside beside{.now = Clock::now(), .health = health(), .routes = routeNames()};
  if (showsEvents(rules_)) beside.events = events_.page(since);
  const std::string rest = pageRest(latest->seen(), beside);
  const bool gzip = wantsGzip(request);
  return {.body = textOf(gzip ? page.compressed.with(rest) : page.text + rest), .gzip = gzip};
}

Reply Answers::answerFile(const Request& request, const page::File& file) const {
  const bool gzip = wantsGzip(request);
  return {.type = std::string(file.type), .body = assets_.of(file, gzip), .gzip = gzip};
}

Reply Answers::answer(const Request& request, const Verdict& verdict) const {
  if (verdict.status != 200) {
    Reply reply = errorReply(verdict.status, verdict.problem);
    reply.headers = verdict.headers;
    return reply;
  }
  if (verdict.route == Route::healthz || verdict.route == Route::readyz) {
    const Health health = this->health();
    return healthReply(health, verdict.route == Route::healthz ? health.alive : health.ready);
  }
  if (verdict.file != nullptr) return answerFile(request, *verdict.file);
  if (verdict.route == Route::events)
    return answerText(request, textOf(events_.page(verdict.since)));
  if (verdict.route == Route::history) return answerHistory(request, verdict.history);
  if (verdict.route == Route::changes) return answerChanges(request);
  if (verdict.route == Route::page) return answerPage(request, verdict.since);
  return answerDocument(request, verdict.route);
}

Reply Answers::operator()(const Request& request) noexcept {
  try {
    const auto begin = Clock::now();
    const Verdict verdict = judge(request, rules_);
    Reply reply = answer(request, verdict);
    const auto end = Clock::now();
    journal_.note(lineOf(request, verdict.route, reply.status), detailOf(verdict, end - begin),
                  end);
    return reply;
  } catch (...) {
    return {.status = 500};
  }
}

}  // namespace serve
