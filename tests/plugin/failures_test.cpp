// SPDX-License-Identifier: Apache-2.0
// Failures downstream, as they are posted.
#include <gtest/gtest.h>

#include "tests/support/plugin.h"

namespace failures_test {

using namespace support;

namespace {

class Failures : public PluginTest {};

TEST_F(Failures, EventsArePostedBeforeAndStatisticsFoldedInAfterTheMessageWentOn) {
  const auto node = deploy({.eventMessage = u"text"});
  std::size_t eventsThen = 9;
  long long countThen = 9;
  host().script.propagate = [&](int&, HostMessage*) {
    eventsThen = events().size();
    countThen = statisticsOf(u"NODE1").count();
  };
  node->send();
  EXPECT_EQ(eventsThen, 1U);
  EXPECT_EQ(countThen, 0);
  EXPECT_EQ(statisticsOf(u"NODE1").count(), 1);
}

TEST_F(Failures, ExceptionTextsThatAreNullAreEmpty) {
  const auto node = deploy({});
  host().script.propagate = [](int& code, HostMessage*) { code = 64; };
  host().script.exception = {nullptr, nullptr, nullptr};
  EXPECT_THROW(node->send(), Rethrown);
  EXPECT_EQ(templates().at(0).templateText(), u"Exception found in (). ");
}

TEST_F(Failures, TheSameExceptionTwiceIsOneTemplateAndTwoEvents) {
  const auto node = deploy({});
  host().script.propagate = [](int& code, HostMessage*) { code = 64; };
  for (int i = 0; i < 2; ++i) EXPECT_THROW(node->send(), Rethrown);
  host().script.exception.text = "another";
  EXPECT_THROW(node->send(), Rethrown);
  ASSERT_EQ(templates().size(), 2U);
  ASSERT_EQ(events().size(), 3U);
  EXPECT_TRUE(events()[0].isChildOf(templates()[0]));
  EXPECT_TRUE(events()[1].isChildOf(templates()[0]));
  EXPECT_TRUE(events()[2].isChildOf(templates()[1]));
}

}  // namespace

}  // namespace failures_test
