// SPDX-License-Identifier: Apache-2.0
#include "format/layout.h"

#include <cstring>

namespace layout {
namespace {

std::uint32_t unsigned32At(const std::uint8_t* at) {
  std::uint32_t value;
  std::memcpy(&value, at, sizeof value);
  return value;
}

// Bytes of one field at the start of `left`, or 0 when it does not end in there.
std::uint64_t fieldSize(const Field& field, std::span<const std::uint8_t> left) {
  if (left.size() < field.width) return 0;
  if (field.encoding != Encoding::string) return field.width;
  const std::uint64_t needed = kEmptyString + 2 * std::uint64_t{unsigned32At(left.data())};
  return needed <= left.size() ? needed : 0;
}

// As storedSize, for a record that must be of `type`: so nothing nests deeper than one joined
// event.
std::size_t storedSizeOf(ZEB_RecordType type, std::span<const std::uint8_t> bytes) {
  return bytes.size() >= header::bytes && typeOf(bytes.data()) == type ? storedSize(bytes) : 0;
}

std::size_t joinedEventSize(std::span<const std::uint8_t> bytes) {
  const auto nested = bytes.subspan(header::bytes);
  const std::size_t first = storedSizeOf(ZEB_EVTR_RECORD, nested);
  if (first == 0) return 0;
  const std::size_t second = storedSizeOf(ZEB_EVDR_RECORD, nested.subspan(first));
  return second == 0 ? 0 : header::bytes + first + second;
}

}  // namespace

std::uint32_t typeOf(const std::uint8_t* stored) {
  return unsigned32At(stored + header::id.offset);
}

std::size_t storedSize(std::span<const std::uint8_t> bytes) {
  if (bytes.size() < header::bytes) return 0;
  if (std::memcmp(bytes.data(), header::text, header::eyecatcher.width) != 0) return 0;
  const std::uint32_t type = typeOf(bytes.data());
  if (type == ZEB_EVIR_RECORD) return joinedEventSize(bytes);
  if (const std::uint32_t size = fixedSizeOf(type)) return size <= bytes.size() ? size : 0;
  const std::span<const Field> fields = fieldsOf(type);
  if (fields.empty()) return 0;
  std::size_t at = header::bytes;
  for (const Field& field : fields) {
    const std::uint64_t width = fieldSize(field, bytes.subspan(at));
    if (width == 0) return 0;
    at += width;
  }
  return at;
}

}  // namespace layout
