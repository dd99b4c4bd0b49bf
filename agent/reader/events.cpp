// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/events.h"

#include <algorithm>

#include "format/names.h"

namespace reader {
namespace {

namespace evtr = layout::evtr;
namespace evdr = layout::evdr;

// The records of one type; any other in this area is damage.
std::vector<Record> recordsOf(const Area& area, std::uint32_t type, std::uint32_t stride,
                              DamageList& damage) {
  std::vector<Record> records = walkRing(area, stride, damage);
  std::erase_if(records, [&](const Record& record) {
    if (record.type() == type) return false;
    damage.add(area.name, record.offset(),
               "a record of type " + std::to_string(record.type()) + " does not belong here");
    return true;
  });
  return records;
}

template <std::size_t N>
std::array<std::uint8_t, N> copyOf(std::span<const std::uint8_t> bytes) {
  std::array<std::uint8_t, N> copy;
  std::ranges::copy(bytes.first(N), copy.begin());
  return copy;
}

std::string withoutTrailingBlanks(std::string text) {
  text.erase(text.find_last_not_of(' ') + 1);
  return text;
}

EventTemplate templateOf(const Record& record) {
  return {.executionGroup = record.text(evtr::executionGroup),
          .messageFlow = record.text(evtr::messageFlow),
          .node = record.text(evtr::node),
          .nodeType = record.unsigned32(evtr::nodeType),
          .text = record.text(evtr::text)};
}

}  // namespace

std::vector<std::pair<RecordId, EventTemplate>> templatesIn(const Area& area, DamageList& damage) {
  std::vector<std::pair<RecordId, EventTemplate>> templates;
  for (const Record& record : recordsOf(area, ZEB_EVTR_RECORD, 1, damage)) {
    templates.emplace_back(record.id(), templateOf(record));
  }
  return templates;
}

bool EventTemplate::isException() const {
  return text.starts_with(layout::kExceptionPrefix);
}

std::string_view EventTemplate::failure() const {
  if (!isException()) return {};
  return std::string_view(text).substr(std::string_view(layout::kExceptionPrefix).size());
}

EventKind Event::kind() const {
  if (!origin) return EventKind::unknown;
  return origin->isException() ? EventKind::exception : EventKind::message;
}

void TemplateCache::add(const RecordId& id, EventTemplate value) {
  auto kept = std::make_shared<const EventTemplate>(std::move(value));
  entries_.insert_or_assign(id, Entry{std::move(kept), ++uses_});
  if (entries_.size() > most_ + most_ / 4) forgetOldest();
}

// A quarter at once, since all are looked at.
void TemplateCache::forgetOldest() {
  std::vector<std::uint64_t> uses;
  uses.reserve(entries_.size());
  for (const auto& [id, entry] : entries_) uses.push_back(entry.used);
  const auto kept = uses.end() - static_cast<std::ptrdiff_t>(most_);
  std::nth_element(uses.begin(), kept, uses.end());
  std::erase_if(entries_, [&](const auto& known) { return known.second.used < *kept; });
}

std::shared_ptr<const EventTemplate> TemplateCache::find(const RecordId& id) {
  const auto known = entries_.find(id);
  if (known == entries_.end()) return nullptr;
  known->second.used = ++uses_;
  return known->second.value;
}

EventLog::EventLog(const RingMark& mark)
    : segmentId_(mark.segmentId),
      newest_(mark.newest),
      newestAt_(mark.newestAt),
      nextOffset_(mark.next()) {}

void EventLog::readTemplates(const Area& area, DamageList& damage) {
  templatesMark_ = {area.next, area.last, area.lastUpdate};
  for (auto& [id, value] : templatesIn(area, damage)) templates_.add(id, std::move(value));
}

Event EventLog::eventOf(const Record& record) {
  return {.recordId = record.id(),
          .templateId = record.parent(),
          .origin = templates_.find(record.parent()),
          .time = record.calendar(evdr::eventTime),
          .threadId = record.signed32(evdr::threadId),
          .messageId = copyOf<evdr::messageId.width>(record.bytes(evdr::messageId)),
          .correlationId = copyOf<evdr::correlationId.width>(record.bytes(evdr::correlationId)),
          .putApplicationType = record.signed32(evdr::putApplicationType),
          .putApplicationName = withoutTrailingBlanks(record.text(evdr::putApplicationName)),
          .putDate = withoutTrailingBlanks(record.text(evdr::putDate)),
          .putTime = withoutTrailingBlanks(record.text(evdr::putTime))};
}

// The newest event of last time is gone. Slots are counted by position, which tells the number of
// events posted since then except for whole turns of the ring.
void EventLog::countMissed(Batch& batch, const Area& area) const {
  const std::uint64_t slots = (area.size - layout::block::bytes) / evdr::bytes;
  if (slots == 0) return;
  const auto slot = [slots](std::uint32_t offset) {
    return (offset - layout::block::bytes) / evdr::bytes % slots;
  };
  std::uint64_t posted = (slot(area.next) + slots - slot(nextOffset_)) % slots;
  if (posted < batch.events.size()) posted += slots;
  batch.overrun = true;
  batch.perTurn = slots;
  batch.missed = posted - batch.events.size();
}

// Another segment has other events. Templates stay: IDs are never used again.
void EventLog::forget(int segmentId) {
  segmentId_ = segmentId;
  newest_.reset();
  oldest_ = {};
  nextOffset_ = layout::block::bytes;
  templatesMark_ = {};
}

EventLog::Batch EventLog::read(const Segment& segment, DamageList& damage) {
  Batch batch;
  const bool known = segment.id == segmentId_;
  if (!known) forget(segment.id);
  if (const Area* templates = segment.copy.find(kEventTemplates)) readTemplates(*templates, damage);
  const Area* data = segment.copy.find(kEventData);
  if (data == nullptr) return batch;
  const std::vector<Record> records = recordsOf(*data, ZEB_EVDR_RECORD, evdr::bytes, damage);
  if (records.empty()) return batch;
  const auto newer = std::find_if(records.rbegin(), records.rend(), [this](const Record& record) {
                       return record.id() == newest_;
                     }).base();
  batch.events.reserve(static_cast<std::size_t>(records.end() - newer));
  for (auto record = newer; record != records.end(); ++record)
    if (record->id() != oldest_) batch.events.push_back(eventOf(*record));
  if (known && (newest_ ? newer == records.begin() : data->wrapped())) countMissed(batch, *data);
  newest_ = records.back().id();
  newestAt_ = records.back().offset();
  if (newer == records.begin()) oldest_ = records.front().id();
  nextOffset_ = data->next;
  return batch;
}

EventLog::Batch EventLog::read(const EventTail& tail, DamageList& damage) {
  Batch batch;
  if (tail.templates) readTemplates(*tail.templates, damage);
  batch.events.reserve(tail.records.size() / evdr::bytes);
  for (std::size_t at = 0; at < tail.records.size(); at += evdr::bytes) {
    const Record record(std::span(tail.records).subspan(at, evdr::bytes), 0);
    if (record.id() != oldest_) batch.events.push_back(eventOf(record));
    newest_ = record.id();
  }
  if (tail.records.empty()) return batch;
  newestAt_ = tail.newestAt;
  nextOffset_ = newestAt_ + evdr::bytes;
  return batch;
}

std::optional<RingMark> EventLog::mark() const {
  if (segmentId_ < 0 || (newest_ && !isSlot(newestAt_))) return std::nullopt;
  return RingMark{segmentId_, newest_, newestAt_, templatesMark_};
}

}  // namespace reader
