// SPDX-License-Identifier: Apache-2.0
// Records in an area's copy, one by one.
#ifndef ZEB_AGENT_READER_RECORD_H
#define ZEB_AGENT_READER_RECORD_H

#include <array>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "agent/reader/segment_copy.h"
#include "format/layout.h"

namespace reader {

// What names a record everywhere: type, creation stamp and random number.
class RecordId {
 public:
  static constexpr std::size_t kBytes = 16;

  RecordId() = default;
  // `at` must hold 16 bytes.
  explicit RecordId(std::span<const std::uint8_t> at) {
    std::memcpy(numbers_.data(), at.data(), kBytes);
  }

  bool operator==(const RecordId&) const = default;
  bool isZero() const { return *this == RecordId(); }
  std::uint32_t type() const { return numbers_[0]; }
  Stamp created() const { return {numbers_[1], numbers_[2]}; }
  std::array<std::uint8_t, kBytes> bytes() const {  // as they are stored
    std::array<std::uint8_t, kBytes> bytes;
    std::memcpy(bytes.data(), numbers_.data(), kBytes);
    return bytes;
  }

  // Of what hex() wrote; of any other text some ID.
  static RecordId fromHex(std::string_view text);
  std::string hex() const;      // 32 upper-case digits of its bytes
  std::uint64_t hash() const {  // of which the high bits are the better ones
    const auto pair = [this](std::size_t i) {
      return std::uint64_t{numbers_[i]} << 32 | numbers_[i + 1];
    };
    return (pair(0) ^ pair(2)) * 0x9E3779B97F4A7C15U;
  }

 private:
  std::array<std::uint32_t, kBytes / sizeof(std::uint32_t)> numbers_{};
};

struct RecordIdHash {
  std::size_t operator()(const RecordId& id) const { return id.hash(); }
};

// A whole, sane record inside the bytes of an Area, which it points into. The fields that it is
// asked for are those of its type.
class Record {
 public:
  // `bytes` must be exactly what layout::storedSize accepted.
  Record(std::span<const std::uint8_t> bytes, std::uint32_t offset)
      : bytes_(bytes), offset_(offset) {}

  std::uint32_t offset() const { return offset_; }  // in its area
  std::uint32_t size() const { return static_cast<std::uint32_t>(bytes_.size()); }
  std::uint32_t type() const { return layout::typeOf(bytes_.data()); }
  bool deleted() const;
  RecordId id() const { return RecordId(bytes_.subspan(layout::header::id.offset)); }
  RecordId parent() const { return RecordId(bytes_.subspan(layout::header::parent.offset)); }

  std::uint32_t unsigned32(const layout::Field& field) const;
  std::int32_t signed32(const layout::Field& field) const;
  std::string text(const layout::Field& field) const;  // UTF-8
  std::span<const std::uint8_t> bytes(const layout::Field& field) const;

  // Seconds since 1970, nothing when the time is not set.
  std::optional<std::int64_t> calendar(const layout::Field& field) const;

  // Nothing when the text isn't a decimal number of 64 bits.
  std::optional<std::int64_t> decimal(const layout::Field& field) const;

 private:
  std::span<const std::uint8_t> bytes_;
  std::uint32_t offset_;
};

// The records of the statistics area, in stored order. Where none can be read, `damage` says so and
// the walk goes on at the next place that holds one.
std::vector<Record> walk(const Area& area, DamageList& damage);

// The records of an events area, oldest first: those behind the next offset, left over from before
// the last wrap, as far as they are whole and weren't overtaken; then those before it. Remains of a
// record that a later one cut are stepped over silently, and where others wrote meanwhile so is all
// that can't be read. Records lie `stride` bytes apart, 1 when sizes vary.
std::vector<Record> walkRing(const Area& area, std::uint32_t stride, DamageList& damage);

}  // namespace reader

#endif  // ZEB_AGENT_READER_RECORD_H
