// SPDX-License-Identifier: Apache-2.0
// "zebmon serve" and "zebmon record" with a history, as they are started.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "agent/front/history/reading.h"
#include "agent/front/serve/lockdown.h"
#include "tests/agent/serve/client.h"
#include "tests/agent/zebmon.h"
#include "tests/support/image.h"
#include "tests/support/live_segment.h"

namespace history_command_test {

namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using ::testing::HasSubstr;

class ZebmonHistory : public ::testing::Test {
 protected:
  ZebmonHistory() {
    fs::create_directory(directory);
    fs::permissions(directory, fs::perms(0750));
  }
  ~ZebmonHistory() override { fs::remove_all(directory); }

  std::int64_t number(const std::string& sql) const {
    return history::openToRead(file).integerOf(sql).value_or(0);
  }

  // Looks until so many are in the file.
  void awaitLooks(std::int64_t looks) const {
    for (std::int64_t seen = 0; seen < looks;) {
      try {
        seen = number("SELECT count(*) FROM look");
      } catch (const history::Failure&) {
        // It is just being made.
      }
    }
  }

  const std::string directory = testing::TempDir() + "history";
  const std::string file = directory + "/history.db";
};

// A server of the program, at a port that is free, whose start was told.
class Serving {
 public:
  explicit Serving(std::vector<std::string> options,
                   std::vector<std::string> environment = {"PATH=/usr/bin:/bin"})
      : zebmon({.arguments = with(std::move(options)), .environment = std::move(environment)}),
        listening(zebmon.line()),
        about(zebmon.line()),
        history(zebmon.line()) {}

  json document(const std::string& query) {
    return json::parse(bodyIn(get("/api/v1/history" + query)));
  }
  std::string get(const std::string& target) {
    const auto port = std::strtoul(listening.c_str() + listening.rfind(':') + 1, nullptr, 10);
    return Client(static_cast<std::uint16_t>(port)).get(target, "");
  }

  Zebmon zebmon;
  const std::string listening;
  const std::string about;
  const std::string history;

 private:
  static std::vector<std::string> with(std::vector<std::string> options) {
    options.insert(options.begin(), {"serve", "--listen", "127.0.0.1:0", "--interval", "100ms"});
    return options;
  }
};

// What the schemas have against a document; empty when nothing.
std::string against(const json& document) {
  const std::string path = testing::TempDir() + "document";
  std::ofstream(path) << document.dump() << "\n";
  const std::string said = answerOf("python3 -B " ZEB_VALIDATE " " ZEB_SCHEMAS " " + path);
  fs::remove(path);
  return said;
}

int wantedKills() {
  const char* const wanted = std::getenv("ZEB_HISTORY_KILLS");
  return wanted == nullptr ? 10 : std::atoi(wanted);
}

constexpr char kFlow[] = "?broker=BRK1&group=orders&flow=Fulfil";

}  // namespace

TEST_F(ZebmonHistory, IsKeptAndAnswered) {
  const LiveSegment live("1-2-3", image::segment({image::ordersBlock()}));
  Serving serving({"--history", file, "--events"});
  EXPECT_THAT(serving.history,
              HasSubstr("History in " + file + ": up to 7.3 MiB for 1 nodes, and never more than"));
  awaitLooks(3);
  const json contents = serving.document("");
  EXPECT_EQ("", against(contents));
  EXPECT_EQ("ok", contents["state"]);
  EXPECT_EQ("BRK1", contents["brokers"][0]["broker"]);
  EXPECT_EQ("Reserve", contents["brokers"][0]["flows"][0]["nodes"][0]["node"]);
  const json flow = serving.document(kFlow);
  EXPECT_EQ("", against(flow));
  EXPECT_EQ("zebmon.history", flow["schema"]);
  EXPECT_EQ("", against(serving.document(kFlow + std::string("&events=1"))));
  const json changes = json::parse(bodyIn(serving.get("/api/v1/changes")));
  EXPECT_EQ("", against(changes));
  EXPECT_NE("off", changes["state"]);
  ASSERT_EQ(1U, flow["nodes"].size()) << flow;
  EXPECT_EQ("input", flow["nodes"][0]["node_type"]);
  EXPECT_THAT(bodyIn(serving.get("/healthz")), ::testing::Not(HasSubstr("history")));
}

