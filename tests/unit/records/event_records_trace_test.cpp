// SPDX-License-Identifier: Apache-2.0
// Event records whole: every byte, records that failed, prints and traces.
#include "records/event_information.h"
#include "tests/unit/records/records_test.h"

namespace event_records_trace_test {

using namespace support;

namespace {

Image templateImage(std::uint32_t nodeType = 0x10203U) {
  return headerImage(7, 1).string(u"g").string(u"fl").string(u"nod").number(nodeType).string(
      u"text");
}

Image dataImage(std::uint32_t eventTime = 0x87654321U) {
  Image image = headerImage(8);
  image.number(eventTime).number(-77);
  image.characters("message id", 24).characters("correlation id of 24 byt", 24).number(-5);
  return image.characters("twenty-eight characters long", 28)
      .characters("20260102", 8)
      .characters("03040506", 8);
}

Bytes joinedImage() {
  return headerImage(9, 1).append(templateImage().bytes()).append(dataImage().bytes()).bytes();
}

struct BlankTemplate : Spoiled<ZEB_EVTR> {
  using Spoiled::operator=;
  BlankTemplate() : Spoiled(nullptr, nullptr, nullptr, ZEB_OTHER_NODE, nullptr) {}
};

struct BlankData : Spoiled<ZEB_EVDR> {
  using Spoiled::operator=;
  BlankData() : Spoiled(nullptr, 0) {}
};

class StoredEvents : public LibraryTest {
 protected:
  BlankTemplate kind;
  BlankData event;
  ZEB_EVIR joined{nullptr, nullptr};
};

TEST_F(StoredEvents, AreReadAndStoredWhole) {
  const std::pair<ZEB_Record*, Bytes> cases[] = {
      {&kind, templateImage().bytes()}, {&event, dataImage().bytes()}, {&joined, joinedImage()}};
  for (const auto& [record, image] : cases) {
    fill(*record, image);
    EXPECT_EQ(image, storedForm(*record));
    expectUsesTheCopyOnly(*record, image);
    expectIgnoresNull(*record);
  }
}

TEST_F(StoredEvents, BlankOnesAreMostlyZero) {
  EXPECT_EQ(blankHeader(7).characters("", 18).number(3U).characters("", 6).bytes(),
            storedForm(kind));
  BlankData now;
  EXPECT_EQ(blankHeader(8).number(kCalendarNow).characters("", 100).bytes(), storedForm(now));
  EXPECT_EQ(252U, joined.size());
}

TEST_F(StoredEvents, GettersPointAtTheBytes) {
  fill(event, dataImage().bytes());
  EXPECT_EQ(-77, event.getThreadID());
  EXPECT_STREQ("message id", reinterpret_cast<const char*>(event.getMsgID()));
  EXPECT_EQ(0, std::memcmp("correlation id of 24 byt", event.getCorelID(), 24));
  EXPECT_EQ(0, std::memcmp("twenty-eight characters long", event.getPutApplName(), 28));
  EXPECT_EQ(0, std::memcmp("20260102", event.getPutDate(), 8));
  EXPECT_EQ(0, std::memcmp("03040506", event.getPutTime(), 8));
}

TEST_F(StoredEvents, FailedOnesDoNothing) {
  BlankTemplate fullKind;
  fill(fullKind, templateImage().bytes());
  kind.spoil();
  kind = fullKind;
  EXPECT_EQ(0U, kind.isDeleted());
  expectDoesNothing(kind, templateImage().bytes());
  EXPECT_FALSE(kind == kind);
  BlankData fullEvent;
  fill(fullEvent, dataImage().bytes());
  event.spoil();
  event = fullEvent;
  EXPECT_EQ(0, event.getThreadID());
  expectDoesNothing(event, dataImage().bytes());
  Spoiled<ZEB_EVIR> failed(nullptr, nullptr);
  failed.spoil();
  expectDoesNothing(failed, joinedImage());
}

TEST_F(StoredEvents, ATemplateThatLosesAStringIsNotOk) {
  const ZEB_String name("name");
  const ZEB_String lost = failedString();
  EXPECT_TRUE(ZEB_EVTR(&name, &name, &name, ZEB_INPUT_NODE, &name).OK());
  EXPECT_FALSE(ZEB_EVTR(&lost, &name, &name, ZEB_INPUT_NODE, &name).OK());
  EXPECT_FALSE(ZEB_EVTR(&name, &lost, &name, ZEB_INPUT_NODE, &name).OK());
  EXPECT_FALSE(ZEB_EVTR(&name, &name, &lost, ZEB_INPUT_NODE, &name).OK());
  EXPECT_FALSE(ZEB_EVTR(&name, &name, &name, ZEB_INPUT_NODE, &lost).OK());
  for (const std::size_t length : {1U, 2U, 3U, 4U}) {
    BlankTemplate record;
    Bytes image = templateImage().bytes();
    failAllocations(2 * (length + 1));
    record.get(image.data());
    succeedAgain();
    EXPECT_EQ(301, record.getStatus()) << length;
  }
}

TEST_F(StoredEvents, AJoinedRecordWhoseTemplateLosesAStringIsNotOk) {
  constexpr std::size_t kLongest = 2 * (4 + 1);
  Bytes image = joinedImage();
  ZEB_EVIR read(nullptr, nullptr);
  failAllocations(kLongest);
  read.get(image.data());
  succeedAgain();
  EXPECT_EQ(301, read.getStatus());
  ZEB_EVIR whole(nullptr, nullptr);
  whole.get(image.data());
  EXPECT_TRUE(whole.OK());
  ZEB_EVIR assigned(nullptr, nullptr);
  failAllocations(kLongest);
  assigned = whole;
  succeedAgain();
  EXPECT_EQ(301, assigned.getStatus());
}

TEST_F(StoredEvents, ATemplateIsNewOnlyWithAGroup) {
  const ZEB_String name("name");
  EXPECT_EQ(kNow, ZEB_EVTR(&name, nullptr, nullptr, ZEB_INPUT_NODE, nullptr).timeStamp().seconds);
  const ZEB_EVTR blank(nullptr, &name, &name, ZEB_INPUT_NODE, &name);
  EXPECT_EQ(0U, blank.timeStamp().seconds);
  EXPECT_EQ(68U + 3 * 8, blank.size());
}

TEST_F(StoredEvents, AnEventIsPrintedLineByLine) {
  useLocalTime();
  fill(event, dataImage(kCalendarNow).bytes());
  event.print();
  EXPECT_EQ(
      (Texts{"Event Time          : Wed Nov 15 00:13:20 2023",
             "Appl Name           : twenty-eight characters long", "Appl Name           : -5",
             "Message ID          : message id", "Correl ID           : correlation id of 24 byt",
             "Put date            : 20260102", "Put time            : 03040506",
             "Thread ID           : -77"}),
      textsOf("zebcevdr", "ZEB_EVDR::print"));
  host().forget();
  fill(event, dataImage(0).bytes());
  event.print();
  EXPECT_EQ("Event Time          : n/a", host().trace().front().text);
}

TEST_F(StoredEvents, ATemplateIsPrintedUnderItsUnit) {
  fill(kind, templateImage(4).bytes());
  kind.print();
  EXPECT_EQ(
      (Texts{"Execution Group     : nod", "Message Flow        : text", "Node                : nod",
             "Node Type           : 4", "Message text        : text"}),
      textsOf("zebcevtr", "ZEB_EVTR::print"));
  EXPECT_EQ("   R E C O R D   I D", host().trace().front().text);
}

TEST_F(StoredEvents, AJoinedOneIsPrintedHeaderThenTemplateThenData) {
  joined.print();
  Texts functions;
  for (const LogEntry& entry : host().trace())
    if (entry.function != "ZEB_DumpMemory" &&
        (functions.empty() || functions.back() != entry.function))
      functions.push_back(entry.function);
  EXPECT_EQ((Texts{"ZEB_Record::print", "ZEB_EVTR::print", "ZEB_EVDR::print"}), functions);
  EXPECT_EQ(12U + 5 + 8, host().trace().size());
}

TEST_F(StoredEvents, ZEB_Trace) {
  Bytes image = joinedImage();
  const void* const data = image.data() + 40 + templateImage().bytes().size();
  const void* const end = image.data() + image.size();
  const Tracing on;
  ZEB_EVIR record(nullptr, nullptr);
  record.get(image.data());
  record.put(image.data());
  record.size();
  record.print();
  joined = record;
  kind == kind;
  event.getThreadID();
  event.getPutTime();
  event.getPutDate();
  event.getCorelID();
  event.getMsgID();
  event.getPutApplName();
  expectTraced("zebcevir", {{"ZEB_EVIR::ZEB_EVIR", "Exit"},
                            {"ZEB_EVIR::init", "Exit"},
                            {"ZEB_EVIR::operator=", "Exit"},
                            {"ZEB_EVIR::get", exitOf(end)},
                            {"ZEB_EVIR::put", exitOf(end)},
                            {"ZEB_EVIR::size", exitOf(image.size())},
                            {"ZEB_EVIR::print", "Exit"}});
  expectTraced("zebcevtr", {{"ZEB_EVTR::ZEB_EVTR", "Exit"},
                            {"ZEB_EVTR::operator=", "Exit"},
                            {"ZEB_EVTR::operator==", "Exit: 0x1"},
                            {"ZEB_EVTR::get", exitOf(data)},
                            {"ZEB_EVTR::put", exitOf(data)},
                            {"ZEB_EVTR::size", exitOf(88)},
                            {"ZEB_EVTR::print", "Exit"}});
  expectTraced("zebcevdr", {{"ZEB_EVDR::ZEB_EVDR", "Exit"},
                            {"ZEB_EVDR::operator=", "Exit"},
                            {"ZEB_EVDR::get", exitOf(end)},
                            {"ZEB_EVDR::put", exitOf(end)},
                            {"ZEB_EVDR::size", exitOf(144)},
                            {"ZEB_EVDR::print", "Exit"},
                            {"ZEB_EVDR::getThreadID", "Exit: 0x0"},
                            {"ZEB_EVDR::getPutTime", exitOf(event.getPutTime())},
                            {"ZEB_EVDR::getPutDate", exitOf(event.getPutDate())},
                            {"ZEB_EVDR::getCorelID", exitOf(event.getCorelID())},
                            {"ZEB_EVDR::getMsgID", exitOf(event.getMsgID())},
                            {"ZEB_EVDR::getPutApplName", exitOf(event.getPutApplName())}});
}

}  // namespace

}  // namespace event_records_trace_test
