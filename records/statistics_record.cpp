// SPDX-License-Identifier: Apache-2.0
#include "records/statistics_record.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "base/calendar.h"
#include "base/trace.h"

namespace {

constexpr char kUnit[] = "zebcstir";

constexpr std::int64_t kLastCount = 2147483646;  // beyond it no message is counted
constexpr std::uint32_t kMostMilliseconds = 2147483647;
constexpr std::size_t kTextBytes = layout::stir::messageCount.width;

// The stored form.
using Image = std::uint8_t;

// Sums are not guarded: they wrap.
std::int64_t sum(std::int64_t a, std::int64_t b) {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) + static_cast<std::uint64_t>(b));
}

// The product wraps in 32 bits before the limit is applied, on purpose.
std::int32_t milliseconds(_TimeStamp duration) {
  const std::uint32_t all = duration.seconds * 1000 + duration.milliseconds;
  return static_cast<std::int32_t>(std::min(all, kMostMilliseconds));
}

template <class Number>
void store(Image* image, const layout::Field& field, Number value) {
  std::memcpy(image + field.offset, &value, sizeof value);
}

template <class Number>
void load(const Image* image, const layout::Field& field, Number& value) {
  std::memcpy(&value, image + field.offset, sizeof value);
}

void storeText(Image* image, const layout::Field& field, std::int64_t value) {
  ZEB_STIR::convertLLongToString(value, reinterpret_cast<char*>(image + field.offset));
}

void loadText(const Image* image, const layout::Field& field, std::int64_t& value) {
  const char* const text = reinterpret_cast<const char*>(image + field.offset);
  long long number = 0;
  ZEB_STIR::convertStringToLLong(text, text + kTextBytes, number);
  value = number;
}

// The fields of one series of numbers.
struct SeriesFields {
  const layout::Field& sum;
  const layout::Field& max;
  const layout::Field& min;
};
constexpr SeriesFields kSize{layout::stir::sumSize, layout::stir::maxSize, layout::stir::minSize};
constexpr SeriesFields kElapsed{layout::stir::sumElapsed, layout::stir::maxElapsed,
                                layout::stir::minElapsed};
constexpr SeriesFields kQueued{layout::stir::sumQueued, layout::stir::maxQueued,
                               layout::stir::minQueued};

template <class Series>
void storeSeries(Image* image, const SeriesFields& fields, const Series& series) {
  storeText(image, fields.sum, series.sum);
  store(image, fields.max, series.max);
  store(image, fields.min, series.min);
}

template <class Series>
void loadSeries(const Image* image, const SeriesFields& fields, Series& series) {
  loadText(image, fields.sum, series.sum);
  load(image, fields.max, series.max);
  load(image, fields.min, series.min);
}

}  // namespace

void ZEB_STIR::Series::add(std::int32_t value, bool first) {
  merge({value, value, value}, first);
}

void ZEB_STIR::Series::merge(const Series& other, bool first) {
  sum = ::sum(sum, other.sum);
  max = first ? other.max : std::max(max, other.max);
  min = first ? other.min : std::min(min, other.min);
}

ZEB_STIR::ZEB_STIR(int makeId) : ZEB_Record(ZEB_STIR_RECORD, makeId) {
  ZEB_Trace trace(kUnit, "ZEB_STIR::ZEB_STIR");
  if (OK()) reset();
}

ZEB_STIR& ZEB_STIR::operator=(const ZEB_STIR& other) {
  ZEB_Trace trace(kUnit, "ZEB_STIR::operator=");
  if (!OK()) return *this;
  ZEB_Record::operator=(other);
  reset();
  return *this += other;
}

ZEB_STIR& ZEB_STIR::operator+=(const ZEB_STIR& other) {
  ZEB_Trace trace(kUnit, "ZEB_STIR::operator+=");
  if (other.isEmpty()) return *this;
  unchanged_ = false;
  const Statistics& more = other.statistics_;
  const bool first = isEmpty();
  statistics_.messageCount = sum(statistics_.messageCount, more.messageCount);
  statistics_.size.merge(more.size, first);
  statistics_.elapsed.merge(more.elapsed, first);
  statistics_.queued.merge(more.queued, first);
  statistics_.firstCollection =
      first ? more.firstCollection : std::min(statistics_.firstCollection, more.firstCollection);
  statistics_.lastCollection = std::max(statistics_.lastCollection, more.lastCollection);
  return *this;
}

