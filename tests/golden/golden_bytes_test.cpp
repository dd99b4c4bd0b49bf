// SPDX-License-Identifier: Apache-2.0
// The files beside this one hold stored forms, byte by byte, with what each of them means. The
// library writes exactly these and reads them back; docs/format.md shows them.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "records/broker_record.h"
#include "records/event_information.h"
#include "records/execution_group_record.h"
#include "records/message_flow_record.h"
#include "records/node_record.h"
#include "records/statistics_record.h"
#include "store/memory_manager.h"
#include "tests/support/library_test.h"

namespace golden_bytes_test {

namespace fs = std::filesystem;
using namespace support;

namespace {

std::string contents(const fs::path& path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

std::string textOf(const std::string& name) {
  return contents(fs::path(ZEB_GOLDEN) / (name + ".hex"));
}

// The bytes of a file. Each line but the first begins with its offset in decimal digits; behind two
// blanks are the bytes, and from the next two blanks on what they mean.
Bytes bytesOf(const std::string& name) {
  std::istringstream lines(textOf(name));
  Bytes bytes;
  std::string line;
  for (std::getline(lines, line); std::getline(lines, line);) {
    EXPECT_EQ(bytes.size(), std::stoul(line.substr(0, 4))) << name << ": " << line;
    std::istringstream digits(line.substr(6, line.find("  ", 6) - 6));
    for (unsigned byte = 0; digits >> std::hex >> byte;)
      bytes.push_back(static_cast<unsigned char>(byte));
  }
  EXPECT_FALSE(bytes.empty()) << name;
  return bytes;
}

ZEB_String string(const char16_t* text) {
  return ZEB_String(reinterpret_cast<const zebchar*>(text));
}

class GoldenBytes : public LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    setClock(kNow, 250);
  }

  // Gives the record the header of the file, ID and stamp included, and then compares all of it; a
  // blank one that reads the file must store it as it was.
  static void expectStored(const std::string& name, ZEB_Record& record, ZEB_Record& blank) {
    Bytes golden = bytesOf(name);
    record.ZEB_Record::getFrom(golden.data(), golden.data());
    EXPECT_EQ(golden, formOf(record)) << name;
    EXPECT_EQ(golden.data() + golden.size(), blank.get(golden.data())) << name;
    EXPECT_EQ(golden, formOf(blank)) << name;
  }
  static Bytes formOf(ZEB_Record& record) {
    Bytes form(record.size(), 0xEE);
    EXPECT_EQ(form.data() + form.size(), record.put(form.data()));
    return form;
  }

  // A block of the library's that is there as the file says.
  static void expectBlock(const std::string& name, const char* eyecatcher, std::uint32_t size,
                          std::uint32_t last, std::uint32_t next) {
    Bytes block(last, 0);
    ZEB_Memory_Manager manager;
    manager.setEyecatcher(eyecatcher);
    manager.bindTo(block.data(), size);
    manager.setNextPosition(block.data() + last);
    manager.setNextPosition(block.data() + next);
    EXPECT_EQ(bytesOf(name), slice(block, 0, 32)) << name;
    ZEB_Memory_Manager reader;
    reader.setAddress(block.data(), size);
    EXPECT_EQ(block.data() + next, reader.getNextPosition()) << name;
    EXPECT_EQ(block.data() + last, reader.getLastPosition()) << name;
    EXPECT_EQ(size, reader.getSize()) << name;
    EXPECT_EQ(kNow, reader.getLastUpdate().seconds) << name;
  }

  static ZEB_EVTR eventTemplate() {
    const ZEB_String group("orders");
    const ZEB_String flow("Fulfil");
    const ZEB_String node("Pay");
    const ZEB_String text("seen");
    return ZEB_EVTR(&group, &flow, &node, ZEB_INPUT_NODE, &text);
  }
  static ZEB_EVDR event() {
    MessageDescriptor descriptor{};
    for (std::uint8_t i = 0; i < sizeof descriptor.messageId; ++i)
      descriptor.messageId[i] = static_cast<std::uint8_t>(0xA0 + i);
    descriptor.putApplicationType = 6;
    std::memcpy(descriptor.putApplicationName, "order-entry", 11);
    std::memcpy(descriptor.putDate, "20231114", 8);
    std::memcpy(descriptor.putTime, "22132007", 8);
    return ZEB_EVDR(&descriptor, -7);
  }

