// SPDX-License-Identifier: Apache-2.0
#include "tests/processes/numbered.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace support {
namespace {

constexpr std::size_t kWidth = 24;

}  // namespace

void sendNumbered(NodeContext& node, int writer, int number, int size, const std::string& putTime) {
  char text[kWidth + 1];
  std::snprintf(text, sizeof text, "w%07d message%08d", writer, number);
  ScriptedMessage message;
  message.bits = bitStream({.applicationName = text, .putTime = putTime});
  std::memcpy(message.bits.data() + 48, text, kWidth);
  std::memcpy(message.bits.data() + 72, text, kWidth);
  message.sizes = {size};
  node.send(message);
}

Numbers numbersOf(const StoredRecord& event) {
  const std::string text = charactersAt(event.bytes(), 48, kWidth);
  Numbers numbers;
  if (text != charactersAt(event.bytes(), 72, kWidth) ||
      text != charactersAt(event.bytes(), 100, kWidth) ||
      std::sscanf(text.c_str(), "w%7d message%8d", &numbers.writer, &numbers.number) != 2) {
    throw std::runtime_error("an event is not whole: " + text);
  }
  return numbers;
}

std::vector<StoredRecord> oldestFirst(const Bytes& segment, const Block& area) {
  std::vector<StoredRecord> ring = recordsOf(segment, area);
  const auto oldest = std::find_if(ring.begin(), ring.end(), [&](const StoredRecord& event) {
    return event.at() >= area.at + area.next;
  });
  std::rotate(ring.begin(), oldest, ring.end());
  return ring;
}

void expectNewest(const std::vector<StoredRecord>& events, const std::map<int, int>& last) {
  std::map<int, std::vector<int>> found;
  for (const StoredRecord& event : events) {
    const Numbers numbers = numbersOf(event);
    found[numbers.writer].push_back(numbers.number);
  }
  for (const auto& [writer, numbers] : found) {
    std::vector<int> expected(numbers.size());
    for (std::size_t i = 0; i < expected.size(); ++i)
      expected[i] = last.at(writer) - static_cast<int>(expected.size() - i) + 1;
    EXPECT_EQ(numbers, expected) << "writer " << writer;
  }
}

void expectOneTemplateEach(const std::vector<StoredRecord>& events,
                           const std::vector<StoredRecord>& templates) {
  for (const StoredRecord& event : events)
    EXPECT_EQ(std::count_if(templates.begin(), templates.end(),
                            [&](const StoredRecord& kind) { return event.isChildOf(kind); }),
              1);
}

}  // namespace support
