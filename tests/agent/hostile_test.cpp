// SPDX-License-Identifier: Apache-2.0
// Whatever somebody names a broker, a file or a value: every output and every message of zebmon is
// lines of printable UTF-8, and no name begins a line of its own.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>

#include "agent/render/json.h"
#include "agent/render/screens.h"
#include "agent/render/words.h"
#include "tests/agent/live_lock.h"
#include "tests/agent/zebmon.h"
#include "tests/support/image.h"
#include "tests/support/live_segment.h"
#include "text/printable.h"

namespace hostile_test {

namespace {

namespace fs = std::filesystem;
using image::Block;
using nlohmann::json;

// Clears the screen, three ways of beginning a line, a byte that is no UTF-8, a control character
// of 8 bits as UTF-8 and raw, one that turns the direction of writing, and what formats.
const std::string kHostile =
    "H\x1B[2J\nEVIL\r\nEVIL\vEVIL\xE9"
    "H\u009B31m\x9B"
    "31m\u202E%n%s{}\"\\\x7F";

// The same as stored 16-bit text, with a half character.
const std::u16string kHostile16 =
    u"H\x1B[2J\nEVIL\r\nEVIL\vEVIL\u009B31m\u202E%n%s{}\"\\\x7F" + std::u16string{0xD800, 0xFFE9};

void expectFit(const std::string& text) {
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    EXPECT_EQ(text::printable(line), line);
    EXPECT_FALSE(line.starts_with("EVIL")) << line;
  }
}

void expectFit(const Result& result) {
  expectFit(result.out);
  expectFit(result.errors);
}

// Every text inside is fit as well, once the document was read.
void expectFit(const json& value) {
  if (value.is_string()) {
    expectFit(value.get<std::string>());
  }
  if (value.is_structured()) {
    for (const json& member : value) expectFit(member);
  }
}

const std::vector<std::vector<std::string>> kShown = {{"brokers"},
                                                      {"message", "A"},
                                                      {"brokers", "--format", "json"},
                                                      {"brokers", "--format", "jsonl"},
                                                      {"brokers", "--format", "csv"},
                                                      {"stats"},
                                                      {"stats", "--format", "json"},
                                                      {"stats", "--format", "jsonl"},
                                                      {"stats", "--format", "csv"},
                                                      {"stats", "--sort", "node"},
                                                      {"stats", "--columns", "broker,node"},
                                                      {"events"},
                                                      {"events", "--format", "jsonl"},
                                                      {"events", "--short"},
                                                      {"events", "--format", "csv"},
                                                      {"events", "--count-by", "text"},
                                                      {"events", "--count-by", "node"},
                                                      {"locks", "--all"},
                                                      {"locks", "--all", "--format", "json"},
                                                      {"locks", "--all", "--format", "jsonl"},
                                                      {"locks", "--all", "--format", "csv"},
                                                      {"size"},
                                                      {"size", "--format", "json"},
                                                      {"reset", "--format", "json"}};

std::vector<Result> runAll(const std::vector<std::string>& more,
                           const std::vector<std::string>& environment = {}, bool ownsAll = true) {
  std::vector<Result> results;
  for (std::vector<std::string> arguments : kShown) {
    arguments.insert(arguments.end(), more.begin(), more.end());
    results.push_back(
        run(Start{.arguments = arguments, .ownsAll = ownsAll, .environment = environment}));
    expectFit(results.back());
  }
  return results;
}

// Without what changes from second to second: the moment of the look, and the age of the last
// message in JSON and in CSV, where its time follows.
std::string withoutTime(const std::string& text) {
  static const std::regex kMoment(
      R"("collectedAt": ?"[^"]*"|"lastCollectionAgeSeconds": ?\d+|\d+,(?=20\d\d-))");
  return std::regex_replace(text, kMoment, "");
}

image::Bytes hostileSegment() {
  constexpr image::Id kTemplate{7, 500, 1, 1};
  Block tree{.eyecatcher = "zebcstar", .contents = {}};
  tree.add(image::broker(image::kBroker, kHostile16, kHostile16));
  tree.add(image::group(image::kGroup, image::kBroker, kHostile16, 1, kHostile16));
  tree.add(image::flow(image::kFlow, image::kGroup, kHostile16));
  tree.add(image::node(image::kNode, image::kFlow, kHostile16, 1, kHostile16));
  tree.add(image::statistics(image::kStatistics, image::kNode));
  Block templates{.eyecatcher = "zebcetar", .contents = {}};
  templates.add(image::eventTemplate(kTemplate, kHostile16, kHostile16, kHostile16, 1, kHostile16));
  Block data{.eyecatcher = "zebcedar", .contents = {}};
  image::Bytes event = image::event({8, 1, 1, 1}, kTemplate, 0xEA600000);
  const std::string::size_type application = 40 + 4 + 4 + 24 + 24 + 4;
  std::copy_n(kHostile.begin(), 44, event.begin() + application);
  data.add(event);
  return image::segment({tree, templates, data});
}

model::SeenBroker hostileBroker() {
  const image::Bytes bytes = hostileSegment();
  reader::Segment segment;
  segment.state = reader::State::ok;
  segment.keyFile = "/tmp/" + kHostile;
  segment.uuid = kHostile;
  segment.group = kHostile;
  segment.call = "shmat";
  segment.size = bytes.size();
  segment.copy = reader::copySegment(bytes, bytes.size());
  model::SeenBroker broker = model::decoded(std::move(segment), 1795234171);
  broker.events = reader::EventLog().read(broker.segment, broker.damage);
  return broker;
}

}  // namespace

TEST(Hostile, LabelsTextsAndNamesOfFilesInEveryOutput) {
  const LiveSegment live(kHostile, hostileSegment());
  const LiveSegment good("1-2-3", image::segment({image::ordersBlock()}));
  const LiveLock lock(kHostile + ".zebcshme");
  const LiveLock unknown(kHostile);
  for (const Result& result : runAll({})) {
    EXPECT_EQ(0, result.code);
    EXPECT_TRUE(contains(result.out, "H")) << result.out;
    if (!result.out.starts_with("{")) continue;
    std::istringstream documents(result.out);
    for (json document; documents >> std::ws && !documents.eof() && documents >> document;) {
      expectFit(document);
    }
  }
}

TEST(Hostile, SeriesHoldLabelsAsTheyAreButNotOnATerminal) {
  const LiveSegment live("1-2-3", hostileSegment());
  EXPECT_TRUE(contains(run({"metrics"}).out, "H\x1B[2J"));
  std::string shown = answerOf("script -qec '" ZEBMON " metrics' /dev/null");
  std::erase(shown, '\r');  // of the terminal
  EXPECT_TRUE(contains(shown, "H\\x1B[2J")) << shown;
  expectFit(shown);
}

TEST(Hostile, LinesOfTheConfiguration) {
  const LiveSegment live("1-2-3", hostileSegment());
  fs::create_directories("/opt/holt/lil");
  std::ofstream("/opt/holt/lil/zebpnode.cfg")
      << "zebnodetrace " << kHostile << "\nZEBTempDirectory = " << kHostile << "\nZEBMemorySize"
      << kHostile << "\nZEBTempDirectory /tmp/\n";
  for (const char* const format : {"table", "json"}) {
    const Result result = run({"config", "--temp-directory", "/tmp", "--format", format});
    EXPECT_EQ(0, result.code);
    expectFit(result);
  }
  fs::remove_all("/opt/holt");
}

TEST(Hostile, ANameThatIsNoUtf8EndsTheJsonOfNoBroker) {
  const LiveSegment good("1-2-3", image::segment({image::ordersBlock()}));
  std::ofstream{"/tmp/caf\xE9.zebcshme"};
  for (const char* command : {"brokers", "stats"}) {
    const Result result = run({command, "--format", "json"});
    EXPECT_EQ(0, result.code);
    const json brokers = json::parse(result.out)["brokers"];
    ASSERT_EQ(2U, brokers.size());
    EXPECT_EQ("BRK1", brokers[0]["label"]);
    EXPECT_EQ("caf\\xE9", brokers[1]["uuid"]);
    EXPECT_EQ("/tmp/caf\\xE9.zebcshme", brokers[1]["keyFile"]);
    expectFit(result);
  }
  fs::remove("/tmp/caf\xE9.zebcshme");
}

TEST(Hostile, NamesOfBrokersInEveryStateInEveryMessage) {
  LiveSegment stopped(kHostile + "stopped", image::segment({}));
  stopped.removeSegment();
  const LiveSegment starting(kHostile + "starting", image::Bytes(4096));
  const LiveSegment closed(kHostile + "closed", hostileSegment(), 0);
  image::Bytes bytes = hostileSegment();
  bytes[32 + 32 + 200] ^= 0xFF;
  image::set32(bytes, 8, 5);
  const LiveSegment damaged(kHostile + "damaged", bytes);
  for (const std::vector<std::string>& more :
       {std::vector<std::string>{}, {"--broker", kHostile}, {"--broker", kHostile + "damaged"}}) {
    for (const Result& result : runAll(more, {}, false)) EXPECT_NE(0, result.code);
  }
}

TEST(Hostile, EverySentenceIsFitWhateverTheBrokerIsNamed) {
  model::SeenBroker broker = hostileBroker();
  broker.events->overrun = true;
  model::Snapshot none;
  none.directory = "/tmp/" + kHostile;
  model::Snapshot all = none;
  for (bool labelled : {true, false}) {
    if (!labelled) broker.tree.reset();
    for (const auto state : {reader::State::ok, reader::State::noKeyFile, reader::State::noSegment,
                             reader::State::noPermission, reader::State::notInitialised,
                             reader::State::damaged, reader::State::failed}) {
      broker.segment.state = state;
      const std::string sentence = render::problemOf(broker);
      EXPECT_EQ(text::printable(sentence), sentence);
      EXPECT_EQ(state == reader::State::ok, sentence.empty());
      const std::string name = render::nameOf(broker);
      EXPECT_EQ(text::printable(name), name);
      all.brokers.assign(1, std::make_shared<model::SeenBroker>(broker));
    }
    const std::string missed = render::missedOf(broker);
    EXPECT_TRUE(contains(missed, "overwritten"));
    EXPECT_EQ(text::printable(missed), missed);
  }
  for (const char* name : {"", "other"}) {
    model::Selection selection;
    selection.broker = name + kHostile + "none";
    const std::string sentence = render::problemOf(all, selection);
    EXPECT_TRUE(contains(sentence, "there are H\\x1B[2J"));
    EXPECT_EQ(text::printable(sentence), sentence);
  }
  const std::string nobody = render::problemOf(none, {});
  EXPECT_TRUE(contains(nobody, "no broker has a key file"));
  EXPECT_EQ(text::printable(nobody), nobody);
  none.error = ENOENT;
  const std::string unreadable = render::problemOf(none, {});
  EXPECT_TRUE(contains(unreadable, "can't read the directory"));
  EXPECT_EQ(text::printable(unreadable), unreadable);
}

TEST(Hostile, EveryScreenAndDocumentIsFitWhateverTheBrokerIsNamed) {
  model::Snapshot snapshot;
  snapshot.directory = "/tmp/" + kHostile;
  snapshot.brokers.push_back(std::make_shared<model::SeenBroker>(hostileBroker()));
  const model::SeenBroker& broker = *snapshot.brokers.front();
  ASSERT_EQ(1U, broker.events->events.size());
  const reader::Event& event = broker.events->events.front();
  for (const std::string& text :
       {render::tableOf(render::brokersSheet(snapshot), {}),
        render::csvOf(render::brokersSheet(snapshot), true),
        render::rowLines("rows", snapshot, render::brokersSheet(snapshot)),
        render::statisticsTables(snapshot, {}, {}),
        render::csvOf(render::statisticsSheet(snapshot), true),
        render::rowLines("rows", snapshot, render::statisticsSheet(snapshot)),
        render::eventsHeader(broker), render::eventLines(event, render::Zone::utc)}) {
    EXPECT_TRUE(contains(text, "\\x1B[2J")) << text;
    expectFit(text);
  }
  for (const render::Json& document :
       {render::brokersDocument(snapshot), render::statisticsDocument(snapshot),
        render::eventDocument(broker, event, snapshot)}) {
    expectFit(render::written(document));
    expectFit(json::parse(render::written(document)));
  }
}

TEST(Hostile, ValuesOfOptionsAndUnknownWords) {
  const LiveSegment good("1-2-3", image::segment({image::ordersBlock()}));
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{kHostile},
                                                    {"stats", kHostile},
                                                    {"--" + kHostile},
                                                    {"stats", "--" + kHostile},
                                                    {"stats", "-" + kHostile},
                                                    {"stats", "--format", kHostile},
                                                    {"stats", "--format=" + kHostile},
                                                    {"events", "--format", kHostile},
                                                    {"events", "--kind", kHostile},
                                                    {"events", "--since", kHostile},
                                                    {"events", "--since", "15m" + kHostile},
                                                    {"events", "--interval", kHostile},
                                                    {"events", "--interval", "1" + kHostile},
                                                    {"events", "--follow=" + kHostile}}) {
    const Result result = run(arguments);
    EXPECT_EQ(64, result.code);
    EXPECT_EQ("", result.out);
    EXPECT_NE("", result.errors);
    expectFit(result);
  }
  for (const Result& result : runAll({"--broker", kHostile})) {
    EXPECT_EQ(69, result.code);
    EXPECT_TRUE(contains(result.errors, "no broker \"H\\x1B[2J\\x0AEVIL")) << result.errors;
  }
}

