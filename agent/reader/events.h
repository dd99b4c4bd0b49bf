// SPDX-License-Identifier: Apache-2.0
// Events: what nodes posted, each joined with its template.
#ifndef ZEB_AGENT_READER_EVENTS_H
#define ZEB_AGENT_READER_EVENTS_H

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "agent/reader/record.h"
#include "agent/reader/segment.h"
#include "agent/reader/tree.h"

namespace reader {

// What all events of one kind share. Texts are UTF-8.
struct EventTemplate {
  std::string executionGroup;
  std::string messageFlow;
  std::string node;
  std::uint32_t nodeType = 0;  // as in Node
  std::string text;

  bool isException() const;

  // Of an exception what comes after the beginning that all of them have; else empty. Of this
  // template's text.
  std::string_view failure() const;
};

enum class EventKind { unknown, message, exception };  // unknown: the template is gone

// Owns all that it tells, its template together with the other events of that.
struct Event {
  RecordId recordId;
  RecordId templateId;
  std::shared_ptr<const EventTemplate> origin;  // null when the template is gone
  Time time;
  std::int32_t threadId = 0;  // as the host's process saw it
  std::array<std::uint8_t, layout::evdr::messageId.width> messageId{};
  std::array<std::uint8_t, layout::evdr::correlationId.width> correlationId{};
  std::int32_t putApplicationType = 0;

  // As the message says: text in UTF-8 without trailing blanks, not checked to be a date or a time.
  std::string putApplicationName;
  std::string putDate;
  std::string putTime;

  // By how the template's text begins.
  EventKind kind() const;
};

// All templates in the copy of their area, each with its ID. What can't be read is added to
// `damage`.
std::vector<std::pair<RecordId, EventTemplate>> templatesIn(const Area& area, DamageList& damage);

// The templates that one reader has met. They are kept after they were overwritten in the area,
// since nodes go on posting events of them; when there are a quarter more than `most`, those not
// used for longest go.
class TemplateCache {
 public:
  explicit TemplateCache(std::size_t most = 10000) : most_(most) {}

  // Takes the place of an earlier one of that ID.
  void add(const RecordId& id, EventTemplate value);

  // Null when it was never met, or has gone.
  std::shared_ptr<const EventTemplate> find(const RecordId& id);

 private:
  struct Entry {
    std::shared_ptr<const EventTemplate> value;
    std::uint64_t used;  // number of its last use
  };

  void forgetOldest();

  std::size_t most_;
  std::uint64_t uses_ = 0;
  std::unordered_map<RecordId, Entry, RecordIdHash> entries_;
};

// Follows one broker's events from copy to copy.
class EventLog {
 public:
  struct Batch {
    std::vector<Event> events;  // new since the last copy, the oldest first
    std::uint64_t missed = 0;   // at least so many were overwritten before they could be read,
    std::uint64_t perTurn = 0;  // and so many more for each further turn of the ring
    bool overrun = false;       // the ring turned at least once since the last copy
  };

  EventLog() = default;

  // Goes on where another one was.
  explicit EventLog(const RingMark& mark);

  // The events of `segment` that no earlier call has returned; the first call returns all. A
  // segment with another id is another run of the broker and starts afresh. What is wrong in the
  // two events areas is added to `damage`.
  Batch read(const Segment& segment, DamageList& damage);

  // The same of what readTail found behind this log's mark().
  Batch read(const EventTail& tail, DamageList& damage);

  // Where the next look may go on. Nothing before the first look, and where the area isn't as the
  // library writes it.
  std::optional<RingMark> mark() const;

 private:
  void readTemplates(const Area& area, DamageList& damage);
  Event eventOf(const Record& record);
  void countMissed(Batch& batch, const Area& area) const;
  void forget(int segmentId);

  TemplateCache templates_;
  int segmentId_ = -1;
  // Of the last look that found events: the newest, its offset, and the data area's next offset.
  // The oldest is that of the last look that returned all: it may have been one that was not yet
  // posted.
  std::optional<RecordId> newest_;
  std::uint32_t newestAt_ = 0;
  RecordId oldest_;
  std::uint32_t nextOffset_ = 0;
  AreaMark templatesMark_;  // as it was copied last
};

}  // namespace reader

#endif  // ZEB_AGENT_READER_EVENTS_H
