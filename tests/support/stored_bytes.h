// SPDX-License-Identifier: Apache-2.0
// Reads what the library stores, from a private copy of the bytes, by offsets written down here
// again: a test that took them from the library would agree with any mistake in it.
#ifndef ZEB_TESTS_SUPPORT_STORED_BYTES_H
#define ZEB_TESTS_SUPPORT_STORED_BYTES_H

#include <array>
#include <cstdint>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace support {

using Bytes = std::vector<unsigned char>;
using RecordId = std::array<unsigned char, 16>;  // type 4, seconds 4, milliseconds 4, random 4

// Seconds from 1901-01-01 to 1970-01-01, both 00:00:00 UTC.
inline constexpr std::uint32_t kCalendarOffset = 2177452800U;

template <typename Number>
Number numberAt(const Bytes& bytes, std::size_t at) {
  if (bytes.size() < sizeof(Number) || at > bytes.size() - sizeof(Number)) {
    throw std::out_of_range("a stored number at " + std::to_string(at));
  }
  Number number;
  std::memcpy(&number, bytes.data() + at, sizeof number);
  return number;
}

inline std::uint32_t unsignedAt(const Bytes& bytes, std::size_t at) {
  return numberAt<std::uint32_t>(bytes, at);
}
inline std::int32_t signedAt(const Bytes& bytes, std::size_t at) {
  return numberAt<std::int32_t>(bytes, at);
}

inline Bytes slice(const Bytes& bytes, std::size_t at, std::size_t count) {
  if (count > bytes.size() || at > bytes.size() - count) {
    throw std::out_of_range("stored bytes at " + std::to_string(at));
  }
  const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(at);
  return {first, first + static_cast<std::ptrdiff_t>(count)};
}

inline std::string charactersAt(const Bytes& bytes, std::size_t at, std::size_t count) {
  const Bytes part = slice(bytes, at, count);
  return {part.begin(), part.end()};
}

inline RecordId idAt(const Bytes& bytes, std::size_t at) {
  const Bytes part = slice(bytes, at, 16);
  RecordId id;
  std::memcpy(id.data(), part.data(), id.size());
  return id;
}

// The 24 bytes of a 64-bit number as decimal text.
inline long long decimalAt(const Bytes& bytes, std::size_t at) {
  const Bytes field = slice(bytes, at, 24);
  long long value = 0;
  std::size_t digits = 0;
  while (digits < field.size() && field[digits] != 0) value = value * 10 + (field[digits++] - '0');
  for (std::size_t rest = digits; rest < field.size(); ++rest) {
    if (field[rest] != 0) throw std::runtime_error("decimal text is not zero-filled");
  }
  return value;
}

// The 32 bytes in front of the segment and of each area.
struct Block {
  std::size_t at = 0;  // from the start of the segment
  std::string eyecatcher;
  std::int32_t mark = 0;
  std::uint32_t size = 0;
  std::uint32_t next = 0;
  std::uint32_t last = 0;
  std::uint32_t seconds = 0;
  std::uint32_t milliseconds = 0;
};

inline Block blockAt(const Bytes& bytes, std::size_t at) {
  return {at,
          charactersAt(bytes, at, 8),
          signedAt(bytes, at + 8),
          unsignedAt(bytes, at + 12),
          unsignedAt(bytes, at + 16),
          unsignedAt(bytes, at + 20),
          unsignedAt(bytes, at + 24),
          unsignedAt(bytes, at + 28)};
}

// The blocks that lie end to end behind the segment's header, up to its next position.
inline std::vector<Block> blocksOf(const Bytes& segment) {
  std::vector<Block> blocks;
  const Block own = blockAt(segment, 0);
  std::size_t at = 32;
  while (at < own.next && at + 32 <= segment.size()) {
    blocks.push_back(blockAt(segment, at));
    if (blocks.back().size < 32) throw std::runtime_error("a block without a size");
    at += blocks.back().size;
  }
  return blocks;
}

inline std::optional<Block> findBlock(const Bytes& segment, const std::string& eyecatcher) {
  for (const Block& block : blocksOf(segment)) {
    if (block.eyecatcher == eyecatcher) return block;
  }
  return std::nullopt;
}

enum StoredType : std::uint32_t {
  kBroker = 2,
  kGroup = 3,
  kFlow = 4,
  kNode = 5,
  kStatistics = 6,
  kTemplate = 7,
  kEvent = 8
};

// One stored record: its bytes, and where in the segment they are.
class StoredRecord {
 public:
  StoredRecord(Bytes bytes, std::size_t at) : bytes_(std::move(bytes)), at_(at) {}

