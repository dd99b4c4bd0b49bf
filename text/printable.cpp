// SPDX-License-Identifier: Apache-2.0
#include "text/printable.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

#include "text/utf8.h"

namespace text {
namespace {

struct Range {
  char32_t first;
  char32_t last;
};

// Code points that a terminal obeys or hides instead of showing.
constexpr Range kUnseen[] = {{0x0, 0x1F},      {0x7F, 0x9F},     {0xAD, 0xAD},
                             {0x61C, 0x61C},   {0x180E, 0x180E}, {0x200B, 0x200F},
                             {0x2028, 0x202E}, {0x2060, 0x206F}, {0xFEFF, 0xFEFF},
                             {0xFFF9, 0xFFFB}, {0xFFFE, 0xFFFF}, {0xE0000, 0xE0FFF}};
constexpr Range kCombining[] = {
    {0x300, 0x36F}, {0x1AB0, 0x1AFF}, {0x20D0, 0x20FF}, {0xFE00, 0xFE0F}};
constexpr Range kWide[] = {{0x1100, 0x115F},   {0x2E80, 0x303E},  {0x3041, 0xA4CF},
                           {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},  {0xFE30, 0xFE6F},
                           {0xFF00, 0xFF60},   {0xFFE0, 0xFFE6},  {0x1F300, 0x1F64F},
                           {0x1F900, 0x1F9FF}, {0x20000, 0x3FFFD}};

template <std::size_t N>
bool within(const Range (&ranges)[N], char32_t point) {
  return std::any_of(ranges, ranges + N, [point](const Range& range) {
    return point >= range.first && point <= range.last;
  });
}

std::string escaped(char32_t point) {
  const auto number = static_cast<std::uint32_t>(point);
  const char* const format = number < 0x100 ? "\\x%02X" : number < 0x10000 ? "\\u%04X" : "\\U%08X";
  char text[16];
  std::snprintf(text, sizeof text, format, number);
  return text;
}

// Most texts are: nothing in them needs a closer look.
bool isPlain(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

std::size_t columnsOf(char32_t point) {
  if (within(kCombining, point)) return 0;
  return within(kWide, point) ? 2 : 1;
}

}  // namespace

std::string printable(std::string_view bytes) {
  if (isPlain(bytes)) return std::string(bytes);
  std::string out;
  out.reserve(bytes.size());
  while (!bytes.empty()) {
    const Step step = firstOf(bytes);
    if (!step.valid)
      out += escaped(static_cast<std::uint8_t>(bytes.front()));
    else if (within(kUnseen, step.point))
      out += escaped(step.point);
    else
      out += bytes.substr(0, step.bytes);
    bytes.remove_prefix(step.bytes);
  }
  return out;
}

std::size_t columns(std::string_view printable) {
  if (isPlain(printable)) return printable.size();
  std::size_t sum = 0;
  while (!printable.empty()) {
    const Step step = firstOf(printable);
    sum += columnsOf(step.point);
    printable.remove_prefix(step.bytes);
  }
  return sum;
}

std::string shortened(std::string_view bytes, std::size_t mostColumns) {
  std::string text = printable(bytes);
  if (columns(text) <= mostColumns) return text;
  std::size_t taken = 0;
  std::size_t at = 0;
  while (at < text.size()) {
    const Step step = firstOf(std::string_view(text).substr(at));
    const std::size_t width = columnsOf(step.point);
    if (taken + width + 1 > mostColumns) break;
    taken += width;
    at += step.bytes;
  }
  return text.substr(0, at) + "…";
}

}  // namespace text
