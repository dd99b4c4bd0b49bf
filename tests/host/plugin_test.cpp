// SPDX-License-Identifier: Apache-2.0
// The host's functions and flows, with a plug-in that only passes messages on.
#include "host/run/plugin.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <stdexcept>
#include <thread>

#include "host/run/exception.h"
#include "host/run/log.h"
#include "host/run/node.h"
#include "host/run/running_flow.h"
#include "host/run/tally.h"
#include "interface/host_interface.h"

namespace plugin_test {

using flowfile::Failure;
using flowfile::MonitorNode;
using flowfile::WorkNode;
using namespace host;

namespace {

MonitorNode monitor(const std::string& label) {
  MonitorNode node;
  node.label = label;
  return node;
}

WorkNode failing(const std::string& label, std::uint64_t every) {
  return {label, {}, Failure{0, every, "origin", "code", {"even", "odd"}}};
}

// A file of one flow whose messages the tests hand in themselves.
flowfile::File oneFlow(std::vector<flowfile::Node> nodes) {
  flowfile::File file;
  file.groups.push_back({"G", {flowfile::Flow{}}});
  flowfile::Flow& flow = file.groups[0].flows[0];
  flow.label = "F";
  flow.nodes = std::move(nodes);
  flow.input.queue = 10;
  flow.input.source = SourceSettings(Generated{1, {}});
  return file;
}

struct Bench {
  explicit Bench(std::vector<flowfile::Node> nodes)
      : file(oneFlow(std::move(nodes))), tally(file), flow(make()) {}

  std::unique_ptr<RunningFlow> make() {
    setLog(-1, &tally.log());
    FlowTally counts{&tally.flow(0, 0), {}};
    for (std::size_t i = 0; i < file.groups[0].flows[0].nodes.size(); ++i) {
      counts.nodes.push_back(&tally.node(0, 0, i));
    }
    return std::make_unique<RunningFlow>(file.groups[0].flows[0], HostNames{u"B", u"G", u"F"},
                                         plugin, counts, FlowSettings{}, stop);
  }

  void send(std::uint64_t number, bool lazy = false) {
    HostMessage message(number, Descriptor{}, "body", lazy);
    flow->handle(message);
  }

