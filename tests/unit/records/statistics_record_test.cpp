// SPDX-License-Identifier: Apache-2.0
// The statistics of one node.
#include "records/statistics_record.h"

#include <climits>
#include <ostream>

#include "tests/unit/records/records_test.h"

namespace statistics_record_test {

using namespace support;

namespace {

constexpr char kUnit[] = "zebcstir";

struct Numbers {
  long long count = 0;
  long long sumSize = 0;
  int maxSize = 0;
  int minSize = 0;
  long long sumElapsed = 0;
  int maxElapsed = 0;
  int minElapsed = 0;
  long long sumQueued = 0;
  int maxQueued = 0;
  int minQueued = 0;
  unsigned first = 0;
  unsigned last = 0;

  bool operator==(const Numbers&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Numbers& n) {
  return out << "count " << n.count << ", size " << n.sumSize << " " << n.maxSize << " "
             << n.minSize << ", elapsed " << n.sumElapsed << " " << n.maxElapsed << " "
             << n.minElapsed << ", queued " << n.sumQueued << " " << n.maxQueued << " "
             << n.minQueued << ", collected " << n.first << " " << n.last;
}

Numbers numbersOf(const ZEB_STIR& r) {
  return {r.getMessageCount(),   r.getSumSize(),         r.getMaxSize(),
          r.getMinSize(),        r.getSumElapsedTime(),  r.getMaxElapsedTime(),
          r.getMinElapsedTime(), r.getSumQueuedTime(),   r.getMaxQueuedTime(),
          r.getMinQueuedTime(),  r.getfirstCollection(), r.getlastCollection()};
}

Bytes imageOf(const Numbers& n) {
  const auto text = [](long long value) { return value == 0 ? "" : std::to_string(value); };
  Image image = headerImage(6, 1);
  image.characters(text(n.count), 24).characters(text(n.sumSize), 24);
  image.number(n.maxSize).number(n.minSize).characters(text(n.sumElapsed), 24);
  image.number(n.maxElapsed).number(n.minElapsed).characters(text(n.sumQueued), 24);
  return image.number(n.maxQueued).number(n.minQueued).number(n.first).number(n.last).bytes();
}

const Numbers kAll{1234, LLONG_MAX, 70, -7, 5000000000, 80, 8, 6000000000, 90, 9, 1000, 2000};

class StatisticsRecord : public LibraryTest {};

TEST_F(StatisticsRecord, IsMadeEmpty) {
  const ZEB_STIR record(1);
  EXPECT_TRUE(record.OK());
  EXPECT_EQ(6U, record.type());
  EXPECT_EQ((_TimeStamp{kNow, 0}), record.timeStamp());
  EXPECT_EQ(Numbers{}, numbersOf(record));
  EXPECT_EQ(168U, record.size());
}

TEST_F(StatisticsRecord, ABlankOneHasNothingButItsType) {
  ZEB_STIR record(0);
  EXPECT_EQ(blankHeader(6).characters("", 128).bytes(), storedForm(record));
}

TEST_F(StatisticsRecord, IsReadFieldByField) {
  ZEB_STIR record(0);
  fill(record, imageOf(kAll));
  EXPECT_EQ(kAll, numbersOf(record));
  EXPECT_EQ(1U, record.isDeleted());
  EXPECT_EQ((_TimeStamp{11, 22}), record.timeStamp());
}

TEST_F(StatisticsRecord, IsStoredAsItWasRead) {
  ZEB_STIR record(1);
  fill(record, imageOf(kAll));
  EXPECT_EQ(imageOf(kAll), storedForm(record));
  expectUsesTheCopyOnly(record, imageOf(kAll));
  expectIgnoresNull(record);
}

TEST_F(StatisticsRecord, TextsAreDigitsAndZeros) {
  ZEB_STIR record(0);
  record.updateStatistics({0, 0}, {1, 234}, -5);
  const Bytes form = storedForm(record);
  EXPECT_EQ("1" + std::string(23, '\0'), charactersAt(form, 40, 24));
  EXPECT_EQ(std::string(24, '\0'), charactersAt(form, 64, 24));
  EXPECT_EQ(-5, signedAt(form, 88));
  EXPECT_EQ("1234" + std::string(20, '\0'), charactersAt(form, 96, 24));
  EXPECT_EQ(std::string(24, '\0'), charactersAt(form, 128, 24));
}

TEST_F(StatisticsRecord, ASumThatWrappedBelowZeroIsReadBackAsZero) {
  for (long long Numbers::*wrapping :
       {&Numbers::count, &Numbers::sumSize, &Numbers::sumElapsed, &Numbers::sumQueued}) {
    Numbers large = kAll;
    large.sumSize = 1;
    large.*wrapping = LLONG_MAX;
    ZEB_STIR record(0);
    ZEB_STIR more(0);
    fill(record, imageOf(large));
    large.*wrapping = 1;
    fill(more, imageOf(large));
    record += more;
    Numbers expected = numbersOf(record);
    EXPECT_EQ(LLONG_MIN, expected.*wrapping);
    fill(record, storedForm(record));
    expected.*wrapping = 0;
    EXPECT_EQ(expected, numbersOf(record));
  }
}

TEST_F(StatisticsRecord, AFailedOneDoesNothing) {
  Spoiled<ZEB_STIR> record(0);
  record.spoil();
  expectDoesNothing(record, imageOf(kAll));
  EXPECT_EQ(Numbers{}, numbersOf(record));
  ZEB_STIR other(0);
  fill(other, imageOf(kAll));
  record = other;
  EXPECT_EQ(Numbers{}, numbersOf(record));
  EXPECT_EQ(0U, record.isDeleted());
}

TEST_F(StatisticsRecord, TheFirstMessageSetsEverything) {
  ZEB_STIR record(0);
  EXPECT_TRUE(record.firstTime());
  EXPECT_TRUE(record.isEmpty());
  EXPECT_EQ(0, record.updateStatistics({2, 3}, {4, 5}, 60));
  EXPECT_FALSE(record.firstTime());
  EXPECT_FALSE(record.isEmpty());
  EXPECT_EQ(
      (Numbers{1, 60, 60, 60, 4005, 4005, 4005, 2003, 2003, 2003, kCalendarNow, kCalendarNow}),
      numbersOf(record));
}

TEST_F(StatisticsRecord, FurtherMessagesMoveTheExtremes) {
  ZEB_STIR record(0);
  record.updateStatistics({2, 0}, {4, 0}, 60);
  setClock(kNow + 10);
  EXPECT_EQ(0, record.updateStatistics({0, 9}, {5, 1}, -70));
  setClock(kNow + 30);
  EXPECT_EQ(0, record.updateStatistics({3, 0}, {0, 7}, 100));
  EXPECT_EQ(
      (Numbers{3, 90, 100, -70, 9008, 5001, 7, 5009, 3000, 9, kCalendarNow, kCalendarNow + 30}),
      numbersOf(record));
  EXPECT_EQ(0, record.updateStatistics({1, 0}, {1, 0}, 1));
  EXPECT_EQ(
      (Numbers{4, 91, 100, -70, 10008, 5001, 7, 6009, 3000, 9, kCalendarNow, kCalendarNow + 30}),
      numbersOf(record));
}

struct Counted {
  _TimeStamp time;
  int milliseconds;
};

TEST_F(StatisticsRecord, TimesAreCountedIn31BitsOfA32BitProduct) {
  const Counted cases[] = {{{0, 0}, 0},
                           {{0, 999}, 999},
                           {{2147483, 646}, 2147483646},
                           {{2147483, 647}, 2147483647},
                           {{2147483, 648}, 2147483647},
                           {{2147484, 0}, 2147483647},
                           {{4294967, 295}, 2147483647},
                           {{4294967, 296}, 0},
                           {{4294968, 0}, 704}};
  for (const Counted& counted : cases) {
    ZEB_STIR elapsed(0);
    elapsed.updateStatistics({0, 0}, counted.time, 1);
    const int ms = counted.milliseconds;
    EXPECT_EQ((Numbers{1, 1, 1, 1, ms, ms, ms, 0, 0, 0, kCalendarNow, kCalendarNow}),
              numbersOf(elapsed));
    ZEB_STIR queued(0);
    queued.updateStatistics(counted.time, {0, 0}, 1);
    EXPECT_EQ((Numbers{1, 1, 1, 1, 0, 0, 0, ms, ms, ms, kCalendarNow, kCalendarNow}),
              numbersOf(queued));
  }
}

TEST_F(StatisticsRecord, TheCountStopsAt2147483647) {
  Numbers numbers = kAll;
  numbers.sumSize = 10;
  numbers.count = 2147483646;
  ZEB_STIR record(0);
  fill(record, imageOf(numbers));
  EXPECT_EQ(0, record.updateStatistics({0, 10}, {0, 10}, 10));
  const Numbers full{2147483647, 20,         70, -7, 5000000010, 80,
                     8,          6000000010, 90, 9,  1000,       kCalendarNow};
  EXPECT_EQ(full, numbersOf(record));
  EXPECT_EQ(5, record.updateStatistics({9, 9}, {9, 9}, 999));
  EXPECT_EQ(full, numbersOf(record));
}

TEST_F(StatisticsRecord, SumsAreNotGuarded) {
  ZEB_STIR record(0);
  fill(record, imageOf(kAll));
  record.updateStatistics({0, 0}, {0, 0}, 1);
  EXPECT_EQ(LLONG_MIN, record.getSumSize());
  EXPECT_EQ(std::string(24, '\0'), charactersAt(storedForm(record), 64, 24));
}

TEST_F(StatisticsRecord, EmptinessIsJudgedByTheFirstCollectionAlone) {
  Numbers counted = kAll;
  counted.first = 0;
  ZEB_STIR record(0);
  fill(record, imageOf(counted));
  EXPECT_TRUE(record.isEmpty());
  EXPECT_TRUE(record.firstTime());
  Numbers uncounted;
  uncounted.first = 1;
  fill(record, imageOf(uncounted));
  EXPECT_FALSE(record.isEmpty());
  EXPECT_FALSE(record.firstTime());
}

TEST_F(StatisticsRecord, ResetZeroesAllButTheHeader) {
  ZEB_STIR record(0);
  fill(record, imageOf(kAll));
  record.reset();
  EXPECT_EQ(imageOf({}), storedForm(record));
}

TEST_F(StatisticsRecord, WhatIsReadAgainAfterAResetIsWhatIsStored) {
  ZEB_STIR record(0);
  fill(record, imageOf(kAll));
  record.reset();
  fill(record, imageOf(kAll));
  EXPECT_EQ(kAll, numbersOf(record));
}

TEST_F(StatisticsRecord, MergingTakesSumsAndOuterExtremes) {
  ZEB_STIR record(0);
  fill(record,
       imageOf({10, 100, 50, 20, 1000, 500, 200, 10000, 5000, 2000, 4000000000, 4000000100}));
  ZEB_STIR inner(0);
  fill(inner, imageOf({1, 30, 40, 30, 300, 400, 300, 3000, 4000, 3000, 4000000050, 4000000060}));
  record += inner;
  EXPECT_EQ((Numbers{11, 130, 50, 20, 1300, 500, 200, 13000, 5000, 2000, 4000000000, 4000000100}),
            numbersOf(record));
  ZEB_STIR outer(0);
  fill(outer, imageOf({2, 5, 51, -1, 6, 501, -2, 7, 5001, -3, 5, 4000000101}));
  EXPECT_EQ(&record, &(record += outer));
  EXPECT_EQ((Numbers{13, 135, 51, -1, 1306, 501, -2, 13007, 5001, -3, 5, 4000000101}),
            numbersOf(record));
  EXPECT_EQ(1U, record.isDeleted());
}

TEST_F(StatisticsRecord, MergingIntoAnEmptyOneCopies) {
  Numbers positive = kAll;
  positive.minSize = 7;
  ZEB_STIR other(0);
  fill(other, imageOf(positive));
  ZEB_STIR record(0);
  record += other;
  EXPECT_EQ(positive, numbersOf(record));
  EXPECT_EQ(0U, record.isDeleted());
}

TEST_F(StatisticsRecord, MergingAnEmptyOneChangesNothing) {
  Numbers counted = kAll;
  counted.first = 0;
  ZEB_STIR empty(0);
  fill(empty, imageOf(counted));
  ZEB_STIR record(0);
  fill(record, imageOf({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}));
  record += empty;
  EXPECT_EQ((Numbers{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}), numbersOf(record));
}

TEST_F(StatisticsRecord, AssignmentTakesHeaderAndStatistics) {
  ZEB_STIR other(0);
  fill(other, imageOf(kAll));
  ZEB_STIR record(0);
  record.updateStatistics({1, 1}, {1, 1}, 1);
  EXPECT_EQ(&record, &(record = other));
  EXPECT_EQ(other.getAddress(), record.getAddress());
  EXPECT_EQ(imageOf(kAll), storedForm(record));
}

TEST_F(StatisticsRecord, AssigningAnEmptyOneLeavesZerosWhateverItHolds) {
  Numbers counted = kAll;
  counted.first = 0;
  ZEB_STIR empty(0);
  fill(empty, imageOf(counted));
  ZEB_STIR record(0);
  fill(record, imageOf(kAll));
  record = empty;
  EXPECT_EQ(Numbers{}, numbersOf(record));
}

TEST_F(StatisticsRecord, AssigningItselfZeroes) {
  ZEB_STIR record(0);
  fill(record, imageOf(kAll));
  const ZEB_STIR& itself = record;
  record = itself;
  EXPECT_EQ(Numbers{}, numbersOf(record));
}

TEST_F(StatisticsRecord, ACopyHasHeaderAndStatistics) {
  ZEB_STIR record(0);
  fill(record, imageOf(kAll));
  ZEB_STIR copy(record);
  EXPECT_EQ(imageOf(kAll), storedForm(copy));
}

}  // namespace

}  // namespace statistics_record_test
