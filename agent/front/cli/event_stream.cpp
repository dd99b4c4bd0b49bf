// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/event_stream.h"

#include <unistd.h>

#include <algorithm>
#include <utility>

#include "agent/front/cli/terminal.h"
#include "agent/model/pattern.h"
#include "agent/render/json.h"
#include "agent/render/screens.h"

namespace cli {

bool selects(const model::Selection& selection, const model::Gap& gap) {
  if (gap.group.empty() && gap.flow.empty() && gap.node.empty()) return true;
  return model::matches(selection.group, gap.group) && model::matches(selection.flow, gap.flow) &&
         model::matches(selection.node, gap.node);
}

EventFilter::EventFilter(const Request& request, std::int64_t now)
    : request_(request),
      selection_{.since = {},
                 .kind = request.events.kind,
                 .messageId = request.events.messageId,
                 .correlationId = request.events.correlationId} {
  if (request.events.since) selection_.since = request.events.since->at(now, request.show.zone);
}

bool EventFilter::operator()(const reader::Event& event) const {
  const auto hasIt = [&event](const std::string& text) { return render::shows(event, text); };
  const std::vector<std::string>& texts = request_.events.texts;
  return model::selects(request_.selection, event) && model::selects(selection_, event) &&
         (texts.empty() || std::ranges::any_of(texts, hasIt));
}

EventStream::EventStream(const Request& request, Output& output, std::int64_t now)
    : request_(request),
      output_(output),
      asked_(request, now),
      style_{.zone = request.show.zone, .width = widthOf(STDOUT_FILENO)} {}

// Above the first lines of a broker, and with short lines of a day.
std::string EventStream::headerFor(const model::SeenBroker& broker, const std::string& day) {
  if (broker.segment.keyFile == shownBroker_ && day == shownDay_) return {};
  const std::string gap = shownBroker_.empty() ? "" : "\n";
  shownBroker_ = broker.segment.keyFile;
  shownDay_ = day;
  if (!request_.show.titles) return {};
  return gap + (request_.events.brief ? render::shortHeader(broker, day, style_)
                                      : render::eventsHeader(broker));
}

std::string EventStream::formatted(const model::SeenBroker& broker, const reader::Event& event) {
  if (!request_.events.brief) return headerFor(broker, "") + render::eventLines(event, style_.zone);
  return headerFor(broker, render::dayOf(event, style_.zone)) + render::shortLine(event, style_);
}

void EventStream::add(const model::SeenBroker& broker, std::span<const reader::Event> events,
                      std::int64_t collectedAt) {
  if (request_.show.format == Format::jsonl) json_.begin(broker, collectedAt);
  for (const reader::Event& event : events) {
    if (!asked_(event)) continue;
    if (request_.show.format == Format::jsonl) {
      json_.append(text_, event);
    } else if (request_.show.format == Format::csv) {
      rows_.push_back(render::eventRow(broker, event));
    } else {
      text_ += formatted(broker, event);
    }
  }
}

void EventStream::add(const model::SeenBroker& broker, std::span<const model::Gap> gaps,
                      std::int64_t collectedAt) {
  if (request_.show.format != Format::jsonl) return;
  for (const model::Gap& gap : gaps) {
    if (!selects(request_.selection, gap)) continue;
    text_ += render::written(render::gapDocument(broker, gap, collectedAt), true);
  }
}

std::string EventStream::rows() {
  const render::Sheet sheet{.columns = render::eventsColumns(), .rows = std::exchange(rows_, {})};
  const bool titles = request_.show.titles && !std::exchange(titled_, true);
  return render::csvOf(arranged(sheet, request_.show.arrangement), titles);
}

bool EventStream::flush() {
  if (request_.show.format == Format::csv) text_ = rows();
  const bool goesOn = output_.write(text_);
  text_.clear();
  return goesOn;
}

}  // namespace cli
