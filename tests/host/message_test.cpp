// SPDX-License-Identifier: Apache-2.0
#include "host/run/message.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ctime>

#include "host/run/text16.h"

namespace message_test {

using namespace host;

namespace {

std::string field(const HostMessage& message, std::size_t at, std::size_t width) {
  return {reinterpret_cast<const char*>(message.stream()) + at, width};
}

Descriptor descriptor() {
  Descriptor made;
  made.messageId.fill(0xAB);
  made.correlationId = "orders.txt:17";
  made.applicationType = 11;
  made.applicationName = "till";
  return made;
}

}  // namespace

TEST(Message, DescriptorFieldsStandAtTheirOffsets) {
  HostMessage message(7, descriptor(), "body", false);
  ASSERT_EQ(message.streamSize(), 368);
  EXPECT_EQ(field(message, 0, 48), std::string(48, '\0'));
  EXPECT_EQ(field(message, 48, 24), std::string(24, '\xAB'));
  EXPECT_EQ(field(message, 72, 24), "orders.txt:17" + std::string(11, '\0'));
  std::int32_t type = 0;
  std::memcpy(&type, message.stream() + 272, sizeof type);
  EXPECT_EQ(type, 11);
  EXPECT_EQ(field(message, 276, 28), "till" + std::string(24, ' '));
  EXPECT_EQ(field(message, 320, 44), std::string(44, '\0'));
  EXPECT_EQ(field(message, 364, 4), "body");
  EXPECT_EQ(message.body(), "body");
  EXPECT_EQ(message.number(), 7U);
}

TEST(Message, LongNamesAreCutAtTheirFields) {
  Descriptor made = descriptor();
  const std::string name(40, 'n');
  made.applicationName = name;
  made.correlationId = name;
  HostMessage message(1, made, "", false);
  EXPECT_EQ(field(message, 276, 29), std::string(28, 'n') + '\0');
  EXPECT_EQ(field(message, 72, 25), std::string(24, 'n') + '\0');
}

TEST(Message, PutDateAndTimeAreUtcInHundredths) {
  using namespace std::chrono;
  HostMessage message(1, descriptor(), "", false);
  message.stampPutTime(sys_days(2007y / December / 31) + 23h + 59min + 59s + 999ms);
  EXPECT_EQ(field(message, 304, 8), "20071231");
  EXPECT_EQ(field(message, 312, 8), "23595999");
}

TEST(Message, PutDateAndTimeStayUtcUnderAnyTimeZone) {
  using namespace std::chrono;
  ASSERT_EQ(setenv("TZ", "XYZ-9:30", 1), 0);
  tzset();
  HostMessage message(1, descriptor(), "", false);
  message.stampPutTime(sys_days(2024y / February / 29) + 20h + 1min + 2s + 30ms);
  EXPECT_EQ(field(message, 304, 8), "20240229");
  EXPECT_EQ(field(message, 312, 8), "20010203");
}

TEST(Message, ALazyMessageHasNoStreamUntilItIsSerialised) {
  HostMessage message(1, descriptor(), "x", true);
  EXPECT_EQ(message.streamSize(), 0);
  EXPECT_EQ(message.stream(), nullptr);
  EXPECT_EQ(message.size(), 365U);
  message.serialise();
  EXPECT_EQ(message.streamSize(), 365);
  EXPECT_NE(message.stream(), nullptr);
}

TEST(Text16, ComesBackAsItWas) {
  const std::string text = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80";
  EXPECT_EQ(toText16(text), u"a\u00e9\u20ac\U0001F600");
  EXPECT_EQ(toUtf8(toText16(text)), text);
  EXPECT_EQ(toText16("\xEF\xBF\xBF\xF0\x90\x80\x80"), u"\uFFFF\U00010000");
}

TEST(Text16, WhatIsNoTextBecomesTheReplacementCharacter) {
  EXPECT_EQ(toText16("a\xFFz"), u"a\uFFFDz");
  EXPECT_EQ(toText16("\xC0\x80"), u"\uFFFD\uFFFD");
  EXPECT_EQ(toText16("\xE2\x82"), u"\uFFFD\uFFFD") << "one for each byte";
  const char16_t lone[] = {'a', 0xD800, 'b', 0};
  EXPECT_EQ(toUtf8(lone),
            "a\xEF\xBF\xBD"
            "b");
}

}  // namespace message_test
