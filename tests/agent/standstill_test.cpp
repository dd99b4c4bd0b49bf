// SPDX-License-Identifier: Apache-2.0
// Which nodes wait for a lock, in made segments.
#include "agent/model/standstill.h"

#include <gtest/gtest.h>

#include "tests/support/image.h"

namespace standstill_test {

namespace {

using model::Place;
using What = model::Guarded::What;

std::shared_ptr<const model::SeenBroker> brokerOf(const image::Bytes& bytes) {
  reader::Segment segment;
  segment.size = bytes.size();
  segment.copy = reader::copySegment(bytes, bytes.size());
  return std::make_shared<const model::SeenBroker>(model::decoded(std::move(segment), 0));
}

// The orders broker with two more nodes: "Pack" without statistics, and "Old", which is deleted.
image::Block orders() {
  image::Block block = image::ordersBlock();
  block.add(image::node({5, 2000, 1, 1}, image::kFlow, u"Pack", 3));
  block.add(image::node({5, 2000, 1, 2}, image::kFlow, u"Old", 3, u"", 1));
  return block;
}

image::Block templates() {
  image::Block block{.eyecatcher = "zebcetar", .contents = {}};
  std::uint32_t number = 0;
  const auto add = [&](const std::u16string& node, const std::u16string& text) {
    block.add(image::eventTemplate({7, 1, 1, ++number}, u"orders", u"Fulfil", node, 1, text));
  };
  add(u"Reserve", u"seen");
  add(u"Reserve", u"seen twice");
  add(u"Pack", u"Exception found in X(1). It failed");
  add(u"Old", u"seen");
  add(u"Nobody", u"seen");
  return block;
}

std::vector<Place> behind(What what) {
  model::Guarded guarded;
  guarded.what = what;
  guarded.broker = brokerOf(image::segment({orders(), templates()}));
  return placesBehind(guarded);
}

}  // namespace

TEST(Standstill, OfARecordIsItsNode) {
  model::Guarded guarded;
  guarded.what = What::statistics;
  guarded.broker = brokerOf(image::segment({orders()}));
  guarded.group = "orders";
  guarded.flow = "Fulfil";
  guarded.node = "Reserve";
  EXPECT_EQ((std::vector<Place>{{"orders", "Fulfil", "Reserve"}}), placesBehind(guarded));
  guarded.broker = nullptr;
  EXPECT_TRUE(placesBehind(guarded).empty()) << "nobody knows whose it is";
}

TEST(Standstill, OfTheEventsAreaIsAtDeployedNodesThatHaveATextOfTheirOwn) {
  EXPECT_EQ((std::vector<Place>{{"orders", "Fulfil", "Reserve"}}), behind(What::eventsArea));
}

TEST(Standstill, OfTheStatisticsAreaIsAtNodesThatHaveNoRecordYet) {
  EXPECT_EQ((std::vector<Place>{{"orders", "Fulfil", "Pack"}}), behind(What::statisticsArea));
}

TEST(Standstill, OfOtherLocksIsAtNoNode) {
  EXPECT_TRUE(behind(What::segment).empty());
  EXPECT_TRUE(behind(What::attachTable).empty());
  EXPECT_TRUE(behind(What::templatesArea).empty());
}

TEST(Standstill, IsToldByFlowsEachOnce) {
  EXPECT_EQ("", model::textOf({}));
  EXPECT_EQ("of A at in", model::textOf({{"g1", "A", "in"}, {"g2", "A", "in"}}));
  EXPECT_EQ("of A at in and 1 more node, of B at x",
            model::textOf({{"g", "A", "in"}, {"g", "A", "out"}, {"g", "B", "x"}}));
  EXPECT_EQ("of A at 1 and 2 more nodes, of B at 1, of C at 1, of 2 more flows",
            model::textOf({{"g", "A", "1"},
                           {"g", "A", "2"},
                           {"g", "A", "3"},
                           {"g", "B", "1"},
                           {"g", "C", "1"},
                           {"g", "D", "1"},
                           {"g", "E", "1"}}));
}

}  // namespace standstill_test
