// SPDX-License-Identifier: Apache-2.0
// Whole stored records, byte for byte, put together here from what the format says.
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include "tests/support/plugin.h"
#include "tests/support/scripted_clock.h"

namespace golden_test {

using namespace support;

namespace {

// Bytes in the order in which a record holds them.
class Image {
 public:
  Image& characters(const std::string& text, std::size_t width) {
    std::string padded = text;
    padded.resize(width);
    bytes_.insert(bytes_.end(), padded.begin(), padded.end());
    return *this;
  }
  Image& number(std::uint32_t value) {
    for (int shift = 0; shift < 32; shift += 8)
      bytes_.push_back(static_cast<unsigned char>(value >> shift));
    return *this;
  }
  Image& string(const std::u16string& text) {
    number(static_cast<std::uint32_t>(text.size()));
    for (const char16_t unit : text + u'\0') {
      bytes_.push_back(static_cast<unsigned char>(unit & 0xFF));
      bytes_.push_back(static_cast<unsigned char>(unit >> 8));
    }
    return *this;
  }
  Image& id(const RecordId& id) {
    bytes_.insert(bytes_.end(), id.begin(), id.end());
    return *this;
  }
  Image& header(std::uint32_t deleted, const RecordId& own, const RecordId& parent) {
    return characters("RCRD", 4).number(deleted).id(own).id(parent);
  }
  const Bytes& bytes() const { return bytes_; }

