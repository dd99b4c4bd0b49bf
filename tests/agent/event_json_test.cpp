// SPDX-License-Identifier: Apache-2.0
// The fast lines of JSON against the plain ones, byte by byte.
#include "agent/render/event_json.h"

#include <gtest/gtest.h>

#include <random>

#include "agent/render/json.h"
#include "tests/support/image.h"

namespace event_json_test {

namespace {

constexpr std::int64_t kWall = 1754707219;

reader::RecordId recordOf(std::uint32_t type, std::uint32_t seconds, std::uint32_t milliseconds,
                          std::uint32_t random) {
  image::Bytes bytes;
  image::putId(bytes, {type, seconds, milliseconds, random});
  return reader::RecordId(bytes);
}

model::SeenBroker broker(const std::string& label) {
  model::SeenBroker seen;
  seen.tree.emplace().label = label;
  seen.tree->uuid = label + "-uuid";
  return seen;
}

reader::Event event(std::uint32_t n, const std::string& text) {
  reader::Event made;
  made.recordId = recordOf(8, 1754707000 + n / 7, n * 37 % 1200, n);
  made.templateId = recordOf(7, 500, 1, n % 3);
  made.origin = std::make_shared<reader::EventTemplate>(
      reader::EventTemplate{text, "Fulfil" + text, text + "Reserve", n % 9, text});
  if (n % 5 != 0) made.time = kWall + n / 3;
  made.threadId = static_cast<std::int32_t>(n * 2654435761U);
  made.messageId.fill(static_cast<std::uint8_t>(n));
  made.correlationId.fill(static_cast<std::uint8_t>(3 * n));
  made.putApplicationType = -static_cast<std::int32_t>(n);
  made.putApplicationName = text;
  made.putDate = "20250809";
  made.putTime = text.substr(0, 8);
  return made;
}

std::string plain(const model::SeenBroker& of, const reader::Event& event, std::int64_t wall) {
  return render::written(render::eventDocument(of, event, wall), true);
}

std::string fast(render::EventJson& json, const reader::Event& event) {
  std::string lines;
  json.append(lines, event);
  return lines;
}

// Every byte, every kind of character that is written another way, and none.
std::vector<std::string> texts() {
  std::vector<std::string> all = {"", "order seen", "Exception found in A(1). b", "a\"b\\c/d"};
  for (int c = 0; c < 256; ++c) all.emplace_back(3, static_cast<char>(c));
  for (const char8_t* text :
       {u8"Größe", u8"日本", u8"\U0001F600", u8"\u202E", u8"\u0085", u8"\uFFFE"})
    all.emplace_back(reinterpret_cast<const char*>(text));
  return all;
}

}  // namespace

TEST(EventJson, IsByteByByteWhatTheDocumentIs) {
  render::EventJson json;
  std::uint32_t n = 0;
  for (const std::string& label : texts()) {
    const model::SeenBroker of = broker(label);
    const std::int64_t wall = kWall + n;
    json.begin(of, wall);
    for (const std::string& text : {label, std::string("order seen"), label + "x"}) {
      const reader::Event made = event(++n, text);
      ASSERT_EQ(plain(of, made, wall), fast(json, made)) << n;
    }
  }
}

TEST(EventJson, IsTheSameForExtremes) {
  render::EventJson json;
  model::SeenBroker nameless;
  nameless.segment.uuid = "1-2-3";
  json.begin(nameless, -1);
  reader::Event made;
  EXPECT_EQ(plain(nameless, made, -1), fast(json, made));
  made.recordId = recordOf(~0U, ~0U, ~0U, ~0U);
  made.threadId = std::numeric_limits<std::int32_t>::min();
  made.putApplicationType = std::numeric_limits<std::int32_t>::max();
  for (const std::int64_t time :
       {std::int64_t{0}, std::int64_t{-1}, std::int64_t{253402300800},
        std::numeric_limits<std::int64_t>::max(), std::numeric_limits<std::int64_t>::min()}) {
    made.time = time;
    EXPECT_EQ(plain(nameless, made, -1), fast(json, made)) << time;
  }
}

TEST(EventJson, ATemplateThatTookAnothersPlaceIsNotTakenForIt) {
  render::EventJson json;
  const model::SeenBroker of = broker("BRK1");
  json.begin(of, kWall);
  reader::Event made = event(3, "first");
  fast(json, made);
  made.origin = event(3, "second").origin;
  EXPECT_EQ(plain(of, made, kWall), fast(json, made));
  made.origin = nullptr;
  EXPECT_EQ(plain(of, made, kWall), fast(json, made));
  made.origin = event(3, "Exception found in x").origin;
  EXPECT_EQ(plain(of, made, kWall), fast(json, made));
}

TEST(EventJson, ForgetsTemplatesWhenThereAreManyAndStaysRight) {
  render::EventJson json;
  const model::SeenBroker of = broker("BRK1");
  json.begin(of, kWall);
  for (std::uint32_t n = 0; n < 20100; ++n) {
    reader::Event made = event(n, "seen");
    made.templateId = recordOf(7, 500, 1, n);
    const std::string line = fast(json, made);
    if (n % 1000 == 0) {
      ASSERT_EQ(plain(of, made, kWall), line);
    }
  }
}

}  // namespace event_json_test
