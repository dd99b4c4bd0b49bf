// SPDX-License-Identifier: Apache-2.0
#include "agent/front/serve/history_query.h"

#include <gtest/gtest.h>

#include <string>

namespace history_query_test {

using serve::parseHistoryQuery;
using serve::parseMoment;

TEST(HistoryQuery, NamesAFlowAndATime) {
  const auto query = parseHistoryQuery(
      "broker=BRK%201&group=orders&flow=%C3%84nderung&node=a%26b&from=1800000000&until=1800000060.9"
      "&points=1000");
  ASSERT_TRUE(query);
  EXPECT_TRUE(query->isOfFlow());
  EXPECT_EQ("BRK 1", query->broker);
  EXPECT_EQ("orders", query->group);
  EXPECT_EQ("\xC3\x84nderung", query->flow);
  EXPECT_EQ("a&b", query->node);
  EXPECT_EQ(1800000000, query->from);
  EXPECT_EQ(1800000060, query->until);
  EXPECT_EQ(1000, query->points);
}

TEST(HistoryQuery, MayBeEmptyOrNameABrokerAlone) {
  ASSERT_TRUE(parseHistoryQuery(""));
  EXPECT_FALSE(parseHistoryQuery("")->isOfFlow());
  EXPECT_EQ(300, parseHistoryQuery("")->points);
  EXPECT_EQ("b", parseHistoryQuery("broker=b")->broker);
}

TEST(HistoryQuery, IsRefusedWhenItIsNotUnderstood) {
  for (const std::string wrong : {"flow=f",
                                  "broker=b&flow=f",
                                  "broker=b&group=g",
                                  "broker=b&broker=b",
                                  "brokers=b",
                                  "broker",
                                  "broker=%4",
                                  "broker=%4x",
                                  "broker=%",
                                  "broker=%FF",
                                  "points=1",
                                  "points=1001",
                                  "points=",
                                  "points=-5",
                                  "from=",
                                  "from=yesterday",
                                  "from=-5",
                                  "until=99999999999999999999",
                                  "&",
                                  "node=n"}) {
    EXPECT_FALSE(parseHistoryQuery(wrong)) << wrong;
  }
}

TEST(HistoryQuery, MayAskForEventsOfAFlow) {
  EXPECT_FALSE(parseHistoryQuery("broker=b&group=g&flow=f")->events);
  EXPECT_TRUE(parseHistoryQuery("broker=b&group=g&flow=f&events=1")->events);
  EXPECT_FALSE(parseHistoryQuery("broker=b&group=g&flow=f&events=yes"));
  EXPECT_FALSE(parseHistoryQuery("broker=b&events=1"));
}

TEST(HistoryQuery, TakesTimesAsSecondsOrAsText) {
  EXPECT_EQ(0, parseMoment("0"));
  EXPECT_EQ(1, parseMoment("1.999"));
  EXPECT_EQ(1763805600, parseMoment("2025-11-22T10:00:00Z"));
  EXPECT_EQ(1763805600, parseMoment("2025-11-22T10:00:00.123Z"));
  EXPECT_EQ(1763805600, parseMoment("2025-11-22T11:30:00+01:30"));
  EXPECT_EQ(1763805600, parseMoment("2025-11-22T11:30:00 01:30"));
  EXPECT_EQ(1763805600, parseMoment("2025-11-22T09:00:00-01:00"));
  EXPECT_EQ(1763805600, parseMoment("2025-11-22 10:00Z"));
  EXPECT_EQ(951782400, parseMoment("2000-02-29T00:00:00Z"));
}

TEST(HistoryQuery, TakesNoOtherTimes) {
  for (const std::string wrong :
       {"", ".", "1.", "1e9", "2025-11-22", "2025-11-22 10:00", "2025-11-22T10:00:00",
        "2025-13-22T10:00:00Z", "2025-02-29T10:00:00Z", "2025-11-22T24:00:00Z",
        "2025-11-22T10:60:00Z", "2025-11-22T10:00:00+1:00", "2025-11-22T10:00:00+24:00",
        "20x5-11-22T10:00:00Z", "2025-11-22T10:00:00.Z", "1969-12-31T23:59:59Z", "253402300800"}) {
    EXPECT_FALSE(parseMoment(wrong)) << wrong;
  }
}

}  // namespace history_query_test
