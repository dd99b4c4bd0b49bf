// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/since.h"

#include <gtest/gtest.h>

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

TEST(Since, RefusesEverythingElse) {
  for (const char* text :
       {"", "s", "yesterday", "12", "-5m", "5 m", "1.5h", "5mm", "2026-13-01",
        "2026-11-21T04:09:31+01:00", "2026-11-21T25:00:00Z", "99999999999999999s"}) {
    EXPECT_FALSE(cli::parseSince(text)) << text;
  }
}
