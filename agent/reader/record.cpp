// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/record.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstring>
#include <string_view>

#include "agent/reader/text.h"
#include "format/names.h"

namespace reader {
namespace {

using Bytes = std::span<const std::uint8_t>;

std::uint32_t read32(const std::uint8_t* at) {
  std::uint32_t value;
  std::memcpy(&value, at, sizeof value);
  return value;
}

// Of the field that stands at `at`.
std::uint32_t storedWidth(const layout::Field& field, const std::uint8_t* at) {
  return field.encoding == layout::Encoding::string ? field.width + 2 * read32(at) : field.width;
}

std::string whyUnreadable(Bytes left) {
  if (left.size() < layout::header::bytes) return "a record header is cut";
  if (std::memcmp(left.data(), layout::header::text, layout::header::eyecatcher.width) != 0) {
    return "no record begins here";
  }
  const std::uint32_t type = layout::typeOf(left.data());
  if (type < ZEB_REIR_RECORD || type > ZEB_EVIR_RECORD) {
    return "record type " + std::to_string(type) + " is unknown";
  }
  return "a record of type " + std::to_string(type) + " is cut";
}

// Appends the records from `begin` to `end`, as far as they were copied; `damage` may be null when
// gaps are no surprise. A record that was copied in part is no damage.
void walkPart(std::vector<Record>& records, const Area& area, std::uint32_t begin,
              std::uint32_t end, std::uint32_t stride, DamageList* damage) {
  end = std::min(end, static_cast<std::uint32_t>(area.bytes.size()));
  const bool endsInside = area.uncopied() > 0 && end == area.bytes.size();
  const Bytes bytes = Bytes(area.bytes).first(end);
  for (std::uint32_t at = begin; at < end;) {
    const auto size = static_cast<std::uint32_t>(layout::storedSize(bytes.subspan(at)));
    if (size > 0) {
      records.emplace_back(bytes.subspan(at, size), at);
      at += size;
      continue;
    }
    const std::uint32_t next = nextReadable(bytes, at, stride);
    if (damage && !(endsInside && next == end)) {
      damage->add(area.name, at, whyUnreadable(bytes.subspan(at)));
    }
    at = next;
  }
}

// Whether the oldest record, which is where writers go on, may be one that is not yet posted: its
// writer hasn't moved the next offset. While others post, it may. Else it is as young as the
// newest. (Unless so is the one behind it: then the ring turned within one millisecond, and nobody
// can tell.) One that waited for the area's lock may look older, and is then shown before its turn.
bool notYetPosted(const std::vector<Record>& ring, const Area& area) {
  if (area.overtaken) return true;
  if (ring.size() < 2) return false;
  const Stamp oldest = ring[0].id().created();
  return oldest >= ring.back().id().created() && oldest > ring[1].id().created();
}

}  // namespace

RecordId RecordId::fromHex(std::string_view text) {
  std::array<std::uint8_t, kBytes> bytes{};
  for (std::size_t i = 0; i < bytes.size() && 2 * i + 1 < text.size(); ++i) {
    std::from_chars(text.data() + 2 * i, text.data() + 2 * i + 2, bytes[i], 16);
  }
  return RecordId(bytes);
}

std::string RecordId::hex() const {
  constexpr char digits[] = "0123456789ABCDEF";
  std::string text;
  for (const std::uint8_t byte : std::bit_cast<std::array<std::uint8_t, kBytes>>(numbers_)) {
    text += digits[byte >> 4];
    text += digits[byte & 0xF];
  }
  return text;
}

bool Record::deleted() const {
  return read32(bytes_.data() + layout::header::deleted.offset) != 0;
}

Bytes Record::bytes(const layout::Field& field) const {
  std::size_t moved = 0;  // by the units of the strings before it
  if (layout::fixedSizeOf(type()) == 0) {
    for (const layout::Field& before : layout::fieldsOf(type())) {
      if (before.offset >= field.offset) break;
      moved += storedWidth(before, bytes_.data() + before.offset + moved) - before.width;
    }
  }
  const std::size_t at = field.offset + moved;
  return bytes_.subspan(at, storedWidth(field, bytes_.data() + at));
}

std::uint32_t Record::unsigned32(const layout::Field& field) const {
  return read32(bytes(field).data());
}

std::int32_t Record::signed32(const layout::Field& field) const {
  return static_cast<std::int32_t>(unsigned32(field));
}

std::string Record::text(const layout::Field& field) const {
  const Bytes at = bytes(field);
  if (field.encoding == layout::Encoding::string) {
    return utf8(at.subspan(sizeof(std::uint32_t), at.size() - layout::kEmptyString));
  }
  return utf8(std::string_view(reinterpret_cast<const char*>(at.data()), at.size()));
}

std::optional<std::int64_t> Record::calendar(const layout::Field& field) const {
  const std::uint32_t seconds = unsigned32(field);
  if (seconds == 0) return std::nullopt;
  return std::int64_t{seconds} - std::int64_t{layout::kCalendarEpoch};
}

std::optional<std::int64_t> Record::decimal(const layout::Field& field) const {
  const Bytes at = bytes(field);
  std::string_view digits(reinterpret_cast<const char*>(at.data()), at.size());
  digits = digits.substr(0, digits.find('\0'));
  if (digits.starts_with('+')) digits.remove_prefix(1);
  std::int64_t value = 0;
  for (const char digit : digits) {
    if (digit < '0' || digit > '9' || __builtin_mul_overflow(value, 10, &value) ||
        __builtin_add_overflow(value, digit - '0', &value)) {
      return std::nullopt;
    }
  }
  return value;
}

std::vector<Record> walk(const Area& area, DamageList& damage) {
  std::vector<Record> records;
  walkPart(records, area, layout::block::bytes, area.last, 1, &damage);
  return records;
}

std::vector<Record> walkRing(const Area& area, std::uint32_t stride, DamageList& damage) {
  const std::uint32_t older = area.last - area.next;
  const std::uint64_t overtaken =
      (std::uint64_t{area.overtaken.value_or(0)} + stride - 1) / stride * stride;
  DamageList* const reported = area.overtaken ? nullptr : &damage;
  std::vector<Record> ring;
  std::uint32_t begin = area.next;
  if (area.overtaken && overtaken >= older) {
    begin = static_cast<std::uint32_t>(
        std::min<std::uint64_t>(layout::block::bytes + overtaken - older, area.next));
    walkPart(ring, area, begin, area.next, stride, reported);
  } else {
    begin += static_cast<std::uint32_t>(overtaken);
    walkPart(ring, area, begin, area.last, stride, nullptr);
    walkPart(ring, area, layout::block::bytes, area.next, stride, reported);
  }
  if (!ring.empty() && ring.front().offset() == begin && notYetPosted(ring, area))
    ring.erase(ring.begin());
  return ring;
}

}  // namespace reader
