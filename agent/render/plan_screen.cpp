// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "agent/render/paragraph.h"
#include "agent/render/size_screens.h"
#include "agent/render/words.h"

namespace render {
namespace {

std::string recordsText(const model::Plan& plan) {
  return fmt::format("{} node{} in {} execution group{}", plan.nodes, plan.nodes == 1 ? "" : "s",
                     plan.groups, plan.groups == 1 ? "" : "s");
}

std::string templatesText(const model::Plan& plan) {
  if (plan.longestText == 0) return "no event text is known";
  return fmt::format("each text once; the longest has {} characters with its names",
                     plan.longestText);
}

std::string eventsText(const model::Plan& plan) {
  if (plan.eventsPerSecond > 0 && plan.keepSeconds > 0) {
    return fmt::format("{} events a second, kept for {}", decimal(plan.eventsPerSecond),
                       duration(std::llround(std::min(plan.keepSeconds, 1e15))));
  }
  return "give --events-per-s and --keep";
}

Sheet needSheet(const PlanView& view) {
  const model::Need& need = view.need;
  return {{{.name = "area", .title = "area"},
           {.name = "needed", .title = "bytes", .right = true},
           {.name = "for", .title = "for", .yields = 10, .least = 20}},
          {{{}, {reader::kStatistics, need.records, recordsText(view.plan)}},
           {{}, {reader::kEventTemplates, need.templates, templatesText(view.plan)}},
           {{}, {reader::kEventData, need.events, eventsText(view.plan)}}}};
}

Cell countOrUnreadable(const reader::Limits::Count& count) {
  return count ? Cell(fmt::to_string(*count)) : Cell(Unreadable{});
}

// A file with several numbers is named with the place of the one that is meant: "kernel.sem, 2nd".
std::string limitText(const std::string& name) {
  const std::size_t blank = name.find(' ');
  if (blank == name.npos) return name;
  const std::string place = name.substr(blank + 1);
  return name.substr(0, blank) + ", " + place + (place == "2" ? "nd" : "th");
}

Sheet kernelSheet(const std::vector<model::KernelNeed>& kernel) {
  Sheet sheet{{{.name = "limit", .title = "kernel limit"},
               {.name = "needed", .title = "needs", .right = true},
               {.name = "used", .title = "used", .right = true},
               {.name = "allowed", .title = "allowed", .right = true},
               {.name = "state", .title = ""}},
              {}};
  for (const model::KernelNeed& one : kernel) {
    sheet.rows.push_back(
        {{},
         {limitText(one.name), fmt::to_string(one.needed),
          one.used ? countOrUnreadable(one.used) : Cell(), countOrUnreadable(one.limit),
          one.enough() ? Cell("ok") : Cell("too low: raise it by sysctl", Tone::critical)}});
  }
  return sheet;
}

std::string advice(const PlanView& view, std::optional<std::size_t> width) {
  const model::Need& need = view.need;
  if (need.tooMuch) {
    return inLines(
        fmt::format("No ZEBMemorySize is large enough: above {} the segment is too small for its "
                    "areas. Give the nodes to several brokers, or keep events for a shorter time.",
                    model::kLargestArea),
        width);
  }
  std::string text = fmt::format("ZEBMemorySize={}\n", need.area);
  text +=
      inLines(fmt::format("The broker's segment then has {} bytes, and an event's text may have {} "
                          "characters with its names.",
                          need.segment, model::longestText(static_cast<std::uint32_t>(need.area))),
              width);
  text += fmt::format("Configured here: {}, which is {}.\n", view.configured,
                      view.configured < need.area ? "not enough" : "enough");
  if (view.plan.rateUnknown) {
    text += inLines("Some flow runs as fast as it can: its events are not counted.", width);
  }
  return text;
}

}  // namespace

std::string planScreen(const PlanView& view, const TableStyle& style) {
  return tableOf(needSheet(view), style) + "\n" + advice(view, style.width) + "\n" +
         tableOf(kernelSheet(view.kernel), style);
}

Json planDocument(const PlanView& view) {
  Json document = headOf("zebmon.size", 1, view.snapshot);
  const model::Need& need = view.need;
  Json kernel = Json::array();
  for (const model::KernelNeed& one : view.kernel) {
    kernel.push_back({{"limit", one.name},
                      {"needed", one.needed},
                      {"used", one.used ? Json(*one.used) : Json(nullptr)},
                      {"allowed", one.limit ? Json(*one.limit) : Json(nullptr)},
                      {"enough", one.enough()}});
  }
  document["plan"] = {
      {"executionGroupCount", view.plan.groups},
      {"nodeCount", view.plan.nodes},
      {"statisticsBytes", need.records},
      {"eventTemplatesBytes", need.templates},
      {"eventDataBytes", need.events},
      {"memorySizeBytes", need.tooMuch ? Json(nullptr) : Json(need.area)},
      {"segmentBytes", need.tooMuch ? Json(nullptr) : Json(need.segment)},
      {"longestTextCharacters",
       need.tooMuch ? Json(nullptr)
                    : Json(model::longestText(static_cast<std::uint32_t>(need.area)))},
      {"eventRateKnown", !view.plan.rateUnknown},
      {"configuredBytes", view.configured},
      {"kernel", std::move(kernel)}};
  document["brokers"] = Json::array();
  return document;
}

}  // namespace render
