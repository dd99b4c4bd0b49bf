// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/since.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace since_test {

namespace {

std::int64_t at(const char* text, std::int64_t now) {
  const auto since = cli::parseSince(text);
  return since ? since->at(now) : -1;
}

}  // namespace

TEST(Since, ATimeIsThatTimeInUtcWheneverOneLooks) {
  EXPECT_EQ(1795234171, at("2026-11-21T04:09:31Z", 0));
  EXPECT_EQ(1795234171, at("2026-11-21T04:09:31Z", 5000));
  EXPECT_EQ(1795234171, at("2026-11-21T04:09:31", 0));
  EXPECT_EQ(1795234171, at("2026-11-21 04:09:31", 0));
  EXPECT_EQ(1795219200, at("2026-11-21", 0));
}

TEST(Since, AnAgeIsCountedBackFromTheLook) {
  EXPECT_EQ(1000 - 90, at("90s", 1000));
  EXPECT_EQ(2000 - 90, at("90s", 2000));
  EXPECT_EQ(100000 - 900, at("15m", 100000));
  EXPECT_EQ(100000 - 7200, at("2h", 100000));
  EXPECT_EQ(100000 - 86400, at("1d", 100000));
}

TEST(Since, ATimeMayNameItsZoneAndPartsOfASecond) {
  EXPECT_EQ(1795234171 - 3600, at("2026-11-21T04:09:31+01:00", 0));
  EXPECT_EQ(1795234171 + 19800, at("2026-11-21 04:09:31-05:30", 0));
  EXPECT_EQ(1795234171, at("2026-11-21T04:09:31.750Z", 0));
  EXPECT_EQ(1795234140, at("2026-11-21T04:09Z", 0));
  EXPECT_EQ(1795234140, at("2026-11-21 04:09", 0));
}

TEST(Since, AnAgeMayHaveAMinusAndNowIsTheLook) {
  EXPECT_EQ(100000 - 7200, at("-2h", 100000));
  EXPECT_EQ(100000, at("now", 100000));
}

TEST(Since, ATimeOfDayIsTheLastOne) {
  constexpr std::int64_t kNoon = 1795219200 + 12 * 3600;
  EXPECT_EQ(kNoon - 3600, at("11:00", kNoon));
  EXPECT_EQ(kNoon, at("12:00", kNoon));
  EXPECT_EQ(kNoon - 23 * 3600, at("13:00", kNoon));
}

TEST(Since, WithoutAZoneATimeIsInTheOneThatIsShown) {
  setenv("TZ", "XST-3", 1);  // three hours ahead of UTC
  tzset();
  const auto local = [](const char* text, std::int64_t now) {
    return cli::parseSince(text)->at(now, render::Zone::local);
  };
  EXPECT_EQ(1795234171 - 10800, local("2026-11-21 04:09:31", 0));
  EXPECT_EQ(1795234171, local("2026-11-21T04:09:31Z", 0));
  EXPECT_EQ(1795219200 - 3600, local("02:00", 1795219200));
  unsetenv("TZ");
  tzset();
}

TEST(Since, RefusesEverythingElse) {
  for (const char* text : {"",
                           "s",
                           "yesterday",
                           "12",
                           "--5m",
                           "5 m",
                           "-",
                           "12:60",
                           "24:00",
                           "1:30",
                           "2026-11-21Z",
                           "2026-11-21T04:09:31.Z",
                           "2026-11-21T04:09.5Z",
                           "1.5h",
                           "5mm",
                           "2026-13-01",
                           "2026-02-29",
                           "2026-1-31",
                           "2026-11-21T04:09:61Z",
                           "2026-11-21T04:09:31Zx",
                           "2026-11-21T",
                           "2026-11-21T04:",
                           "2026-11-21T04:09:",
                           "2026-11-21T04:09:31+0100",
                           "2026-11-21T04:09:31+24:00",
                           "2026-11-21T04:09:31x",
                           "2026-11-21T25:00:00Z",
                           "99999999999999999s"}) {
    EXPECT_FALSE(cli::parseSince(text)) << text;
  }
}

}  // namespace since_test
