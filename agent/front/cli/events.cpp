// SPDX-License-Identifier: Apache-2.0
#include <map>
#include <optional>
#include <set>

#include "agent/front/cli/commands.h"
#include "agent/front/cli/event_stream.h"
#include "agent/front/cli/look.h"
#include "agent/front/cli/look_queue.h"
#include "agent/front/cli/messages.h"
#include "agent/front/cli/options.h"
#include "agent/front/cli/past.h"
#include "agent/front/cli/rates.h"
#include "agent/front/cli/stop.h"
#include "agent/front/cli/terminal.h"
#include "agent/model/condition.h"
#include "agent/model/event_counts.h"
#include "agent/model/follower.h"
#include "agent/model/selection.h"
#include "agent/render/event_screens.h"
#include "agent/render/json.h"
#include "agent/render/words.h"
#include "text/printable.h"

namespace cli {
namespace {

constexpr model::CountBy kCounts[] = {model::CountBy::text, model::CountBy::node,
                                      model::CountBy::hour};

// Says each problem once for as long as it stays the same, and again when it comes back.
class Problems {
 public:
  // All that is wrong now, by what it is wrong with.
  using Current = std::map<std::string, std::string>;

  void report(Current current) {
    std::vector<std::string> news;
    for (const auto& [name, problem] : current) {
      const auto known = reported_.find(name);
      const bool isKnown = known != reported_.end() && known->second == problem;
      if (!problem.empty() && !isKnown) news.push_back(problem);
    }
    complainOfEach(news, kChooseABroker);
    reported_ = std::move(current);
  }

 private:
  Current reported_;
};

// The looks that tell of gaps are those behind them: only a history has gaps.
ExitCode show(const Request& request, Output& output, const model::Snapshot& snapshot,
              const std::vector<Past::Gap>& gaps) {
  const model::Snapshot selected = distinct(model::selectBrokers(snapshot, request.selection));
  EventStream stream(request, output, model::secondsOf(snapshot));
  for (const auto& [broker, known] : gaps) {
    stream.add(broker, {&known.gap, 1}, known.time / 1000);
  }
  for (const auto& broker : selected.brokers) {
    if (broker->events) stream.add(*broker, broker->events->events, model::secondsOf(snapshot));
  }
  stream.flush();
  return reported(snapshot, selected, request);
}

// What there is now, or was in the time of a history.
ExitCode show(const Request& request, Output& output) {
  if (!isPast(request)) {
    return show(request, output, *take(request, model::MachineFacts::leave, model::Events::read),
                {});
  }
  return withPast(request, [&](const Past& past) {
    const auto gaps = past.gaps();
    past.report(gaps);
    return show(request, output, *past.events(), gaps);
  });
}

// Shows, look by look, what each broker posted since the one before.
class Watch {
 public:
  Watch(const Request& request, Output& output, std::int64_t now)
      : request_(request), stream_(request, output, now) {}

  void show(const model::FollowLook& look);

 private:
  void choose(const model::Snapshot& whole);

