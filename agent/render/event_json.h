// SPDX-License-Identifier: Apache-2.0
// Events as lines of JSON, fast: a follower writes hundreds of thousands a second.
//
// Each line is, byte by byte, what written() makes of eventDocument(): that is the plain way, and a
// test holds the two together. What is the same in many lines is written once and kept.
#ifndef ZEB_AGENT_RENDER_EVENT_JSON_H
#define ZEB_AGENT_RENDER_EVENT_JSON_H

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>

#include "agent/model/snapshot.h"
#include "agent/reader/events.h"

namespace render {

// For one thread.
class EventJson {
 public:
  // From now on events are of this broker and of a look at `collectedAt`, in seconds since 1970.
  void begin(const model::SeenBroker& broker, std::int64_t collectedAt);

  // Appends the event's line, with its newline.
  void append(std::string& lines, const reader::Event& event);

 private:
  // A second's text without its zone.
  struct Second {
    std::int64_t seconds = 0;
    std::string text;  // empty: not yet made
  };

  // What events of one template have in common. It keeps the template, so that no other one can be
  // in its place.
  struct Origin {
    std::shared_ptr<const reader::EventTemplate> kept;
    std::string json;
  };

  const std::string& textOf(Second& second, std::int64_t seconds);
  const std::string& originOf(const reader::Event& event);

  std::string head_;  // of each line, up to the kind
  Second time_;
  Second created_;
  std::unordered_map<reader::RecordId, Origin, reader::RecordIdHash> origins_;
};

}  // namespace render

#endif  // ZEB_AGENT_RENDER_EVENT_JSON_H