  Plugin plugin{ZEB_ECHO_PLUGIN};
  flowfile::File file;
  Tally tally;
  StopSignal stop;
  std::unique_ptr<RunningFlow> flow;
};

}  // namespace

TEST(Plugin, AMissingFileAndAFileWithoutEntryPointAreSaid) {
  EXPECT_THROW(Plugin("/nosuch.lil"), std::runtime_error);
  EXPECT_THROW(Plugin("libm.so.6"), std::runtime_error);
}

TEST(Plugin, DefinesItsClassInTheFactoryCall) {
  const Plugin plugin(ZEB_ECHO_PLUGIN);
  EXPECT_EQ(plugin.factory()->name, u"EchoFactory");
  EXPECT_EQ(plugin.factory()->classes.back().name, u"EchoNode");
  EXPECT_EQ(plugin.table().version, 3);
}

TEST(DeployedNode, EnumeratesAndReadsBackWhatWasSet) {
  const Plugin plugin(ZEB_ECHO_PLUGIN);
  MonitorNode node = monitor("M");
  node.type = "input";
  node.eventMessage = "\xC3\xA9vent";
  const DeployedNode deployed(plugin, node, {u"B", u"G", u"F"}, [](HostMessage&) {});
  ASSERT_EQ(deployed.attributes().size(), 5U);
  EXPECT_EQ(deployed.attributes()[0].name, "type");
  EXPECT_EQ(deployed.attributes()[0].value, "input");
  EXPECT_EQ(deployed.attributes()[1].value, "\xC3\xA9vent");
  EXPECT_EQ(deployed.difference(node), "");
  node.type = "output";
  EXPECT_EQ(deployed.difference(node), "type was set to \"output\" and reads \"input\"; ");
}

TEST(HostFunctions, AClassNeedsItsFactoryAndItsTable) {
  HostFactory factory;
  HostNodeFunctionTable table{};
  const uint16_t name[] = {'N', 0};
  int code = HOST_SUCCESS;
  hnxDefineNodeClass(&code, nullptr, name, &table);
  EXPECT_NE(code, HOST_SUCCESS);
  hnxDefineNodeClass(&(code = HOST_SUCCESS), &factory, name, nullptr);
  EXPECT_NE(code, HOST_SUCCESS);
  EXPECT_TRUE(factory.classes.empty());
  hnxDefineNodeClass(&code, &factory, name, &table);
  EXPECT_EQ(code, HOST_SUCCESS);
  EXPECT_EQ(factory.classes.size(), 1U);
}

TEST(HostFunctions, NamesComeAsLengthsFirstAndThenAsUnits) {
  HostNode node{{u"BRK", u"Group", u"F"}, nullptr, {}};
  HostBrokerInfo info{};
  int code = 99;
  hnxGetBrokerInfo(&code, &node, &info);
  EXPECT_EQ(code, HOST_SUCCESS);
  EXPECT_EQ(info.broker.length, 3);
  EXPECT_EQ(info.executionGroup.length, 5);
  uint16_t units[4] = {1, 1, 1, 1};
  info.broker.buffer = units;
  info.broker.bufferLength = 3;
  hnxGetBrokerInfo(&code, &node, &info);
  EXPECT_EQ(units[0], 'B');
  EXPECT_EQ(units[2], 'K');
  EXPECT_EQ(units[3], 1) << "beyond the buffer's length";
}

TEST(HostFunctions, APropagationWithoutTerminalIsRefused) {
  HostMessage message(1, Descriptor{}, "", false);
  int code = 0;
  hnxPropagate(&code, nullptr, nullptr, nullptr, &message);
  EXPECT_NE(code, HOST_SUCCESS);
  EXPECT_NE(code, HOST_EXCEPTION);
}

TEST(HostFunctions, AFailureDownstreamIsPendingUntilItIsRaisedAgain) {
  HostNode node{{}, nullptr, {}};
  node.downstream = [](HostMessage&) {
    throw MessageFailure{std::make_shared<ExceptionData>(ExceptionData{"o", "c", "t"})};
  };
  int code = 0;
  const uint16_t name[] = {'o', 'u', 't', 0};
  HostTerminal* out = hnxCreateOutputTerminal(&code, &node, name);
  HostMessage message(1, Descriptor{}, "", false);
  hnxPropagate(&code, out, nullptr, nullptr, &message);
  EXPECT_EQ(code, HOST_EXCEPTION);
  HostExceptionData data{};
  hcxGetLastExceptionData(&code, &data);
  EXPECT_STREQ(data.origin, "o");
  EXPECT_STREQ(data.code, "c");
  EXPECT_STREQ(data.text, "t");
  EXPECT_THROW(hcxRethrowLastException(&code), MessageFailure);
  EXPECT_EQ(pendingException(), nullptr);
  EXPECT_NO_THROW(hcxRethrowLastException(&code)) << "nothing is pending any more";
}

TEST(HostFunctions, EachThreadHasItsOwnPendingException) {
  setPendingException(std::make_shared<ExceptionData>());
  std::thread([] { EXPECT_EQ(pendingException(), nullptr); }).join();
  EXPECT_NE(pendingException(), nullptr);
  clearPendingException();
}

TEST(RunningFlow, MessagesRunThroughEveryNode) {
  Bench bench({monitor("a"), WorkNode{"w", {}, {}}, monitor("b")});
  bench.send(1);
  bench.send(2, true);
  EXPECT_EQ(bench.tally.flow(0, 0).handled, 2U);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(bench.tally.node(0, 0, i).messages, 2U);
    EXPECT_EQ(bench.tally.node(0, 0, i).bytes, 2 * 368U);
    EXPECT_EQ(bench.tally.node(0, 0, i).smallest, 368U);
  }
}

TEST(RunningFlow, AnExceptionPassesThroughEveryNestedNode) {
  Bench bench({monitor("a"), monitor("b"), failing("w", 2), monitor("c")});
  for (std::uint64_t number = 1; number <= 10; ++number) bench.send(number);
  EXPECT_EQ(bench.tally.flow(0, 0).handled, 5U);
  EXPECT_EQ(bench.tally.flow(0, 0).failed, 5U);
  EXPECT_EQ(bench.tally.flow(0, 0).swallowed, 0U);
  EXPECT_EQ(bench.tally.node(0, 0, 0).failures, 5U);
  EXPECT_EQ(bench.tally.node(0, 0, 1).failures, 5U);
  EXPECT_EQ(bench.tally.node(0, 0, 2).failures, 5U);
  EXPECT_EQ(bench.tally.node(0, 0, 3).messages, 5U);
  EXPECT_EQ(bench.tally.node(0, 0, 3).failures, 0U);
  EXPECT_EQ(bench.tally.log().byNumber[2], 10U) << "both outer nodes log each of five failures";
}