  const Request& request_;
  EventStream stream_;
  Problems problems_;
  std::set<std::string> chosen_;  // key files
};

// Says in one line what is wrong: what is damaged changes with every look.
void Watch::choose(const model::Snapshot& whole) {
  remark(whole, request_, true);
  const model::Snapshot selected = distinct(model::selectBrokers(whole, request_.selection));
  Problems::Current current = {{"", render::problemOf(whole, request_.selection)}};
  chosen_.clear();
  for (const auto& broker : selected.brokers) {
    chosen_.insert(broker->segment.keyFile);
    current[broker->segment.keyFile] = namedProblemOf(*broker);
  }
  problems_.report(std::move(current));
}

void Watch::show(const model::FollowLook& look) {
  if (look.whole) choose(*look.whole);
  const std::int64_t wall = model::secondsOf(look.wall);
  for (const model::News& news : look.news) {
    if (!chosen_.contains(news.broker->segment.keyFile)) continue;
    for (const model::Gap& gap : news.gaps) {
      if (selects(request_.selection, gap)) complain(render::gapText(*news.broker, gap));
    }
    stream_.add(*news.broker, news.gaps, wall);
    stream_.add(*news.broker, news.events, wall);
  }
  stream_.flush();
}

ExitCode follow(const Request& request, Output& output) {
  constexpr std::chrono::milliseconds kInterval{500};
  const auto interval = request.rates.interval.count() == 0 ? kInterval : request.rates.interval;
  const FlowFile flows = readFlows(request.rates.flows);
  if (flows.code != kDone) return flows.code;
  output.stopOnSignals();
  model::Follower follower(
      request.directory, interval,
      {.scope = {.mostBytes = request.mostBytes}, .known = knowledgeOf(request, flows)});
  Watch watch(request, output, model::secondsOf(std::chrono::system_clock::now()));
  LookQueue queue([&watch](const model::FollowLook& look) { watch.show(look); });
  constexpr int kFullMs = 10;
  do {
    while (queue.isFull() && output.wait(kFullMs)) {
    }
    queue.push(follower.look());
  } while (output.wait(static_cast<int>(follower.pause().count())));
  return kDone;
}

// How often, in place of which.
ExitCode count(const Request& request, Output& output, const model::Snapshot& snapshot) {
  const model::Snapshot brokers = distinct(model::selectBrokers(snapshot, request.selection));
  const ExitCode code = reported(snapshot, brokers, request);
  const model::CountBy by = *request.events.countBy;
  const auto counts =
      model::countEvents(brokers, by, EventFilter(request, model::secondsOf(snapshot)));
  const render::Sheet sheet =
      arranged(render::eventCountsSheet(counts, by), request.show.arrangement);
  if (request.show.format == Format::csv) {
    output.write(render::csvOf(sheet, request.show.titles));
  } else if (request.show.format == Format::jsonl) {
    output.write(render::rowLines("zebmon.event.count", snapshot, sheet));
  } else {
    output.write(render::tableOf(sheet, styleOf(request.show)));
  }
  return code;
}

// What can't be asked for together, and what to do; empty when all of it can.
std::string conflictIn(const Request& request) {
  const EventsRequest& events = request.events;
  const ShowRequest& show = request.show;
  const bool table = show.format == Format::table;
  const bool arranges = !show.arrangement.columns.empty() || !show.arrangement.sort.empty();
  if (events.countBy && events.follow)
    return "--count-by counts what is in memory now. Leave out --follow";
  if (events.countBy && events.brief) return "--count-by shows no single events. Leave out --short";
  if (events.brief && !table)
    return "--short is a form for people. Leave it out, or leave out --format";
  if (show.format == Format::jsonl && !show.titles && !events.countBy)
    return "--format jsonl has no titles. Leave out --no-header";
  if (arranges && !events.countBy && show.format != Format::csv)
    return "only --format csv and --count-by have columns. Leave out --columns and --sort, or add "
           "one of these";
  if (!show.arrangement.sort.empty() && events.follow)
    return "what is still to come can't be sorted. Leave out --sort or --follow";
  if (!arranges) return {};
  return unknownColumn(show.arrangement, events.countBy
                                             ? render::eventCountsColumns(*events.countBy)
                                             : render::eventsColumns());
}

// Looking for a text takes time in proportion to its length, so only what can't be meant is
// refused.
void takeText(std::vector<std::string>& texts, const std::string& text) {
  constexpr std::size_t kMostBytes = 1000;
  if (text.find_first_not_of('*') == text.npos)
    refuse("--grep", "\"" + text + "\" is in every event. Give a text to look for");
  if (text.size() > kMostBytes)
    refuse("--grep", "a text of " + std::to_string(text.size()) +
                         " bytes is too long. Give at most " + std::to_string(kMostBytes));
  const std::string shown = text::printable(text);
  if (shown != text)
    refuse("--grep", "control characters are shown another way. Give \"" + shown + "\"");
  texts.push_back(text);
}

std::vector<render::Column> allColumns() {
  std::vector<std::vector<render::Column>> tables = {render::eventsColumns()};
  for (const model::CountBy by : kCounts) tables.push_back(render::eventCountsColumns(by));
  return columnsOfAll(std::move(tables));
}

void declareChoice(Options& options, EventsRequest& events) {
  static const std::map<std::string, reader::EventKind> kKinds = {
      {"message", reader::EventKind::message}, {"exception", reader::EventKind::exception}};
  addChoice(options, "--kind", events.kind, kKinds, "Only these", "message|exception");
  options
      .take(
          "--since",
          [&events](const std::string& text) { events.since = momentOf("--since", text); },
          "Not before 2026-01-31T23:59:58Z, 23:59, or not\n"
          "longer ago than 90s, 15m, 12h, 7d")
      .shown("T");
  options
      .takeEach(
          "--grep", [&events](const std::string& text) { takeText(events.texts, text); },
          "Only with this in text, names or application;\n"
          "* stands for any characters, case doesn't\n"
          "count; if given again, one is enough")
      .shown("TEXT");
  options
      .take(
          "--message-id",
          [&events](const std::string& id) { takeId("--message-id", events.messageId, id); },
          "Only of this message ID, or of all that begin\n"
          "with these hexadecimal digits")
      .shown("ID");
  options
      .take(
          "--correlation",
          [&events](const std::string& id) { takeId("--correlation", events.correlationId, id); },
          "The same of correlation IDs")
      .shown("ID");
}

void declareForm(Options& options, Request& request) {
  static const std::map<std::string, Format> kFormats = {
      {"table", Format::table}, {"jsonl", Format::jsonl}, {"csv", Format::csv}};
  static const std::map<std::string, model::CountBy> kBy = {{"text", model::CountBy::text},
                                                            {"node", model::CountBy::node},
                                                            {"hour", model::CountBy::hour}};
  options.flag("--short", request.events.brief, "One line an event");
  addChoice(options, "--count-by", request.events.countBy, kBy,
            "How many there are of each, and how many\nmessages failed", "text|node|hour");
  addChoice(options, "--format", request.show.format, kFormats,
            "Lines, JSON documents or CSV rows, one each", "table|jsonl|csv");
  addArrangement(options, request, allColumns());
  addStyle(options, request);
}

}  // namespace

void declareEvents(Options& options, Request& request) {
  EventsRequest& events = request.events;
  addPlaces(options, request);
  addBetween(options, request);
  declareChoice(options, events);
  declareForm(options, request);
  const Option follow =
      options.flag("--follow", events.follow, "Show what is there, then go on with what is\nposted")
          .excludes("--from");
  addInterval(options, request, "--interval").needs(follow).showsDefault("500ms");
  addThreads(options, request, follow);
}

ExitCode runEvents(const Request& request, Output& output) {
  const std::string conflict = conflictIn(request);
  if (!conflict.empty()) throw Stop{kUsage, conflict};
  if (request.events.follow) return follow(request, output);
  if (!request.events.countBy) return show(request, output);
  return count(request, output, *take(request, model::MachineFacts::leave, model::Events::read));
}

}  // namespace cli
