// SPDX-License-Identifier: Apache-2.0
// The page: its files as they are served, and the document that it asks for.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <numeric>
#include <regex>

#include "agent/front/serve/answers.h"
#include "agent/front/serve/page_document.h"
#include "agent/model/collector.h"
#include "tests/support/image.h"
#include "tests/support/live_segment.h"

namespace page_test {

namespace {

using nlohmann::json;
using serve::Clock;
using serve::Reply;
using serve::Seen;
using serve::Watcher;
using std::chrono::milliseconds;

constexpr std::int64_t kWall = 1754707219;  // 2025-08-09 02:40:19

std::string textOf(const page::File& file) {
  return std::string(file.bytes);
}

const page::File& fileAt(std::string_view path) {
  return *std::ranges::find(page::files(), path, &page::File::path);
}

// A machine without a broker.
std::shared_ptr<const model::Snapshot> emptyLook() {
  auto look = std::make_shared<model::Snapshot>();
  look->wall += std::chrono::seconds(kWall);
  look->directory = "/tmp/";
  look->machine = std::make_shared<model::Machine>();
  return look;
}

std::string pageText(const Seen& seen, const serve::Beside& beside) {
  std::string text = render::written(serve::pageDocument(seen), true);
  text.resize(text.size() - 2);
  return text + serve::pageRest(seen, beside);
}

serve::Beside beside(int ms, std::vector<std::string> degraded = {}) {
  serve::Beside beside{.now = Clock::time_point(milliseconds(ms)), .routes = {"events", "history"}};
  beside.health.degraded = std::move(degraded);
  beside.health.pace = milliseconds(2500);
  return beside;
}

std::string pageOfEmptyLook() {
  return pageText({.looks = {emptyLook()}}, beside(1));
}

// Answers of a server that has looked at this machine.
class Server {
 public:
  explicit Server(serve::Rules rules = {})
      : rules_(std::move(rules)),
        watcher_({.interval = std::chrono::hours(1)}, {.all = [this] { return look(); }},
                 {.news = [](const model::FollowLook&) {}, .each = [](const Seen&) {}}) {
    watcher_.waitForFirst();
  }

  Reply get(const std::string& target, std::vector<serve::Header> headers = {}) {
    headers.push_back({"Host", "localhost"});
    return answers_({.method = "GET", .target = target, .headers = std::move(headers)});
  }

  json page(const std::string& query = "") {
    return json::parse(*get("/api/v1/page" + query).body);
  }

 private:
  model::FollowLook look() { return {{}, {}, collector_.take()}; }