std::uint32_t ZEB_STIR::size() const {
  ZEB_Trace trace(kUnit, "ZEB_STIR::size");
  return trace.leave(OK() ? layout::stir::bytes : 0U);
}

void* ZEB_STIR::getFrom(const void* bytes, void* p) {
  ZEB_Trace trace(kUnit, "ZEB_STIR::get");
  if (!usable(p)) [[unlikely]]
    return trace.leave(p);
  ZEB_Record::getFrom(bytes, p);
  const auto* const image = static_cast<const Image*>(bytes);
  // While it is traced, every step is taken.
  if (unchanged_ && bZEBTracing == 0 &&
      std::memcmp(image + layout::header::bytes, stored_, sizeof stored_) == 0)
    return trace.leave(ZEB_Behind(p, layout::stir::bytes));
  loadText(image, layout::stir::messageCount, statistics_.messageCount);
  loadSeries(image, kSize, statistics_.size);
  loadSeries(image, kElapsed, statistics_.elapsed);
  loadSeries(image, kQueued, statistics_.queued);
  load(image, layout::stir::firstCollection, statistics_.firstCollection);
  load(image, layout::stir::lastCollection, statistics_.lastCollection);
  keepStored(image);
  return trace.leave(ZEB_Behind(p, layout::stir::bytes));
}

void* ZEB_STIR::putTo(void* bytes, void* p) {
  ZEB_Trace trace(kUnit, "ZEB_STIR::put");
  if (!usable(p)) [[unlikely]]
    return trace.leave(p);
  std::memset(bytes, 0, layout::stir::bytes);
  ZEB_Record::putTo(bytes, p);
  auto* const image = static_cast<Image*>(bytes);
  storeText(image, layout::stir::messageCount, statistics_.messageCount);
  storeSeries(image, kSize, statistics_.size);
  storeSeries(image, kElapsed, statistics_.elapsed);
  storeSeries(image, kQueued, statistics_.queued);
  store(image, layout::stir::firstCollection, statistics_.firstCollection);
  store(image, layout::stir::lastCollection, statistics_.lastCollection);
  if (survivesStoring()) keepStored(image);
  return trace.leave(ZEB_Behind(p, layout::stir::bytes));
}

// What wrapped below zero has no text, and is read as zero.
bool ZEB_STIR::survivesStoring() const {
  return statistics_.messageCount >= 0 && statistics_.size.sum >= 0 &&
         statistics_.elapsed.sum >= 0 && statistics_.queued.sum >= 0;
}

void ZEB_STIR::keepStored(const std::uint8_t* image) {
  std::memcpy(stored_, image + layout::header::bytes, sizeof stored_);
  unchanged_ = true;
}

void ZEB_STIR::print() const {
  ZEB_Trace trace(kUnit, "ZEB_STIR::print");
  ZEB_Record::print();
  char time[kCalendarTextBytes];
  trace.print("First Collection    : %s", ZEB_FormatCalendar(time, statistics_.firstCollection));
  trace.print("Last Collection     : %s", ZEB_FormatCalendar(time, statistics_.lastCollection));
  trace.print("Message Count       : %lld", static_cast<long long>(statistics_.messageCount));
  trace.print("Sum Size            : %lld", static_cast<long long>(statistics_.size.sum));
  trace.print("Sum elapsed time    : %lld", static_cast<long long>(statistics_.elapsed.sum));
  trace.print("Sum queued time     : %lld", static_cast<long long>(statistics_.queued.sum));
  trace.print("Max Size            : %12i", statistics_.size.max);
  trace.print("Min Size            : %12i", statistics_.size.min);
  trace.print("Max elapsed time    : %12i", statistics_.elapsed.max);
  trace.print("Min elapsed time    : %12i", statistics_.elapsed.min);
  trace.print("Max queued time     : %12i", statistics_.queued.max);
  trace.print("Min queued time     : %12i", statistics_.queued.min);
}

void ZEB_STIR::reset() {
  ZEB_Trace trace(kUnit, "ZEB_STIR::reset");
  statistics_ = {};
  unchanged_ = false;
}

