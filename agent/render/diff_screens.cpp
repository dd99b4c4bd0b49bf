// SPDX-License-Identifier: Apache-2.0
#include "agent/render/diff_screens.h"

#include <fmt/format.h>

#include <chrono>
#include <cmath>

#include "agent/model/capacity.h"
#include "agent/render/paragraph.h"
#include "agent/render/rates.h"
#include "agent/render/size_screens.h"
#include "agent/render/words.h"
#include "text/printable.h"

namespace render {
namespace {

using model::Apart;
using model::Difference;
using How = Difference::How;
using DifferenceKind = Difference::Kind;

constexpr std::size_t kLongestHost = 40;

const char* differenceName(DifferenceKind kind) {
  constexpr const char* names[] = {"finding",     "lock", "broker",  "executionGroup",
                                   "messageFlow", "node", "process", "setting"};
  return names[static_cast<std::size_t>(kind)];
}

const char* shortDifferenceName(DifferenceKind kind) {
  if (kind == DifferenceKind::group) return "group";
  return kind == DifferenceKind::flow ? "flow" : differenceName(kind);
}

const char* howName(How how) {
  constexpr const char* names[] = {"came", "went", "changed", "reset"};
  return names[static_cast<std::size_t>(how)];
}

const char* apartName(Apart::Kind kind) {
  constexpr const char* names[] = {"sameLook", "sameRun", "startedAgain", "otherMachine"};
  return names[static_cast<std::size_t>(kind)];
}

Tone toneOf(const Difference& difference) {
  const bool worse = difference.kind == DifferenceKind::finding && difference.how == How::came;
  return worse || difference.how == How::reset ? Tone::warning : Tone::plain;
}

// What a table tells of both looks at once.
std::string detailOf(const Difference& difference, Zone zone) {
  const bool both = !difference.before.empty() && !difference.after.empty();
  std::string text = difference.before + (both ? " -> " : "") + difference.after;
  if (difference.resetTime)
    text = "at " + dateAndTime(*difference.resetTime, zone) + (text.empty() ? "" : ", " + text);
  return text.empty() ? " " : text;
}

std::string span(model::Seconds time) {
  const double seconds = std::abs(time.count());
  return seconds < 60 ? fmt::format("{:.1f} s", seconds)
                      : duration(static_cast<std::int64_t>(std::min(seconds, 1e15)));
}

std::string hostsOf(const DiffView& diff) {
  const std::string first = text::shortened(diff.before.host, kLongestHost);
  if (diff.before.host == diff.after.host) return "on " + first;
  return "on " + first + ", then on " + text::shortened(diff.after.host, kLongestHost);
}

std::string titleOf(const DiffView& diff, Zone zone) {
  const std::string from = dateAndTime(secondsOf(*diff.view.before), zone);
  const std::string to = dateAndTime(secondsOf(*diff.view.after), zone);
  return fmt::format("From {} to {}, {}: {}\n", from, to, hostsOf(diff), span(diff.apart.time));
}

// How long the room of areas that filled up will last.
std::string forecastsOf(const DiffView& diff, std::optional<std::size_t> width) {
  const std::int64_t until = secondsOf(*diff.view.after);
  std::string lines;
  for (const auto& [growth, flows] : diff.view.brokers) {
    if (!growth.before || !growth.after) continue;
    const auto area = growthBetween(*growth.before, *growth.after, until * 1000, diff.apart.time);
    if (!area || area->used <= area->before) continue;
    lines += inLines(
        "Statistics area of " + nameOf(*growth.after) + ": " + forecastText(*area, until) + ".",
        width);
  }
  return lines;
}

Json lookObject(const model::Snapshot& snapshot, const archived::Origin& origin) {
  return {{"collectedAt", isoTime(secondsOf(snapshot))},
          {"host", origin.host},
          {"redacted", origin.redacted}};
}

Json changeObject(const Difference& difference) {
  Json object = {{"kind", differenceName(difference.kind)},
                 {"change", howName(difference.how)},
                 {"name", difference.name},
                 {"before", textOrNull(difference.before)},
                 {"after", textOrNull(difference.after)}};
  object["resetTime"] = timeOrNull(difference.resetTime);
  return object;
}

}  // namespace

std::vector<Column> changesColumns() {
  using Place = Column::Place;
  return {{.name = "kind", .title = "what"},
          {.name = "change", .title = "change"},
          {.name = "name", .title = "name", .yields = 30, .least = 20},
          {.name = "before", .title = "before", .place = Place::extra, .yields = 40, .least = 14},
          {.name = "after", .title = "", .yields = 20, .least = 24},
          {.name = "resetTime", .title = "reset at", .place = Place::extra}};
}

Sheet changesSheet(const model::Differences& differences, Zone zone) {
  Sheet sheet{changesColumns(), {}};
  for (const Difference& difference : differences.list) {
    Row& row = sheet.rows.emplace_back();
    row.cells = {differenceName(difference.kind),
                 Cell(howName(difference.how), toneOf(difference)),
                 difference.name,
                 textOrMissing(difference.before),
                 textOrMissing(difference.after),
                 momentOf(difference.resetTime)};
    row.cells[0].brief = shortDifferenceName(difference.kind);
    if (difference.kind == DifferenceKind::finding)
      row.cells[2].brief = difference.name.substr(0, difference.name.find(':'));
    row.cells[4].brief = detailOf(difference, zone);
  }
  return sheet;
}

std::string diffScreen(const DiffView& diff, const model::Selection& selection,
                       const Arrangement& ofChanges, const Arrangement& ofRates,
                       const TableStyle& style) {
  std::string text = style.titles ? titleOf(diff, style.zone) + "\n" : "";
  const std::string changes =
      tableOf(arranged(changesSheet(diff.differences, style.zone), ofChanges), style);
  text += changes.empty() ? "Nothing came, went or changed.\n" : changes;
  for (const std::string& sentence : diff.differences.notCompared) {
    text += "Not compared: " + text::printable(sentence) + ".\n";
  }
  text += forecastsOf(diff, style.width);
  if (diff.measured)
    return text + "\n" + ratesTables(diff.view, selection, diff.self, ofRates, style);
  if (!diff.view.brokers.empty()) text += "No message was measured in between.\n";
  return text;
}

Json diffDocument(const DiffView& diff, const model::Selection& selection) {
  Json document = headOf("zebmon.diff", 1, *diff.view.after);
  document["before"] = lookObject(*diff.view.before, diff.before);
  document["after"] = lookObject(*diff.view.after, diff.after);
  document["apart"] = apartName(diff.apart.kind);
  document["intervalSeconds"] = roundedSeconds(diff.apart.time);
  document["same"] = diff.same();
  Json& changes = document["changes"] = Json::array();
  for (const Difference& one : diff.differences.list) changes.push_back(changeObject(one));
  document["notCompared"] = diff.differences.notCompared;
  document["brokers"] = ratesOfBrokers(diff.view, selection);
  return document;
}

std::string apartText(const DiffView& diff) {
  const Apart& apart = diff.apart;
  switch (apart.kind) {
    case Apart::Kind::sameLook:
      return "both files hold the same look, so nothing can be different. Name two files";
    case Apart::Kind::otherMachine:
      return fmt::format(
          "the files are of two machines, {} and {}: what there is is compared by name, and no "
          "figures",
          text::shortened(diff.before.host, kLongestHost),
          text::shortened(diff.after.host, kLongestHost));
    case Apart::Kind::startedAgain:
      return "the machine was started again between the two looks, so no figures are compared. "
             "See those since then with zebmon stats --from and the newer file";
    case Apart::Kind::sameRun:
      break;
  }
  if (apart.clockSet.count() == 0) return {};
  return fmt::format(
      "the wall clock was set {} by {} between the two looks; rates are by a clock that nobody "
      "sets",
      apart.clockSet.count() > 0 ? "forward" : "back", span(apart.clockSet));
}

std::string wrongOrderText(const Apart& apart, const std::string& fileA, const std::string& fileB) {
  return fmt::format("{1} is {2} older than {0}. Name the older file first: zebmon diff {1} {0}",
                     text::printable(fileA), text::printable(fileB), span(apart.time));
}

}  // namespace render