  const Bytes& bytes() const { return bytes_; }
  std::size_t at() const { return at_; }
  std::uint32_t type() const { return unsignedAt(bytes_, 8); }
  std::uint32_t deleted() const { return unsignedAt(bytes_, 4); }
  RecordId id() const { return idAt(bytes_, 8); }
  RecordId parent() const { return idAt(bytes_, 24); }
  bool isChildOf(const StoredRecord& other) const { return parent() == other.id(); }

  // The n-th string of the record, counted from 0, wherever a number is between strings.
  std::u16string string(std::size_t n) const {
    std::size_t at = 40;
    for (std::size_t before = 0; before < n; ++before) at = behindString(at, before);
    const std::size_t units = unsignedAt(bytes_, at);
    std::u16string text(units, u'\0');
    const Bytes part = slice(bytes_, at + 4, 2 * units);
    if (units > 0) std::memcpy(text.data(), part.data(), part.size());
    return text;
  }

  std::u16string uuid() const { return string(0); }
  std::u16string label() const { return string(1); }
  std::u16string subFlowName() const { return string(2); }
  // Behind uuid and label: reset time of a broker, process of a group, type of a node.
  std::uint32_t ownNumber() const {
    return unsignedAt(bytes_, behindString(behindString(40, 0), 1, false));
  }

  std::u16string templateText() const { return string(3); }
  std::uint32_t templateNodeType() const {
    return unsignedAt(bytes_, behindString(behindString(behindString(40, 0), 1), 2, false));
  }

  long long count() const { return decimalAt(bytes_, 40); }
  long long sumSize() const { return decimalAt(bytes_, 64); }
  std::int32_t maxSize() const { return signedAt(bytes_, 88); }
  std::int32_t minSize() const { return signedAt(bytes_, 92); }
  long long sumElapsed() const { return decimalAt(bytes_, 96); }
  std::int32_t maxElapsed() const { return signedAt(bytes_, 120); }
  std::int32_t minElapsed() const { return signedAt(bytes_, 124); }
  long long sumQueued() const { return decimalAt(bytes_, 128); }
  std::int32_t maxQueued() const { return signedAt(bytes_, 152); }
  std::int32_t minQueued() const { return signedAt(bytes_, 156); }
  std::uint32_t firstCollection() const { return unsignedAt(bytes_, 160); }
  std::uint32_t lastCollection() const { return unsignedAt(bytes_, 164); }

  std::uint32_t eventTime() const { return unsignedAt(bytes_, 40); }
  std::int32_t threadId() const { return signedAt(bytes_, 44); }

 private:
  // A number of four bytes follows the second string of a node and the third of a template.
  std::size_t behindString(std::size_t at, std::size_t n, bool skipNumber = true) const {
    at += 2UL * unsignedAt(bytes_, at) + 6;
    const bool numberFollows = (type() == kNode && n == 1) || (type() == kTemplate && n == 2);
    return skipNumber && numberFollows ? at + 4 : at;
  }

  Bytes bytes_;
  std::size_t at_;
};

// How many bytes the record at `at` takes; throws for anything that is not one.
inline std::size_t recordSizeAt(const Bytes& bytes, std::size_t at) {
  if (charactersAt(bytes, at, 4) != "RCRD") throw std::runtime_error("there is no record here");
  const std::uint32_t type = unsignedAt(bytes, at + 8);
  if (type == kStatistics) return 168;
  if (type == kEvent) return 144;
  if (type < kBroker || type > kEvent) throw std::runtime_error("a record of unknown type");
  const auto behind = [&](std::size_t from) { return from + 2UL * unsignedAt(bytes, from) + 6; };
  std::size_t end = behind(behind(at + 40));
  if (type == kBroker || type == kGroup) end += 4;
  if (type == kNode) end = behind(end + 4);
  if (type == kTemplate) end = behind(behind(end) + 4);
  return end - at;
}

// The records of an area from its start to `end`, an offset from the area's own start.
// An event whose first byte is cleared is left out: somebody is writing it, or died while writing.
inline std::vector<StoredRecord> recordsUpTo(const Bytes& segment, const Block& area,
                                             std::uint32_t end) {
  std::vector<StoredRecord> records;
  std::size_t at = area.at + 32;
  while (at < area.at + end) {
    if (area.eyecatcher == "zebcedar" && segment.at(at) == 0) {
      at += 144;
      continue;
    }
    const std::size_t size = recordSizeAt(segment, at);
    records.emplace_back(slice(segment, at, size), at);
    at += size;
  }
  return records;
}

// The records that an area holds up to its last position.
inline std::vector<StoredRecord> recordsOf(const Bytes& segment, const Block& area) {
  return recordsUpTo(segment, area, area.last);
}

}  // namespace support

#endif  // ZEB_TESTS_SUPPORT_STORED_BYTES_H
