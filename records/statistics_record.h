// SPDX-License-Identifier: Apache-2.0
// ZEB_STIR: the statistics of one node, the record that an agent reads most.
#ifndef ZEB_RECORDS_STATISTICS_RECORD_H
#define ZEB_RECORDS_STATISTICS_RECORD_H

#include "records/record.h"

// Stored in 168 bytes; its parent is the node's record. Counts and sums are stored as decimal texts
// of 24 bytes (docs/format.md).
//
// Empty until the first message is folded in, and again after a reset; emptiness is judged by
// the first collection time alone, never by the count. The record takes no lock itself: a caller
// that changes stored statistics calls `lock` before `get` and `unlock` after `put`.
class ZEB_STIR : public ZEB_Record {
 public:
  // Empty. A non-zero makeId gives it an ID of its own, 0 makes a blank for `get`. It allocates
  // nothing and is always OK.
  explicit ZEB_STIR(int makeId);
  ZEB_STIR(const ZEB_STIR&) = default;
  // Header, then the other's statistics; an empty source leaves zeros, whatever it holds.
  ZEB_STIR& operator=(const ZEB_STIR& other);
  // Merges the other's statistics in: counts and sums add up and wrap, extremes and collection
  // times widen. An empty one adds nothing. Header and address stay.
  ZEB_STIR& operator+=(const ZEB_STIR& other);

  // 168 bytes.
  std::uint32_t size() const override;
  // As ZEB_Record says. `getFrom` skips the decoding when the bytes are those last read or written,
  // while tracing is off. `bytes` may hold anything before `putTo`.
  void* getFrom(const void* bytes, void* p) override;
  void* putTo(void* bytes, void* p) override;
  void print() const override;

  // Zeroes the statistics, not the header; in the object only.
  void reset();

  // Folds in one message: its size in bytes and its times, which are counted in milliseconds of 31
  // bits. The clock is read once, for the collection times. Code 5, and nothing changed, when the
  // count is at 2147483647.
  ZEB_ReturnCode updateStatistics(_TimeStamp queued, _TimeStamp elapsed, int size);

  bool firstTime() const;  // true until the first message is folded in
  bool isEmpty() const;    // the same

  // Sizes are in bytes, times in milliseconds. Sums wrap at 64 bits, and what wrapped below zero is
  // stored as zero. An average is a sum by the count. All are 0 in an empty record.
  std::int64_t getMessageCount() const;
  std::int64_t getSumSize() const;
  std::int64_t getSumElapsedTime() const;
  std::int64_t getSumQueuedTime() const;
  std::int32_t getMaxSize() const;
  std::int32_t getMinSize() const;
  std::int32_t getMaxElapsedTime() const;
  std::int32_t getMinElapsedTime() const;
  std::int32_t getMaxQueuedTime() const;
  std::int32_t getMinQueuedTime() const;
  // Calendar times (base/calendar.h) of the first and the latest message since the reset, 0 for
  // none.
  std::uint32_t getfirstCollection() const;
  std::uint32_t getlastCollection() const;

  // The decimal text of a value, most significant digit first, nothing for 0 and below. The caller
  // has cleared the 24 bytes of the target.
  static void convertLLongToString(long long value, char* text);
  // The value of the text in [begin, end), up to its first zero byte: one leading "+" is skipped
  // and nothing is validated, so any byte counts as a digit. An empty text is 0.
  static void convertStringToLLong(const char* begin, const char* end, long long& value);

 private:
  struct Series {
    std::int64_t sum = 0;
    std::int32_t max = 0;
    std::int32_t min = 0;

    void add(std::int32_t value, bool first);
    void merge(const Series& other, bool first);
  };
  struct Statistics {
    std::int64_t messageCount = 0;
    Series size;
    Series elapsed;  // milliseconds
    Series queued;   // milliseconds
    std::uint32_t firstCollection = 0;
    std::uint32_t lastCollection = 0;
  };

  bool survivesStoring() const;
  void keepStored(const std::uint8_t* image);

  Statistics statistics_;
  // What is behind the header in the image that was last read or written, as long as the
  // statistics are what would be read from it.
  std::uint8_t stored_[layout::stir::bytes - layout::header::bytes];
  bool unchanged_ = false;
};

#endif  // ZEB_RECORDS_STATISTICS_RECORD_H
