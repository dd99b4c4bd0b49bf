// SPDX-License-Identifier: Apache-2.0
#include "agent/render/check_line.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "agent/model/findings/kinds.h"
#include "text/printable.h"

namespace render {
namespace {

using model::Level;
using model::Reading;
using model::Why;
using CheckKind = model::Check::Kind;

constexpr std::size_t kMostTold = 5;

std::string checkName(CheckKind kind) {
  return std::string(model::checkForms()[static_cast<std::size_t>(kind)].name);
}

const char* unitOf(CheckKind kind) {
  switch (kind) {
    case CheckKind::area:
    case CheckKind::failed:
      return "%";
    case CheckKind::silent:
    case CheckKind::queued:
      return "s";
    default:
      return "";
  }
}

// What ends a text, and what ends a label, in the line's own grammar.
std::string harmless(const std::string& text) {
  std::string safe = text::shortened(text, 40);
  std::ranges::replace(safe, '|', '/');
  std::ranges::replace(safe, '\'', '`');
  std::ranges::replace(safe, '=', '-');
  return safe;
}

std::string numberText(double value) {
  std::string text = fmt::format("{:.3f}", value);
  text.erase(text.find_last_not_of('0') + 1);
  if (text.ends_with('.')) text.pop_back();
  return text;
}

std::string reasonOf(Why why) {
  switch (why) {
    case Why::none:
    case Why::stopped:
      return "";
    case Why::noBroker:
      return "no broker of that name has shared memory";
    case Why::notRunning:
      return "not running";
    case Why::unreadable:
      return "can't be read";
    case Why::noProcess:
      return "the process can't be looked at";
    case Why::noNode:
      return "no such node or group";
    case Why::neverCounted:
      return "no message";
    case Why::noEvents:
      return "the input nodes post no events, so failures can't be seen";
    case Why::needsState:
      return "give --state FILE";
    case Why::firstRun:
      return "first run";
    case Why::reset:
      return "reset since the last run";
    case Why::stateLost:
      return "the file of --state can't be written";
    case Why::shortRing:
      return "told from less time: older events were overwritten";
    case Why::missed:
      break;
  }
  return "at least: events were overwritten";
}

// With what a value is told to people; an alerting system knows only units.
std::string measureOf(const model::Check& check) {
  if (check.kind != CheckKind::exceptions) return unitOf(check.kind);
  if (check.period == 1) return "/s";
  return check.period == 60 ? "/min" : "/h";
}

std::string limitText(const Reading& reading) {
  const model::Check& check = reading.check;
  if (check.kind == CheckKind::groupsUp || check.kind == CheckKind::locks) return {};
  const bool warns = reading.level == Level::warning && check.warning;
  return fmt::format(" (limit {}{})", numberText(warns ? *check.warning : check.critical),
                     measureOf(check));
}

std::string valueText(const Reading& reading) {
  const double value = reading.value.value_or(0);
  if (reading.why == Why::stopped) return ": its process is stopped";
  if (reading.check.kind == CheckKind::groupsUp)
    return value > 0 ? ": its process is gone" : ": up";
  return " " + numberText(value) + measureOf(reading.check) + limitText(reading);
}

std::string locksSentence(const Reading& reading) {
  const auto number = static_cast<std::uint64_t>(*reading.value);
  return fmt::format("{}: {}{}, see zebmon doctor",
                     model::findings::counted(number, "lock is held by a dead process",
                                              "locks are held by dead processes"),
                     reading.object, number > 1 ? " and others" : "");
}

std::string sentenceOf(const Reading& reading) {
  if (reading.check.kind == CheckKind::locks && reading.value) return locksSentence(reading);
  std::string text = checkName(reading.check.kind);
  if (!reading.object.empty()) text += " of " + reading.object;
  if (reading.value) text += valueText(reading);
  const std::string reason = reasonOf(reading.why);
  return reason.empty() ? text : text + (reading.value ? ", " : ": ") + reason;
}

std::string performanceOf(const Reading& reading) {
  const model::Check& check = reading.check;
  std::string label = checkName(check.kind);
  if (!reading.object.empty() && check.kind != CheckKind::locks) label += " " + reading.object;
  const char* unit = unitOf(check.kind);
  return fmt::format(" '{}'={}{};{};{};0{}", label, numberText(*reading.value), unit,
                     check.warning ? numberText(*check.warning) : "", numberText(check.critical),
                     unit == std::string_view("%") ? ";100" : "");
}

// With names that are fit for the line, and as much of what is around each as makes it the only
// one of its check.
std::vector<Reading> numbered(std::vector<Reading> readings) {
  constexpr std::size_t kMostAround = 3;
  for (Reading& reading : readings) reading.object = harmless(reading.object);
  for (std::size_t level = 1; level <= kMostAround; ++level) {
    std::map<std::pair<CheckKind, std::string>, std::size_t> uses;
    for (const Reading& reading : readings) ++uses[{reading.check.kind, reading.object}];
    for (Reading& reading : readings) {
      if (reading.around.size() < level || uses[{reading.check.kind, reading.object}] == 1)
        continue;
      const std::string& outer = reading.around[reading.around.size() - level];
      reading.object.insert(0, harmless(outer) + "/");
    }
  }
  return readings;
}

// The worst first.
std::vector<Reading> inOrder(std::vector<Reading> readings) {
  std::ranges::stable_sort(readings, [](const Reading& one, const Reading& other) {
    return one.level != other.level && model::worse(one.level, other.level) == one.level;
  });
  return readings;
}

}  // namespace

const char* levelName(Level level) {
  constexpr const char* names[] = {"OK", "WARNING", "CRITICAL", "UNKNOWN"};
  return names[static_cast<std::size_t>(level)];
}

std::string checkLine(const std::vector<Reading>& all) {
  const std::vector<Reading> readings = numbered(all);
  const std::vector<Reading> ordered = inOrder(readings);
  std::vector<std::string> told;
  for (const Reading& reading : ordered) {
    if (reading.level != Level::ok) told.push_back(sentenceOf(reading));
  }
  const std::size_t more = told.size() > kMostTold ? told.size() - kMostTold : 0;
  told.resize(told.size() - more);
  if (told.empty())
    told.push_back(fmt::format("{} of {} as it should be", readings.size(), readings.size()));
  if (more > 0) told.push_back(fmt::format("{} more", more));
  std::string line = fmt::format("{}: {}", levelName(ordered.front().level), fmt::join(told, "; "));
  std::string values;
  for (const Reading& reading : readings) {
    if (reading.value) values += performanceOf(reading);
  }
  return line + (values.empty() ? "" : " |" + values) + "\n";
}

}  // namespace render
