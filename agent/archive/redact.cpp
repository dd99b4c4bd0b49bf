// SPDX-License-Identifier: Apache-2.0
#include "agent/archive/redact.h"

#include <algorithm>
#include <utility>

#include "agent/reader/record.h"
#include "format/layout.h"
#include "format/names.h"

namespace archived {
namespace {

using Bytes = std::vector<std::uint8_t>;
using reader::Area;
using reader::Record;

// Where a field of the record begins in its area.
std::size_t placeOf(const Area& area, std::span<const std::uint8_t> field) {
  return static_cast<std::size_t>(field.data() - area.bytes.data());
}

void blank(const Area& area, const Record& record, const layout::Field& field, Bytes& bytes) {
  const auto stored = record.bytes(field);
  std::fill_n(&bytes[placeOf(area, stored)], stored.size(), std::uint8_t{0});
}

// The units behind the count, without those that say that it is an exception.
void blankText(const Area& area, const Record& record, Bytes& bytes) {
  constexpr std::size_t kUnit = 2;
  const bool exception = record.text(layout::evtr::text).starts_with(layout::kExceptionPrefix);
  const std::size_t kept =
      sizeof(std::uint32_t) +
      (exception ? kUnit * std::string_view(layout::kExceptionPrefix).size() : 0);
  const auto stored = record.bytes(layout::evtr::text);
  if (stored.size() <= kept) return;
  std::fill_n(&bytes[placeOf(area, stored) + kept], stored.size() - kept, std::uint8_t{0});
}

void blankTexts(const Area& area, const Record& record, Bytes& bytes) {
  switch (record.type()) {
    case ZEB_EVTR_RECORD:
      return blankText(area, record, bytes);
    case ZEB_EVDR_RECORD:
      blank(area, record, layout::evdr::messageId, bytes);
      blank(area, record, layout::evdr::correlationId, bytes);
      return blank(area, record, layout::evdr::putApplicationName, bytes);
    default:
      return;
  }
}

void redact(Area& area, std::uint32_t stride) {
  reader::DamageList ignored;
  Bytes bytes(area.bytes.size());
  std::copy_n(area.bytes.begin(), std::min<std::size_t>(bytes.size(), layout::block::bytes),
              bytes.begin());
  for (const Record& record : walkRing(area, stride, ignored)) {
    if (record.type() != ZEB_EVTR_RECORD && record.type() != ZEB_EVDR_RECORD) continue;
    std::copy_n(&area.bytes[record.offset()], record.size(), &bytes[record.offset()]);
    blankTexts(area, record, bytes);
  }
  area.bytes = std::move(bytes);
}

}  // namespace

reader::Segment redacted(reader::Segment segment) {
  for (Area& area : segment.copy.areas) {
    if (area.name == reader::kEventTemplates) redact(area, 1);
    if (area.name == reader::kEventData) redact(area, layout::evdr::bytes);
  }
  return segment;
}

}  // namespace archived
