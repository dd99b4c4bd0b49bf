// SPDX-License-Identifier: Apache-2.0
#include "tests/reference/comparison.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace reference {
namespace {

constexpr std::size_t kId = 8;  // in a record
constexpr std::size_t kParent = 24;

// The offsets of the stored records, by their own lengths. What is no record ends the walk.
std::vector<std::size_t> storedOffsets(const Bytes& area) {
  std::vector<std::size_t> offsets{32};
  try {
    while (offsets.back() < support::unsignedAt(area, 20)) {
      const std::size_t end = offsets.back() + support::recordSizeAt(area, offsets.back());
      if (end > area.size()) break;
      offsets.push_back(end);
    }
  } catch (const std::exception&) {  // told by the bytes that differ
  }
  return offsets;
}

// A number, a text of digits, or else the bytes.
std::string valueAt(const Bytes& image, std::size_t at, std::size_t width) {
  if (width == 4) return std::to_string(support::unsignedAt(image, at));
  const auto first = image.begin() + static_cast<std::ptrdiff_t>(at);
  const auto end = std::find(first, first + static_cast<std::ptrdiff_t>(width), 0);
  const bool digits = std::all_of(first, end, [](unsigned char c) { return c >= '0' && c <= '9'; });
  const bool filled = std::all_of(end, first + static_cast<std::ptrdiff_t>(width),
                                  [](unsigned char c) { return c == 0; });
  if (width == 24 && digits && filled) return '"' + std::string(first, end) + '"';
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (std::size_t i = at; i < at + width; ++i) {
    text += kDigits[image[i] >> 4];
    text += kDigits[image[i] & 15];
  }
  return text;
}

const char* typeName(std::uint32_t type) {
  constexpr const char* kNames[] = {"broker", "group", "flow", "node", "statistics"};
  return kNames[type - support::kBroker];
}

// The field that covers the byte `at`, where the fields begin at `from`.
std::string tellField(const std::vector<Field>& fields, std::size_t from, std::size_t at,
                      const Bytes& expected, const Bytes& stored) {
  for (const Field& field : fields) {
    if (at < from + field.width)
      return field.name + " is " + valueAt(stored, from, field.width) + ", not " +
             valueAt(expected, from, field.width);
    from += field.width;
  }
  throw std::logic_error("a record is longer than its fields");
}

std::string tell(const Area& area, std::size_t at, const Bytes& expected, const Bytes& stored) {
  const std::vector<std::size_t> offsets = offsetsOf(area);
  const std::string place = " (byte " + std::to_string(at) + " of the area)";
  if (at < offsets.front())
    return "header: " + tellField(headerFields(), 0, at, expected, stored) + place;
  for (std::size_t i = 0; i < area.records.size(); ++i) {
    if (at >= offsets[i + 1]) continue;
    const Record& record = area.records[i];
    return "record " + std::to_string(i) + ", " + typeName(record.type()) + " \"" + record.label +
           "\": " + tellField(fieldsOf(record), offsets[i], at, expected, stored) + place;
  }
  return "behind the last record is " + valueAt(stored, at, 1) + place;
}

}  // namespace

Bytes IdNames::named(const Bytes& image, const std::vector<std::size_t>& offsets) {
  Bytes copy = image;
  for (std::size_t i = 0; i + 1 < offsets.size(); ++i) {
    name(copy, offsets[i] + kId);
    name(copy, offsets[i] + kParent);
  }
  return copy;
}

void IdNames::name(Bytes& image, std::size_t at) {
  const support::RecordId id = support::idAt(image, at);
  if (id == support::RecordId{}) return;
  const auto next = static_cast<std::uint32_t>(names_.size() + 1);
  const std::uint32_t name = names_.try_emplace(id, next).first->second;
  std::memcpy(image.data() + at + 12, &name, sizeof name);
}

std::optional<std::string> Comparison::difference(const Area* expected, const Bytes& stored) {
  if (expected == nullptr) {
    *this = {};
    return stored.empty() ? std::nullopt : std::optional<std::string>("there is still an area");
  }
  if (stored.empty()) return "there is no area";
  if (stored.size() != expected->size)
    return "the area has " + std::to_string(stored.size()) + " bytes";
  const Bytes mine = expectedNames_.named(bytesOf(*expected), offsetsOf(*expected));
  const Bytes theirs = storedNames_.named(stored, storedOffsets(stored));
  const auto [first, ignored] = std::mismatch(mine.begin(), mine.end(), theirs.begin());
  if (first == mine.end()) return std::nullopt;
  return tell(*expected, static_cast<std::size_t>(first - mine.begin()), mine, theirs);
}

}  // namespace reference
