// SPDX-License-Identifier: Apache-2.0
// What the agent makes of damaged segments: what it shows all the same, and what it says is wrong.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>

#include "agent/model/collector.h"
#include "agent/reader/events.h"
#include "agent/render/json.h"
#include "agent/render/screens.h"
#include "agent/render/words.h"
#include "tests/support/broken.h"
#include "tests/support/live_segment.h"

namespace agent_test {

namespace {

using broken::Bytes;
using broken::Segment;
using broken::Segments;

// Everything that can be asked about a segment.
struct Look {
  explicit Look(const Bytes& bytes) {
    reader::Segment segment;
    segment.state = reader::State::ok;
    segment.uuid = "UUID1";
    segment.keyFile = "/tmp/UUID1.zebcshme";
    segment.size = bytes.size();
    segment.copy = reader::copySegment(bytes, bytes.size());
    seen = model::decoded(std::move(segment), 1795234171);
    events = log.read(seen.segment, seen.damage).events;
  }

  std::string reasons() const {
    std::string text;
    for (const reader::Damage& damage : seen.damage.list()) {
      text += damage.area + " " + std::to_string(damage.offset) + ": " + damage.reason + "\n";
    }
    return text;
  }
  bool warnsOf(const char* area, std::size_t offset) const {
    const auto& list = seen.damage.list();
    return std::any_of(list.begin(), list.end(), [&](const reader::Damage& damage) {
      return damage.area == area && damage.offset == offset;
    });
  }
  // The nodes that are shown, by label, each behind its group's and flow's.
  std::vector<std::string> nodes() const {
    std::vector<std::string> labels;
    if (!seen.tree) return labels;
    for (const auto& group : seen.tree->executionGroups)
      for (const auto& flow : group.messageFlows)
        for (const auto& node : flow.nodes)
          labels.push_back(group.label + "/" + flow.label + "/" + node.label);
    return labels;
  }
  const reader::Node& node(std::size_t group, std::size_t n) const {
    return seen.tree->executionGroups.at(group).messageFlows.at(0).nodes.at(n);
  }

