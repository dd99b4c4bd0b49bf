// SPDX-License-Identifier: Apache-2.0
#include "agent/render/values.h"

#include <gtest/gtest.h>

#include <time.h>

#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdlib>

namespace values_test {

using render::Zone;

TEST(Scaled, TakesFiveCharactersAtMost) {
  EXPECT_EQ("0", render::scaled(0));
  EXPECT_EQ("-7", render::scaled(-7));
  EXPECT_EQ("9999", render::scaled(9999));
  EXPECT_EQ("10.0k", render::scaled(10000));
  EXPECT_EQ("99.9k", render::scaled(99940));
  EXPECT_EQ("100k", render::scaled(99960));
  EXPECT_EQ("999k", render::scaled(999499));
  EXPECT_EQ("1.0M", render::scaled(999500));
  EXPECT_EQ("2.1G", render::scaled(2147483647));
  EXPECT_EQ("9.2E", render::scaled(9223372036854775807));
}

TEST(Decimal, IsOneWhileTheNumberIsSmall) {
  EXPECT_EQ("3.3", render::decimal(10 / 3.0));
  EXPECT_EQ("99.9", render::decimal(99.94));
  EXPECT_EQ("100", render::decimal(99.96));
  EXPECT_EQ("33.3k", render::decimal(33333.3));
  EXPECT_EQ("-1.5", render::decimal(-1.5));
}

TEST(Decimal, OfANumberThatIsNoneOrHasNoEndIsUnreadable) {
  EXPECT_EQ("?", render::decimal(1e300));
  EXPECT_EQ("?", render::decimal(-1e300));
  EXPECT_EQ("?", render::decimal(std::nan("")));
}

TEST(Duration, IsToldInItsLargestWholeUnit) {
  EXPECT_EQ("0 s", render::duration(-5));
  EXPECT_EQ("59 s", render::duration(59));
  EXPECT_EQ("1 min", render::duration(60));
  EXPECT_EQ("59 min", render::duration(3599));
  EXPECT_EQ("1 h", render::duration(3600));
  EXPECT_EQ("47 h", render::duration(2 * 86400 - 1));
  EXPECT_EQ("2 d", render::duration(2 * 86400));
}

TEST(Time, IsShownInUtcAndSaysSo) {
  EXPECT_EQ("1970-01-01T00:00:00Z", render::isoTime(0));
  EXPECT_EQ("1901-01-01T00:00:01Z", render::isoTime(1 - 2177452800));
  EXPECT_EQ("2026-11-21 04:09:31Z", render::dateAndTime(1795234171, Zone::utc));
  EXPECT_EQ("2026-11-21", render::dateOnly(1795234171, Zone::utc));
  EXPECT_EQ("04:09:31Z", render::timeOnly(1795234171, Zone::utc));
  EXPECT_EQ("2026-11-21 04:09:31.007Z", render::dateAndTime(1795234171, Zone::utc, 7));
}

TEST(Time, IsShownInTheLocalZoneAsItWasAtThatMoment) {
  const auto at = [](const char* zone, std::int64_t seconds) {
    setenv("TZ", zone, 1);
    tzset();
    return render::dateAndTime(seconds, Zone::local);
  };
  EXPECT_EQ("2026-11-21 05:09:31+01:00", at("CET-1CEST,M3.5.0,M10.5.0/3", 1795234171));
  EXPECT_EQ("2026-07-01 02:00:00+02:00", at("CET-1CEST,M3.5.0,M10.5.0/3", 1782864000));
  EXPECT_EQ("2026-11-20 23:39:31-04:30", at("XYZ4:30", 1795234171));
  EXPECT_EQ("2026-11-21 04:09:31+00:00", at("UTC0", 1795234171));
  setenv("TZ", "XYZ4:30", 1);
  tzset();
  EXPECT_EQ("2026-11-20", render::dateOnly(1795234171, Zone::local));
  EXPECT_EQ("23:39:31-04:30", render::timeOnly(1795234171, Zone::local));
}

TEST(Time, WithoutADateForItIsMissing) {
  EXPECT_EQ("-", render::isoTime(INT64_MAX));
  EXPECT_EQ("-", render::dateAndTime(INT64_MIN, Zone::local));
  EXPECT_EQ("-", render::dateOnly(INT64_MAX, Zone::utc));
}

TEST(Values, ANumberThatCouldNotBeReadIsNoZero) {
  EXPECT_EQ("0", render::whole(0));
  EXPECT_EQ("10000", render::whole(10000));
  EXPECT_EQ("?", render::whole(std::nullopt));
  EXPECT_EQ("?", render::scaled(std::nullopt));
}

TEST(Values, BytesAreTwoUpperCaseDigitsEach) {
  const std::uint8_t bytes[] = {0x00, 0x0A, 0xFF};
  EXPECT_EQ("000AFF", render::hex(bytes));
}

TEST(Values, AnErrorIsWordedAsTheSystemDoes) {
  EXPECT_EQ("Permission denied", render::errorText(EACCES));
}

}  // namespace values_test
