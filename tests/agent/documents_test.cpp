// SPDX-License-Identifier: Apache-2.0
// The JSON documents: docs/json.md shows what is really written, and each is what its schema says.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <sstream>

#include "agent/render/event_screens.h"
#include "agent/render/json.h"
#include "agent/render/screens.h"
#include "tests/support/broken.h"
#include "tests/support/image.h"

namespace {

constexpr std::int64_t kWall = 1754707219;  // 2025-08-09 02:40:19
constexpr image::Id kTemplate{7, 500, 1, 1};
constexpr std::uint32_t kEventTime = 0xEA600001;

std::string contentsOf(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// One broker whose segment holds `bytes`, as it was seen at kWall.
model::Snapshot snapshotOf(const image::Bytes& bytes) {
  reader::Segment segment;
  segment.state = reader::State::ok;
  segment.keyFile = "/tmp/1-2-3.zebcshme";
  segment.uuid = "1-2-3";
  segment.group = "brokers";
  segment.id = 7;
  segment.attached = 1;
  segment.size = bytes.size();
  segment.copy = reader::copySegment(bytes, bytes.size());
  auto broker = std::make_shared<model::SeenBroker>(model::decoded(std::move(segment), kWall));
  broker->events = reader::EventLog().read(broker->segment, broker->damage);
  model::Snapshot snapshot;
  snapshot.wall += std::chrono::seconds(kWall);
  snapshot.directory = "/tmp/";
  snapshot.brokers.push_back(std::move(broker));
  return snapshot;
}

model::Snapshot orders() {
  image::Block templates{.eyecatcher = "zebcetar", .contents = {}};
  templates.add(
      image::eventTemplate(kTemplate, u"orders", u"Fulfil", u"Reserve", 1, u"order seen"));
  image::Block data{.eyecatcher = "zebcedar", .contents = {}};
  data.add(image::event({8, kEventTime - 2177452800u, 250, 1}, kTemplate, kEventTime));
  return snapshotOf(image::segment({image::ordersBlock(), templates, data}));
}

// One of each kind, as a follower would tell them.
const std::vector<model::Gap> kGaps = {
    {.missed = {model::Missed::Kind::atLeast, 5, 0}, .perTurn = 28},
    {.group = "orders",
     .flow = "Fulfil",
     .node = "Reserve",
     .missed = {model::Missed::Kind::between, 27, 32}},
    {.group = "orders",
     .flow = "Fulfil",
     .node = "Reserve",
     .missed = {model::Missed::Kind::exact, 30, 30}},
    {.cause = model::Gap::Cause::restart}};

// Every document of a snapshot, each as it is written for people to read.
std::vector<std::string> documentsOf(const model::Snapshot& snapshot) {
  std::vector<std::string> documents = {render::written(render::brokersDocument(snapshot)),
                                        render::written(render::statisticsDocument(snapshot))};
  const auto addLines = [&documents](const std::string& lines) {
    std::istringstream in(lines);
    for (std::string line; std::getline(in, line);) {
      documents.push_back(render::written(render::Json::parse(line)));
    }
  };
  addLines(rowLines("zebmon.broker", snapshot, render::brokersSheet(snapshot)));
  addLines(rowLines("zebmon.stats.node", snapshot, render::statisticsSheet(snapshot)));
  for (const auto& broker : snapshot.brokers) {
    if (!broker->events) continue;
    for (const reader::Event& event : broker->events->events) {
      documents.push_back(render::written(render::eventDocument(*broker, event, snapshot)));
    }
  }
  for (const auto& broker : snapshot.brokers) {
    for (const model::Gap& gap : kGaps) {
      documents.push_back(
          render::written(render::gapDocument(*broker, gap, model::secondsOf(snapshot))));
    }
  }
  for (const auto by : {model::CountBy::text, model::CountBy::node, model::CountBy::hour}) {
    const auto counts = model::countEvents(snapshot, by, [](const reader::Event&) { return true; });
    addLines(rowLines("zebmon.event.count", snapshot, render::eventCountsSheet(counts, by)));
  }
  return documents;
}

// What the schemas have against these documents.
std::string complaintsOf(const std::vector<std::string>& documents) {
  const std::string file = testing::TempDir() + "documents";
  std::ofstream out(file);
  for (const std::string& text : documents) out << render::Json::parse(text).dump() << "\n";
  out.close();
  const std::string command = std::string("python3 -B " ZEB_VALIDATE " " ZEB_SCHEMAS " ") + file +
                              " >" + file + ".said 2>&1";
  const int status = std::system(command.c_str());
  const std::string said = contentsOf(file + ".said");
  std::remove(file.c_str());
  std::remove((file + ".said").c_str());
  return WEXITSTATUS(status) == 0 ? said : "exit code not 0: " + said;
}

// The blocks of JSON in docs/json.md.
std::vector<std::string> shownDocuments() {
  const std::string page = contentsOf(ZEB_JSON_DOCUMENT);
  const std::string start = "```json\n";
  std::vector<std::string> blocks;
  for (auto at = page.find(start); at != page.npos; at = page.find(start, at + 1)) {
    const auto begin = at + start.size();
    blocks.push_back(page.substr(begin, page.find("```", begin) - begin));
  }
  return blocks;
}

}  // namespace

TEST(Documents, ThePageShowsWhatIsWritten) {
  const std::vector<std::string> shown = shownDocuments();
  const std::vector<std::string> written = documentsOf(orders());
  ASSERT_EQ(12U, written.size());
  for (const std::string& document : written) {
    EXPECT_NE(shown.end(), std::find(shown.begin(), shown.end(), document))
        << "docs/json.md lacks\n"
        << document;
  }
}

TEST(Documents, AreWhatTheirSchemasSay) {
  EXPECT_EQ("", complaintsOf(documentsOf(orders())));
}

TEST(Documents, OfBrokersInEveryStateAreWhatTheirSchemasSay) {
  std::vector<std::string> documents;
  for (const auto state :
       {reader::State::noKeyFile, reader::State::noSegment, reader::State::noPermission,
        reader::State::notInitialised, reader::State::damaged, reader::State::failed}) {
    model::SeenBroker broker;
    broker.segment.state = state;
    model::Snapshot snapshot;
    snapshot.brokers.assign(2, std::make_shared<const model::SeenBroker>(broker));
    for (const std::string& document : documentsOf(snapshot)) documents.push_back(document);
  }
  EXPECT_EQ("", complaintsOf(documents));
}

TEST(Documents, OfBrokenSegmentsAreWhatTheirSchemasSay) {
  std::vector<std::string> documents;
  for (const broken::Segment& segment : broken::all()) {
    for (const std::string& document : documentsOf(snapshotOf(segment.bytes))) {
      documents.push_back(document);
    }
  }
  EXPECT_LT(500U, documents.size());
  EXPECT_EQ("", complaintsOf(documents));
}

TEST(Documents, ASchemaFindsWhatIsWrong) {
  render::Json document = render::statisticsDocument(orders());
  document["brokers"][0]["state"] = "well";
  EXPECT_NE("", complaintsOf({render::written(document)}));
  document = render::brokersDocument(orders());
  document["more"] = 1;
  EXPECT_NE("", complaintsOf({render::written(document)}));
}