TEST(Hostile, TheDirectoryWhetherItIsThereOrNot) {
  const std::string directory = "/tmp/" + kHostile;
  for (const Result& result : runAll({"--temp-directory", directory})) EXPECT_EQ(66, result.code);
  fs::create_directory(directory);
  for (const Result& result : runAll({"--temp-directory", directory})) EXPECT_EQ(69, result.code);
  std::ofstream{directory + "/" + kHostile + ".zebcshme"};
  runAll({"--temp-directory", directory});
  fs::remove_all(directory);
}

TEST(Hostile, TheDirectoryThatTheConfigurationNames) {
  fs::create_directories("/opt/holt/lil");
  std::ofstream("/opt/holt/lil/zebpnode.cfg") << "ZEBTempDirectory /x\x1B[2J\xE9\u009B/\n";
  for (const Result& result : runAll({})) {
    EXPECT_EQ(66, result.code);
    EXPECT_TRUE(contains(result.errors, "/x\\x1B[2J\\xE9\\x9B/: No such file")) << result.errors;
  }
  fs::remove_all("/opt/holt");
}

TEST(Hostile, TheEnvironment) {
  const LiveSegment live(kHostile, hostileSegment());
  std::vector<std::string> environment;
  for (const char* name : {"TZ", "LANG", "LC_ALL", "TERM", "COLUMNS", "LINES", "NO_COLOR", "HOME",
                           "TMPDIR", "PATH", "USER", "PAGER"}) {
    environment.push_back(name + ("=" + kHostile));
  }
  const std::vector<Result> plain = runAll({});
  const std::vector<Result> results = runAll({}, environment);
  for (std::size_t i = 0; i < results.size(); ++i) {
    EXPECT_EQ(withoutTime(plain[i].out), withoutTime(results[i].out));
  }
  expectFit(run(Start{.arguments = {"--help"}, .environment = environment}));
}

}  // namespace hostile_test
