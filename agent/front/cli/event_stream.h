// SPDX-License-Identifier: Apache-2.0
// Events on their way out: which of them, and in which form.
#ifndef ZEB_AGENT_FRONT_CLI_EVENT_STREAM_H
#define ZEB_AGENT_FRONT_CLI_EVENT_STREAM_H

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "agent/front/cli/output.h"
#include "agent/front/cli/request.h"
#include "agent/model/gaps.h"
#include "agent/model/snapshot.h"
#include "agent/render/event_json.h"
#include "agent/render/event_screens.h"

namespace cli {

// Which events a request asks for.
class EventFilter {
 public:
  // An age counts back from `now`, in seconds since 1970, for as long as the filter is used. The
  // request must live as long.
  EventFilter(const Request& request, std::int64_t now);

  bool operator()(const reader::Event& event) const;

 private:
  const Request& request_;
  model::EventSelection selection_;
};

// Whether a gap says something of what a request asks for: of a broker it always does.
bool selects(const model::Selection& selection, const model::Gap& gap);

// Writes events of any number of brokers, look by look.
class EventStream {
 public:
  // Both must live as long. `now` as above.
  EventStream(const Request& request, Output& output, std::int64_t now);

  // Takes those events of `broker` that were asked for, of a look at `collectedAt`, in seconds
  // since 1970.
  void add(const model::SeenBroker& broker, std::span<const reader::Event> events,
           std::int64_t collectedAt);

  // Takes gaps before the events that are added next; those of nodes only if the node was asked
  // for. Only JSON has them.
  void add(const model::SeenBroker& broker, std::span<const model::Gap> gaps,
           std::int64_t collectedAt);

  // Writes what was taken since the last call; to be called once a look. False when the output has
  // ended.
  bool flush();

 private:
  std::string headerFor(const model::SeenBroker& broker, const std::string& day);
  std::string formatted(const model::SeenBroker& broker, const reader::Event& event);
  std::string rows();

  const Request& request_;
  Output& output_;
  EventFilter asked_;
  render::ShortStyle style_;
  render::EventJson json_;
  std::string text_;
  std::vector<render::Row> rows_;
  bool titled_ = false;      // CSV has its titles
  std::string shownBroker_;  // its key file
  std::string shownDay_;
};

}  // namespace cli

#endif  // ZEB_AGENT_FRONT_CLI_EVENT_STREAM_H
