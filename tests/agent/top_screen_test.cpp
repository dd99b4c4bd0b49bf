// SPDX-License-Identifier: Apache-2.0
// The screen of "top", without a terminal.
#include "agent/render/top/screen.h"

#include <gtest/gtest.h>

#include "agent/render/screens.h"
#include "agent/render/top/state.h"
#include "tests/agent/top_content.h"
#include "text/printable.h"

namespace top_screen_test {

namespace {

using std::chrono::seconds;
using top::Size;
using top::State;

std::string screenText(const top::Content& content, Size size = {}, const State& state = {}) {
  return textOf(top::screenOf(state, content, size, seconds(0)));
}

void expectPart(const std::string& text, const std::string& part) {
  EXPECT_NE(text.npos, text.find(part)) << part << "\n---\n" << text;
}

void expectNoPart(const std::string& text, const std::string& part) {
  EXPECT_EQ(text.npos, text.find(part)) << part << "\n---\n" << text;
}

std::size_t lineOf(const std::string& text, const std::string& part) {
  const std::size_t at = text.find(part);
  EXPECT_NE(text.npos, at) << part << "\n---\n" << text;
  if (at == text.npos) return 0;
  return static_cast<std::size_t>(
      std::count(text.begin(), text.begin() + std::ptrdiff_t(at), '\n'));
}

// Every line is drawn, none is wider than the screen, and nothing in it moves the cursor.
void expectFits(const top::Screen& screen, Size size) {
  EXPECT_EQ(size.rows, screen.lines.size());
  for (const render::Line& line : screen.lines) {
    EXPECT_GE(size.columns, columnsOf(line)) << printed(line, false);
    for (const render::Span& span : line) EXPECT_EQ(text::printable(span.text), span.text);
  }
  EXPECT_GE(screen.rows.size(), screen.first);
}

const Size kSizes[] = {{1, 1},    {2, 10},   {3, 3},    {4, 200}, {5, 20},
                       {9, 40},   {12, 60},  {16, 80},  {24, 80}, {24, 132},
                       {40, 120}, {50, 200}, {60, 250}, {5, 250}, {60, 20}};

void expectFitsAnywhere(const top::Content& content) {
  for (const Size size : kSizes) {
    for (const bool help : {false, true}) {
      State state;
      state.help = help;
      expectFits(top::screenOf(state, content, size, seconds(0)), size);
      state.typing = true;
      state.filter = "e";
      expectFits(top::screenOf(state, content, size, seconds(0)), size);
    }
  }
}

}  // namespace

TEST(TopScreen, Holds80By24WithoutLossOfWhatMatters) {
  EXPECT_EQ(
      R"(zebmon top  1970-01-12 13:46:50Z  the last 10.0 s  every 2 s
broker  state  groups  nodes  stats %  texts %  events %  attached  last message
SHOP    ok          2      5        -        -         -         2          11 d
2 messages failed in the last minute, the last one at "Order in": Bank(4711).
The card is refused.
Order (orders): look at "Price": 18.0 ms a message, 70 % of the time, are spent
behind it, where no other node measures.
 times: ms a message  msg/s  elapsed  queued   self  share          wait  exc
 - Order (orders)      50.0     25.0                                 0.1    2
   Order in            50.0     25.0     2.0    2.0    8 %           0.1    2
   `- Check            50.0     23.0       -    5.4   22 %  #          -    2
      `- Price         49.0     18.0       -   18.0   70 %  ####       -
 - Stock (warehouse)   20.0      3.0                                   -
   Stock in            20.0      3.0       -      -      -             -
   Stock out           20.0      0.5       -      -      -             -


events, the newest last
13:46:49Z  message    Order  Order in  Order accepted
13:46:49Z  exception  Order  Check     Bank(4711). The card is refused
13:46:49Z  exception  Order  Order in  Bank(4711). The card is refused
13:46:49Z  exception  Order  Check     Bank(4711). The card is refused
13:46:49Z  exception  Order  Order in  Bank(4711). The card is refused
q quit  ? help  space pause  / filter  s sort  f,F fold  e events  arrows choose
)",
      screenText(orders().content(kOrdersChain)));
}

