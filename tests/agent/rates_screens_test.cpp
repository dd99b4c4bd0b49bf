// SPDX-License-Identifier: Apache-2.0
// What people and programs see of two looks.
#include <gtest/gtest.h>

#include <sstream>

#include "agent/render/rates.h"
#include "tests/agent/grown.h"
#include "text/printable.h"

namespace rates_screens_test {

namespace {

using render::Signs;
using std::chrono::milliseconds;

struct Made {
  std::string label;
  std::uint32_t type;
  Look first;
  Look second;
};

// A shop of these nodes in two looks ten seconds apart.
class Shop {
 public:
  explicit Shop(const std::vector<Made>& nodes) {
    std::vector<reader::Node> before, after;
    for (const Made& made : nodes) {
      const auto number = static_cast<std::uint32_t>(before.size()) + 1;
      before.push_back(nodeWith(made.label, number, made.first));
      after.push_back(nodeWith(made.label, number, made.second));
      before.back().type = after.back().type = made.type;
    }
    first = seenBroker(before);
    second = seenBroker(after);
    second->events = reader::EventLog::Batch{};
  }

  model::View view(const std::string& chain = {}, std::optional<unsigned> threads = {}) const {
    const std::vector<std::shared_ptr<const model::Snapshot>> looks{
        std::make_shared<const model::Snapshot>(lookAt(first, milliseconds(0))),
        std::make_shared<const model::Snapshot>(lookAt(second, milliseconds(10000)))};
    model::FlowKnowledge known{.chain = {}, .file = nullptr, .threads = threads};
    if (!chain.empty()) known.chain = model::parseChain(chain).chain;
    return model::viewOf(looks, known);
  }

  void failAt(const std::string& label, std::uint8_t message) const {
    reader::Event event;
    event.origin = std::make_shared<reader::EventTemplate>(
        reader::EventTemplate{"orders", "Fulfil", label, 1, "Exception found in X(1). It failed"});
    event.messageId[0] = message;
    second->events->events.push_back(event);
  }

  std::shared_ptr<model::SeenBroker> first, second;
};

constexpr char kChain[] = "Order in(Check(Price,Archive))";

Shop shop() {
  return Shop({{"Order in", 1, {100, 1000, 50, 9000}, {600, 13500, 1050, 259000}},
               {"Check", 3, {100, 900, 0, 9000}, {600, 12400, 0, 259000}},
               {"Price", 3, {90, 500, 0, 8000}, {580, 9300, 0, 248000}},
               {"Archive", 2, {10, 0, 0, 800}, {20, 2, 0, 1600}}});
}

std::string flowScreen(const model::View& view, Signs signs = Signs::ascii,
                       std::optional<std::size_t> width = {}) {
  return render::flowScreens(view, {}, {.width = width}, signs);
}

std::string verdict(const model::View& view) {
  return render::verdictOf(view.brokers.at(0).flows.at(0));
}

std::size_t widest(const std::string& text) {
  std::size_t columns = 0;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    columns = std::max(columns, text::columns(line));
  }
  return columns;
}

}  // namespace

TEST(FlowScreen, IsATreeWithLossesAndASentence) {
  const Shop made = shop();
  made.failAt("Check", 1);
  made.failAt("Order in", 1);
  EXPECT_EQ(
      "orders / Fulfil of SHOP: 10.0 s until 1970-01-12 13:46:50Z\n"
      "50.0 messages/s, at least 1.2 of 4 threads busy (31 %), room for 110 messages/s more\n"
      "0.1 messages waiting (mean over the interval; too low while the queue grows)\n"
      "chain as given\n"
      "\n"
      "node           messages/s  elapsed     self  share\n"
      "Order in             50.0  25.0 ms   2.0 ms    8 %  #\n"
      "`- Check             50.0  23.0 ms   5.4 ms   22 %  ##\n"
      "   |  10 of 500 (2 %) did not get here: 1 failed, 9 filtered\n"
      "   |- Price          49.0  18.0 ms  18.0 ms   70 %  #######\n"
      "   |  490 of 500 (98 %) did not get here: 1 failed, 489 filtered\n"
      "   `- Archive         1.0   0.2 ms    <1 ms    0 %\n"
      "\n"
      "Look at \"Price\": 18.0 ms a message, 70 % of the time, are spent behind it, where no other "
      "node measures.\n",
      flowScreen(made.view(kChain, 4)));
}