ZEB_ReturnCode ZEB_STIR::updateStatistics(_TimeStamp queued, _TimeStamp elapsed, int size) {
  ZEB_Trace trace(kUnit, "ZEB_STIR::updateStatistics");
  if (statistics_.messageCount > kLastCount) return trace.leave(ZEB_ReturnCode(ZEB_MAXIMUM));
  const std::uint32_t now = ZEB_CalendarNow();
  const bool first = firstTime();
  unchanged_ = false;
  statistics_.messageCount = sum(statistics_.messageCount, 1);
  statistics_.size.add(size, first);
  statistics_.elapsed.add(milliseconds(elapsed), first);
  statistics_.queued.add(milliseconds(queued), first);
  if (first) statistics_.firstCollection = now;
  statistics_.lastCollection = now;
  return trace.leave(ZEB_ReturnCode(ZEB_SUCCESS));
}

bool ZEB_STIR::firstTime() const {
  ZEB_Trace trace(kUnit, "ZEB_STIR::firstTime");
  return trace.leave(statistics_.firstCollection == 0);
}

bool ZEB_STIR::isEmpty() const {
  ZEB_Trace trace(kUnit, "ZEB_STIR::isEmpty");
  return trace.leave(statistics_.firstCollection == 0);
}

void ZEB_STIR::convertLLongToString(long long value, char* text) {
  ZEB_Trace trace(kUnit, "ZEB_STIR::convertLLongToString");
  if (value > 0) std::to_chars(text, text + kTextBytes, value);
}

void ZEB_STIR::convertStringToLLong(const char* begin, const char* end, long long& value) {
  ZEB_Trace trace(kUnit, "ZEB_STIR::convertStringToLLong");
  if (begin != end && *begin == '+') ++begin;
  std::uint64_t number = 0;
  for (; begin != end && *begin != '\0'; ++begin)
    number = number * 10 + static_cast<std::uint64_t>(*begin - '0');
  value = static_cast<long long>(number);
}

std::int64_t ZEB_STIR::getMessageCount() const {
  ZEB_Trace trace(kUnit, "ZEB_STIR::getMessageCount");
  return trace.leave(statistics_.messageCount);
}

std::int64_t ZEB_STIR::getSumSize() const {
  ZEB_Trace trace(kUnit, "ZEB_STIR::getSumSize");
  return trace.leave(statistics_.size.sum);
}

std::int64_t ZEB_STIR::getSumElapsedTime() const {
  ZEB_Trace trace(kUnit, "ZEB_STIR::getSumElapsedTime");
  return trace.leave(statistics_.elapsed.sum);
}

std::int64_t ZEB_STIR::getSumQueuedTime() const {
  ZEB_Trace trace(kUnit, "ZEB_STIR::getSumQueuedTime");
  return trace.leave(statistics_.queued.sum);
}

std::int32_t ZEB_STIR::getMaxSize() const {
  ZEB_Trace trace(kUnit, "ZEB_STIR::getMaxSize");
  return trace.leave(statistics_.size.max);
}

std::int32_t ZEB_STIR::getMinSize() const {
  ZEB_Trace trace(kUnit, "ZEB_STIR::getMinSize");
  return trace.leave(statistics_.size.min);
}

std::int32_t ZEB_STIR::getMaxElapsedTime() const {
  ZEB_Trace trace(kUnit, "ZEB_STIR::getMaxElapsedTime");
  return trace.leave(statistics_.elapsed.max);
}

std::int32_t ZEB_STIR::getMinElapsedTime() const {
  ZEB_Trace trace(kUnit, "ZEB_STIR::getMinElapsedTime");
  return trace.leave(statistics_.elapsed.min);
}

std::int32_t ZEB_STIR::getMaxQueuedTime() const {
  ZEB_Trace trace(kUnit, "ZEB_STIR::getMaxQueuedTime");
  return trace.leave(statistics_.queued.max);
}

std::int32_t ZEB_STIR::getMinQueuedTime() const {
  ZEB_Trace trace(kUnit, "ZEB_STIR::getMinQueuedTime");
  return trace.leave(statistics_.queued.min);
}

std::uint32_t ZEB_STIR::getfirstCollection() const {
  ZEB_Trace trace(kUnit, "ZEB_STIR::getfirstCollection");
  return trace.leave(statistics_.firstCollection);
}

std::uint32_t ZEB_STIR::getlastCollection() const {
  ZEB_Trace trace(kUnit, "ZEB_STIR::getlastCollection");
  return trace.leave(statistics_.lastCollection);
}