TEST(TopScreen, TellsFirstOfAFlowThatStandsAtALock) {
  top::Content content = orders().content(kOrdersChain);
  model::Finding lock;
  lock.id = "lock.stuck";
  lock.object = "lock of the events area of broker SHOP\x1b";
  lock.evidence = "process 7 took it and is dead; held for 9 s; nobody waits for it";
  lock.stops = {{"warehouse", "Stock", "Stock in"}};
  content.view.brokers[0].flows[1].kept = lock;
  expectPart(screenText(content),
             "Stock (warehouse): messages stop at \"Stock in\", at the lock of the events area");
  expectPart(screenText(content, {40, 250}), "zebmon doctor --only lock tells what to do.");
  expectFitsAnywhere(content);
}

TEST(TopScreen, UsesTheRoomOfAWideTerminal) {
  const std::string text = screenText(orders().content(kOrdersChain), {40, 200});
  for (const char* title : {"type", "bytes/s", "size", "lost", "busy", "wait"}) {
    expectPart(text, title);
  }
}

TEST(TopScreen, FitsEverySize) {
  expectFitsAnywhere(orders().content(kOrdersChain));
  expectFitsAnywhere(orders().content());
  expectFitsAnywhere(orders().firstContent());
}

TEST(TopScreen, FitsEverySizeWithoutData) {
  TopMachine none({});
  expectFitsAnywhere(none.content());
  none.before = none.after = nullptr;
  expectFitsAnywhere(none.content());
  expectPart(screenText(none.content()), "no broker has a key file (*.zebcshme) in /tmp/.");
  expectPart(screenText(none.content()), "no node");
}

TEST(TopScreen, FitsEverySizeWithHostileLabels) {
  const std::string hostile = "A\n\x1b[2J\x1b]0;x\x07\xe2\x80\xae\xff" + std::string(300, 'x');
  TopMachine machine({{hostile, hostile + "1", {{hostile, 1, {}, {10, 100}}, {"", 3, {}, {9, 90}}}},
                      {"", "", {{"名前名前名前名前名前名前名前", 1, {}, {10, 100}}}},
                      {std::string(1, '\0'), "e\u0301e\u0301", {{"%s%n", 9, {}, {1, 1}}}}});
  machine.post(hostile + "1", hostile, hostile);
  machine.post("", "", "Exception found in " + hostile);
  expectFitsAnywhere(machine.content());
  const std::string text = screenText(machine.content());
  expectPart(text, "A\\x0A\\x1B[2J");
  expectPart(text, "名前名前");
}

TEST(TopScreen, HostileNumbersStayInTheirColumns) {
  constexpr auto kMost = std::numeric_limits<std::int64_t>::max();
  expectFitsAnywhere(TopMachine({{"g",
                                  "f",
                                  {{"A", 1, {0, 0, 0, 0}, {kMost, kMost, kMost, kMost}},
                                   {"B", 1, {-kMost, 0, 0, 0}, {kMost, -kMost, -1, kMost}}}}})
                         .content());
}

TEST(TopScreen, EightHundredNodesScroll) {
  const top::Content content = manyNodes(100, 8).content();
  expectFitsAnywhere(content);
  State state;
  const top::Screen first = top::screenOf(state, content, {}, seconds(0));
  EXPECT_EQ(900U, first.rows.size());
  expectPart(textOf(first), "Node 0.0");
  state = top::pressed(state, {top::Key::Kind::end}, first);
  const top::Screen last = top::screenOf(state, content, {}, seconds(0));
  EXPECT_EQ(899U, last.at);
  EXPECT_EQ(900U, last.first + last.page) << "the chosen row is the last that is drawn";
  expectPart(textOf(last), ">  Node 99.7");
  const auto titles = [](const top::Screen& screen) {
    const std::string text = textOf(screen);
    const std::size_t at = text.find(" times: ");
    return text.substr(at, text.find('\n', at) - at);
  };
  EXPECT_EQ(titles(first), titles(last)) << "though names are longer";
  state = top::pressed(state, {top::Key::Kind::pageUp}, last);
  const top::Screen before = top::screenOf(state, content, {}, seconds(0));
  EXPECT_EQ(899U - last.page, before.at);
}

TEST(TopScreen, TheFirstLookHasNoFiguresAndSaysSo) {
  const std::string text = screenText(orders().firstContent());
  expectPart(text, "the first figures come in 2 s.");
  expectPart(text, "first look");
  expectNoPart(text, "    ?");
}

TEST(TopScreen, NamesTheNodeToLookAt) {
  const top::Content content = orders().content(kOrdersChain);
  expectPart(screenText(content), "Order (orders): look at \"Price\"");
}

