// SPDX-License-Identifier: Apache-2.0
// The JSON documents: docs/json.md shows what is really written, and each is what its schema says.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "agent/model/message_way.h"
#include "agent/render/config_screens.h"
#include "agent/render/diff_screens.h"
#include "agent/render/event_screens.h"
#include "agent/render/findings_screen.h"
#include "agent/render/json.h"
#include "agent/render/lock_screens.h"
#include "agent/render/message_screens.h"
#include "agent/render/past_screens.h"
#include "agent/render/rates.h"
#include "agent/render/reset_screens.h"
#include "agent/render/screens.h"
#include "agent/render/size_screens.h"
#include "tests/support/broken.h"
#include "tests/support/image.h"
#include "tests/support/sanitized.h"

namespace documents_test {

namespace {

constexpr std::int64_t kWall = 1754707219;  // 2025-08-09 02:40:19
constexpr image::Id kTemplate{7, 500, 1, 1};
constexpr std::uint32_t kEventTime = 0xEA600001;
constexpr std::uint32_t kReset = 0xEA5FFFFF;

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

void addLines(std::vector<std::string>& documents, const std::string& lines) {
  std::istringstream in(lines);
  for (std::string line; std::getline(in, line);) {
    documents.push_back(render::written(render::Json::parse(line)));
  }
}

// Every document of what is in shared memory, each as it is written for people to read.
std::vector<std::string> documentsOf(const model::Snapshot& snapshot) {
  std::vector<std::string> documents = {render::written(render::brokersDocument(snapshot)),
                                        render::written(render::statisticsDocument(snapshot))};
  const auto addLines = [&documents](const std::string& lines) {
    documents_test::addLines(documents, lines);
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

// What the machine said: the process of the group ended while it held the lock of its node.
model::Machine machine() {
  model::Machine machine;
  machine.clocks = {std::chrono::seconds(kWall), std::chrono::seconds(5000), kWall - 5000, 100};
  machine.configuration.places = {{"/opt/holt/lil/zebpnode.cfg", 0, ""},
                                  {"/opt/orva/lil/zebpnode.cfg", ENOENT, ""}};
  machine.configuration.path = "/opt/holt/lil/zebpnode.cfg";
  machine.configuration.exists = true;
  machine.configuration.modified = kWall - 600;
  machine.configuration.text = "ZEBMemorySize = 8192\n";
  machine.limits.segmentBytes = 33554432;
  machine.limits.segments = 4096;
  machine.limits.usedSegments = 1;
  reader::Process& process = machine.processes[1234];
  process.id = 1234;
  process.exists = false;
  reader::Lock lock;
  lock.name = "06000000E8030000050000000F000000";
  lock.file = {
      .path = "/tmp/" + lock.name + ".zebmutx", .regular = true, .inode = 77, .mode = 0660};
  lock.semaphore.presence = lock.queue.presence = reader::Presence::there;
  lock.semaphore.id = lock.queue.id = 3;
  lock.semaphore.mode = lock.queue.mode = 0660;
  lock.semaphore.semaphores = 1;
  lock.semaphore.lastProcess = 1234;
  lock.semaphore.lastOperation = kWall - 60;
  lock.semaphore.changed = kWall - 4000;
  lock.queue.references = 1;
  lock.queue.bytes = 1;
  lock.queue.mostBytes = 16384;
  machine.locks.locks = {lock};
  machine.keyFiles = {{.path = "/tmp/1-2-3.zebcshme", .regular = true}};
  return machine;
}

model::Snapshot withMachine(model::Snapshot snapshot) {
  snapshot.machine = std::make_shared<const model::Machine>(machine());
  return snapshot;
}

// Two documents of each kind of command that tells of the machine: whole, and a row a line.
void addOfMachine(std::vector<std::string>& documents, const model::Snapshot& snapshot) {
  const auto add = [&](const render::Json& json) { documents.push_back(render::written(json)); };
  const auto locks = model::locksOf(snapshot, snapshot, true);
  add(render::locksDocument(snapshot, locks));
  addLines(documents, rowLines("zebmon.lock", snapshot, render::locksSheet(locks)));
  const reader::Configuration& file = snapshot.machine->configuration;
  add(render::configDocument(
      {snapshot, model::settingsOf(file, labelsOf(snapshot)), model::restartsOf(snapshot)}));
  add(render::findingsDocument(model::findingsOf(&snapshot, snapshot), snapshot));
  add(render::fillDocument(snapshot));
  const model::Plan plan = model::planOf(800, 20);
  const model::Need need = needOf(plan);
  add(render::planDocument({snapshot, plan, need, kernelNeeds(plan, need, snapshot.machine->limits),
                            model::configuredArea(file)}));
}

// A reset that one node of each broker had to wait for too long.
void addOfReset(std::vector<std::string>& documents, const model::Snapshot& snapshot) {
  std::vector<model::ResetResult> results;
  for (const model::ResetPlan& plan : model::resetPlans(snapshot, snapshot)) {
    model::ResetResult& result = results.emplace_back();
    result.plan = plan;
    result.nodes.resize(plan.nodes.size(), {.outcome = model::ResetOutcome::reset});
    result.nodes.front() = {.outcome = model::ResetOutcome::timedOut, .holder = 1234};
  }
  const std::string file = "zebmon-BRK1-20250809T024019Z.tar";
  documents.push_back(render::written(render::resetDocument(snapshot, results, file)));
  addLines(documents, rowLines("zebmon.reset.node", snapshot, render::resetSheet(results)));
}

// What happened between two looks.
void addOfTwo(std::vector<std::string>& documents, const model::Snapshot& before,
              const model::Snapshot& after) {
  const std::shared_ptr<const model::Snapshot> looks[] = {
      std::make_shared<const model::Snapshot>(before),
      std::make_shared<const model::Snapshot>(after)};
  const model::View view = model::viewOf(looks, {});
  documents.push_back(render::written(render::ratesDocument(view, {})));
  documents.push_back(render::written(render::flowDocument(view, {})));
  const render::Sheet rates = render::ratesSheet(view, {}, true);
  addLines(documents, rowLines("zebmon.rates.node", after, rates));
  addLines(documents, rowLines("zebmon.flow.node", after, rates));
  const archived::Origin origin{.host = "web1", .version = "1"};
  const model::Apart apart = model::apart(before, after, true);
  render::DiffView diff{origin, origin, apart, differencesOf(before, after, apart.kind, {}), view};
  documents.push_back(render::written(render::diffDocument(diff, {})));
  addLines(documents, rowLines("zebmon.diff.change", after,
                               render::changesSheet(diff.differences, render::Zone::utc)));
}

void addOfMessage(std::vector<std::string>& documents, const model::Snapshot& snapshot) {
  const auto ways = model::waysOf(snapshot, "");
  if (ways.empty()) return;
  documents.push_back(render::written(render::messageDocument(snapshot, ways.front())));
  addLines(documents, rowLines("zebmon.message.event", snapshot,
                               render::messageSheet(ways.front(), render::Zone::utc)));
}

// Two looks as a history has them: the counts of the second one are what was added.
std::vector<render::PastView> pastOf(const model::Snapshot& before, const model::Snapshot& after) {
  const auto first = std::make_shared<const model::Snapshot>(before);
  const auto last = std::make_shared<const model::Snapshot>(after);
  const std::int64_t begin = kWall * 1000;
  render::PastView past;
  past.broker = {.label = "BRK1",
                 .uuid = "1-2-3",
                 .lastLook = begin + 2000,
                 .present = true,
                 .period = {begin, begin + 2000},
                 .observed = 2000,
                 .looks = {first, last},
                 .marks = {{"reset", {begin + 500, begin + 1000}, 250, "orders", "Fulfil"}}};
  past.view = viewOf(past.broker, {});
  return {past};
}

std::vector<model::PastChange> changes() {
  model::PastChange slower{.broker = "BRK1",
                           .uuid = "1-2-3",
                           .group = "orders",
                           .flow = "Fulfil",
                           .node = "Reserve",
                           .change = {0, model::Measure::self, kWall / 60, 9.125, 14.25},
                           .mark = {}};
  addNearest(slower,
             {{"reset", {(kWall - 60) * 1000, (kWall - 58) * 1000}, 250, "orders", "Stock"}});
  return {slower};
}

void addOfPast(std::vector<std::string>& documents, const model::Snapshot& before,
               const model::Snapshot& after) {
  const auto past = pastOf(before, after);
  documents.push_back(render::written(render::totalsDocument(past, {})));
  addLines(documents, rowLines("zebmon.totals.node", after, render::totalsSheet(past, {})));
  const model::Period day{(kWall - 86400) * 1000, kWall * 1000};
  documents.push_back(render::written(render::changesDocument(changes(), day)));
}

// The same two seconds later; meanwhile somebody mended the settings.
model::Snapshot later(model::Snapshot snapshot) {
  snapshot.wall += std::chrono::seconds(2);
  snapshot.steady += std::chrono::seconds(2);
  model::Machine mended = machine();
  mended.clocks.wall += std::chrono::seconds(2);
  mended.clocks.sinceBoot += std::chrono::seconds(2);
  mended.configuration.text = "ZEBMemorySize=8192\n";
  snapshot.machine = std::make_shared<const model::Machine>(mended);
  return snapshot;
}

// Two more messages.
image::Bytes moreOrders() {
  image::Block block{.eyecatcher = "zebcstar", .contents = {}};
  block.add(image::broker(image::kBroker, u"1-2-3", u"BRK1", kReset));
  block.add(image::group(image::kGroup, image::kBroker, u"orders", 1234));
  block.add(image::flow(image::kFlow, image::kGroup, u"Fulfil"));
  block.add(image::node(image::kNode, image::kFlow, u"Reserve", 1));
  block.add(
      image::statistics(image::kStatistics, image::kNode,
                        {.count = "5", .sumSize = "1000", .sumElapsed = "75", .sumQueued = "12"}));
  return image::segment({block});
}

// All of them.
std::vector<std::string> allDocumentsOf(const model::Snapshot& snapshot,
                                        const model::Snapshot& after) {
  std::vector<std::string> documents = documentsOf(snapshot);
  const model::Snapshot whole = withMachine(snapshot);
  addOfMessage(documents, whole);
  addOfMachine(documents, whole);
  addOfReset(documents, whole);
  addOfTwo(documents, whole, later(after));
  addOfPast(documents, whole, later(after));
  return documents;
}

std::string schemaOf(const std::string& document) {
  const render::Json json = render::Json::parse(document, nullptr, false);
  return json.is_object() ? json.value("schema", "") : "";
}

// What the schemas have against these documents. Many are alike; each is looked at once.
std::string complaintsOf(const std::vector<std::string>& documents) {
  const std::string file = testing::TempDir() + "documents";
  std::ofstream out(file);
  for (const std::string& text : std::set<std::string>(documents.begin(), documents.end())) {
    out << render::Json::parse(text).dump() << "\n";
  }
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

// The n-th block of a schema becomes the n-th of these documents that has it.
void renewPage(const std::vector<std::string>& written) {
  std::map<std::string, std::deque<std::string>> fresh;
  for (const std::string& document : written) fresh[schemaOf(document)].push_back(document);
  std::string page = contentsOf(ZEB_JSON_DOCUMENT);
  std::size_t from = 0;
  for (const std::string& block : shownDocuments()) {
    std::deque<std::string>& candidates = fresh[schemaOf(block)];
    const std::size_t at = page.find(block, from);
    if (candidates.empty()) continue;
    page.replace(at, block.size(), candidates.front());
    from = at + candidates.front().size();
    candidates.pop_front();
  }
  std::ofstream(ZEB_JSON_DOCUMENT) << page;
}

}  // namespace

// With ZEB_RENEW_GOLDEN in the environment the page gets what is written now in place of the blocks
// that it has of the same schema.
TEST(Documents, ThePageShowsWhatIsWritten) {
  const std::vector<std::string> written = allDocumentsOf(orders(), snapshotOf(moreOrders()));
  if (std::getenv("ZEB_RENEW_GOLDEN") != nullptr) renewPage(written);
  const std::vector<std::string> shown = shownDocuments();
  std::set<std::string> schemas;
  for (const std::string& document : written) {
    schemas.insert(schemaOf(document));
    EXPECT_NE(shown.end(), std::find(shown.begin(), shown.end(), document))
        << "docs/json.md lacks\n"
        << document;
  }
  EXPECT_EQ(25U, schemas.size());
}

TEST(Documents, EverySchemaIsOfADocumentOnThePage) {
  std::set<std::string> shown;
  for (const std::string& document : shownDocuments()) shown.insert(schemaOf(document));
  for (const auto& entry : std::filesystem::directory_iterator(ZEB_SCHEMAS))
    EXPECT_TRUE(shown.contains(entry.path().stem())) << entry.path();
}

TEST(Documents, AreWhatTheirSchemasSay) {
  EXPECT_EQ("", complaintsOf(allDocumentsOf(orders(), snapshotOf(moreOrders()))));
  EXPECT_EQ("", complaintsOf(allDocumentsOf(snapshotOf(moreOrders()), orders()))) << "a reset";
}

TEST(Documents, OfAHistoryAreWhatTheirSchemasSay) {
  const auto past = pastOf(orders(), later(snapshotOf(moreOrders())));
  model::PastFinding finding{.finding = {}, .uuid = "1-2-3", .begin = 5000, .end = {}};
  finding.finding.id = "area.full";
  EXPECT_EQ("", complaintsOf({render::written(render::pastRatesDocument(past, {})),
                              render::written(render::pastFlowDocument(past, {})),
                              render::written(render::pastFindingsDocument({finding}, 9))}));
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
  constexpr std::size_t kStep = kSanitized ? 7 : 1;
  std::vector<std::string> documents;
  const broken::Segments all = broken::all();
  for (std::size_t n = 0; n < all.size(); n += kStep) {
    const auto of = documentsOf(snapshotOf(all[n].bytes));
    documents.insert(documents.end(), of.begin(), of.end());
  }
  EXPECT_LT(500U / kStep, documents.size());
  EXPECT_EQ("", complaintsOf(documents));
}

TEST(Documents, OfTwoLooksAtBrokenSegmentsAreWhatTheirSchemasSay) {
  constexpr std::size_t kStep = 50;  // of the broken segments every so many-th
  std::vector<std::string> documents;
  const broken::Segments all = broken::all();
  for (std::size_t n = 0; n < all.size(); n += kStep) {
    const auto of = allDocumentsOf(snapshotOf(broken::healthy()), snapshotOf(all[n].bytes));
    documents.insert(documents.end(), of.begin(), of.end());
  }
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

}  // namespace documents_test
