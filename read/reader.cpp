// SPDX-License-Identifier: Apache-2.0
// Readers: what to look at, looking, and what went wrong.
#include <algorithm>
#include <chrono>
#include <cstring>
#include <exception>
#include <new>
#include <string_view>
#include <utility>

#include "agent/reader/text.h"
#include "agent/render/values.h"
#include "agent/render/words.h"
#include "read/cursor.h"
#include "read/handles.h"
#include "text/printable.h"

namespace {

zebread_status fail(zebread_reader* reader, zebread_status status, std::string_view sentence) {
  reader->error = status;
  const std::size_t size = std::min(sentence.size(), sizeof reader->sentence - 1);
  std::memcpy(reader->sentence, sentence.data(), size);
  reader->sentence[size] = 0;
  return status;
}

zebread_status fail(zebread_reader* reader, zebread_status status) {
  return fail(reader, status, zebread_status_text(status));
}

// No exception leaves the library.
template <class Work>
zebread_status guarded(zebread_reader* reader, const Work& work) noexcept {
  if (reader == nullptr) return ZEBREAD_INVALID;
  try {
    return work();
  } catch (const std::bad_alloc&) {
    return fail(reader, ZEBREAD_NO_MEMORY);
  } catch (const std::exception& problem) {
    return fail(reader, ZEBREAD_FAILED, problem.what());
  } catch (...) {
    return fail(reader, ZEBREAD_FAILED);
  }
}

template <class Work>
zebread_status beforeTheFirstLook(zebread_reader* reader, const Work& work) noexcept {
  return guarded(reader, [&] {
    if (reader->collector) {
      return fail(reader, ZEBREAD_INVALID,
                  "the reader has looked already. Open another one, and say what to look at first");
    }
    work();
    return ZEBREAD_OK;
  });
}

std::string orEmpty(const char* text) {
  return text == nullptr ? "" : text;
}

template <class TimePoint>
std::int64_t millisecondsOf(TimePoint time) {
  return std::chrono::floor<std::chrono::milliseconds>(time).time_since_epoch().count();
}

std::vector<const reader::Area*> areasOf(const reader::SegmentCopy& copy) {
  std::vector<const reader::Area*> areas;
  for (const char* name : {reader::kStatistics, reader::kEventTemplates, reader::kEventData}) {
    if (const reader::Area* const area = copy.find(name)) areas.push_back(area);
  }
  return areas;
}

zebread_broker brokerOf(const std::shared_ptr<const model::SeenBroker>& seen,
                        const model::Machine* machine) {
  return {.seen = seen,
          .condition = conditionOf(*seen, machine),
          .uuid = reader::utf8(std::string_view(seen->uuid())),
          .problem = render::conditionText(*seen, machine),
          .damage = seen->damaged(),
          .areas = areasOf(seen->segment.copy)};
}

zebread_snapshot* snapshotOf(const model::Snapshot& look) {
  auto snapshot = std::make_unique<zebread_snapshot>();
  snapshot->wall = millisecondsOf(look.wall);
  snapshot->steady = millisecondsOf(look.steady);
  snapshot->directory = look.directory;
  snapshot->brokers.reserve(look.brokers.size());
  for (const auto& broker : look.brokers) {
    snapshot->brokers.push_back(brokerOf(broker, look.machine.get()));
  }
  return snapshot.release();
}

model::Collector collectorOf(const zebread_reader& reader) {
  model::Collector collector(reader.directory,
                             reader.events ? model::Events::read : model::Events::leave,
                             model::MachineFacts::processes, reader.mostBytes);
  collector.resume(reader.marks);
  return collector;
}

std::string unreadable(const model::Snapshot& look) {
  return "can't read the directory " + text::printable(look.directory) + ": " +
         render::errorText(look.error) +
         ". Name the directory that the brokers use; you need read and search permission on it";
}

zebread_status look(zebread_reader* reader, zebread_snapshot** snapshot) {
  if (!reader->collector) reader->collector = collectorOf(*reader);
  const auto seen = reader->collector->take();
  if (seen->error != 0) return fail(reader, ZEBREAD_DIRECTORY, unreadable(*seen));
  *snapshot = snapshotOf(selectBrokers(*seen, reader->selection));
  return ZEBREAD_OK;
}

}  // namespace

zebread_status zebread_open(zebread_reader** reader) noexcept {
  if (reader == nullptr) return ZEBREAD_INVALID;
  *reader = new (std::nothrow) zebread_reader;
  return *reader == nullptr ? ZEBREAD_NO_MEMORY : ZEBREAD_OK;
}

void zebread_close(zebread_reader* reader) noexcept {
  delete reader;
}

zebread_status zebread_set_directory(zebread_reader* reader, const char* directory) noexcept {
  return beforeTheFirstLook(reader, [&] { reader->directory = orEmpty(directory); });
}

zebread_status zebread_set_broker(zebread_reader* reader, const char* pattern) noexcept {
  return beforeTheFirstLook(reader, [&] { reader->selection.broker = orEmpty(pattern); });
}

zebread_status zebread_set_max_bytes(zebread_reader* reader, uint64_t bytes) noexcept {
  if (reader != nullptr && bytes == 0) {
    return fail(reader, ZEBREAD_INVALID, "no bytes can't be looked at. Give a number above 0");
  }
  return beforeTheFirstLook(reader, [&] { reader->mostBytes = bytes; });
}

zebread_status zebread_set_events(zebread_reader* reader, int wanted) noexcept {
  return beforeTheFirstLook(reader, [&] { reader->events = wanted != 0; });
}

zebread_status zebread_look(zebread_reader* reader, zebread_snapshot** snapshot) noexcept {
  if (snapshot != nullptr) *snapshot = nullptr;
  return guarded(reader, [&] {
    return snapshot == nullptr ? fail(reader, ZEBREAD_INVALID) : look(reader, snapshot);
  });
}

const char* zebread_cursor(zebread_reader* reader) noexcept {
  const zebread_status status = guarded(reader, [&] {
    reader->cursor = read_c::textOf(reader->collector ? reader->collector->marks() : reader->marks);
    return ZEBREAD_OK;
  });
  return status == ZEBREAD_OK ? reader->cursor.c_str() : nullptr;
}

zebread_status zebread_resume(zebread_reader* reader, const char* cursor) noexcept {
  return guarded(reader, [&] {
    auto marks = read_c::marksIn(orEmpty(cursor));
    if (!marks) {
      return fail(reader, ZEBREAD_INVALID,
                  "that is no cursor. Go on without it: events may then come twice");
    }
    return beforeTheFirstLook(reader, [&] { reader->marks = std::move(*marks); });
  });
}

zebread_status zebread_error(const zebread_reader* reader) noexcept {
  return reader == nullptr ? ZEBREAD_INVALID : reader->error;
}

const char* zebread_error_text(const zebread_reader* reader) noexcept {
  return reader == nullptr ? zebread_status_text(ZEBREAD_INVALID) : reader->sentence;
}
