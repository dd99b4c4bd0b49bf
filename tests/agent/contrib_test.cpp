// SPDX-License-Identifier: Apache-2.0
// What contrib/ offers to other programs: each accepts it, and it speaks of what there is.
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <set>

#include "tests/agent/zebmon.h"
#include "tests/support/image.h"
#include "tests/support/live_segment.h"

namespace contrib_test {

namespace {

constexpr char kRules[] = ZEB_CONTRIB "/prometheus/zeb.rules.yml";
constexpr char kAlerts[] = ZEB_CONTRIB "/prometheus/zeb.alerts.yml";

std::set<std::string> matchesIn(const std::string& text, const char* pattern) {
  const std::regex regex(pattern);
  std::set<std::string> found;
  for (std::sregex_iterator at(text.begin(), text.end(), regex), end; at != end; ++at) {
    found.insert((*at)[1]);
  }
  return found;
}

// The anchor of each heading of a page.
std::set<std::string> anchorsOf(const std::string& page) {
  std::set<std::string> anchors;
  for (std::string heading : matchesIn(page, "\n#+ ([^\n]*)")) {
    std::string anchor;
    for (const char c : heading) {
      if (c == ' ') anchor += '-';
      if (std::isalnum(static_cast<unsigned char>(c)) || c == '-') {
        anchor += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
      }
    }
    anchors.insert(anchor);
  }
  return anchors;
}

// All that "metrics" writes.
std::string metricsWithEvents() {
  const std::string state = testing::TempDir() + "state";
  std::string text = run({"metrics", "--extremes", "--state", state}).out;
  std::filesystem::remove(state);
  return text;
}

}  // namespace

TEST(Contrib, RulesAndAlertsDoWhatTheirTestsSay) {
  const std::string said =
      answerOf(ZEB_PROMTOOL " test rules " ZEB_CONTRIB "/prometheus/zeb.test.yml");
  EXPECT_FALSE(contains(said, "failed: ")) << said;
  EXPECT_TRUE(contains(said, "SUCCESS")) << said;
}

TEST(Contrib, TheAlertmanagerTakesItsExample) {
  const std::string said =
      answerOf(ZEB_AMTOOL " check-config " ZEB_CONTRIB "/alertmanager.example.yml");
  EXPECT_FALSE(contains(said, "failed: ")) << said;
}

// Alerts that it holds back, or sends on, are some that there are.
TEST(Contrib, TheAlertmanagersExampleSpeaksOfAlertsThatThereAre) {
  const std::set<std::string> alerts = matchesIn(contents(kAlerts), "- alert: (\\w+)");
  const std::set<std::string> used =
      matchesIn(contents(ZEB_CONTRIB "/alertmanager.example.yml"), "\\b(Zeb[A-Z]\\w+)");
  EXPECT_LE(4U, used.size());
  for (const std::string& alert : used) EXPECT_TRUE(alerts.contains(alert)) << alert;
}

TEST(Contrib, EveryAlertHasATest) {
  const std::string tests = contents(ZEB_CONTRIB "/prometheus/zeb.test.yml");
  const std::set<std::string> alerts = matchesIn(contents(kAlerts), "- alert: (\\w+)");
  EXPECT_LE(13U, alerts.size());
  for (const std::string& alert : alerts) {
    EXPECT_TRUE(contains(tests, "alertname: " + alert + "\n") ||
                contains(tests, "alertname=\"" + alert + "\""))
        << alert;
  }
}

TEST(Contrib, RulesSpeakOfFamiliesThatThereAre) {
  const LiveSegment live("1-2-3", image::segment({image::ordersBlock()}));
  const std::string text = metricsWithEvents();
  const std::set<std::string> known = matchesIn(text, "\n(zeb\\w+)[ {]");
  for (const std::string& used :
       matchesIn(contents(kRules) + contents(kAlerts), "\\b(zeb(?:mon)?_\\w+)")) {
    EXPECT_TRUE(known.contains(used)) << used;
  }
}

TEST(Contrib, EveryRunbookIsASectionOfThePage) {
  const std::set<std::string> anchors = anchorsOf(contents(ZEB_AGENT_DOCUMENT));
  const std::set<std::string> books =
      matchesIn(contents(kAlerts), "runbook_url: docs/agent.md#(\\S+)");
  EXPECT_LE(5U, books.size());
  for (const std::string& book : books) EXPECT_TRUE(anchors.contains(book)) << book;
}

TEST(Contrib, EveryFamilyIsInThePage) {
  const LiveSegment live("1-2-3", image::segment({image::ordersBlock()}));
  const std::string page = contents(ZEB_AGENT_DOCUMENT);
  for (const std::string& family : matchesIn(metricsWithEvents(), "\n(zeb\\w+)[ {]")) {
    if (contains(family, "_min_") || contains(family, "_max_")) continue;  // told by one line
    EXPECT_TRUE(contains(page, "`" + family + "`")) << family;
  }
}

}  // namespace contrib_test