TEST(RunningFlow, ExceptionsOfSeveralThreadsStayApart) {
  Bench bench({monitor("a"), failing("w", 3)});
  std::vector<std::thread> threads;
  for (std::uint64_t t = 0; t < 8; ++t) {
    threads.emplace_back([&bench, t] {
      for (std::uint64_t i = 1; i <= 300; ++i) bench.send(t * 300 + i);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(bench.tally.flow(0, 0).handled, 1600U);
  EXPECT_EQ(bench.tally.flow(0, 0).failed, 800U);
}

TEST(Failure, EveryNthMessageFailsAndNoOther) {
  const Failure failure{0, 4, "", "", {""}};
  std::vector<std::uint64_t> failed;
  for (std::uint64_t number = 1; number <= 13; ++number) {
    Random random(number);
    if (fails(failure, number, random)) failed.push_back(number);
  }
  EXPECT_EQ(failed, (std::vector<std::uint64_t>{4, 8, 12}));
}

TEST(RunningFlow, AnExceptionThatANodeKeepsIsCountedAndRaisedByTheHost) {
  Bench bench({monitor("swallow"), failing("w", 1)});
  bench.send(1);
  EXPECT_EQ(bench.tally.flow(0, 0).swallowed, 1U);
  EXPECT_EQ(bench.tally.flow(0, 0).failed, 1U);
  EXPECT_EQ(bench.tally.node(0, 0, 0).failures, 1U);
}

TEST(Failure, WithoutEveryAndProbabilityNothingFails) {
  Random random(1);
  for (std::uint64_t number = 0; number <= 1000; ++number) {
    EXPECT_FALSE(fails(Failure{0, 0, "", "", {""}}, number, random));
  }
}

TEST(Failure, TextsTakeTurnsByMessageNumber) {
  Bench bench({monitor("a"), failing("w", 1)});
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  setLog(ends[1], nullptr);
  for (std::uint64_t number = 1; number <= 4; ++number) {
    bench.send(number);
    char line[1024] = {};
    ASSERT_GT(read(ends[0], line, sizeof line - 1), 0);
    const char* const text = number % 2 == 0 ? "origin | code | even]" : "origin | code | odd]";
    EXPECT_NE(std::string_view(line).find(text), std::string_view::npos) << line;
  }
  close(ends[0]);
  close(ends[1]);
}

TEST(Failure, ChanceDependsOnTheMessageAlone) {
  const Failure failure{0.25, 0, "", "", {""}};
  int failed = 0;
  for (std::uint64_t number = 1; number <= 10000; ++number) {
    Random first(mixSeeds(1, number));
    Random again(mixSeeds(1, number));
    const bool fell = fails(failure, number, first);
    EXPECT_EQ(fell, fails(failure, number, again));
    failed += fell ? 1 : 0;
  }
  EXPECT_NEAR(failed, 2500, 150);
}

TEST(Log, MessagesShowTheirInsertsAndControlCharactersAreWrittenOut) {
  EXPECT_EQ(logText({"zebpcont", 12, "f", "", 0, "Entry", {}}), "zebpcont f:12: Entry");
  EXPECT_EQ(logText({"unit", 3, "f", "Source", 2, "a\nb\x1B", {"x", "y"}}),
            "unit f:3: Source message 2: a\\x0Ab\\x1B [x | y]");
}

TEST(Log, EntriesAreCountedByTheirNumbers) {
  LogCount count{};
  setLog(-1, &count);
  for (const int number : {0, 0, 1, 2, 2, 3, 9}) writeLog({"u", 1, "f", "", number, "", {}});
  EXPECT_EQ(count.byNumber[0], 2U);
  EXPECT_EQ(count.byNumber[1], 1U);
  EXPECT_EQ(count.byNumber[2], 2U);
  EXPECT_EQ(count.byNumber[3], 2U) << "what is above counts with the last";
}

}  // namespace plugin_test