TEST(TopScreen, AChosenRowIsMarkedAndTheSentenceIsAboutItsFlow) {
  const top::Content content = orders().content(kOrdersChain);
  State state;
  top::Screen screen = top::screenOf(state, content, {}, seconds(0));
  state = top::pressed(state, {top::Key::Kind::end}, screen);
  screen = top::screenOf(state, content, {}, seconds(0));
  expectPart(textOf(screen), "\n>  Stock out");
  expectPart(textOf(screen), "Stock (warehouse): which node is slow can't be told");
  state = top::pressed(state, {top::Key::Kind::escape}, screen);
  expectPart(screenText(content, {}, state), "Order (orders): look at \"Price\"");
  expectNoPart(screenText(content, {}, state), "\n>");
}

TEST(TopScreen, TellsOfABusierFlowOfWhichNothingIsKnown) {
  expectPart(screenText(orders().content("Stock in(Stock out)"), {40, 120}),
             "Order (orders) is busier, and nobody knows which of its nodes is inside which");
}

TEST(TopScreen, TellsFailuresAndTheLastOfThem) {
  expectPart(screenText(orders().content(), {40, 200}),
             "2 messages failed in the last minute, the last one at \"Order in\": Bank(4711). The "
             "card is refused.");
}

TEST(TopScreen, SortsNodesByAFigureTheLargestFirst) {
  const top::Content content = orders().content();
  State state;
  state.sort = top::Sort::elapsed;
  const std::string text = screenText(content, {}, state);
  expectPart(text, "by elapsed time");
  expectPart(text, "ELAPSED");
  EXPECT_LT(lineOf(text, " Order in "), lineOf(text, " Check "));
  EXPECT_LT(lineOf(text, " Check "), lineOf(text, " Price "));
  EXPECT_LT(lineOf(text, " Price "), lineOf(text, " Stock in "));
  expectNoPart(text, "- Order (orders)");
  state.sort = top::Sort::exceptions;
  const std::string failing = screenText(content, {}, state);
  EXPECT_LT(lineOf(failing, " Check "), lineOf(failing, " Price "));
}

TEST(TopScreen, AFoldedFlowIsOneRowWithItsSlowestNode) {
  State state;
  state.allFolded = true;
  const std::string text = screenText(orders().content(kOrdersChain), {}, state);
  expectPart(text, "+ Order (orders)");
  expectNoPart(text, "- Check");
  expectPart(text, "18.0");
  state.sort = top::Sort::rate;
  const std::string sorted = screenText(orders().content(kOrdersChain), {}, state);
  EXPECT_LT(lineOf(sorted, "+ Order (orders)"), lineOf(sorted, "+ Stock (ware"));
}

TEST(TopScreen, FiltersByEveryLabelWithoutCase) {
  const auto filtered = [](const std::string& filter) {
    State state;
    state.filter = filter;
    return screenText(orders().content(), {}, state);
  };
  expectPart(filtered("STOCK"), "Stock out");
  expectNoPart(filtered("STOCK"), "Check");
  expectPart(filtered("pri"), "- Order (orders)");
  expectPart(filtered("pri"), "`- Price");
  expectNoPart(filtered("pri"), "`- Check");
  expectPart(filtered("o*r i"), "Order in");
  expectPart(filtered("warehouse"), "Stock in");
  expectPart(filtered("zzz"), "nothing has the filter's text");
  expectPart(filtered("stock"), "filter \"stock\"");
}

TEST(TopScreen, TheEventsPaneShowsTheChosenKind) {
  const auto withPane = [](top::Pane pane) {
    State state;
    state.pane = pane;
    return screenText(orders().content(), {}, state);
  };
  expectPart(withPane(top::Pane::all), "message    Order  Order in  Order accepted");
  expectPart(withPane(top::Pane::all), "exception  Order  Order in  Bank(4711). The card");
  expectNoPart(withPane(top::Pane::exceptions), "Order accepted");
  expectPart(withPane(top::Pane::exceptions), "\nexceptions, the newest last");
  expectPart(withPane(top::Pane::messages), "Order accepted");
  expectNoPart(withPane(top::Pane::messages), "exception  ");
  expectNoPart(withPane(top::Pane::none), "the newest last");
}