TEST(FlowScreen, HasBoxesWhereTheLocaleCan) {
  const std::string screen = flowScreen(shop().view(kChain, 4), Signs::boxes);
  EXPECT_NE(screen.npos, screen.find("\n└─ Check  ")) << screen;
  EXPECT_NE(screen.npos, screen.find("\n   ├─ Price  "));
  EXPECT_NE(screen.npos, screen.find("  70 %  ███████\n"));
}

TEST(FlowScreen, FitsATerminal) {
  Shop made = shop();
  for (auto& node : made.second->tree->executionGroups[0].messageFlows[0].nodes) {
    node.label = node.label == "Price" ? std::string(60, 'P') : node.label;
  }
  const std::string chain = "Order in(Check(" + std::string(60, 'P') + ",Archive))";
  const std::string screen = flowScreen(made.view(chain, 1), Signs::boxes, 80);
  EXPECT_NE(screen.npos, screen.find("███")) << screen;
  std::istringstream lines(screen);
  std::string line;
  for (int i = 0; i < 4; ++i) std::getline(lines, line);
  EXPECT_GE(80U, widest(std::string(std::istreambuf_iterator<char>(lines), {}))) << screen;
}

TEST(FlowScreen, WithoutAChainSaysWhatToGive) {
  const std::string screen = flowScreen(shop().view());
  EXPECT_NE(screen.npos, screen.find("chain unknown: give --chain or --flows\n"));
  EXPECT_NE(screen.npos, screen.find("Price           49.0  18.0 ms     -      -\n")) << screen;
  EXPECT_NE(screen.npos, screen.find("Which node is slow can't be told"));
  const std::string command = "  zebmon flow Fulfil --chain '";
  const std::size_t at = screen.find(command);
  ASSERT_NE(screen.npos, at) << screen;
  EXPECT_EQ("Order in(Check(Price(Archive)))'\n", screen.substr(at + command.size()));
}

TEST(FlowScreen, ShowsNoChainThatATerminalWouldChange) {
  const Shop made({{"A\x1B[2J", 1, {}, {10, 1100}}, {"B", 3, {}, {9, 1000}}});
  EXPECT_EQ(std::string::npos, flowScreen(made.view()).find("--chain '"));
}

TEST(FlowScreen, SaysWhatTheIntervalWasTooShortFor) {
  const Shop made({{"A", 1, {}, {10, 1100}}, {"B", 3, {}, {9, 1000}}});
  const std::string screen = flowScreen(made.view("A(B)", 4));
  EXPECT_NE(screen.npos, screen.find("?: interval too short for what is in flight"));
  EXPECT_NE(screen.npos, screen.find("Losses: ? where they are at most 4 messages"));
}

TEST(FlowScreen, MoreMessagesInsideThanOutsideAreSaid) {
  const Shop made({{"A", 1, {}, {100, 9000}}, {"B", 3, {}, {300, 6000}}});
  const std::string screen = flowScreen(made.view("A(B)", 4));
  EXPECT_NE(screen.npos, screen.find("200 messages more here than in \"A\""));
}

TEST(FlowScreen, MissedEventsMakeFailuresALowerBound) {
  const Shop made({{"A", 1, {}, {100, 9000}}, {"B", 3, {}, {80, 6000}}});
  made.failAt("A", 1);
  made.second->events->overrun = true;
  EXPECT_NE(std::string::npos, flowScreen(made.view("A(B)", 4))
                                   .find("20 of 100 (20 %) did not get here: at least 1 "
                                         "failed, the others failed or were filtered"));
  made.second->events.reset();
  EXPECT_NE(std::string::npos, flowScreen(made.view("A(B)", 4)).find("filtered, or failed unseen"));
}