 private:
  Bytes bytes_;
};

constexpr std::uint32_t kNow = 1767322800;  // 2026-01-02 03:00:00 UTC
constexpr std::uint32_t kCalendarNow = kNow + kCalendarOffset;
constexpr RecordId kNone{};

// The parts of a record ID that are not chance.
void expectId(const StoredRecord& record, std::uint32_t type) {
  EXPECT_EQ(unsignedAt(record.bytes(), 8), type);
  EXPECT_EQ(unsignedAt(record.bytes(), 12), kNow);
  EXPECT_EQ(unsignedAt(record.bytes(), 16), 250U);
}

class Golden : public PluginBeforeStart {
 protected:
  Golden() {
    setClock(kNow, 250);
    startLibrary("ZEBMemorySize 8192\n");
  }
};

TEST_F(Golden, AFirstDeploymentStoresFiveRecordsInThisOrder) {
  ScriptedNode where;
  where.executionGroup = u"Gruppe \u00e9";
  where.messageFlow = u"F";
  const auto node =
      deploy({.label = u"NODE", .type = u"subFlowOutput", .subFlowName = u"sub"}, where);
  const auto records = statisticsRecords();
  ASSERT_EQ(records.size(), 5U);
  for (std::size_t i = 0; i < 5; ++i) expectId(records[i], static_cast<std::uint32_t>(i + 2));
  const StoredRecord& broker = records[0];
  const StoredRecord& group = records[1];
  const StoredRecord& flow = records[2];
  const StoredRecord& stored = records[3];
  EXPECT_EQ(broker.bytes(), Image()
                                .header(0, broker.id(), kNone)
                                .string(u"UUID1")
                                .string(u"BRK1")
                                .number(kCalendarNow)
                                .bytes());
  EXPECT_EQ(group.bytes(), Image()
                               .header(0, group.id(), broker.id())
                               .string(u"")
                               .string(u"Gruppe \u00e9")
                               .number(static_cast<std::uint32_t>(getpid()))
                               .bytes());
  EXPECT_EQ(flow.bytes(),
            Image().header(0, flow.id(), group.id()).string(u"").string(u"F").bytes());
  EXPECT_EQ(stored.bytes(), Image()
                                .header(0, stored.id(), flow.id())
                                .string(u"")
                                .string(u"NODE")
                                .number(5)
                                .string(u"sub")
                                .bytes());
  EXPECT_EQ(records[4].bytes(),
            Image().header(0, records[4].id(), stored.id()).characters("", 128).bytes());
}

TEST_F(Golden, TheSegmentAndItsAreaHaveTheseHeaders) {
  const auto node = deploy({});
  const Bytes segment = sharedMemory();
  ASSERT_EQ(segment.size(), 3U * 8192 + 32);
  std::uint32_t used = 32;
  for (const StoredRecord& record : statisticsRecords())
    used += static_cast<std::uint32_t>(record.bytes().size());
  EXPECT_EQ(slice(segment, 0, 32), Image()
                                       .characters("zebcshme", 8)
                                       .number(1)
                                       .number(3 * 8192 + 32)
                                       .number(32 + 8192)
                                       .number(32 + 8192)
                                       .number(kNow)
                                       .number(250)
                                       .bytes());
  EXPECT_EQ(slice(segment, 32, 32), Image()
                                        .characters("zebcstar", 8)
                                        .number(1)
                                        .number(8192)
                                        .number(used)
                                        .number(used)
                                        .number(kNow)
                                        .number(250)
                                        .bytes());
}

TEST_F(Golden, ThreeMessagesMakeTheseStatistics) {
  const auto node = deploy({.type = u"input"});
  const RecordId own = statisticsOf(u"NODE1").id();
  const RecordId parent = nodeRecord(u"NODE1").id();
  long long elapsed = 0;
  host().script.propagate = [&elapsed](int&, HostMessage*) { advanceClock(elapsed); };
  // Put 1.5 s before, 0.25 s before, and in the future.
  const struct {
    int size;
    long long elapsed;
    const char* putTime;
  } messages[] = {{400, 40, "02595875"}, {1234567, 0, "03000000"}, {-5, 1700, "04000000"}};
  for (const auto& sent : messages) {
    ScriptedMessage message;
    Descriptor descriptor;
    descriptor.putDate = "20260102";
    descriptor.putTime = sent.putTime;
    message.bits = bitStream(descriptor);
    message.sizes = {sent.size};
    setClock(kNow, 250);
    elapsed = sent.elapsed;
    node->send(message);
  }
  EXPECT_EQ(statisticsOf(u"NODE1").bytes(), Image()
                                                .header(0, own, parent)
                                                .characters("3", 24)
                                                .characters("1234962", 24)
                                                .number(1234567)
                                                .number(static_cast<std::uint32_t>(-5))
                                                .characters("1740", 24)
                                                .number(1700)
                                                .number(0)
                                                .characters("1750", 24)
                                                .number(1500)
                                                .number(0)
                                                .number(kCalendarNow)
                                                .number(kCalendarNow + 1)
                                                .bytes());
}

TEST_F(Golden, AMessageEventAndAnExceptionEventAreStoredLikeThis) {
  const auto node = deploy({.type = u"output", .eventMessage = u"seen it"});
  host().script.rethrow = [](int&) { throw Rethrown{}; };
  host().script.propagate = [](int& code, HostMessage*) { code = 64; };
  ScriptedMessage message;
  message.bits = bitStream({.messageIdFill = 'M',
                            .correlationIdFill = 'C',
                            .applicationType = -28,
                            .applicationName = "twenty-eight characters long",
                            .putDate = "19991231",
                            .putTime = "23595999"});
  EXPECT_THROW(node->send(message), Rethrown);

  const Bytes segment = sharedMemory();
  std::vector<std::string> blocks;
  for (const Block& block : blocksOf(segment)) blocks.push_back(block.eyecatcher);
  EXPECT_EQ(blocks, (std::vector<std::string>{"zebcstar", "zebcetar", "zebcedar"}));
  const auto kinds = templates();
  const auto posted = events();
  ASSERT_EQ(kinds.size(), 2U);
  ASSERT_EQ(posted.size(), 2U);
  const std::u16string texts[] = {u"seen it", u"Exception found in ORIGIN(CODE). TEXT"};
  for (std::size_t i = 0; i < 2; ++i) {
    expectId(kinds[i], 7);
    expectId(posted[i], 8);
    EXPECT_EQ(kinds[i].bytes(), Image()
                                    .header(0, kinds[i].id(), kNone)
                                    .string(u"default")
                                    .string(u"FLOW1")
                                    .string(u"NODE1")
                                    .number(2)
                                    .string(texts[i])
                                    .bytes());
    EXPECT_EQ(posted[i].bytes(), Image()
                                     .header(0, posted[i].id(), kinds[i].id())
                                     .number(kCalendarNow)
                                     .number(static_cast<std::uint32_t>(pthread_self()))
                                     .characters(std::string(24, 'M'), 24)
                                     .characters(std::string(24, 'C'), 24)
                                     .number(static_cast<std::uint32_t>(-28))
                                     .characters("twenty-eight characters long", 28)
                                     .characters("19991231", 8)
                                     .characters("23595999", 8)
                                     .bytes());
  }
}

}  // namespace

}  // namespace golden_test
