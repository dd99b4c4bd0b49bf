// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/past.h"

#include <algorithm>
#include <chrono>
#include <limits>

#include "agent/front/cli/event_stream.h"
#include "agent/front/cli/messages.h"
#include "agent/front/cli/rates.h"
#include "agent/front/cli/stop.h"
#include "agent/front/cli/terminal.h"
#include "agent/front/history/what_changed.h"
#include "agent/model/pattern.h"
#include "agent/model/selection.h"
#include "agent/render/rates.h"
#include "agent/render/words.h"

namespace cli {
namespace {

constexpr std::int64_t kEver = std::numeric_limits<std::int64_t>::max() / 2;

std::optional<model::Period> periodOf(const Request& request, std::int64_t now) {
  if (!request.between) return std::nullopt;
  const render::Zone zone = request.show.zone;
  const model::Period period{request.between->first.at(now, zone) * 1000,
                             request.between->second.at(now, zone) * 1000};
  if (period.length() > 0) return period;
  throw Stop{kUsage, "--between ends at " + render::dateAndTime(period.until / 1000, zone) +
                         ", which is not after its begin, " +
                         render::dateAndTime(period.from / 1000, zone) +
                         ". Give the earlier time first"};
}

[[noreturn]] void fail(const Request& request, const history::Failure& failure) {
  using Kind = history::Failure::Kind;
  const ExitCode code = failure.kind() == Kind::damaged ? kDamaged : kFailed;
  throw Stop{code, "can't read the history " + request.from + ": " + failure.what()};
}

template <class Result>
Result read(const Request& request, const std::function<Result()>& what) {
  try {
    return what();
  } catch (const history::Failure& failure) {
    fail(request, failure);
  }
}

render::Growths growthsIn(const history::Reader& reader) {
  render::Growths growths;
  for (const history::KnownBroker& broker : reader.brokers()) {
    if (const auto growth = reader.growth(broker)) growths.emplace(broker.uuid, *growth);
  }
  return growths;
}

}  // namespace

void addBetween(Options& options, Request& request) {
  options
      .takeTwo(
          "--between",
          [&request](const std::string& from, const std::string& until) {
            request.between.emplace(momentOf("--between", from), momentOf("--between", until));
          },
          "Of a history: from A to before B, each like\n"
          "2026-01-31T23:59:58Z, \"2026-01-31 23:59\", 23:59,\n"
          "-2h or now")
      .shown("A B");
}

void useDefaultHistory(Request& request) {
  if (request.from.empty()) request.from = history::fileToRead();
}

bool isPast(const Request& request) {
  const bool is = !request.from.empty() && request.from != "-" && history::isHistory(request.from);
  if (is || !request.between) return is;
  throw Stop{kUsage, "--between chooses a time of a history, and " + request.from +
                         " is none. Name a history with --from, or leave out --between"};
}

Past::Past(const Request& request) : request_(request) {
  now_ = model::secondsOf(std::chrono::system_clock::now());
  between_ = periodOf(request, now_);
  reader_ = read<std::unique_ptr<history::Reader>>(
      request, [&] { return std::make_unique<history::Reader>(request.from); });
  lastLook_ = read<std::int64_t>(request, [this] { return reader_->lastLook(); });
}

model::Period Past::periodBefore(std::int64_t look, std::int64_t length) const {
  return between_.value_or(model::Period{look - length, look + 1});
}

std::vector<history::KnownBroker> Past::brokers() const {
  const std::string& pattern = request_.selection.broker;
  std::vector<history::KnownBroker> all = reader_->brokers();
  std::string known;
  for (const history::KnownBroker& broker : all) {
    known += (known.empty() ? "" : ", ") + broker.name();
  }
  std::erase_if(all, [&pattern](const history::KnownBroker& broker) {
    return !model::matches(pattern, broker.label) && !model::matches(pattern, broker.uuid);
  });
  if (!all.empty()) return all;
  throw Stop{kNoBroker, known.empty() ? request_.from + " holds no broker yet"
                                      : "no broker is named \"" + pattern + "\" in " +
                                            request_.from + ": there are " + known};
}

std::vector<render::PastView> Past::views(const model::FlowKnowledge& known, std::size_t parts,
                                          std::int64_t length) const {
  std::vector<render::PastView> views;
  for (const history::KnownBroker& broker : brokers()) {
    render::PastView& view = views.emplace_back();
    view.isLastLook = !between_ && length == 0;
    view.broker = view.isLastLook
                      ? reader_->last(broker)
                      : reader_->past(broker, periodBefore(broker.lastLook, length), parts);
    if (!view.broker.looks.empty()) view.view = viewOf(view.broker, known);
  }
  model::Snapshot all;
  for (const render::PastView& view : views) {
    if (view.broker.looks.empty()) continue;
    all.brokers.push_back(view.broker.looks.back()->brokers.front());
  }
  const std::string problem = render::problemOf(all, request_.selection);
  if (!all.brokers.empty() && !problem.empty()) throw Stop{kNoBroker, problem};
  return views;
}

std::shared_ptr<const model::Snapshot> Past::events() const {
  auto snapshot = std::make_shared<model::Snapshot>();
  snapshot->wall = std::chrono::system_clock::time_point(std::chrono::milliseconds(lastLook_));
  bool bounded = false;
  for (const history::KnownBroker& broker : brokers()) {
    snapshot->brokers.push_back(
        reader_->events(broker, between_.value_or(model::Period{0, kEver}), bounded));
  }
  if (bounded) complain("only the newest events of a broker are looked at. Give a shorter time");
  return snapshot;
}

std::vector<Past::Gap> Past::gaps() const {
  std::vector<Gap> all;
  for (const history::KnownBroker& broker : brokers()) {
    model::SeenBroker named;
    named.segment.uuid = broker.uuid;
    named.tree.emplace().label = broker.label;
    named.tree->uuid = broker.uuid;
    for (const auto& known : reader_->gaps(broker, between_.value_or(model::Period{0, kEver}))) {
      if (selects(request_.selection, known.gap)) all.push_back({named, known});
    }
  }
  return all;
}

void Past::report(const std::vector<Gap>& gaps) const {
  for (const auto& [broker, known] : gaps) {
    complain(render::dateAndTime(known.time / 1000, request_.show.zone) + ": " +
             render::gapText(broker, known.gap));
  }
}

std::shared_ptr<const model::Snapshot> Past::areas(const render::Growths& growths) const {
  auto snapshot = std::make_shared<model::Snapshot>(atLastLook(*this));
  for (const history::KnownBroker& broker : brokers()) {
    auto seen =
        std::make_shared<model::SeenBroker>(*reader_->last(broker).looks.back()->brokers.front());
    if (const auto growth = growths.find(broker.uuid); growth != growths.end()) {
      reader::Area& area = seen->segment.copy.areas.emplace_back();
      area.name = reader::kStatistics;
      area.size = static_cast<std::uint32_t>(growth->second.size);
      area.last = static_cast<std::uint32_t>(growth->second.used);
    }
    snapshot->brokers.push_back(std::move(seen));
  }
  return snapshot;
}

render::Growths Past::growths() const {
  return growthsIn(*reader_);
}

render::Growths recordedGrowths() {
  try {
    return growthsIn(history::Reader(history::fileToRead()));
  } catch (const history::Failure&) {
    return {};
  }
}

std::vector<model::PastFinding> Past::findings() const {
  std::vector<model::PastFinding> all =
      reader_->findings(between_.value_or(model::Period{lastLook_, lastLook_ + 1}));
  if (!between_) std::erase_if(all, [](const auto& one) { return one.end.has_value(); });
  if (request_.selection.broker.empty()) return all;
  const auto wanted = brokers();
  std::erase_if(all, [&wanted](const model::PastFinding& finding) {
    return std::ranges::find(wanted, finding.uuid, &history::KnownBroker::uuid) == wanted.end();
  });
  return all;
}

std::vector<model::PastChange> Past::changes(const model::Period& period,
                                             const model::FlowKnowledge& known) const {
  brokers();
  return changesIn(*reader_, period, request_.selection, known);
}

model::Snapshot atLastLook(const Past& past) {
  model::Snapshot look;
  look.wall = std::chrono::system_clock::time_point(std::chrono::milliseconds(past.lastLook()));
  return look;
}

ExitCode showViews(const Past& past, const Request& request, Output& output, const ViewShow& show) {
  constexpr std::size_t kParts = 6;
  constexpr std::int64_t kTenMinutes = 600000;
  const FlowFile flows = readFlows(request.rates.flows);
  if (flows.code != kDone) return flows.code;
  const auto views = past.views(knowledgeOf(request, flows), kParts, kTenMinutes);
  const Format format = request.show.format;
  std::string text;
  render::Sheet sheet{render::ratesColumns(true), {}};
  for (const render::PastView& view : views) {
    if (!chainFits(view.view, request)) return kUsage;
    const std::string screen = show.screen(view.view);
    if (screen.empty() && !view.broker.looks.empty()) continue;
    if (!text.empty()) text += "\n";
    text +=
        periodText(view, styleOf(request.show), past.now()) + (screen.empty() ? "" : "\n" + screen);
    auto rows = render::ratesSheet(view.view, request.selection, true).rows;
    std::ranges::move(rows, std::back_inserter(sheet.rows));
  }
  sheet = arranged(std::move(sheet), request.show.arrangement);
  if (format == Format::json) text = render::written(show.document(views, request.selection));
  if (format == Format::jsonl) text = render::rowLines(show.rows, atLastLook(past), sheet);
  if (format == Format::csv) text = render::csvOf(sheet, request.show.titles);
  output.write(text);
  return kDone;
}

ExitCode withPast(const Request& request, const std::function<ExitCode(const Past&)>& what) {
  const Past past(request);
  return read<ExitCode>(request, [&] { return what(past); });
}

}  // namespace cli