TEST(FlowScreen, HostileLabelsStayOnTheirLine) {
  const Shop made({{"A\n\x1b[31m", 1, {}, {100, 9000}}, {"B\xff", 3, {}, {80, 6000}}});
  for (const Signs signs : {Signs::ascii, Signs::boxes}) {
    const std::string screen = flowScreen(made.view("A\n\x1b[31m(B\xff)", 4), signs);
    EXPECT_EQ(screen.npos, screen.find('\x1b'));
    EXPECT_NE(screen.npos, screen.find("A\\x0A\\x1B[31m")) << screen;
  }
}

TEST(Verdict, NamesTheNodeAndWhereItsTimeGoes) {
  const Shop made({{"A", 1, {}, {100, 9000}}, {"B", 3, {}, {100, 2000}}});
  EXPECT_EQ("look at \"A\": 70.0 ms a message, 78 % of the time, are spent between it and \"B\"",
            verdict(made.view("A(B)")));
  EXPECT_EQ(
      "look at \"A\": 70.0 ms a message, 78 % of the time, are spent between it and \"B\"; "
      "its 1 thread is busy nearly all the time, so messages will queue up",
      verdict(made.view("A(B)", 1)));
}

TEST(Verdict, IsNoneWhereNothingCanBeTold) {
  const Look some{100, 9000};
  EXPECT_EQ("the statistics were reset in between, so nothing can be said: look once more",
            verdict(Shop({{"A", 1, some, {50, 100}}}).view("A")));
  EXPECT_EQ("no message was counted: run zebmon doctor, or look longer",
            verdict(Shop({{"A", 1, some, some}}).view("A")));
  EXPECT_EQ("nothing here is slow: no node takes a millisecond a message",
            verdict(Shop({{"A", 1, {}, {100, 20}}}).view("A")));
  EXPECT_EQ("nothing here is slow: no node takes a millisecond a message",
            verdict(Shop({{"A", 1, {}, {160, 0}}, {"B", 3, {}, {160, 0}}}).view("A(B)")));
  EXPECT_EQ("the interval was too short to tell which node is slow: give a longer one",
            verdict(Shop({{"A", 1, {}, {10, 500}}, {"B", 3, {}, {0, 900}}}).view("A(B)")));
  Shop gone(std::vector<Made>{{"A", 1, some, some}});
  gone.second = nullptr;
  EXPECT_EQ("the flow is gone: its broker has stopped, or it was removed from it",
            verdict(gone.view("A")));
}

TEST(Verdict, OfAGroupThatDoesNothingSaysSo) {
  const Look some{100, 9000};
  model::View view = Shop({{"A", 1, some, some}}).view("A");
  model::FlowView& flow = view.brokers.at(0).flows.at(0);
  for (const model::GroupState state : {model::GroupState::gone, model::GroupState::anotherOne}) {
    flow.group = state;
    EXPECT_EQ(
        "no message was counted: the process of its execution group has ended. Start the group "
        "again",
        render::verdictOf(flow));
  }
  flow.group = model::GroupState::stopped;
  EXPECT_EQ(
      "no message was counted: the process of its execution group is stopped. zebmon doctor tells "
      "how it goes on",
      render::verdictOf(flow));
}

TEST(RatesTable, ShowsWhatHappenedInTheInterval) {
  EXPECT_EQ(
      "Broker SHOP, 10.0 s until 1970-01-12 13:46:50Z\n"
      "\n"
      "                  a second                    ms a message\n"
      " node      type   messages bytes  size bytes  elapsed queued  busy  waiting\n"
      "orders / Fulfil\n"
      " Order in  input      50.0 25.0k         500     25.0    2.0   1.2      0.1\n",
      render::ratesTables(
          Shop({{"Order in", 1, {100, 1000, 50, 9000}, {600, 13500, 1050, 259000}}}).view(), {},
          false, {}, {}));
}

