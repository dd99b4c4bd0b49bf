// SPDX-License-Identifier: Apache-2.0
// The texts of a statistics record: stored numbers, printed lines, trace.
#include <climits>

#include "records/statistics_record.h"
#include "tests/unit/records/records_test.h"

namespace statistics_text_test {

using namespace support;

namespace {

constexpr char kUnit[] = "zebcstir";

std::string textOf(long long value) {
  char text[24] = {};
  ZEB_STIR::convertLLongToString(value, text);
  return {text, sizeof text};
}

long long valueOf(const std::string& text) {
  long long value = -1;
  ZEB_STIR::convertStringToLLong(text.data(), text.data() + text.size(), value);
  return value;
}

std::string filled(const std::string& digits) {
  return digits + std::string(24 - digits.size(), '\0');
}

class StatisticsText : public LibraryTest {};

TEST_F(StatisticsText, NumbersBecomeDigitsWithoutLeadingZeros) {
  EXPECT_EQ(filled("1"), textOf(1));
  EXPECT_EQ(filled("9"), textOf(9));
  EXPECT_EQ(filled("10"), textOf(10));
  EXPECT_EQ(filled("1234"), textOf(1234));
  EXPECT_EQ(filled("1000000"), textOf(1000000));
  EXPECT_EQ(filled("9223372036854775807"), textOf(LLONG_MAX));
}

TEST_F(StatisticsText, ZeroAndBelowAreEmpty) {
  EXPECT_EQ(filled(""), textOf(0));
  EXPECT_EQ(filled(""), textOf(-1));
  EXPECT_EQ(filled(""), textOf(LLONG_MIN));
}

TEST_F(StatisticsText, DigitsBecomeNumbers) {
  EXPECT_EQ(0, valueOf(""));
  EXPECT_EQ(0, valueOf(filled("")));
  EXPECT_EQ(7, valueOf("7"));
  EXPECT_EQ(1234, valueOf(filled("1234")));
  EXPECT_EQ(1234, valueOf("0001234"));
  EXPECT_EQ(LLONG_MAX, valueOf("9223372036854775807"));
}

TEST_F(StatisticsText, AZeroByteEndsTheDigits) {
  EXPECT_EQ(12, valueOf(std::string("12\0"
                                    "34",
                                    5)));
  EXPECT_EQ(0, valueOf(std::string("\0"
                                   "34",
                                   3)));
}

TEST_F(StatisticsText, OneLeadingPlusIsSkipped) {
  EXPECT_EQ(12, valueOf("+12"));
  EXPECT_EQ(0, valueOf("+"));
  EXPECT_EQ(('+' - '0') * 10 + 2, valueOf("++2"));
}

TEST_F(StatisticsText, NothingIsValidated) {
  EXPECT_EQ('A' - '0', valueOf("A"));
  EXPECT_EQ(('-' - '0') * 10 + 5, valueOf("-5"));
  EXPECT_EQ(100 + (' ' - '0') * 10 + 2, valueOf("1 2"));
}

TEST_F(StatisticsText, TwentyFourDigitsWithoutAnEndWrap) {
  EXPECT_EQ(static_cast<long long>(2003764205206896639ULL), valueOf(std::string(24, '9')));
}

TEST_F(StatisticsText, AStoredPlusIsReadOver) {
  ZEB_STIR record(0);
  Bytes image = headerImage(6).characters("+42", 24).characters("", 104).bytes();
  fill(record, image);
  EXPECT_EQ(42, record.getMessageCount());
}

TEST_F(StatisticsText, IsPrintedLineByLine) {
  useLocalTime();
  ZEB_STIR record(0);
  record.updateStatistics({2, 1}, {4, 2}, 61);
  setClock(kNow + 61);
  record.updateStatistics({1, 3}, {3, 4}, 17);
  host().forget();
  record.print();
  EXPECT_EQ(
      (Texts{"First Collection    : Wed Nov 15 00:13:20 2023",
             "Last Collection     : Wed Nov 15 00:14:21 2023", "Message Count       : 2",
             "Sum Size            : 78", "Sum elapsed time    : 7006", "Sum queued time     : 3004",
             "Max Size            :           61", "Min Size            :           17",
             "Max elapsed time    :         4002", "Min elapsed time    :         3004",
             "Max queued time     :         2001", "Min queued time     :         1003"}),
      textsOf(kUnit, "ZEB_STIR::print"));
  EXPECT_EQ("   R E C O R D   I D", host().trace().front().text);
  EXPECT_EQ("ZEB_Record::print", host().trace().front().function);
}

TEST_F(StatisticsText, TimesThatAreNotSetArePrintedSo) {
  const ZEB_STIR record(0);
  host().forget();
  record.print();
  const Texts lines = textsOf(kUnit, "ZEB_STIR::print");
  ASSERT_EQ(12U, lines.size());
  EXPECT_EQ("First Collection    : n/a", lines[0]);
  EXPECT_EQ("Last Collection     : n/a", lines[1]);
  EXPECT_EQ("Message Count       : 0", lines[2]);
}

TEST_F(StatisticsText, EveryOperationTraces) {
  Bytes form(168);
  ZEB_STIR filled(0);
  filled.updateStatistics({2, 2}, {3, 3}, 4);
  filled.updateStatistics({5, 5}, {7, 7}, 11);
  const Tracing on;
  ZEB_STIR record(1);
  record = filled;
  record.size();
  record.put(form.data());
  record.get(form.data());
  record.getMessageCount();
  record.getSumSize();
  record.getMaxSize();
  record.getMinSize();
  record.getSumElapsedTime();
  record.getMaxElapsedTime();
  record.getMinElapsedTime();
  record.getSumQueuedTime();
  record.getMaxQueuedTime();
  record.getMinQueuedTime();
  record.getfirstCollection();
  record.getlastCollection();
  record.print();
  record.firstTime();
  record.isEmpty();
  record.updateStatistics({1, 1}, {1, 1}, 1);
  expectTraced(kUnit, {{"ZEB_STIR::ZEB_STIR", "Exit"},
                       {"ZEB_STIR::operator=", "Exit"},
                       {"ZEB_STIR::operator+=", "Exit"},
                       {"ZEB_STIR::reset", "Exit"},
                       {"ZEB_STIR::size", "Exit: 0xA8"},
                       {"ZEB_STIR::put", exitOf(form.data() + 168)},
                       {"ZEB_STIR::get", exitOf(form.data() + 168)},
                       {"ZEB_STIR::print", "Exit"},
                       {"ZEB_STIR::firstTime", "Exit: 0x0"},
                       {"ZEB_STIR::isEmpty", "Exit: 0x0"},
                       {"ZEB_STIR::updateStatistics", "Exit: 0x0"},
                       {"ZEB_STIR::convertLLongToString", "Exit"},
                       {"ZEB_STIR::convertStringToLLong", "Exit"},
                       {"ZEB_STIR::getMessageCount", "Exit: 0x2"},
                       {"ZEB_STIR::getSumSize", "Exit: 0xF"},
                       {"ZEB_STIR::getMaxSize", "Exit: 0xB"},
                       {"ZEB_STIR::getMinSize", "Exit: 0x4"},
                       {"ZEB_STIR::getSumElapsedTime", exitOf(10010)},
                       {"ZEB_STIR::getMaxElapsedTime", exitOf(7007)},
                       {"ZEB_STIR::getMinElapsedTime", exitOf(3003)},
                       {"ZEB_STIR::getSumQueuedTime", exitOf(7007)},
                       {"ZEB_STIR::getMaxQueuedTime", exitOf(5005)},
                       {"ZEB_STIR::getMinQueuedTime", exitOf(2002)},
                       {"ZEB_STIR::getfirstCollection", exitOf(kCalendarNow)},
                       {"ZEB_STIR::getlastCollection", exitOf(kCalendarNow)}});
}

TEST_F(StatisticsText, TheRefusalIsTraced) {
  ZEB_STIR record(0);
  fill(record, headerImage(6).characters("2147483647", 24).characters("", 104).bytes());
  const Tracing on;
  record.updateStatistics({0, 0}, {0, 0}, 0);
  expectTraced(kUnit, {{"ZEB_STIR::updateStatistics", "Exit: 0x5"}});
}

}  // namespace

}  // namespace statistics_text_test