TEST(TopScreen, APauseTellsHowOldTheFiguresAre) {
  State state;
  state.paused = true;
  const top::Content content = orders().content();
  expectPart(textOf(top::screenOf(state, content, {}, seconds(34))), "PAUSED, 34 s old");
  expectPart(textOf(top::screenOf({}, content, {}, seconds(34))), "Z, 34 s old");
  expectNoPart(textOf(top::screenOf({}, content, {}, seconds(3))), " s old");
}

TEST(TopScreen, SaysWhatIsWrongWithBrokersFirst) {
  TopMachine machine = orders();
  machine.after->segment.attached = 0;
  const std::string text = screenText(machine.content());
  expectPart(text, "noProcess");
  EXPECT_LT(lineOf(text, "broker SHOP: no process has its shared memory attached"),
            lineOf(text, "2 messages failed"));
}

TEST(TopScreen, ABrokerThatStopsOrComesIsSaid) {
  TopMachine machine = orders();
  const auto later = machine.after;
  machine.after = nullptr;
  expectPart(screenText(machine.content()), "broker SHOP has stopped.");
  machine.after = later;
  machine.before = nullptr;
  expectPart(screenText(machine.content()), "new");
}

TEST(TopScreen, OfManyBrokersThoseWithSomethingWrongComeFirst) {
  TopMachine machine = orders();
  top::Content content = machine.content();
  auto look = std::make_shared<model::Snapshot>(*content.view.after);
  for (int i = 0; i < 5; ++i) {
    auto other = std::make_shared<model::SeenBroker>(*machine.after);
    other->tree->label = "B" + std::to_string(i);
    other->segment.attached = i == 4 ? 0 : 2;
    look->brokers.push_back(other);
  }
  content.view.after = look;
  const std::string text = screenText(content);
  EXPECT_LT(lineOf(text, "\nB4 "), lineOf(text, "\nSHOP "));
  expectPart(text, "and 4 more: zebmon brokers");
}

TEST(TopScreen, DeadGroupsAreCounted) {
  TopMachine machine = orders();
  top::Content content = machine.content();
  auto facts = std::make_shared<model::Machine>();
  for (const std::int32_t id : {100, 101}) facts->processes[id].id = id;
  facts->processes[100].exists = false;
  facts->processes[101].exists = true;
  auto look = std::make_shared<model::Snapshot>(*content.view.after);
  look->machine = facts;
  content.view.after = look;
  expectPart(screenText(content), "2: 1 dead");
  const auto table = [&look] {
    return render::tableOf(render::brokersSheet(*look), {.width = 80});
  };
  expectPart(table(), "2: 1 dead");
  facts->processes[101].ended = true;
  expectPart(table(), "2: 2 dead");
  facts->processes[101].ended = false;
  facts->processes[101].segments.emplace();
  expectPart(table(), "2: 2 dead");  // its number is another process's
  reader::Lock lock;
  lock.name = "zeb_attach_100";
  lock.queue.lastSent = 1;
  facts->locks.locks.push_back(lock);
  expectPart(table(), "2: 1 dead");  // the other one runs in another PID namespace
}

TEST(TopScreen, ShowsOnlyWhatIsSelected) {
  top::Content content = orders().content();
  content.wanted.selection.flow = "Stock";
  const std::string text = screenText(content);
  expectNoPart(text, "Check");
  expectNoPart(text, "Order accepted");
  content.wanted.selection.flow = "None";
  expectPart(screenText(content), "no message flow \"None\"");
}

TEST(TopScreen, HelpNamesEveryKey) {
  State state;
  state.help = true;
  const std::string text = screenText(orders().content(), {}, state);
  for (const char* key : {"arrows", "Enter f", "s S", " /", " e ", "space", "Esc", " q "}) {
    expectPart(text, key);
  }
}

TEST(TopText, HasAllRowsForWhoeverHasNoScreen) {
  const top::Content content = manyNodes(20, 5).content();
  const std::string text = top::textOf(content, {}, false);
  for (const char* part : {"Node 0.0", "Node 19.4", "bytes/s", "events, the newest last"}) {
    expectPart(text, part);
  }
  EXPECT_EQ(text.npos, text.find('\x1b'));
  EXPECT_NE(text.npos, top::textOf(content, {}, true).find('\x1b'));
  std::istringstream lines(top::textOf(content, 60, false));
  for (std::string line; std::getline(lines, line);) EXPECT_GE(60U, text::columns(line)) << line;
}

}  // namespace top_screen_test