TEST(RatesTable, SaysWhatBecameOfEachNode) {
  const Look some{100, 1000}, less{10, 100};
  const Shop made({{"Reset", 1, some, less},
                   {"Torn", 3, some, some},
                   {"Bare", 3, some, some},
                   {"Damaged", 3, some, some}});
  auto& nodes = made.second->tree->executionGroups[0].messageFlows[0].nodes;
  nodes[1].statistics->torn = true;
  nodes[2].statistics.reset();
  nodes[3].statistics->sumElapsed.reset();
  nodes.push_back(nodeWith("New", 9, some));
  made.first->tree->executionGroups[0].messageFlows[0].nodes.push_back(nodeWith("Gone", 8, some));
  const std::string csv = render::csvOf(
      arranged(render::ratesSheet(made.view(), {}, false),
               {.columns = {"node", "messagesPerSecond", "elapsedMeanMs", "change"}, .sort = {}}),
      false);
  EXPECT_EQ(
      "Reset,,,reset\nTorn,,,torn\nBare,,,notCollected\nDamaged,0,?,measured\nNew,,,came\nGone,,,"
      "went\n",
      csv);
}

TEST(RatesTable, SelfTimesNeedAChain) {
  const std::string unknown = render::ratesTables(shop().view(), {}, true, {}, {});
  EXPECT_NE(unknown.npos,
            unknown.find("orders / Fulfil: chain unknown: give --chain or --flows\n"));
  const std::string given = render::ratesTables(shop().view(kChain, 4), {}, true, {}, {});
  EXPECT_EQ(given.npos, given.find("chain"));
  EXPECT_NE(given.npos, given.find("18.0      - 18.0  70.4    10")) << given;
  EXPECT_NE(given.npos, given.find("<1"));
}

TEST(RatesTable, ShowsOnlyWhatIsSelected) {
  const model::View view = shop().view(kChain);
  EXPECT_EQ(1U,
            render::ratesSheet(view, {.broker = {}, .group = {}, .flow = {}, .node = "Price"}, true)
                .rows.size());
  EXPECT_EQ(4U,
            render::ratesSheet(view, {.broker = {}, .group = "o*", .flow = "F*", .node = {}}, true)
                .rows.size());
  EXPECT_TRUE(render::ratesSheet(view, {.broker = {}, .group = {}, .flow = "x", .node = {}}, true)
                  .rows.empty());
  EXPECT_TRUE(flowScreen(view).starts_with("orders / Fulfil"));
  EXPECT_EQ("", render::flowScreens(view, {.broker = {}, .group = "x", .flow = {}, .node = {}}, {},
                                    Signs::ascii));
}

TEST(RatesDocument, HasEveryNumberAndWhetherItIsKnown) {
  const Shop made = shop();
  made.failAt("Check", 1);
  const render::Json document = render::flowDocument(made.view(kChain, 4), {});
  EXPECT_EQ("zebmon.flow", document["schema"]);
  EXPECT_EQ(10.0, document["intervalSeconds"]);
  const render::Json& flow = document["brokers"][0]["flows"][0];
  EXPECT_EQ("given", flow["chain"]);
  EXPECT_EQ(4, flow["threads"]);
  EXPECT_EQ(1.25, flow["busyThreads"]);
  EXPECT_EQ(31.25, flow["utilisationPercent"]);
  EXPECT_EQ(110.0, flow["spareMessagesPerSecond"]);
  EXPECT_TRUE(flow["verdict"].get<std::string>().starts_with("look at \"Price\""));
  const render::Json& price = flow["nodes"][2];
  EXPECT_EQ("Price", price["label"]);
  EXPECT_EQ("Check", price["nestedIn"]);
  EXPECT_EQ(490, price["messageCount"]);
  EXPECT_EQ(49.0, price["messagesPerSecond"]);
  EXPECT_EQ(8800, price["elapsedSumMs"]);
  EXPECT_TRUE(price["queuedMeanMs"].is_null());
  EXPECT_EQ("measured", price["self"]["state"]);
  EXPECT_EQ(70.4, price["self"]["sharePercent"]);
  EXPECT_EQ(10, price["lost"]["messageCount"]);
  EXPECT_EQ(4, price["lost"]["bound"]);
  EXPECT_EQ(1, price["lost"]["failed"]);
  EXPECT_EQ("belowOneMs", flow["nodes"][3]["self"]["state"]);
  EXPECT_TRUE(flow["nodes"][0]["lost"].is_null());
  EXPECT_FALSE(
      render::ratesDocument(made.view(), {})["brokers"][0]["flows"][0].contains("verdict"));
}

}  // namespace rates_screens_test