  const ZEB_String uuid_{"5f0c-11"};
};

TEST_F(GoldenBytes, Blocks) {
  expectBlock("segment", "zebcshme", 98336, 98336, 98336);
  expectBlock("statistics-area", "zebcstar", 32768, 332, 332);
  expectBlock("event-template-area", "zebcetar", 32768, 32, 32);
  expectBlock("event-data-area", "zebcedar", 32768, 32720, 320);
}

TEST_F(GoldenBytes, AResource) {
  const ZEB_String label("Thing");
  const ZEB_Resource_ID id(&uuid_, &label);
  ZEB_REIR resource(ZEB_REIR_RECORD, &id);
  ZEB_REIR blank(ZEB_REIR_RECORD, nullptr);
  expectStored("resource", resource, blank);
}

TEST_F(GoldenBytes, ABroker) {
  const ZEB_String label("SHOP");
  const ZEB_Resource_ID id(&uuid_, &label);
  ZEB_BRIR broker(&id);
  broker.setResetTime(kNow + kCalendarOffset);
  ZEB_BRIR blank(nullptr);
  expectStored("broker", broker, blank);
  EXPECT_EQ(kNow + kCalendarOffset, blank.getResetTime());
  EXPECT_EQ(1U, blank.alike(&id));
}

TEST_F(GoldenBytes, AnExecutionGroup) {
  const ZEB_String label("orders");
  const ZEB_Resource_ID id(&uuid_, &label);
  ZEB_EGIR group(&id);
  group.setProcessId(4711);
  ZEB_EGIR blank(nullptr);
  expectStored("execution-group", group, blank);
  EXPECT_EQ(4711, blank.getProcessId());
}

TEST_F(GoldenBytes, AMessageFlow) {
  const ZEB_String label("Fulfil");
  const ZEB_Resource_ID id(nullptr, &label);
  ZEB_MFIR flow(&id);
  ZEB_MFIR blank(nullptr);
  expectStored("message-flow", flow, blank);
}

TEST_F(GoldenBytes, ANode) {
  const ZEB_String label = string(u"Größe");
  const ZEB_String subFlow("Pay");
  const ZEB_Resource_ID id(nullptr, &label);
  ZEB_NOIR node(&id);
  node.setNodeType(ZEB_OUTPUT_NODE);
  node.setSubFlowName(&subFlow);
  ZEB_NOIR blank(nullptr);
  expectStored("node", node, blank);
  EXPECT_EQ(1U, blank.isDeleted());
  EXPECT_EQ(ZEB_OUTPUT_NODE, blank.getNodeType());
  EXPECT_EQ(1U, blank.alike(&id));
  EXPECT_TRUE(subFlow == blank.getSubFlowName());
}

TEST_F(GoldenBytes, TheStatisticsOfTwoMessages) {
  ZEB_STIR statistics(1);
  statistics.updateStatistics({0, 7}, {1, 500}, 1000);
  setClock(kNow + 60);
  statistics.updateStatistics({2, 0}, {0, 20}, 24);
  ZEB_STIR blank(0);
  expectStored("statistics", statistics, blank);
  EXPECT_EQ(2, blank.getMessageCount());
  EXPECT_EQ(1024, blank.getSumSize());
  EXPECT_EQ(1000, blank.getMaxSize());
  EXPECT_EQ(24, blank.getMinSize());
  EXPECT_EQ(1520, blank.getSumElapsedTime());
  EXPECT_EQ(1500, blank.getMaxElapsedTime());
  EXPECT_EQ(20, blank.getMinElapsedTime());
  EXPECT_EQ(2007, blank.getSumQueuedTime());
  EXPECT_EQ(2000, blank.getMaxQueuedTime());
  EXPECT_EQ(7, blank.getMinQueuedTime());
  EXPECT_EQ(kNow + kCalendarOffset, blank.getfirstCollection());
  EXPECT_EQ(kNow + 60 + kCalendarOffset, blank.getlastCollection());
}

TEST_F(GoldenBytes, AnEventTemplate) {
  ZEB_EVTR kind = eventTemplate();
  ZEB_EVTR blank(nullptr, nullptr, nullptr, ZEB_OTHER_NODE, nullptr);
  expectStored("event-template", kind, blank);
}

TEST_F(GoldenBytes, AnEvent) {
  ZEB_EVDR posted = event();
  ZEB_EVDR blank(nullptr, 0);
  expectStored("event-data", posted, blank);
  EXPECT_EQ(-7, blank.getThreadID());
}

TEST_F(GoldenBytes, AJoinedEvent) {
  ZEB_EVTR kind = eventTemplate();
  Bytes header = bytesOf("event-template");
  kind.ZEB_Record::getFrom(header.data(), header.data());
  ZEB_EVDR posted = event();
  header = bytesOf("event-data");
  posted.ZEB_Record::getFrom(header.data(), header.data());
  ZEB_EVIR joined(&kind, &posted);
  ZEB_EVIR blank(nullptr, nullptr);
  expectStored("joined-event", joined, blank);
}

// Each file is there as it is.
TEST(GoldenDocument, ShowsEachFile) {
  const std::string document = contents(ZEB_FORMAT_DOCUMENT);
  int files = 0;
  for (const auto& entry : fs::directory_iterator(ZEB_GOLDEN)) {
    if (entry.path().extension() != ".hex") continue;
    ++files;
    EXPECT_NE(document.npos, document.find("```\n" + contents(entry.path()) + "```\n"))
        << "docs/format.md does not show " << entry.path().filename();
  }
  EXPECT_EQ(13, files);
}

}  // namespace

}  // namespace golden_bytes_test
