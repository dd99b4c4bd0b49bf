// SPDX-License-Identifier: Apache-2.0
// The attributes of a node as the host sets, reads and enumerates them.
#include <gtest/gtest.h>

#include <array>

#include "tests/support/plugin.h"

namespace attributes_test {

using namespace support;

namespace {

constexpr std::uint16_t kUntouched = 0xABCD;
using Buffer = std::array<std::uint16_t, 64>;

// What a call left in the host's buffer: the text, with "?" for the first unit left untouched.
std::u16string textIn(const Buffer& buffer) {
  std::u16string text;
  for (const std::uint16_t unit : buffer) {
    if (unit == 0) return text;
    if (unit == kUntouched) return text + u'?';
    text.push_back(static_cast<char16_t>(unit));
  }
  return text;
}

class Attribute : public PluginTest {
 protected:
  int get(const std::u16string& name, int length = 64) {
    buffer_.fill(kUntouched);
    return table().getAttribute(node_.context(), units(name), buffer_.data(), length);
  }
  int name(int index, int length = 64) {
    buffer_.fill(kUntouched);
    return table().getAttributeName(node_.context(), index, buffer_.data(), length);
  }
  std::u16string text() const { return textIn(buffer_); }

  NodeContext node_;
  Buffer buffer_;
};

TEST_F(Attribute, SettingAnswersOneForTheFiveAndZeroForLabelAndUnknownNames) {
  for (const char* known :
       {"type", "eventMessage", "collectQueueTime", "subFlowName", "activateNode"}) {
    EXPECT_EQ(1, node_.set(known, u"x")) << known;
  }
  for (const char* other : {"label", "Type", "types", "", "eventmessage", "comment"}) {
    EXPECT_EQ(0, node_.set(other, u"x")) << other;
  }
  EXPECT_TRUE(host().log().empty());
}

TEST_F(Attribute, HasADefaultUntilItIsSet) {
  const std::pair<std::u16string, std::u16string> defaults[] = {{u"type", u"other"},
                                                                {u"eventMessage", u""},
                                                                {u"collectQueueTime", u"yes"},
                                                                {u"subFlowName", u""},
                                                                {u"activateNode", u"yes"}};
  for (const auto& [attribute, value] : defaults) {
    EXPECT_EQ(0, get(attribute));
    EXPECT_EQ(value, text());
  }
}

TEST_F(Attribute, ReadsBackAsItWasSet) {
  for (const char* known :
       {"type", "eventMessage", "collectQueueTime", "subFlowName", "activateNode"}) {
    node_.set(known, u"value of it");
    EXPECT_EQ(0, get(std::u16string(known, known + std::string(known).size())));
    EXPECT_EQ(u"value of it", text()) << known;
  }
}

TEST_F(Attribute, LabelAndUnknownNamesAreNotRead) {
  node_.set("label", u"NODE1");
  node_.set("comment", u"kept, but not read");
  for (const char16_t* other : {u"label", u"comment", u"TYPE", u"", u"typ"}) {
    EXPECT_EQ(1, get(other));
    EXPECT_EQ(u"?", text());
  }
}

TEST_F(Attribute, SetTwiceReadsBackFirstAndActsAsLast) {
  node_.set("type", u"input");
  node_.set(attributesOf({.type = u"output"}));
  EXPECT_EQ(0, get(u"type"));
  EXPECT_EQ(u"input", text());
  EXPECT_EQ(2U, nodeRecord(u"NODE1").ownNumber());
}

TEST_F(Attribute, SetToAnEmptyTextReadsBackEmpty) {
  node_.set("type", u"");
  EXPECT_EQ(0, get(u"type"));
  EXPECT_EQ(u"", text());
}

TEST_F(Attribute, AShortBufferTakesWhatFitsWithoutAnEnd) {
  EXPECT_EQ(0, get(u"type", 3));
  EXPECT_EQ(u"oth?", text());
  EXPECT_EQ(0, get(u"type", 5));
  EXPECT_EQ(u"other?", text());
  EXPECT_EQ(0, get(u"type", 6));
  EXPECT_EQ(u"other", text());
  EXPECT_EQ(kUntouched, buffer_[6]);
  node_.set("type", u"subFlowInput");
  EXPECT_EQ(0, get(u"type", 4));
  EXPECT_EQ(u"subF?", text());
}

TEST_F(Attribute, ABufferOfNoLengthIsLeftAlone) {
  for (const int length : {0, -1}) {
    EXPECT_EQ(0, get(u"type", length));
    EXPECT_EQ(u"?", text());
    EXPECT_EQ(0, name(0, length));
    EXPECT_EQ(u"?", text());
  }
}

TEST_F(Attribute, ANullBufferIsFineForAKnownNameOnly) {
  EXPECT_EQ(0, table().getAttribute(node_.context(), units(u"type"), nullptr, 10));
  EXPECT_EQ(1, table().getAttribute(node_.context(), units(u"label"), nullptr, 10));
  EXPECT_EQ(1, table().getAttributeName(node_.context(), 0, nullptr, 10));
}

TEST_F(Attribute, NullNamesAndValuesCountAsEmpty) {
  EXPECT_EQ(0, table().setAttribute(node_.context(), nullptr, units(u"x")));
  EXPECT_EQ(1, table().setAttribute(node_.context(), units(u"type"), nullptr));
  EXPECT_EQ(1, table().getAttribute(node_.context(), nullptr, buffer_.data(), 64));
  EXPECT_EQ(0, get(u"type"));
  EXPECT_EQ(u"", text());
}

TEST_F(Attribute, NamesAreEnumeratedFromZeroToFour) {
  const char16_t* const names[] = {u"type", u"eventMessage", u"collectQueueTime", u"subFlowName",
                                   u"activateNode"};
  for (int index = 0; index < 5; ++index) {
    EXPECT_EQ(0, name(index));
    EXPECT_EQ(names[index], text());
  }
  for (const int index : {-1, 5, 99}) {
    EXPECT_EQ(1, name(index));
    EXPECT_EQ(u"?", text());
  }
}

TEST_F(Attribute, AShortBufferTakesTheBeginningOfAName) {
  EXPECT_EQ(0, name(1, 5));
  EXPECT_EQ(u"event?", text());
}

TEST_F(Attribute, TypesAreStoredByTheirNumber) {
  const std::pair<std::u16string, std::uint32_t> types[] = {
      {u"input", 1},        {u"output", 2},        {u"other", 3},
      {u"subFlowInput", 4}, {u"subFlowOutput", 5}, {u"Input", 3},
      {u"OUTPUT", 3},       {u"subflowinput", 3},  {u"", 3},
      {u"input ", 3}};
  for (const auto& [type, number] : types) {
    const auto node = deploy({.type = type});
    EXPECT_EQ(number, nodeRecord(u"NODE1").ownNumber());
  }
}

TEST_F(Attribute, ALabelOfAnyUnitsIsStoredAsGiven) {
  const std::u16string labels[] = {u"", u"%n%s%s%n", std::u16string(3000, u'L'),
                                   std::u16string(u"\xD800 alone, and \xDC00 too"),
                                   u"\u00E9\u4E2D\uFFFF"};
  for (const std::u16string& label : labels) {
    const auto node = deploy({.label = label, .eventMessage = label, .subFlowName = label});
    EXPECT_EQ(label, nodeRecord(label).subFlowName());
    ASSERT_TRUE(label.empty() || templates().back().templateText() == label);
    node->send();
    EXPECT_EQ(1, statisticsOf(label).count());
  }
  EXPECT_TRUE(host().log().empty());
}

TEST_F(Attribute, SetOnAContextThatFailedIsStillKept) {
  host().script.createInputTerminal = [](int&) -> HostTerminal* { return nullptr; };
  NodeContext failed;
  EXPECT_EQ(1, failed.set("type", u"input"));
  buffer_.fill(kUntouched);
  EXPECT_EQ(0, table().getAttribute(failed.context(), units(u"type"), buffer_.data(), 64));
  EXPECT_EQ(u"input", text());
}

}  // namespace

}  // namespace attributes_test