TEST_F(ZebmonHistory, IsAnsweredAsOffWhenThereIsNone) {
  Serving serving({"--history", "none"});
  EXPECT_EQ("No history is kept.\n", serving.history);
  const json flow = serving.document(kFlow);
  EXPECT_EQ("", against(flow));
  EXPECT_EQ("off", flow["state"]);
  EXPECT_EQ("off", serving.document("")["state"]);
  const json changes = json::parse(bodyIn(serving.get("/api/v1/changes")));
  EXPECT_EQ("", against(changes));
  EXPECT_EQ("off", changes["state"]);
  EXPECT_EQ(400, statusIn(serving.get("/api/v1/history?flow=Fulfil")));
  EXPECT_THAT(bodyIn(serving.get("/healthz")), ::testing::Not(HasSubstr("history")));
}

TEST_F(ZebmonHistory, IsInTheStateDirectoryUnlessItIsNamed) {
  const Serving serving({}, {"PATH=/usr/bin:/bin", "STATE_DIRECTORY=" + directory});
  EXPECT_THAT(serving.history, HasSubstr("History in " + file + ":"));
  EXPECT_TRUE(fs::exists(file));
}

TEST_F(ZebmonHistory, IsInTheStateFolderOfAUser) {
  const Serving serving({}, {"PATH=/usr/bin:/bin", "HOME=" + directory});
  EXPECT_TRUE(fs::exists(directory + "/.local/state/zebmon/history.db"));
}

TEST_F(ZebmonHistory, IsNotKeptWhereOthersCanWriteAndTheServerGoesOn) {
  fs::permissions(directory, fs::perms(0777));
  Serving serving({"--history", file});
  EXPECT_EQ("No history is kept.\n", serving.history);
  EXPECT_THAT(serving.zebmon.errors(), HasSubstr("is in a directory that others can write"));
  EXPECT_THAT(bodyIn(serving.get("/healthz")), HasSubstr("there is no history"));
  EXPECT_EQ("off", serving.document("")["state"]);
}

TEST_F(ZebmonHistory, HasOneWriterAndTheSecondOneSaysWhoItIs) {
  const Serving first({"--history", file});
  Serving second({"--history", file});
  EXPECT_EQ("No history is kept.\n", second.history);
  EXPECT_THAT(second.zebmon.errors(), HasSubstr("is written by process"));
  EXPECT_EQ(200, statusIn(second.get("/api/v1/brokers")));
  const Result recorded = run({"record", "--history", file});
  EXPECT_EQ(64, recorded.code);
  EXPECT_THAT(recorded.errors, HasSubstr("is written by process"));
}

TEST_F(ZebmonHistory, IsSetAsideWhenItIsDamagedAlsoBehindLockedDoors) {
  std::ofstream(file) << std::string(5000, 'x');
  Serving serving({"--history", file});
  awaitLooks(2);
  EXPECT_THAT(serving.zebmon.errors(), HasSubstr("was damaged and is now"));
  EXPECT_EQ("ok", serving.document("")["state"]);
}

TEST_F(ZebmonHistory, IsRecordedWithoutHttp) {
  const LiveSegment live("1-2-3", image::segment({image::ordersBlock()}));
  Zebmon zebmon({.arguments = {"record", "--history", file, "--interval", "100ms"}});
  EXPECT_THAT(zebmon.line(), HasSubstr("History in " + file));
  awaitLooks(3);
  zebmon.signal(SIGTERM);
  EXPECT_EQ(0, zebmon.wait());
  const std::string why = serve::whyNotLocked();
  EXPECT_EQ(why.empty() ? "" : "zebmon: " + why + ".\n", zebmon.errors());
  EXPECT_EQ(1, number("SELECT count(*) FROM last_count WHERE messages = 3"));
  EXPECT_FALSE(fs::exists(file + "-wal"));
}

TEST_F(ZebmonHistory, GoesOnAfterItsRecorderWasKilled) {
  const LiveSegment live("1-2-3", image::segment({image::ordersBlock()}));
  std::int64_t looks = 0;
  const int kills = wantedKills();
  for (int kill = 0; kill < kills; ++kill) {
    Zebmon zebmon({.arguments = {"record", "--history", file, "--interval", "100ms"}});
    zebmon.line();
    awaitLooks(looks + 1);
    zebmon.signal(SIGKILL);
    EXPECT_EQ(-SIGKILL, zebmon.wait());
    looks = number("SELECT count(*) FROM look");
    history::Database database = history::openToRead(file);
    auto check = database.prepare("PRAGMA quick_check");
    ASSERT_TRUE(check.step());
    EXPECT_EQ("ok", check.text(0));
    EXPECT_EQ(number("SELECT max(number) FROM look"), number("SELECT max(last_look) FROM broker"));
  }
  EXPECT_EQ(kills, number("SELECT count(*) FROM run"));
  EXPECT_EQ(kills - 1, number("SELECT count(*) FROM mark WHERE kind = 'gap'"));
}

}  // namespace history_command_test
