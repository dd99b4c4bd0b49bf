// SPDX-License-Identifier: Apache-2.0
#include "read/cursor.h"

#include <charconv>
#include <cstdint>
#include <utility>

namespace read_c {
namespace {

using Marks = model::Collector::Marks;

constexpr std::string_view kName = "zebread1";
constexpr std::string_view kDigits = "0123456789ABCDEF";
constexpr std::string_view kNoEvent = "-";

std::string hexOf(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes) {
    const auto value = static_cast<std::uint8_t>(byte);
    text += {kDigits[value >> 4], kDigits[value & 0xF]};
  }
  return text;
}

std::optional<std::string> bytesIn(std::string_view hex) {
  if (hex.empty() || hex.size() % 2 != 0) return {};
  std::string bytes;
  for (std::size_t i = 0; i < hex.size(); i += 2) {
    const std::size_t high = kDigits.find(hex[i]);
    const std::size_t low = kDigits.find(hex[i + 1]);
    if (high == kDigits.npos || low == kDigits.npos) return {};
    bytes += static_cast<char>(high << 4 | low);
  }
  return bytes;
}

// The text up to the next `end`, which is taken off with it.
std::string_view cutOff(std::string_view& text, char end) {
  const std::string_view part = text.substr(0, text.find(end));
  text.remove_prefix(part.size() < text.size() ? part.size() + 1 : part.size());
  return part;
}

template <class Number>
bool readNumber(std::string_view text, Number& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

// "KEYFILE:SEGMENT:NEWEST:OFFSET", the first and the third in hexadecimal digits.
std::optional<std::pair<std::string, reader::RingMark>> entryIn(std::string_view text) {
  const auto keyFile = bytesIn(cutOff(text, ':'));
  const std::string_view segment = cutOff(text, ':');
  const std::string_view newest = cutOff(text, ':');
  reader::RingMark mark;
  if (!keyFile || !readNumber(segment, mark.segmentId) || !readNumber(text, mark.newestAt))
    return {};
  if (newest != kNoEvent) {
    const auto bytes = bytesIn(newest);
    if (!bytes || bytes->size() != reader::RecordId::kBytes || !reader::isSlot(mark.newestAt))
      return {};
    mark.newest = reader::RecordId::fromHex(newest);
  }
  if (mark.segmentId < 0) return {};
  return std::pair(*keyFile, mark);
}

}  // namespace

std::string textOf(const Marks& marks) {
  std::string text(kName);
  for (const auto& [keyFile, mark] : marks) {
    text += " " + hexOf(keyFile) + ":" + std::to_string(mark.segmentId) + ":" +
            (mark.newest ? mark.newest->hex() : std::string(kNoEvent)) + ":" +
            std::to_string(mark.newestAt);
  }
  return text;
}

std::optional<Marks> marksIn(std::string_view text) {
  if (cutOff(text, ' ') != kName) return {};
  Marks marks;
  while (!text.empty()) {
    const auto entry = entryIn(cutOff(text, ' '));
    if (!entry) return {};
    marks.insert_or_assign(entry->first, entry->second);
  }
  return marks;
}

}  // namespace read_c
