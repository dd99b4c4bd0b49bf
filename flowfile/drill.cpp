// SPDX-License-Identifier: Apache-2.0
#include "flowfile/drill.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <string_view>

#include "flowfile/file.h"
#include "flowfile/quantity.h"
#include "flowfile/section.h"
#include "text/printable.h"

namespace flowfile {
namespace {

using Kind = Drill::Kind;

constexpr std::array<std::string_view, 6> kKinds{"kill",     "kill-holding", "stop",
                                                 "redeploy", "clock-back",   "remove-key-file"};
constexpr std::size_t kQuoted = 60;  // columns of a label, or of all labels, in a message

// One table while it is read, with the place that messages about it name.
struct Read {
  Drill drill;
  std::string group;
  Section* section;
};

std::optional<Kind> switchedOn(Section& section, std::string_view key, Kind kind) {
  const auto on = section.boolean(key);
  if (on && !*on)
    section.noteAt(key, fmt::format("'{}' is false; expected true, or no drill", key));
  return on ? std::optional(kind) : std::nullopt;
}

std::optional<Kind> holding(Section& section) {
  const auto what = section.oneOf("kill-holding", {"record", "area"});
  if (!what) return std::nullopt;
  return *what == "record" ? Kind::killHoldingRecord : Kind::killHoldingArea;
}

std::optional<Kind> clockBack(Section& section, Drill& drill) {
  const auto by = section.duration("clock-back");
  if (by) drill.time = *by;
  return by ? std::optional(Kind::clockBack) : std::nullopt;
}

std::optional<Kind> kindOf(Section& section, std::string_view key, Drill& drill) {
  if (key == "kill") return switchedOn(section, key, Kind::kill);
  if (key == "kill-holding") return holding(section);
  if (key == "stop") return switchedOn(section, key, Kind::stop);
  if (key == "redeploy") return switchedOn(section, key, Kind::redeploy);
  if (key == "clock-back") return clockBack(section, drill);
  return switchedOn(section, key, Kind::removeKeyFile);
}

void readKind(Section& section, Drill& drill) {
  const auto given =
      std::ranges::count_if(kKinds, [&section](std::string_view key) { return section.has(key); });
  if (given != 1) {
    section.note(fmt::format("expected exactly one of {} in a drill", fmt::join(kKinds, ", ")));
    return;
  }
  const auto key =
      std::ranges::find_if(kKinds, [&section](std::string_view k) { return section.has(k); });
  drill.kind = kindOf(section, *key, drill).value_or(drill.kind);
}

void readTimes(Section& section, Drill& drill) {
  drill.at = section.duration("at").value_or(drill.at);
  if (!section.has("at")) section.note("[[drill]] has no 'at'; expected at = \"20s\"");
  const auto lasts = section.duration("for");
  if (lasts && !section.has("stop")) {
    section.noteAt("for", "'for' goes with 'stop' only");
  } else if (lasts && lasts->count() == 0) {
    section.noteAt("for",
                   "'for' is no time; expected a longer one, or none: then the process "
                   "goes on at the run's end");
  } else if (lasts) {
    drill.time = *lasts;
  }
}

std::string labelsOf(const std::vector<ExecutionGroup>& groups) {
  std::string labels;
  for (const ExecutionGroup& group : groups) {
    labels += (labels.empty() ? "\"" : ", \"") + group.label + "\"";
    if (labels.size() > kQuoted) break;
  }
  return text::shortened(labels, kQuoted);
}

void readGroup(Section& section, const std::vector<ExecutionGroup>& groups, Read& read) {
  read.group = section.requiredText("group");
  if (read.group.empty()) return;
  const auto found = std::ranges::find(groups, read.group, &ExecutionGroup::label);
  read.drill.group = static_cast<std::size_t>(found - groups.begin());
  if (found != groups.end()) return;
  section.noteAt("group", fmt::format("no execution group \"{}\"; expected one of {}",
                                      text::shortened(read.group, kQuoted), labelsOf(groups)));
}

Read readDrill(Section& section, const std::vector<ExecutionGroup>& groups) {
  Read read{{}, {}, &section};
  readTimes(section, read.drill);
  readGroup(section, groups, read);
  readKind(section, read.drill);
  section.finish();
  return read;
}

// A group that was killed is gone for the rest of the run.
void noteDead(const std::vector<Read>& inOrder) {
  std::map<std::string_view, unsigned> killed;  // the line of the drill, by the group
  for (const Read& read : inOrder) {
    if (read.group.empty()) continue;
    const auto before = killed.find(read.group);
    if (before != killed.end()) {
      read.section->noteAt("group",
                           fmt::format("execution group \"{}\" was killed by then, in line {}; "
                                       "expected an earlier 'at'",
                                       text::shortened(read.group, kQuoted), before->second));
    } else if (read.drill.kills()) {
      killed.emplace(read.group, read.section->placeOf("group").line);
    }
  }
}

}  // namespace

std::vector<Drill> readDrills(Section& root, const std::vector<ExecutionGroup>& groups) {
  std::vector<Section> sections = root.children("drill", "[[drill]]");
  std::vector<Read> inOrder;
  for (Section& section : sections) inOrder.push_back(readDrill(section, groups));
  std::ranges::stable_sort(inOrder, {}, [](const Read& read) { return read.drill.at; });
  noteDead(inOrder);
  std::vector<Drill> drills;
  for (const Read& read : inOrder) drills.push_back(read.drill);
  return drills;
}

std::string nameOf(const Drill& drill) {
  switch (drill.kind) {
    case Kind::kill:
      return "kill";
    case Kind::killHoldingRecord:
      return "kill-holding record";
    case Kind::killHoldingArea:
      return "kill-holding area";
    case Kind::stop:
      return drill.time.count() == 0 ? "stop" : "stop for " + durationText(drill.time);
    case Kind::redeploy:
      return "redeploy";
    case Kind::clockBack:
      return "clock-back " + durationText(drill.time);
    case Kind::removeKeyFile:
      break;
  }
  return "remove-key-file";
}

}  // namespace flowfile
