// SPDX-License-Identifier: Apache-2.0
#include "flowfile/reader.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "host/sources/source.h"

namespace flow_file_test {

using namespace flowfile;

namespace {

// Lines 1 to 8 of every text here; what a test adds begins in line 9.
constexpr char kFlow[] =
    "[broker]\n"
    "label = \"B\"\n"
    "[[execution-group]]\n"
    "label = \"G\"\n"
    "[[execution-group.flow]]\n"
    "label = \"F\"\n"
    "[execution-group.flow.input]\n"
    "generated = { count = 3 }\n";

ReadResult read(const std::string& text) {
  return flowfile::read(text, "/tmp/flows.toml", host::readSource);
}

template <typename Settings>
const Settings& sourceOf(const File& file) {
  return std::get<Settings>(host::settingsOf(file.groups[0].flows[0].input));
}

std::string firstFinding(const std::string& text) {
  const ReadResult result = read(text);
  return result.findings.empty() ? "none" : findingText("f", result.findings.front());
}

void expectStart(const std::string& text, const std::string& start) {
  EXPECT_TRUE(text.starts_with(start)) << text;
}

std::string inNode(const std::string& lines) {
  return firstFinding(std::string(kFlow) + "[[execution-group.flow.node]]\n" + lines);
}

std::string inBroker(const std::string& line) {
  return firstFinding("[broker]\nlabel = \"B\"\n" + line + "\n" + std::string(kFlow).substr(21));
}

}  // namespace

TEST(FlowFile, ASmallOneIsRight) {
  const ReadResult result = read(kFlow);
  ASSERT_TRUE(result.findings.empty()) << result.findings.front().text;
  EXPECT_EQ(result.file.broker.label, "B");
  EXPECT_FALSE(result.file.broker.uuid);
  ASSERT_EQ(result.file.groups.size(), 1U);
  EXPECT_EQ(sourceOf<host::Generated>(result.file).count, 3U);
  EXPECT_EQ(result.file.groups[0].flows[0].threads, 1U);
}

TEST(FlowFile, EveryKeyArrives) {
  const ReadResult result = read(
      "seed = 9\n"
      "[broker]\nlabel = \"B 1\"\nuuid = \"u-1\"\ntemp-directory = \"/tmp\"\n"
      "memory-size = \"64KiB\"\nactivate = \"EVENTONLY\"\nactivate-for-broker = \"No\"\n"
      "trace = true\n"
      "[[execution-group]]\nlabel = \"G\"\n"
      "[[execution-group.flow]]\nlabel = \"F\"\nthreads = 4\n"
      "[execution-group.flow.input]\nlines = \"-\"\nrate = 2.5\narrival = \"poisson\"\n"
      "queue = 7\napplication = \"app\"\napplication-type = -2\nserialise = \"lazy\"\n"
      "[[execution-group.flow.node]]\nmonitor = \"M\"\ntype = \"input\"\neventMessage = \"e\"\n"
      "collectQueueTime = \"no\"\nsubFlowName = \"s\"\nactivateNode = \"EventOnly\"\n"
      "[[execution-group.flow.node]]\nwork = \"W\"\nlatency = { uniform = [\"1ms\", \"3ms\"] }\n"
      "failure = { probability = 0.5, every = 10, origin = \"o\", code = \"c\", text = [\"a\", "
      "\"b\"] }\n"
      "[execution-group.flow.output]\nlines = \"out.txt\"\n");
  ASSERT_TRUE(result.findings.empty()) << result.findings.front().text;
  const flowfile::File& file = result.file;
  EXPECT_EQ(file.seed, 9U);
  EXPECT_EQ(file.broker.uuid, "u-1");
  EXPECT_EQ(file.broker.tempDirectory, "/tmp");
  EXPECT_EQ(file.broker.memorySize, 65536);
  EXPECT_EQ(file.broker.activate, "EVENTONLY");
  EXPECT_EQ(file.broker.activateForBroker, "No");
  EXPECT_TRUE(file.broker.trace);
  const Flow& flow = file.groups[0].flows[0];
  EXPECT_EQ(flow.threads, 4U);
  EXPECT_TRUE(sourceOf<host::Lines>(file).standardInput());
  EXPECT_EQ(flow.input.rate, 2.5);
  EXPECT_EQ(flow.input.arrival, Input::Arrival::poisson);
  EXPECT_EQ(flow.input.queue, 7U);
  EXPECT_EQ(flow.input.application, "app");
  EXPECT_EQ(flow.input.applicationType, -2);
  EXPECT_TRUE(flow.input.lazy);
  EXPECT_EQ(flow.output->path, "/tmp/out.txt");
  EXPECT_EQ(flow.output->place, (Place{35, 9}));
  const auto& monitor = std::get<MonitorNode>(flow.nodes[0]);
  EXPECT_EQ(monitor.label, "M");
  EXPECT_EQ(monitor.type, "input");
  EXPECT_EQ(monitor.eventMessage, "e");
  EXPECT_EQ(monitor.collectQueueTime, "no");
  EXPECT_EQ(monitor.subFlowName, "s");
  EXPECT_EQ(monitor.activateNode, "EventOnly");
  const auto& work = std::get<WorkNode>(flow.nodes[1]);
  EXPECT_EQ(work.latency.kind, Distribution::Kind::uniform);
  EXPECT_DOUBLE_EQ(work.latency.second, 0.003);
  ASSERT_TRUE(work.failure);
  EXPECT_EQ(work.failure->every, 10U);
  EXPECT_EQ(work.failure->origin, "o");
  EXPECT_EQ(work.failure->texts, (std::vector<std::string>{"a", "b"}));
}

TEST(FlowFile, TheExamplesAreRight) {
  for (const char* name : {"/orders.toml", "/lines.toml", "/drills.toml"}) {
    const std::filesystem::path path = std::string(ZEB_EXAMPLES) + name;
    std::ifstream stream(path);
    const std::string text(std::istreambuf_iterator<char>(stream), {});
    ASSERT_FALSE(text.empty()) << name;
    const ReadResult result = flowfile::read(text, path, host::readSource);
    for (const Finding& finding : result.findings) ADD_FAILURE() << findingText(path, finding);
  }
}

TEST(Check, SaysWhereASyntaxErrorIs) {
  EXPECT_EQ(firstFinding("[broker]\nlabel = \n").rfind("f:2:", 0), 0U);
}

TEST(Check, SaysWhatASyntaxErrorIsInItsOwnWords) {
  const auto found = [](const char* text) { return firstFinding(text).substr(6); };
  EXPECT_EQ(firstFinding("a = \"\xFF\"\n"),
            "f:1:5: bytes that are no text in UTF-8; expected a text file");
  EXPECT_EQ(found("[a]\n[a]\n"),
            " a name that was given before; expected each key and each table once");
  EXPECT_EQ(found("[broker\n"), " the name of a table without its end; expected ']'");
  EXPECT_EQ(found("label\n"), " a key without '='; expected KEY = VALUE");
  EXPECT_EQ(found("a = \n"), " no value behind '='; expected KEY = VALUE");
  EXPECT_EQ(found("a = x\n"), " no value of a flow file; expected a text in quotes or a number");
  EXPECT_EQ(found("a = 5ms\n"),
            " a number with something else in it; expected quotes around a text");
  EXPECT_EQ(found("a = \"x\n"), " a text without its end in that line; expected a closing quote");
  EXPECT_EQ(found("a = 1 b = 2\n"),
            " something behind a value; expected each key in a line of its own");
  EXPECT_TRUE(found("a = True\n").starts_with(" syntax error: "));
}

TEST(Check, SaysLimitsInGroupsOfDigits) {
  EXPECT_EQ(firstFinding("seed = -1\n" + std::string(kFlow)),
            "f:1:8: 'seed' is -1; expected an integer from 0 to 1,000,000,000,000");
  EXPECT_EQ(firstFinding(std::string(kFlow) + "application-type = \"x\"\n"),
            "f:9:20: 'application-type' is \"x\"; expected an integer from -2,147,483,648 to "
            "2,147,483,647");
}

TEST(Check, FindsUnknownKeys) {
  EXPECT_EQ(inBroker("labl = \"X\""),
            "f:3:1: unknown key 'labl' in [broker]; expected one of label, uuid, temp-directory, "
            "memory-size, activate, activate-for-broker, trace");
  EXPECT_EQ(firstFinding("[brokr]\n" + std::string(kFlow)),
            "f:1:2: unknown key 'brokr' in the file; expected one of seed, broker, "
            "execution-group, drill");
}

TEST(Check, FindsUnknownAttributesAndNamesTheOneMeant) {
  EXPECT_EQ(inNode("monitor = \"M\"\neventmessage = \"x\"\n"),
            "f:11:1: unknown attribute 'eventmessage' in [[execution-group.flow.node]]; expected "
            "'eventMessage'");
}

TEST(Check, FindsTypesThatTheNodeWouldTakeAsOther) {
  EXPECT_EQ(inNode("monitor = \"M\"\ntype = \"Input\"\n"),
            "f:11:8: 'type' is \"Input\"; expected one of \"input\", \"output\", \"subFlowInput\", "
            "\"subFlowOutput\", \"other\", in exactly these letters");
}

TEST(Check, FindsAQueueTimeSwitchThatTheNodeWouldTakeAsNo) {
  EXPECT_EQ(inNode("monitor = \"M\"\ncollectQueueTime = \"Yes\"\n"),
            "f:11:20: 'collectQueueTime' is \"Yes\"; expected one of \"yes\", \"no\", in exactly "
            "these letters");
}

TEST(Check, FindsActivationsThatTheNodeWouldTakeAsYes) {
  expectStart(inNode("monitor = \"M\"\nactivateNode = \"events\"\n"),
              "f:11:16: 'activateNode' is \"events\"; ");
  EXPECT_EQ(inNode("monitor = \"M\"\nactivateNode = \"EVENTONLY\"\n"), "none");
}

TEST(Check, FindsABrokerOverrideThatWouldBeIgnored) {
  expectStart(inBroker("activate = \"Off\""), "f:3:12: 'activate' is \"Off\"; e");
}

TEST(Check, FindsSettingsOfWhichOnlyAWordWouldBeRead) {
  expectStart(inBroker("uuid = \"a b\""), "f:3:8: 'uuid' is \"a b\",");
  expectStart(inBroker("uuid = \"=a\""), "f:3:8: '");
  expectStart(inBroker("uuid = \"a/b\""), "f:3:8: '");
}

TEST(Check, FindsAUuidThatIsTooLongForTheNamesOfFiles) {
  EXPECT_EQ(inBroker("uuid = \"" + std::string(238, 'u') + "\""), "none");
  expectStart(inBroker("uuid = \"" + std::string(239, 'u') + "\""),
              "f:3:8: the names of key files begin with the UUID, and a file's name has an end; "
              "expected at most 238 characters");
}

TEST(Check, FindsAMemorySizeThatWouldBeRaised) {
  expectStart(inBroker("memory-size = 100"), "f:3:15: 'memory-size' is 100; e");
}

TEST(Check, FindsDuplicateLabelsAtEachLevel) {
  const std::string group(std::string(kFlow).substr(21));
  expectStart(firstFinding(kFlow + group),
              "f:10:9: label \"G\" is used twice, first in line 4; expected a ");
  expectStart(inNode("monitor = \"M\"\n[[execution-group.flow.node]]\nwork = \"M\"\n"),
              "f:12:8: label \"M\" is used twi");
}

TEST(Check, FindsMissingFilesAndFolders) {
  const std::string start = std::string(kFlow).substr(0, std::string(kFlow).find("generated"));
  EXPECT_EQ(firstFinding(start + "lines = \"nosuch.txt\"\n"),
            "f:8:9: no file /tmp/nosuch.txt; expected one that exists");
  EXPECT_EQ(firstFinding(start + "files = \"nosuch\"\n"),
            "f:8:9: no folder /tmp/nosuch; expected one that exists");
  EXPECT_EQ(inBroker("temp-directory = \"/nosuch\""),
            "f:3:18: no folder /nosuch; expected one that exists");
}

TEST(Check, TellsFilesFromFolders) {
  const std::string start = std::string(kFlow).substr(0, std::string(kFlow).find("generated"));
  EXPECT_EQ(firstFinding(start + "lines = \"/usr\"\n"), "f:8:9: /usr is a folder; expected a file");
  EXPECT_EQ(firstFinding(start + "files = \"/etc/passwd\"\n"),
            "f:8:9: /etc/passwd is no folder; expected one");
}

TEST(Check, FindsWrongTypesAndUnits) {
  EXPECT_EQ(inBroker("trace = \"On\""), "f:3:9: 'trace' is \"On\"; expected true or false");
  expectStart(inNode("work = \"W\"\nlatency = \"5\"\n"), "f:11:11: 'latency' is \"5\"");
  expectStart(inNode("work = \"W\"\nlatency = { uniform = [\"3ms\", \"1ms\"] }\n"), "f:11:23: '");
  EXPECT_EQ(inNode("work = \"W\"\nlatency = { gamma = \"3ms\" }\n"),
            "f:11:13: unknown distribution 'gamma'; expected one of constant, uniform, "
            "exponential, normal");
}

TEST(Check, FindsWhatIsNotThere) {
  EXPECT_EQ(firstFinding(""), "f:1:1: the file has no [broker]; expected one with a label");
  expectStart(firstFinding("[broker]\n[[execution-group]]\nlabel = \"G\"\n"),
              "f:1:1: [broker] has no 'label'; ");
  expectStart(inNode("type = \"input\"\n"), "f:9:1: expected exactly one of");
}

TEST(Check, FindsAFailureThatNeverHappens) {
  EXPECT_EQ(inNode("work = \"W\"\nfailure = { text = \"x\" }\n"),
            "f:11:11: a failure that never happens; expected probability, every, or both");
}

TEST(Check, FindsASecondFlowOnStandardInput) {
  const std::string flow =
      "[[execution-group.flow]]\nlabel = \"%\"\n[execution-group.flow.input]\nlines = \"-\"\n";
  std::string second = flow;
  second.replace(second.find('%'), 1, "F2");
  expectStart(
      firstFinding("[broker]\nlabel = \"B\"\n[[execution-group]]\nlabel = \"G\"\n" + flow + second),
      "f:12:9: standard input is read for another flow already; expected a file");
}

TEST(Check, FindsADistributionThatRunsDown) {
  EXPECT_EQ(inNode("work = \"W\"\nlatency = { uniform = [\"3ms\", \"1ms\"] }\n"),
            "f:11:23: 'uniform' runs from \"3ms\" down to \"1ms\"; expected the low end first");
  EXPECT_EQ(inNode("work = \"W\"\nlatency = { uniform = [\"3ms\", \"3ms\"] }\n"), "none");
  expectStart(inNode("work = \"W\"\nlatency = { uniform = [\"3ms\"] }\n"),
              "f:11:23: 'uniform' has 1 value; expected [low, high], each a duration");
  expectStart(inNode("work = \"W\"\nlatency = { uniform = [\"3ms\", 5] }\n"),
              "f:11:23: 'uniform' holds 5; expected [low, high], each a duration");
}

TEST(Check, FindsRepeatWhereNothingCanBeReadTwice) {
  const std::string start = std::string(kFlow).substr(0, std::string(kFlow).find("generated"));
  const std::string text = "'repeat' goes with a regular file or a folder only";
  EXPECT_EQ(firstFinding(std::string(kFlow) + "repeat = 2\n"), "f:9:10: " + text);
  EXPECT_EQ(firstFinding(start + "lines = \"-\"\nrepeat = 2\n"), "f:9:10: " + text);
  EXPECT_EQ(firstFinding(start + "lines = \"/dev/null\"\nrepeat = 2\n"), "f:9:10: " + text);
  EXPECT_EQ(firstFinding(start + "files = \"/tmp\"\nrepeat = 2\n"), "none");
}

TEST(Check, FindsNoOrSeveralSources) {
  const std::string start = std::string(kFlow).substr(0, std::string(kFlow).find("generated"));
  const std::string text = "f:7:1: expected exactly one of lines, files, generated";
  EXPECT_EQ(firstFinding(start + "repeat = 2\n"), text);
  EXPECT_EQ(firstFinding(std::string(kFlow) + "files = \"/tmp\"\n"), text);
}

TEST(Check, FindsWhatGoesTooDeepBeforeItIsParsed) {
  std::string key = "a";
  for (int i = 0; i < 80000; ++i) key += ".a";
  expectStart(firstFinding(kFlow + key + " = 1\n"), "f:9:201: a key of more than 100 parts");
  EXPECT_EQ(read(kFlow + key + " = 1\n").findings.size(), 1U);
}

TEST(Check, StandardInputServesTheFlowFileOrAFlow) {
  const std::string start = std::string(kFlow).substr(0, std::string(kFlow).find("generated"));
  const ReadResult result = flowfile::read(start + "lines = \"-\"\n", "-", host::readSource);
  ASSERT_EQ(result.findings.size(), 1U);
  EXPECT_EQ(findingText("-", result.findings[0]),
            "-:8:9: standard input is read for the flow file already; expected a file");
}

TEST(Check, LeavesSourcesAloneWithoutAReaderOfThem) {
  const std::string start = std::string(kFlow).substr(0, std::string(kFlow).find("generated"));
  const ReadResult result = flowfile::read(start + "lines = \"nosuch\"\nrate = 5\n", "/tmp/f");
  EXPECT_TRUE(result.findings.empty());
  EXPECT_FALSE(result.file.groups[0].flows[0].input.source.has_value());
  EXPECT_EQ(result.file.groups[0].flows[0].input.rate, 5);
}

// Templates hold 68 bytes and two for each unit of four texts, and an area of 4096 bytes has room
// for 4064. The group and the flow have labels of one unit.
TEST(Check, FindsTextsThatDoNotFitTheirArea) {
  const std::string small = "[broker]\nlabel = \"B\"\nmemory-size = 4096\n" +
                            std::string(kFlow).substr(21) + "[[execution-group.flow.node]]\n";
  const auto withMessage = [&](std::size_t units, const std::string& character) {
    std::string text;
    for (std::size_t i = 0; i < units; ++i) text += character;
    return firstFinding(small + "monitor = \"M\"\neventMessage = \"" + text + "\"\n");
  };
  EXPECT_EQ(withMessage(1995, "x"), "none");
  EXPECT_EQ(withMessage(1996, "x"),
            "f:12:16: the event template takes 4066 bytes, but an area has room for 4064; expected "
            "shorter texts or a larger memory-size");
  EXPECT_EQ(withMessage(1995, "\xC3\xA9"), "none") << "one unit each";
  expectStart(withMessage(998, "\xF0\x9F\x98\x80"), "f:12:16: ");
  EXPECT_EQ(withMessage(997, "\xF0\x9F\x98\x80"), "none") << "two units each";
}

TEST(Check, FindsLabelsAndSubFlowsThatDoNotFitTheirArea) {
  expectStart(inNode("monitor = \"" + std::string(16334, 'x') + "\"\n"), "f:10:11: the event temp");
  EXPECT_EQ(inNode("monitor = \"" + std::string(16332, 'x') + "\"\n"), "none");
  expectStart(inNode("monitor = \"M\"\nsubFlowName = \"" + std::string(16337, 'x') + "\"\n"),
              "f:11:15: the node record takes 32738 bytes, but an area has room for 32736");
  EXPECT_EQ(inNode("monitor = \"M\"\nsubFlowName = \"" + std::string(16336, 'x') + "\"\n"), "none");
}

// "Exception found in o(c). TEXT" beside the labels G, F and MM.
TEST(Check, FindsFailuresWhoseTextDoesNotFit) {
  const auto failing = [](const std::string& text) {
    return "[[execution-group.flow.node]]\nwork = \"w\"\nfailure = { every = 1, origin = \"o\", "
           "code = \"c\", text = [\"x\", \"" +
           text + "\"] }\n";
  };
  const std::string fits(16305, 'x');
  const std::string monitors = "monitor = \"MM\"\n[[execution-group.flow.node]]\nmonitor = \"N\"\n";
  EXPECT_EQ(inNode(monitors + failing(fits)), "none");
  expectStart(inNode(monitors + failing(fits + "x")), "f:15:57: the event template takes 32738");
  expectStart(inNode(monitors + failing(fits.substr(1) + "\xC3\xA9")), "f:15:57: the event temp");
  EXPECT_EQ(inNode("work = \"v\"\n" + failing(fits + "x")), "none") << "no node posts it";
  expectStart(inNode("monitor = \"M\"\n[[execution-group.flow.node]]\nwork = \"" +
                     std::string(20000, 'x') + "\"\nfailure = { every = 1 }\n"),
              "f:13:11: the event template");
}

TEST(Check, QuotesLongTextsInPart) {
  const std::string text = inNode("monitor = \"M\"\ntype = \"" + std::string(5000, 'x') + "\"\n");
  expectStart(text, "f:11:8: 'type' is \"" + std::string(59, 'x') + "\xE2\x80\xA6\"; expected");
}

}  // namespace flow_file_test