  model::SeenBroker seen;
  reader::EventLog log;
  std::vector<reader::Event> events;
};

// Nothing in it moves a cursor.
void expectPrintable(const std::string& text) {
  EXPECT_TRUE(std::all_of(text.begin(), text.end(), [](char c) {
    return c == '\n' || static_cast<std::uint8_t>(c) >= ' ';
  })) << text;
}

void expectShown(const Look& look) {
  model::Snapshot snapshot;
  snapshot.directory = "/tmp/";
  snapshot.brokers.push_back(std::make_shared<model::SeenBroker>(look.seen));
  std::vector<std::string> documents = {render::written(render::statisticsDocument(snapshot)),
                                        render::written(render::brokersDocument(snapshot))};
  for (const reader::Event& event : look.events) {
    documents.push_back(render::written(render::eventDocument(look.seen, event, {}), true));
    expectPrintable(render::eventLines(event, render::Zone::utc));
  }
  for (const std::string& document : documents) {
    expectPrintable(document);
    EXPECT_TRUE(render::Json::accept(document)) << document;
  }
  expectPrintable(render::tableOf(render::brokersSheet(snapshot), {.width = 80}));
  expectPrintable(render::statisticsTables(snapshot, {}, {.width = 80}));
  expectPrintable(render::problemOf(look.seen));
}

const std::vector<std::string> kNodes = {"default/FLOW1/NODE1", "default/FLOW1/NODE2",
                                         "orders/Fulfil/Reserve"};

const char* areaOf(std::size_t at) {
  return at < broken::kTemplatesAt ? reader::kStatistics
         : at < broken::kEventsAt  ? reader::kEventTemplates
                                   : reader::kEventData;
}
std::size_t offsetInArea(std::size_t at) {
  return at - (at < broken::kTemplatesAt ? broken::kStatisticsAt
               : at < broken::kEventsAt  ? broken::kTemplatesAt
                                         : broken::kEventsAt);
}

Segments those(const Segments& segments, const std::function<bool(const Segment&)>& wanted) {
  Segments some;
  std::copy_if(segments.begin(), segments.end(), std::back_inserter(some), wanted);
  return some;
}
bool says(const Segment& segment, const char* text) {
  return segment.what.find(text) != std::string::npos;
}

TEST(BrokenSegmentShown, HealthyIsShownWithoutAWarning) {
  const Look look(broken::healthy());
  EXPECT_EQ("", look.reasons());
  EXPECT_EQ(kNodes, look.nodes());
  EXPECT_EQ(5U, look.events.size());
  EXPECT_EQ(reader::EventKind::exception, look.events.at(1).kind());
  EXPECT_EQ(3, look.node(0, 0).statistics->messageCount);
}

TEST(BrokenSegmentShown, WhateverIsWrongWhatIsShownIsPrintableAndItsDocumentsAreJson) {
  for (const Segment& segment : broken::all()) {
    SCOPED_TRACE(segment.what);
    expectShown(Look(segment.bytes));
  }
  for (const Segment& segment : broken::mixed(42, 300)) {
    SCOPED_TRACE(segment.what);
    expectShown(Look(segment.bytes));
  }
}

TEST(BrokenSegmentShown, AWrongHeaderOfAnAreaIsWarnedOfAndTheOtherAreasAreShown) {
  for (const Segment& segment : broken::headers()) {
    SCOPED_TRACE(segment.what);
    const Look look(segment.bytes);
    // Offsets inside the area are no damage by themselves, and 32 is an area that is empty.
    const bool offset = says(segment, "next") || says(segment, "last");
    // No name at all is where a chain ends.
    if (!offset && !says(segment, "\"\"")) {
      EXPECT_FALSE(look.seen.damage.empty());
    }
    if (segment.at >= broken::kTemplatesAt && !says(segment, "size")) {
      EXPECT_EQ(kNodes, look.nodes());
    }
    if (segment.at >= broken::kStatisticsAt && segment.at < broken::kTemplatesAt && offset) {
      EXPECT_EQ(5U, look.events.size());
    }
  }
}

TEST(BrokenSegmentShown, AnOffsetOutsideItsBlockIsWarnedOfWhereItStands) {
  std::size_t looked = 0;
  for (const Segment& segment : broken::headers()) {
    if (!says(segment, "offset")) continue;
    std::uint32_t value;
    std::memcpy(&value, segment.bytes.data() + segment.at, sizeof value);
    const bool ofSegment = segment.at < broken::kStatisticsAt;
    if (value >= 32 && value <= (ofSegment ? broken::kBytes : broken::kArea)) continue;
    if (ofSegment && says(segment, "last")) continue;  // nobody uses that one
    SCOPED_TRACE(segment.what);
    const Look look(segment.bytes);
    EXPECT_TRUE(ofSegment ? look.warnsOf(reader::kSegment, segment.at)
                          : look.warnsOf(areaOf(segment.at), offsetInArea(segment.at)))
        << look.reasons();
    EXPECT_EQ(kNodes, look.nodes());
    ++looked;
  }
  EXPECT_LT(40U, looked);
}

// Stepping over a block by such a size would lead back to it or in front of it.
TEST(BrokenSegmentShown, ABlockWhoseSizeTurnsRoundIsTheLastOfItsChain) {
  std::size_t looked = 0;
  for (const Segment& segment : broken::chains()) {
    std::uint32_t size;
    std::memcpy(&size, segment.bytes.data() + segment.at, sizeof size);
    if (!says(segment, "size") || size < 0x80000000U) continue;
    SCOPED_TRACE(segment.what);
    const Look look(segment.bytes);
    EXPECT_TRUE(look.warnsOf(reader::kSegment, segment.at)) << look.reasons();
    EXPECT_NE(nullptr, look.seen.segment.copy.find(areaOf(segment.at)));
    EXPECT_EQ(kNodes, look.nodes());
    ++looked;
  }
  EXPECT_EQ(11U, looked);
}

TEST(BrokenSegmentShown, OfTwoBlocksOfOneNameTheFirstIsShownAndTheSecondWarnedOf) {
  Bytes bytes = broken::healthy();
  std::memcpy(bytes.data() + broken::kEventsAt, "zebcstar", 8);
  const Look look(bytes);
  EXPECT_EQ("segment 8224: second block statistics\n", look.reasons());
  EXPECT_EQ(kNodes, look.nodes());
}

TEST(BrokenSegmentShown, ARecordThatIsNoneIsWarnedOfWhereItStandsAndTheOthersAreShown) {
  for (const Segment& segment : those(broken::records(), [](const Segment& s) {
         return says(s, "eyecatcher") || says(s, "type is 0") || says(s, "type is 10") ||
                says(s, "4294967295");
       })) {
    if (says(segment, "deleted")) continue;
    SCOPED_TRACE(segment.what);
    const broken::Place& place = broken::places()[segment.record];
    const Look look(segment.bytes);
    EXPECT_TRUE(look.warnsOf(areaOf(place.at), offsetInArea(place.at))) << look.reasons();
    if (place.type == 8) {
      EXPECT_EQ(4U, look.events.size());
    }
    if (place.type >= 7) {
      EXPECT_EQ(kNodes, look.nodes());
    }
    if (place.type == 6) {
      EXPECT_EQ(kNodes, look.nodes());
    }
    if (place.type == 5) {
      EXPECT_EQ(2U, look.nodes().size());
    }
  }
}

TEST(BrokenSegmentShown, ACountPastTheEndIsACutRecordAndTheOnesBehindItAreShown) {
  std::size_t looked = 0;
  for (const Segment& segment : broken::strings()) {
    std::uint32_t count;
    std::memcpy(&count, segment.bytes.data() + segment.at, sizeof count);
    if (count < broken::kArea / 2) continue;
    SCOPED_TRACE(segment.what);
    const broken::Place& place = broken::places()[segment.record];
    const Look look(segment.bytes);
    EXPECT_EQ(0U, look.reasons().find(
                      std::string(areaOf(place.at)) + " " + std::to_string(offsetInArea(place.at)) +
                      ": a record of type " + std::to_string(place.type) + " is cut\n"))
        << look.reasons();
    if (place.type == 5) {
      EXPECT_EQ(2U, look.nodes().size());
    }
    if (place.type == 7) {
      EXPECT_EQ(kNodes, look.nodes());
      EXPECT_EQ(5U, look.events.size());
    }
    ++looked;
  }
  EXPECT_LT(150U, looked);
}

TEST(BrokenSegmentShown, ARecordWithoutItsParentIsWarnedOfAndTheOthersAreShown) {
  for (const Segment& segment : broken::parents()) {
    const broken::Place& place = broken::places()[segment.record];
    if (place.type < 3 || place.type > 6) continue;
    if (!says(segment, "names no parent") && !says(segment, "random") &&
        !says(segment,
              ("names as its parent record " + std::to_string(segment.record) + " ").c_str()))
      continue;
    SCOPED_TRACE(segment.what);
    const Look look(segment.bytes);
    EXPECT_EQ("statistics " + std::to_string(offsetInArea(place.at)) + ": a record of type " +
                  std::to_string(place.type) + " has no parent\n",
              look.reasons());
    if (place.type == 5) {
      EXPECT_EQ(2U, look.nodes().size());
    }
    if (place.type == 6) {
      EXPECT_EQ(kNodes, look.nodes());
    }
    if (place.type == 3) {
      EXPECT_EQ(segment.record == 1 ? 1U : 2U, look.nodes().size());
    }
  }
}

TEST(BrokenSegmentShown, AParentOfAnotherTypeIsNone) {
  std::size_t looked = 0;
  for (const Segment& segment : broken::parents()) {
    const broken::Place& place = broken::places()[segment.record];
    std::uint32_t type;
    std::memcpy(&type, segment.bytes.data() + place.at + 24, sizeof type);
    if (place.type < 3 || place.type > 6 || type == place.type - 1) continue;
    if (!says(segment, "names as its parent")) continue;
    SCOPED_TRACE(segment.what);
    EXPECT_TRUE(Look(segment.bytes).warnsOf(reader::kStatistics, offsetInArea(place.at)));
    ++looked;
  }
  EXPECT_LT(100U, looked);
}

TEST(BrokenSegmentShown, ARecordThatHasTheIdOfAnEarlierOneIsWarnedOf) {
  std::size_t looked = 0;
  for (const Segment& segment : broken::parents()) {
    const broken::Place& place = broken::places()[segment.record];
    std::uint32_t type;
    std::memcpy(&type, segment.bytes.data() + place.at + 8, sizeof type);
    if (!says(segment, "has the ID of") || type != place.type || type > 6) continue;
    SCOPED_TRACE(segment.what);
    EXPECT_NE(std::string::npos,
              Look(segment.bytes).reasons().find(" has the ID of an earlier one"));
    ++looked;
  }
  EXPECT_LT(10U, looked);
}

TEST(BrokenSegmentShown, OfAFewRecordsOfOneIdEachIsShownWithAllTheChildren) {
  const Look look(broken::sharedIds(3, 4096));
  EXPECT_EQ(27U, look.nodes().size());
  EXPECT_EQ(4U, look.seen.damage.list().size()) << look.reasons();
}

// 125 million nodes are not shown, and it is said that they are not.
TEST(BrokenSegmentShown, RecordsThatMultiplyAreShownInPartAndWarnedOf) {
  const Look look(broken::sharedIds(500, 262144));
  EXPECT_EQ(500U, look.seen.tree->executionGroups.size());
  EXPECT_LT(500U, look.nodes().size());
  EXPECT_GT(100000U, look.nodes().size());
  EXPECT_FALSE(look.seen.damage.empty());
}

TEST(BrokenSegmentShown, RecordsThatShareTheirLabelAreAllShown) {
  const Look look(broken::sharedLabels(1000, 262144));
  EXPECT_EQ("", look.reasons());
  EXPECT_EQ(1000U, look.seen.tree->executionGroups.size());
  EXPECT_EQ(1000U, look.nodes().size());
}

TEST(BrokenSegmentShown, AnEventWhoseTemplateIsMissingIsShownWithoutOne) {
  for (const Segment& segment : broken::parents()) {
    if (broken::places()[segment.record].type != 8 || !says(segment, "no parent")) continue;
    SCOPED_TRACE(segment.what);
    const Look look(segment.bytes);
    ASSERT_EQ(5U, look.events.size());
    EXPECT_EQ(1, std::count_if(look.events.begin(), look.events.end(), [](const auto& event) {
                return event.kind() == reader::EventKind::unknown;
              }));
  }
}

TEST(BrokenSegmentShown, ATextThatIsNoDecimalNumberIsWarnedOfAndUnknownAndTheOtherNumbersAreShown) {
  for (const Segment& segment : broken::decimals()) {
    if (says(segment, "is \"+\"")) continue;  // a sign in front of no digits is 0
    SCOPED_TRACE(segment.what);
    const Look look(segment.bytes);
    const std::string start = "statistics " + std::to_string(offsetInArea(segment.at)) + ": ";
    EXPECT_EQ(0U, look.reasons().find(start)) << look.reasons();
    EXPECT_NE(std::string::npos, look.reasons().find(" is not a decimal number\n"));
    EXPECT_EQ(1U, look.seen.damage.list().size());
    EXPECT_EQ(kNodes, look.nodes());
    const reader::Statistics& shown =
        *(segment.record == 10 ? look.node(1, 0) : look.node(0, segment.record == 4 ? 0 : 1))
             .statistics;
    const std::size_t field = segment.at - broken::places()[segment.record].at;
    const auto unless = [field](std::size_t damaged, std::int64_t number) {
      return field == damaged ? reader::Number() : reader::Number(number);
    };
    EXPECT_EQ(unless(40, 3), shown.messageCount);
    EXPECT_EQ(unless(64, 600), shown.sumSize);
    EXPECT_EQ(unless(96, 45), shown.sumElapsed);
    EXPECT_EQ(unless(128, 9), shown.sumQueued);
  }
}

TEST(BrokenSegmentShown, AnAreaThatEndsInsideARecordIsWarnedOfThereAndShownUpToIt) {
  for (const Segment& segment : broken::cuts()) {
    if (!says(segment, "area ends")) continue;
    SCOPED_TRACE(segment.what);
    const broken::Place& place = broken::places()[segment.record];
    const Look look(segment.bytes);
    EXPECT_TRUE(look.warnsOf(areaOf(place.at), offsetInArea(place.at))) << look.reasons();
    EXPECT_EQ(1U, look.seen.damage.list().size()) << look.reasons();
    if (place.type == 8) {
      EXPECT_EQ(segment.record - 13, look.events.size());
    }
  }
}

TEST(BrokenSegmentShown, ASnapshotSaysWhatIsDamagedAndHoldsTheRest) {
  Bytes bytes = broken::healthy();
  std::memset(bytes.data() + broken::places()[5].at, 0, 4);
  const LiveSegment live("UUID1", bytes);
  const auto snapshot = model::Collector("/tmp").take();
  ASSERT_EQ(1U, snapshot->brokers.size());
  const model::SeenBroker& broker = *snapshot->brokers[0];
  EXPECT_EQ(reader::State::damaged, broker.state());
  EXPECT_EQ(0U, render::problemOf(broker).find("damaged in 2 places"));
  const std::string table = render::statisticsTables(*snapshot, {}, {});
  EXPECT_NE(std::string::npos, table.find("NODE1"));
  EXPECT_EQ(std::string::npos, table.find("NODE2"));
  EXPECT_NE(std::string::npos, table.find("Reserve"));
}

}  // namespace

}  // namespace agent_test
