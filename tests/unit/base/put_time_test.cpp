// SPDX-License-Identifier: Apache-2.0
// Put date and time: the quick way for sixteen digits means what the scan means.
#include "base/put_time.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace put_time_test {

namespace {

void expectStamp(std::uint32_t seconds, std::uint32_t milliseconds, const char* date,
                 const char* time) {
  const auto stamp = ZEB_ReadPutTime(date, time);
  ASSERT_TRUE(stamp);
  EXPECT_EQ(seconds, stamp->seconds);
  EXPECT_EQ(milliseconds, stamp->milliseconds);
}

bool same(const std::optional<_TimeStamp>& a, const std::optional<_TimeStamp>& b) {
  return a.has_value() == b.has_value() &&
         (!a || (a->seconds == b->seconds && a->milliseconds == b->milliseconds));
}

// Eight characters drawn from the alphabet, and what may be behind them.
std::string draw(std::mt19937& random, const std::string& alphabet) {
  std::string text(8, ' ');
  for (char& c : text) c = alphabet[random() % alphabet.size()];
  return text + "99";
}

// Sanitizers slow it down, and look for other things.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kTexts = 100'000;
#else
constexpr int kTexts = 1'000'000;
#endif

void expectSameForRandomTexts(const std::string& alphabet) {
  std::mt19937 random(1);  // NOLINT(bugprone-random-generator-seed): the same every time
  int read = 0;
  for (int i = 0; i < kTexts; ++i) {
    const std::string date = draw(random, alphabet);
    const std::string time = draw(random, alphabet);
    const auto quick = ZEB_ReadPutTime(date.c_str(), time.c_str());
    ASSERT_TRUE(same(ZEB_ScanPutTime(date.c_str(), time.c_str()), quick)) << date << " " << time;
    if (quick) ++read;
  }
  EXPECT_GT(read, 0);
}

TEST(PutTime, IsUtcWithHundredths) {
  expectStamp(1199145599, 990, "20071231", "23595999");
  expectStamp(0, 0, "19700101", "00000000");
}

TEST(PutTime, OutOfRangeCarriesOver) {
  expectStamp(1199145600, 0, "20071301", "00000000");
  expectStamp(1196640000, 0, "20071132", "23596000");
}

TEST(PutTime, SecondsAreCutTo32Bits) {
  expectStamp(static_cast<std::uint32_t>(-1), 0, "19691231", "23595900");
}

TEST(PutTime, ShortFieldsBlanksAndSignsAreReadAsAScanDoes) {
  EXPECT_TRUE(
      same(ZEB_ScanPutTime("2007 1 2", "+1-2 3 4"), ZEB_ReadPutTime("2007 1 2", "+1-2 3 4")));
  EXPECT_TRUE(ZEB_ReadPutTime("2007 1 2", " 1 2 3 4"));
  EXPECT_FALSE(ZEB_ReadPutTime("20071231", "2359"));
  EXPECT_FALSE(ZEB_ReadPutTime("200712", "23595999"));
  EXPECT_FALSE(ZEB_ReadPutTime("", ""));
}

TEST(PutTime, QuickAndScanAgreeOnDigits) {
  expectSameForRandomTexts("0123456789");
}

TEST(PutTime, QuickAndScanAgreeOnAnything) {
  expectSameForRandomTexts(std::string("0123456789 +-0123456789/:\0", 26));
}

}  // namespace

}  // namespace put_time_test
