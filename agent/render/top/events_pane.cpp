// SPDX-License-Identifier: Apache-2.0
#include "agent/render/top/events_pane.h"

#include <algorithm>
#include <string>

#include "agent/model/exceptions.h"
#include "agent/model/selection.h"
#include "agent/render/words.h"

namespace top {
namespace {

using model::RecentEvents;
using render::Attribute;
using render::Cell;
using render::Tone;

bool shows(const State& state, const Content& content, const RecentEvents::Posted& posted) {
  if (!model::selects(content.wanted.selection, posted.event)) return false;
  if (!state.filter.empty() && !posted.event.origin) return false;
  const auto& brokers = content.view.after->brokers;
  const bool selected = std::ranges::any_of(
      brokers, [&posted](const auto& broker) { return broker->segment.keyFile == posted.keyFile; });
  if (!selected || state.filter.empty()) return selected;
  const reader::EventTemplate& origin = *posted.event.origin;
  return passes(state, origin.executionGroup) || passes(state, origin.messageFlow) ||
         passes(state, origin.node) || passes(state, origin.text);
}

// The newest last.
std::vector<const RecentEvents::Posted*> newest(const State& state, const Content& content,
                                                std::size_t most) {
  std::vector<const RecentEvents::Posted*> found;
  if (state.pane == Pane::none) return found;
  const auto all = content.events.latest(kindOf(state.pane));
  for (auto one = all.rbegin(); one != all.rend() && found.size() < most; ++one) {
    if (shows(state, content, **one)) found.push_back(*one);
  }
  std::ranges::reverse(found);
  return found;
}

render::Row rowOf(const RecentEvents::Posted& posted, render::Zone zone) {
  const reader::Event& event = posted.event;
  const bool failed = event.kind() == reader::EventKind::exception;
  Cell kind(render::kindName(event.kind()), failed ? Tone::critical : Tone::plain);
  Cell time = render::momentOf(event.time);
  if (event.time) time.brief = render::timeOnly(*event.time, zone);
  if (!event.origin)
    return {"", {time, kind, "", "", "(text overwritten)", render::hex(event.messageId)}};
  return {"",
          {time, kind, event.origin->messageFlow, event.origin->node,
           std::string(model::reasonOf(*event.origin)), render::hex(event.messageId)}};
}

std::string titleOf(const State& state, const Content& content) {
  constexpr const char* kTitles[] = {"events", "exceptions", "events without exceptions", ""};
  std::string title = kTitles[static_cast<std::size_t>(state.pane)];
  title += ", the newest last";
  return content.events.countsMayBeLow() ? title + "; some were overwritten unseen" : title;
}

}  // namespace

std::size_t eventCount(const State& state, const Content& content, std::size_t most) {
  return newest(state, content, most).size();
}

std::vector<render::Line> eventLines(const State& state, const Content& content, std::size_t most,
                                     const render::TableStyle& style) {
  render::Sheet sheet{{{.name = "time", .title = "", .yields = 20},
                       {.name = "kind", .title = "", .yields = 10},
                       {.name = "flow", .title = "", .yields = 60, .least = 8},
                       {.name = "node", .title = "", .yields = 50, .least = 12},
                       {.name = "text", .title = "", .yields = 80, .least = 20},
                       {.name = "message", .title = "", .yields = 90}},
                      {}};
  for (const auto* posted : newest(state, content, most)) {
    sheet.rows.push_back(rowOf(*posted, content.wanted.zone));
  }
  render::TableStyle plain = style;
  plain.titles = false;
  std::vector<render::Line> lines{{{titleOf(state, content), Attribute::bar}}};
  for (render::Line& line : linesOf(sheet, plain)) lines.push_back(std::move(line));
  if (lines.size() == 1) lines.push_back({{"none yet"}});
  return lines;
}

}  // namespace top
