// SPDX-License-Identifier: Apache-2.0
#include "agent/render/findings_screen.h"

#include <fmt/format.h>

#include <algorithm>
#include <ranges>

#include "agent/model/condition.h"
#include "agent/model/findings/kinds.h"
#include "agent/model/plug_in.h"
#include "agent/render/line.h"
#include "agent/render/words.h"
#include "text/printable.h"

namespace render {
namespace {

using model::Finding;
using model::Findings;
using model::Severity;
using model::findings::counted;

constexpr std::size_t kFirst = 3;
constexpr std::size_t kMany = 5;
constexpr char kYellow[] = "\x1B[33m";
constexpr char kRed[] = "\x1B[31m";
constexpr char kPlain[] = "\x1B[0m";

// `label`, then a text behind it in lines that are no wider than `width` where words allow it.
std::string behindLabel(const std::string& label, const std::string& text, std::size_t width) {
  std::vector<std::string> lines = wrapped(text::printable(text), width - label.size());
  if (lines.empty()) return label + "\n";
  std::string result = label + lines.front() + "\n";
  for (const std::string& line : lines | std::views::drop(1)) {
    result += std::string(label.size(), ' ') + line + "\n";
  }
  return result;
}

std::string title(const Finding& finding, const TableStyle& style) {
  const bool critical = finding.severity == Severity::critical;
  const std::string word = critical ? "CRITICAL" : "WARNING ";
  const std::string shown = style.colors ? (critical ? kRed : kYellow) + word + kPlain : word;
  return shown + "  " + text::printable(finding.id) + "\n";
}

std::string block(const Finding& finding, const TableStyle& style) {
  const std::size_t width = widthOf(style);
  std::string text = title(finding, style);
  text += behindLabel("  what    ", finding.object, width);
  text += behindLabel("  seen    ", finding.evidence, width);
  text += behindLabel("  effect  ", finding.effect, width);
  text += behindLabel("  do      ", finding.remedy + (finding.command.empty() ? "." : ":"), width);
  if (!finding.command.empty()) text += "    " + text::printable(finding.command) + "\n";
  return text + "\n";
}

std::size_t countOfKind(const Findings& findings, const std::string& id) {
  return static_cast<std::size_t>(std::ranges::count(findings.found, id, &Finding::id));
}

std::size_t numberOf(const Findings& findings, Severity severity) {
  return static_cast<std::size_t>(std::ranges::count(findings.found, severity, &Finding::severity));
}

std::string blocks(const Findings& findings, const TableStyle& style, const std::string& more) {
  std::string text;
  std::size_t shown = 0;
  const std::string* kind = nullptr;
  for (const Finding& finding : findings.found) {
    shown = kind != nullptr && *kind == finding.id ? shown + 1 : 1;
    kind = &finding.id;
    const std::size_t count = more.empty() ? 0 : countOfKind(findings, finding.id);
    if (count <= kMany || shown <= kFirst) text += block(finding, style);
    if (count > kMany && shown == kFirst + 1) {
      text += fmt::format("  and {} more of these: {} {}\n\n", count - kFirst,
                          text::printable(more), finding.id);
    }
  }
  return text;
}

std::string notChecked(const Findings& findings, std::size_t width) {
  constexpr std::size_t kMostSentences = 20;
  const auto& all = findings.notChecked;
  std::string text;
  for (const model::Unchecked& one : all | std::views::take(kMostSentences)) {
    text += behindLabel("Not checked: ", one.why + ".", width);
  }
  if (all.size() <= kMostSentences) return text;
  return text + behindLabel("Not checked: ",
                            fmt::format("{} more; --format json has all of them.",
                                        all.size() - kMostSentences),
                            width);
}

std::string summary(const Findings& findings, const model::Snapshot& selected, bool only) {
  const std::string looked =
      fmt::format("{} and {}", counted(distinct(selected).brokers.size(), "broker", "brokers"),
                  counted(findings.locks, "lock", "locks"));
  if (!findings.found.empty()) return fmt::format("{} in {}.\n", countOf(findings), looked);
  if (!findings.notChecked.empty()) {
    return fmt::format("Nothing wrong was found in {}, as far as it could be checked.\n", looked);
  }
  if (only) return fmt::format("Nothing of that kind is wrong in {}.\n", looked);
  return fmt::format("Nothing is wrong in {}, processes, settings and limits.\n", looked);
}

std::string settingsOf(const model::Machine& machine) {
  const reader::Configuration& file = machine.configuration;
  return file.exists ? file.path : "none, all defaults";
}

// Of each directory from which a host would load it.
std::string plugInLines(const model::Snapshot& selected, std::size_t width) {
  std::string text;
  if (!selected.machine) return text;
  const model::Machine& machine = *selected.machine;
  for (const model::PlugIn& one : model::plugInsOf(machine)) {
    if (!one.wouldLoad) continue;
    text += behindLabel(
        "Plug-in: ",
        fmt::format("would be loaded from {} ({}); settings: {}; key files: {}", one.directory,
                    model::plugInVersion(machine), settingsOf(machine), selected.directory),
        width);
  }
  return text;
}

// What is not known is not there.
void addStops(Json& object, const Finding& finding) {
  for (const model::Place& place : finding.stops) {
    object["stops"].push_back(
        {{"executionGroup", place.group}, {"messageFlow", place.flow}, {"node", place.node}});
  }
  if (!finding.waiting.empty()) object["waitingProcessIds"] = finding.waiting;
}

Json plugInsDocument(const model::Snapshot& selected) {
  Json list = Json::array();
  if (!selected.machine) return list;
  for (const model::PlugIn& one : model::plugInsOf(*selected.machine)) {
    list.push_back({{"directory", one.directory},
                    {"wouldLoad", one.wouldLoad},
                    {"version", textOrNull(model::plugInVersion(*selected.machine))}});
  }
  return list;
}

}  // namespace

const char* severityName(Severity severity) {
  return severity == Severity::critical ? "critical" : "warning";
}

std::string countOf(const Findings& findings) {
  return fmt::format("{} critical, {}", numberOf(findings, Severity::critical),
                     counted(numberOf(findings, Severity::warning), "warning", "warnings"));
}

std::string findingsScreen(const Findings& findings, const model::Snapshot& selected,
                           const TableStyle& style, const std::string& more) {
  const std::size_t width = widthOf(style);
  return blocks(findings, style, more) + notChecked(findings, width) +
         plugInLines(selected, width) + summary(findings, selected, more.empty());
}

std::string repairText(const Finding& finding, const std::string& what, const std::string& command,
                       const TableStyle& style) {
  const std::size_t width = widthOf(style);
  std::string text = text::printable(finding.key()) + "\n";
  text += behindLabel("  what    ", finding.object, width);
  text += behindLabel("  result  ", what + (command.empty() ? "." : ":"), width);
  if (!command.empty()) text += "    " + text::printable(command) + "\n";
  return text;
}

Json findingsDocument(const Findings& findings, const model::Snapshot& selected) {
  Json document = headOf("zebmon.doctor", 1, selected);
  document["criticalCount"] = numberOf(findings, Severity::critical);
  document["warningCount"] = numberOf(findings, Severity::warning);
  document["brokerCount"] = selected.brokers.size();
  document["lockCount"] = findings.locks;
  Json& list = document["findings"] = Json::array();
  for (const Finding& finding : findings.found) {
    Json& object = list.emplace_back();
    object = {{"id", finding.id},
              {"key", finding.key()},
              {"severity", severityName(finding.severity)},
              {"broker", brokerObject(finding.broker.get())},
              {"object", finding.object},
              {"evidence", finding.evidence},
              {"effect", finding.effect},
              {"remedy", finding.remedy},
              {"command", finding.command.empty() ? Json(nullptr) : Json(finding.command)}};
    addStops(object, finding);
  }
  Json& unchecked = document["notChecked"] = Json::array();
  for (const model::Unchecked& one : findings.notChecked) unchecked.push_back(one.why);
  document["plugIns"] = plugInsDocument(selected);
  return document;
}

}  // namespace render