  const serve::Rules rules_;
  serve::EventBook book_{1, {}};
  serve::Journal journal_{[](const std::string&) {}};
  model::Collector collector_{"/tmp", model::Events::read, model::MachineFacts::read};
  Watcher watcher_;
  const serve::Keeper keeper_{{.file = ""}, [](const std::string&) {}};
  serve::Answers answers_{rules_, watcher_, book_, keeper_, nullptr, journal_};
};

}  // namespace

TEST(PageFiles, AreSmallTogether) {
  const auto files = page::files();
  const std::size_t all = std::accumulate(
      files.begin(), files.end(), std::size_t{0},
      [](std::size_t sum, const page::File& file) { return sum + file.bytes.size(); });
  EXPECT_LT(all, 250U * 1024);
  EXPECT_LT(60U * 1024, all) << "something is missing";
}

TEST(PageFiles, HaveTheTypesThatBrowsersNeed) {
  EXPECT_EQ("text/html; charset=utf-8", fileAt("/").type);
  EXPECT_EQ("text/javascript; charset=utf-8", fileAt("/page/app.js").type);
  EXPECT_EQ("text/javascript; charset=utf-8", fileAt("/page/uplot.js").type);
  EXPECT_EQ("text/css; charset=utf-8", fileAt("/page/style.css").type);
  EXPECT_EQ("image/svg+xml", fileAt("/page/icon.svg").type);
}

TEST(PageFiles, AreServedAsTheyAre) {
  Server server;
  for (const page::File& file : page::files()) {
    const Reply reply = server.get(std::string(file.path));
    EXPECT_EQ(200, reply.status) << file.path;
    EXPECT_EQ(file.type, reply.type);
    EXPECT_EQ(file.bytes, *reply.body);
    const Reply small = server.get(std::string(file.path), {{"Accept-Encoding", "gzip"}});
    EXPECT_TRUE(small.gzip);
    EXPECT_LT(small.body->size(), file.bytes.size());
    EXPECT_EQ(small.body, server.get(std::string(file.path), {{"Accept-Encoding", "gzip"}}).body);
  }
}

// Else a browser learns of some only when it has read those that import them.
TEST(PageFiles, AreAllNamedByTheFirst) {
  const std::string page = textOf(fileAt("/"));
  for (const page::File& file : page::files()) {
    if (file.path == "/") continue;
    EXPECT_NE(page.npos, page.find("\"" + std::string(file.path) + "\"")) << file.path;
  }
}

// What a browser would refuse under the policy that each answer carries, or ask others for.
TEST(PageFiles, HaveNothingInlineAndNameNoOtherHost) {
  const std::string page = textOf(fileAt("/"));
  EXPECT_FALSE(std::regex_search(page, std::regex("<style|style=|javascript:| on[a-z]+=")));
  EXPECT_FALSE(std::regex_search(page, std::regex("<script[^>]*>[^<]")));
  for (const page::File& file : page::files()) {
    if (file.path.starts_with("/page/uplot")) continue;
    const std::string text = textOf(file);
    const std::regex other(
        "https?://(?!www\\.w3\\.org/2000/svg)|data:image|innerHTML|"
        "insertAdjacentHTML|outerHTML|document\\.write|eval\\(");
    EXPECT_FALSE(std::regex_search(text, other)) << file.path;
    EXPECT_FALSE(std::regex_search(text, std::regex("EventSource|WebSocket"))) << file.path;
  }
}

TEST(PageDocument, HoldsTheDocumentsOfOneLook) {
  const LiveSegment live("1-2-3", image::segment({image::ordersBlock()}));
  Server server;
  const json page = server.page();
  EXPECT_EQ("zebmon.page", page["schema"]);
  EXPECT_EQ("zebmon.brokers", page["brokers"]["schema"]);
  EXPECT_EQ("BRK1", page["brokers"]["brokers"][0]["label"]);
  EXPECT_EQ(nullptr, page["flows"]) << "one look tells no rates";
  EXPECT_EQ("zebmon.doctor", page["findings"]["schema"]);
  EXPECT_EQ("zebmon.size", page["capacity"]["schema"]);
  EXPECT_EQ("zebmon.locks", page["locks"]["schema"]);
  EXPECT_EQ("zebmon.config", page["settings"]["schema"]);
  EXPECT_EQ(3600, page["paceSeconds"]);
  EXPECT_LE(0, page["ageSeconds"]);
  EXPECT_NE(page["routes"].end(), std::ranges::find(page["routes"], "events"));
}

TEST(PageDocument, HasFlowsFromTheSecondLookOn) {
  const Seen seen{.looks = {emptyLook(), emptyLook()}};
  EXPECT_EQ("zebmon.flow", serve::pageDocument(seen)["flows"]["schema"]);
}

TEST(PageDocument, TellsEventsOnPurposeOnly) {
  Server closed;
  EXPECT_EQ(nullptr, closed.page()["events"]);
  serve::Rules rules;
  rules.events = true;
  Server open(rules);
  EXPECT_EQ("zebmon.events", open.page("?since=5")["events"]["schema"]);
}

TEST(PageDocument, IsTheSameCompressed) {
  Server server;
  const Reply reply = server.get("/api/v1/page", {{"Accept-Encoding", "gzip"}});
  EXPECT_TRUE(reply.gzip);
  EXPECT_TRUE(reply.body->starts_with("\x1F\x8B"));
}

TEST(PageDocument, TellsItsAgeAndWhatIsDegraded) {
  serve::Beside more = beside(1500, {"a \"reason\""});
  more.events = "{\"a\":1}\n";
  const json page = json::parse(pageText({.looks = {emptyLook()}}, more));
  EXPECT_EQ(1.5, page["ageSeconds"]);
  EXPECT_EQ(2.5, page["paceSeconds"]);
  EXPECT_EQ(json({"a \"reason\""}), page["degraded"]);
  EXPECT_EQ(json({"events", "history"}), page["routes"]);
  EXPECT_EQ(json({{"a", 1}}), page["events"]);
}

TEST(PageDocument, IsShownInTheDocument) {
  std::ifstream file(ZEB_JSON_DOCUMENT);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  const std::string block =
      "```json\n" + nlohmann::ordered_json::parse(pageOfEmptyLook()).dump(2) + "\n```\n";
  EXPECT_NE(std::string::npos, text.find(block)) << block;
}

// The documents in it have schemas of their own.
TEST(PageDocument, IsWhatItsSchemaSays) {
  const json page = json::parse(pageOfEmptyLook());
  const std::string path = testing::TempDir() + "page";
  std::ofstream lines(path);
  lines << page.dump() << "\n";
  for (const char* part : {"brokers", "findings", "capacity", "locks", "settings"}) {
    lines << page[part].dump() << "\n";
  }
  lines.close();
  const std::string check = "python3 -B " ZEB_VALIDATE " " ZEB_SCHEMAS " " + path;
  EXPECT_EQ(0, std::system(check.c_str()));
  json other = page;
  other.erase("ageSeconds");
  std::ofstream(path) << other.dump();
  EXPECT_NE(0, std::system((check + " >/dev/null").c_str()));
  std::filesystem::remove(path);
}

}  // namespace page_test
