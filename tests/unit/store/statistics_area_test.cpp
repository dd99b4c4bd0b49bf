// SPDX-License-Identifier: Apache-2.0
// The area of information and statistics records.
#include "store/statistics_area.h"

#include <filesystem>

#include "tests/support/ipc_objects.h"
#include "tests/support/processes.h"
#include "tests/unit/store/store_test.h"

namespace statistics_area_test {

namespace fs = std::filesystem;
using namespace support;

namespace {

class StatisticsArea : public StoreTest {
 protected:
  Block block() const { return StoreTest::block("zebcstar"); }
};

TEST_F(StatisticsArea, HasItsNameItsEyecatcherAndItsType) {
  ZEB_Stats_Area area(ZEB_String("UUID1"));
  EXPECT_STREQ("/tmp/UUID1.zebcstar", area.getAreaName());
  EXPECT_EQ("zebcstar", std::string(area.getEyecatcher(), 8));
  EXPECT_EQ(1, area.getType());
  area.init(segment.get());
  EXPECT_EQ(32U, block().at);
  EXPECT_EQ(32768U, block().size);
  EXPECT_TRUE(fs::exists("/tmp/UUID1.zebcstar.zebmutx"));
}

TEST_F(StatisticsArea, NeverWraps) {
  beginWith("ZEBMemorySize 100\n");
  ZEB_Stats_Area area(ZEB_String("UUID1"));
  area.init(segment.get());
  EXPECT_EQ(4064U, area.getAvailableBytes());
  std::vector<std::unique_ptr<ZEB_STIR>> stored;
  for (int i = 0; i < 24; ++i) {
    stored.push_back(std::make_unique<ZEB_STIR>(1));
    EXPECT_EQ(0, area.put(stored.back().get())) << i;
  }
  ZEB_STIR refused(1);
  EXPECT_EQ(2, area.put(&refused));
  EXPECT_EQ(2, area.put(&refused));
  EXPECT_EQ(nullptr, refused.getAddress());
  EXPECT_EQ(32U + 24 * 168, block().next);
  stored.front()->updateStatistics({0, 0}, {0, 0}, 5);
  EXPECT_EQ(0, area.put(stored.front().get()));
  EXPECT_EQ(5, records("zebcstar").front().sumSize());
  EXPECT_EQ(24U, records("zebcstar").size());
}

TEST_F(StatisticsArea, Traces) {
  const Tracing on;
  const ZEB_Stats_Area area(ZEB_String("UUID1"));
  area.getType();
  expectTraced("zebcstar", {{"ZEB_Stats_Area::ZEB_Stats_Area", "Exit"},
                            {"ZEB_Stats_Area::getType", "Exit: 0x1"}});
}

int appendOne(Steps& parent, const std::vector<std::string>&) {
  useOwnConfiguration();
  const ZEB_String uuid("UUID1");
  ZEB_Shared_Memory segment(&uuid);
  segment.init();
  ZEB_Stats_Area area(uuid);
  area.init(&segment);
  OwnedRecords<ZEB_Ordered_Record_Set> found;
  area.read(&found);
  ZEB_STIR record(1);
  record.updateStatistics({0, 0}, {0, 0}, 31);
  area.put(&record);
  parent.tell(std::to_string(found.entries()));
  parent.hear();
  return 0;
}

const Role kStatisticsWriter("statistics writer", appendOne);

TEST_F(StatisticsArea, ProcessesSeeEachOthersRecords) {
  ZEB_Stats_Area area(ZEB_String("UUID1"));
  area.init(segment.get());
  ZEB_STIR record(1);
  area.put(&record);
  Child child("statistics writer");
  EXPECT_EQ("1", child.hear());
  OwnedRecords<ZEB_Ordered_Record_Set> found;
  EXPECT_EQ(0, area.read(&found));
  ASSERT_EQ(2U, found.entries());
  ZEB_Ordered_Record_Set_Iterator next(found);
  next.getNext();
  EXPECT_EQ(31, static_cast<ZEB_STIR*>(next.getNext())->getSumSize());
  child.tell("end");
  EXPECT_EQ(0, child.wait());
  EXPECT_EQ(1U, blocksOf(bytes()).size());
}

}  // namespace

}  // namespace statistics_area_test
