// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstring>

#include "records/event_information.h"
#include "tests/support/library_test.h"

namespace event_records_test {

using namespace support;

namespace {

class EventRecords : public LibraryTest {
 protected:
  EventRecords() {
    std::memset(descriptor.messageId, 'm', 24);
    std::memset(descriptor.correlationId, 'c', 24);
    descriptor.putApplicationType = -5;
    std::memcpy(descriptor.putApplicationName, "twenty-eight characters long", 28);
    std::memcpy(descriptor.putDate, "20260102", 8);
    std::memcpy(descriptor.putTime, "03040506", 8);
  }

  static Bytes stored(ZEB_Record& record) {
    Bytes bytes(record.size());
    EXPECT_EQ(record.put(bytes.data()), bytes.data() + bytes.size());
    return bytes;
  }

  MessageDescriptor descriptor{};
  const ZEB_String group{"g"};
  const ZEB_String flow{"fl"};
  const ZEB_String node{"nod"};
  const ZEB_String text{"text"};
  ZEB_EVTR kind{&group, &flow, &node, ZEB_INPUT_NODE, &text};
};

TEST_F(EventRecords, AnEventTakesSixFieldsOfTheDescriptor) {
  ZEB_EVDR event(&descriptor, -77);
  EXPECT_EQ(event.size(), 144U);
  const Bytes bytes = stored(event);
  EXPECT_EQ(unsignedAt(bytes, 8), 8U);
  EXPECT_EQ(unsignedAt(bytes, 12), kNow);
  EXPECT_EQ(unsignedAt(bytes, 40), kNow + kCalendarOffset);
  EXPECT_EQ(signedAt(bytes, 44), -77);
  EXPECT_EQ(charactersAt(bytes, 48, 24), std::string(24, 'm'));
  EXPECT_EQ(charactersAt(bytes, 72, 24), std::string(24, 'c'));
  EXPECT_EQ(signedAt(bytes, 96), -5);
  EXPECT_EQ(charactersAt(bytes, 100, 44), "twenty-eight characters long2026010203040506");
  EXPECT_EQ(event.getThreadID(), -77);
  EXPECT_EQ(std::string(event.getPutDate(), 8), "20260102");
  EXPECT_EQ(std::string(event.getPutTime(), 8), "03040506");
  EXPECT_EQ(std::string(event.getPutApplName(), 28), "twenty-eight characters long");
  EXPECT_EQ(event.getMsgID()[23], 'm');
  EXPECT_EQ(event.getCorelID()[23], 'c');
}

TEST_F(EventRecords, AnEventWithoutADescriptorIsBlankButForItsTimeAndThread) {
  ZEB_EVDR event(nullptr, 9);
  const Bytes bytes = stored(event);
  EXPECT_EQ(slice(bytes, 12, 12), Bytes(12, 0));
  EXPECT_EQ(unsignedAt(bytes, 40), kNow + kCalendarOffset);
  EXPECT_EQ(signedAt(bytes, 44), 9);
  EXPECT_EQ(slice(bytes, 48, 96), Bytes(96, 0));
}

TEST_F(EventRecords, AnEventComesBackAsItWasStored) {
  ZEB_EVDR event(&descriptor, 1);
  event.setParent(kind.getRecordId());
  Bytes bytes = stored(event);
  ZEB_EVDR other(nullptr, 0);
  EXPECT_EQ(other.get(bytes.data()), bytes.data() + 144);
  EXPECT_EQ(stored(other), bytes);
  EXPECT_EQ(other.isChildOf(&kind), 1U);
  ZEB_EVDR assigned(nullptr, 0);
  assigned = event;
  EXPECT_EQ(stored(assigned), bytes);
  EXPECT_EQ(event.get(nullptr), nullptr);
  EXPECT_EQ(event.put(nullptr), nullptr);
}

TEST_F(EventRecords, ATemplateIsItsNamesItsTypeAndItsText) {
  EXPECT_EQ(kind.size(), 68U + 2 * 10);
  const Bytes bytes = stored(kind);
  EXPECT_EQ(unsignedAt(bytes, 8), 7U);
  EXPECT_EQ(slice(bytes, 40, 8), (Bytes{1, 0, 0, 0, 'g', 0, 0, 0}));
  EXPECT_EQ(slice(bytes, 48, 10), (Bytes{2, 0, 0, 0, 'f', 0, 'l', 0, 0, 0}));
  EXPECT_EQ(slice(bytes, 58, 12), (Bytes{3, 0, 0, 0, 'n', 0, 'o', 0, 'd', 0, 0, 0}));
  EXPECT_EQ(unsignedAt(bytes, 70), 1U);
  EXPECT_EQ(slice(bytes, 74, 14), (Bytes{4, 0, 0, 0, 't', 0, 'e', 0, 'x', 0, 't', 0, 0, 0}));
}

TEST_F(EventRecords, ATemplateComesBackAsItWasStored) {
  Bytes bytes = stored(kind);
  ZEB_EVTR other(nullptr, nullptr, nullptr, ZEB_OTHER_NODE, nullptr);
  EXPECT_EQ(other.size(), 68U);
  EXPECT_EQ(unsignedAt(stored(other), 12), 0U) << "without a group it is blank";
  EXPECT_EQ(other.get(bytes.data()), bytes.data() + 88);
  EXPECT_EQ(stored(other), bytes);
  ZEB_EVTR assigned(nullptr, nullptr, nullptr, ZEB_OTHER_NODE, nullptr);
  assigned = kind;
  EXPECT_EQ(stored(assigned), bytes);
  EXPECT_EQ(kind.get(nullptr), nullptr);
  EXPECT_EQ(kind.put(nullptr), nullptr);
}

TEST_F(EventRecords, TemplatesAreEqualByContentAndNotByIdentifier) {
  const ZEB_EVTR same(&group, &flow, &node, ZEB_INPUT_NODE, &text);
  EXPECT_TRUE(kind == same);
  const ZEB_String x("x");
  EXPECT_FALSE(kind == ZEB_EVTR(&x, &flow, &node, ZEB_INPUT_NODE, &text));
  EXPECT_FALSE(kind == ZEB_EVTR(&group, &x, &node, ZEB_INPUT_NODE, &text));
  EXPECT_FALSE(kind == ZEB_EVTR(&group, &flow, &x, ZEB_INPUT_NODE, &text));
  EXPECT_FALSE(kind == ZEB_EVTR(&group, &flow, &node, ZEB_OUTPUT_NODE, &text));
  EXPECT_FALSE(kind == ZEB_EVTR(&group, &flow, &node, ZEB_INPUT_NODE, &x));
}

TEST_F(EventRecords, AJoinedEventNestsBothWithTheirHeaders) {
  ZEB_EVDR event(&descriptor, 1);
  event.setParent(kind.getRecordId());
  ZEB_EVIR joined(&kind, &event);
  EXPECT_EQ(joined.size(), 40U + 88 + 144);
  const Bytes bytes = stored(joined);
  EXPECT_EQ(unsignedAt(bytes, 8), 9U);
  EXPECT_EQ(unsignedAt(bytes, 12), kNow);
  EXPECT_EQ(slice(bytes, 40, 88), stored(kind));
  EXPECT_EQ(slice(bytes, 128, 144), stored(event));
  EXPECT_EQ(idAt(bytes, 128 + 24), idAt(bytes, 40 + 8));
  ZEB_EVIR other(nullptr, nullptr);
  EXPECT_EQ(other.size(), 252U);
  Bytes copy = bytes;
  EXPECT_EQ(other.get(copy.data()), copy.data() + copy.size());
  EXPECT_EQ(stored(other), bytes);
  ZEB_EVIR assigned(nullptr, nullptr);
  assigned = joined;
  EXPECT_EQ(stored(assigned), bytes);
}

TEST_F(EventRecords, ANullPartLeavesWhatIsHeld) {
  ZEB_EVDR event(&descriptor, 1);
  ZEB_EVIR joined(nullptr, &event);
  const Bytes bytes = stored(joined);
  EXPECT_EQ(unsignedAt(bytes, 12), 0U) << "without a template it has no identifier of its own";
  EXPECT_EQ(bytes.size(), 252U);
  EXPECT_EQ(slice(bytes, 108, 144), stored(event));
  joined.init(&kind, nullptr);
  EXPECT_EQ(slice(stored(joined), 40, 88), stored(kind));
  EXPECT_EQ(slice(stored(joined), 128, 144), stored(event));
}

TEST_F(EventRecords, AnEventPrintsTheTypeUnderTheNamesLabelAndNoHeader) {
  ZEB_EVDR event(&descriptor, 31);
  event.print();
  const Texts lines = linesOf("ZEB_EVDR::print");
  ASSERT_EQ(lines.size(), 8U);
  EXPECT_EQ(host().trace().size(), 8U);
  EXPECT_EQ(lines[0].substr(0, 22), "Event Time          : ");
  EXPECT_EQ(
      Texts(lines.begin() + 1, lines.end()),
      (Texts{"Appl Name           : twenty-eight characters long", "Appl Name           : -5",
             "Message ID          : " + std::string(24, 'm'),
             "Correl ID           : " + std::string(24, 'c'), "Put date            : 20260102",
             "Put time            : 03040506", "Thread ID           : 31"}));
}

TEST_F(EventRecords, ATemplatePrintsNodeAndTextUnderForeignLabels) {
  kind.print();
  EXPECT_EQ(
      linesOf("ZEB_EVTR::print"),
      (Texts{"Execution Group     : nod", "Message Flow        : text", "Node                : nod",
             "Node Type           : 1", "Message text        : text"}));
  EXPECT_EQ(linesOf("ZEB_Record::print"), Texts{"   R E C O R D   I D"});
  host().forget();
  ZEB_EVDR event(&descriptor, 31);
  ZEB_EVIR joined(&kind, &event);
  joined.print();
  EXPECT_EQ(linesOf("ZEB_Record::print").size(), 2U);
  EXPECT_EQ(linesOf("ZEB_EVTR::print").size(), 5U);
  EXPECT_EQ(linesOf("ZEB_EVDR::print").size(), 8U);
}

TEST_F(EventRecords, TraceUnderTheirUnits) {
  const Tracing tracing;
  ZEB_EVDR event(&descriptor, 1);
  ZEB_EVTR other(&group, nullptr, nullptr, ZEB_OTHER_NODE, nullptr);
  ZEB_EVIR joined(&other, &event);
  joined.size();
  expectTraced("zebcevdr", {{"ZEB_EVDR::ZEB_EVDR", "Exit"}, {"ZEB_EVDR::size", "Exit: 0x90"}});
  expectTraced("zebcevtr", {{"ZEB_EVTR::ZEB_EVTR", "Exit"}, {"ZEB_EVTR::size", "Exit: 0x46"}});
  expectTraced("zebcevir", {{"ZEB_EVIR::init", "Exit"}, {"ZEB_EVIR::size", "Exit: 0xFE"}});
}

}  // namespace

}  // namespace event_records_test
