// SPDX-License-Identifier: Apache-2.0
// Whole runs of the program, with the library and the agent as they were built.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "flowfile/reader.h"
#include "format/version.h"
#include "host/report/room.h"
#include "host/sources/source.h"
#include "tests/host/programs.h"

namespace run_test {

namespace fs = std::filesystem;
using Json = nlohmann::json;

namespace {

class Run : public testing::Test {
 protected:
  void SetUp() override { fs::create_directories(folder_); }
  void TearDown() override { fs::remove_all(folder_); }

  // Runs the program with these arguments, as bash reads them, and keeps what it says. `to` is
  // where its standard output goes in place of out_.
  int zebhost(const std::string& arguments, const std::string& to = "") {
    fs::remove(folder_ / "out");
    const std::string command = std::string(ZEB_HOST_PROGRAM) + " " + arguments + " 2>" +
                                (folder_ / "err").string() +
                                (to.empty() ? " >" + (folder_ / "out").string() : to);
    const int status = bash(command);
    out_ = contents("out");
    err_ = contents("err");
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  std::string contents(const std::string& name) const {
    std::ifstream stream(folder_ / name);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  std::string flows(const std::string& text) const {
    std::ofstream(folder_ / "f.toml") << text;
    return (folder_ / "f.toml").string();
  }

  std::string file() const { return (folder_ / "f.toml").string(); }

  // An agent that answers with documents of an empty machine, or with others, and ends like that.
  std::string agent(const std::string& end, const std::string& brokers = "[]") const {
    const fs::path path = folder_ / "agent";
    std::ofstream(path) << "#!/bin/sh\ntest $1 = events || echo \"{\\\"brokers\\\":" << brokers
                        << "}\"\n"
                        << end << "\n";
    fs::permissions(path, fs::perms::owner_all);
    return path.string();
  }

  Json summary() const { return Json::parse(contents("s.json")); }

  fs::path folder_ = "/tmp/host_run";
  std::string out_;
  std::string err_;
};

std::string group(const std::string& label, const std::string& input, const std::string& nodes) {
  return "[[execution-group]]\nlabel = \"" + label +
         "\"\n[[execution-group.flow]]\nlabel = \"Flow\"\nthreads = 4\n"
         "[execution-group.flow.input]\n" +
         input + nodes;
}

constexpr char kBroker[] = "[broker]\nlabel = \"B\"\nuuid = \"u-1\"\nmemory-size = \"1MiB\"\n";
constexpr char kInput[] =
    "[[execution-group.flow.node]]\nmonitor = \"in\"\ntype = \"input\"\neventMessage = \"seen\"\n";
constexpr char kFailing[] =
    "[[execution-group.flow.node]]\nwork = \"w\"\n"
    "failure = { every = 5, origin = \"o\", code = \"c\", text = \"t\" }\n";
constexpr char kOutput[] = "[[execution-group.flow.node]]\nmonitor = \"out\"\ntype = \"output\"\n";

}  // namespace

TEST_F(Run, TwoProcessesAgreeWithSharedMemory) {
  const std::string nodes = std::string(kInput) + kOutput;
  const std::string file =
      flows(kBroker +
            group("one", "generated = { count = 500, size = { uniform = [0, 300] } }\n", nodes) +
            group("two", "generated = { count = 700 }\nserialise = \"lazy\"\n", nodes));
  const fs::path json = folder_ / "s.json";
  EXPECT_EQ(zebhost("run " + file + " --verify --summary-json " + json.string()), 0)
      << out_ << err_;
  EXPECT_NE(out_.find("The host and shared memory agree: 4 nodes, 2,400 measurements."),
            std::string::npos)
      << out_;
  const Json document = summary();
  EXPECT_EQ(document["verification"]["nodes"][0]["sharedMemory"]["messages"], 500);
  EXPECT_EQ(document["verification"]["nodes"][2]["sharedMemory"]["bytes"], 700 * 464);
  EXPECT_EQ(document["verification"]["events"]["sharedMemory"]["message"], 1200);
}

TEST_F(Run, FailuresAreCountedTwiceByTwoNodesAndPostedAsEvents) {
  const std::string file = flows(kBroker + group("one", "generated = { count = 200 }\n",
                                                 std::string(kInput) + kOutput + kFailing));
  const fs::path json = folder_ / "s.json";
  EXPECT_EQ(zebhost("run " + file + " --verify --summary-json " + json.string()), 0)
      << out_ << err_;
  const Json document = summary();
  EXPECT_EQ(document["messageFlows"][0]["failed"], 40);
  EXPECT_EQ(document["messageFlows"][0]["swallowed"], 0);
  EXPECT_EQ(document["verification"]["events"]["sharedMemory"]["exception"], 80);
}

TEST_F(Run, ADifferenceIsAnExitCodeOfOne) {
  const std::string file =
      flows(kBroker + group("one", "generated = { count = 5 }\n", std::string(kInput)));
  EXPECT_EQ(zebhost("run " + file + " --verify --agent " + agent("exit 0")), 1) << err_;
  EXPECT_NE(out_.find("DIFFER in 1 of 1 node and in their events"), std::string::npos) << out_;
}

// Forty nodes in two groups, in areas of so many bytes.
std::string crowd(std::uint64_t memorySize) {
  std::string text =
      "[broker]\nlabel = \"B\"\nuuid = \"u-2\"\nmemory-size = " + std::to_string(memorySize) + "\n";
  for (const char* label : {"one", "two"}) {
    std::string nodes = kInput;
    for (int i = 0; i < 19; ++i) {
      nodes += "[[execution-group.flow.node]]\nmonitor = \"n" + std::to_string(i) +
               "\"\nsubFlowName = \"sub\"\n";
    }
    text += group(label, "generated = { count = 5 }\n", nodes);
  }
  return text;
}

TEST_F(Run, TheRoomThatNodesNeedIsKnownToTheByte) {
  const auto read = flowfile::read(crowd(1 << 20), "/tmp/f.toml", host::readSource);
  const std::uint64_t needed = host::statisticsRoom(read.file).needed + 32;
  EXPECT_EQ(zebhost("run " + flows(crowd(needed)) + " --verify"), 0) << out_ << err_;
  EXPECT_EQ(err_.find("nodes don't fit"), std::string::npos) << err_;
  EXPECT_EQ(zebhost("run " + flows(crowd(needed - 1)) + " --verify"), 1) << out_ << err_;
  EXPECT_NE(out_.find("in shared memory: the statistics area is full, with "), std::string::npos)
      << out_;
  const std::string warning =
      "1 of 40 nodes don't fit in the statistics area and won't be measured; set memory-size to " +
      std::to_string(needed) + " or more";
  EXPECT_NE(err_.find(warning), std::string::npos) << err_;
  EXPECT_EQ(zebhost("check " + file()), 0) << err_;
  EXPECT_NE(err_.find(warning), std::string::npos) << err_;
}

TEST_F(Run, ASegmentWhoseSizeWrapsIsSaid) {
  EXPECT_EQ(zebhost("check " + flows(crowd(1431655754))), 0);
  EXPECT_EQ(err_, "");
  EXPECT_EQ(zebhost("check " + flows(crowd(1431655755))), 0);
  EXPECT_NE(err_.find("set memory-size to 1431655754 or less"), std::string::npos) << err_;
}

TEST_F(Run, ACommandRunsInTheViewOfTheFlowFile) {
  const std::string file = flows(crowd(12345));
  EXPECT_EQ(zebhost("exec " + file + " -- cat -n /opt/holt/lil/zebpnode.cfg"), 0) << err_;
  EXPECT_NE(out_.find("ZEBMemorySize=12345"), std::string::npos) << out_;
  EXPECT_EQ(zebhost("exec " + file + " -- sh -c 'exit 7'"), 7);
  EXPECT_EQ(zebhost("exec " + file + " -- /no/such/program"), 127);
  EXPECT_NE(err_.find("can't run /no/such/program: No such file or directory"), std::string::npos);
  EXPECT_EQ(zebhost("exec " + file + " -- /tmp"), 126);
  EXPECT_EQ(zebhost("exec " + file), 64);
  EXPECT_EQ(zebhost("exec /no/such/file -- true"), 66);
}

TEST_F(Run, LinesComeOutAsTheyWentIn) {
  std::string text;
  for (int i = 0; i < 100; ++i) text += "line " + std::to_string(i) + "\n";
  std::ofstream(folder_ / "in.txt") << text;
  const std::string file = flows(
      "[broker]\nlabel = \"B\"\n[[execution-group]]\nlabel = \"G\"\n[[execution-group.flow]]\n"
      "label = \"F\"\n[execution-group.flow.input]\nlines = \"-\"\n"
      "[execution-group.flow.output]\nlines = \"copy.txt\"\n");
  EXPECT_EQ(zebhost("run " + file + " <" + (folder_ / "in.txt").string()), 0) << err_;
  EXPECT_EQ(contents("copy.txt"), text);
}

TEST_F(Run, ASignalDrainsAndStillAgrees) {
  const std::string file =
      flows(kBroker + group("one", "generated = {}\nrate = 2000\n", std::string(kInput) + kOutput));
  const fs::path started = folder_ / "started";
  ASSERT_EQ(mkfifo(started.c_str(), 0600), 0);
  const pid_t pid = fork();
  if (pid == 0) {
    // The log opens when the run begins: a reader of the pipe then knows that signals are taken.
    execl(ZEB_HOST_PROGRAM, "zebhost", "run", file.c_str(), "--verify", "--quiet", "--trace",
          "--log", started.c_str(), nullptr);
    _exit(99);
  }
  std::FILE* log = std::fopen(started.c_str(), "r");
  ASSERT_NE(log, nullptr);
  char line[4096];
  int evaluations = 0;
  while (evaluations < 3 && std::fgets(line, sizeof line, log) != nullptr) {
    if (std::string_view(line).find("zebEvaluate") != std::string_view::npos) ++evaluations;
  }
  kill(pid, SIGTERM);
  while (std::fgets(line, sizeof line, log) != nullptr) {
  }
  std::fclose(log);
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_EQ(evaluations, 3);
}

TEST_F(Run, ASecondSignalStopsAtOnce) {
  // One flow logs a failure as soon as messages flow, the other one's message never ends.
  const std::string failing = "[[execution-group.flow.node]]\nmonitor = \"m\"\n";
  const std::string file =
      flows(kBroker +
            group("one", "generated = { count = 1 }\n",
                  failing + "[[execution-group.flow.node]]\nwork = \"w\"\n"
                            "failure = { every = 1 }\n") +
            group("two", "generated = { count = 1 }\n",
                  "[[execution-group.flow.node]]\nwork = \"w\"\nlatency = \"10h\"\n"));
  Started host({"run", file, "--library", ZEB_ECHO_PLUGIN});
  EXPECT_TRUE(host.says("caught"));
  host.signal(SIGTERM);
  EXPECT_TRUE(host.says("a second signal stops at once"));
  host.signal(SIGINT);
  EXPECT_TRUE(host.says("stopped at once"));
  EXPECT_EQ(host.end(), 128 + SIGINT);
}

TEST_F(Run, InputsBeginAgainWithEndlessUntilAllMessagesAreTaken) {
  std::ofstream(folder_ / "in.txt") << "a\nb\n";
  const std::string file = flows(kBroker + group("one", "generated = { count = 5 }\n", kInput) +
                                 group("two", "lines = \"in.txt\"\n", kInput));
  const std::string json = " --quiet --summary-json " + (folder_ / "s.json").string();
  EXPECT_EQ(zebhost("run " + file + " --endless --messages 12" + json), 0) << err_;
  EXPECT_EQ(summary()["messageFlows"][0]["handled"], 12);
  EXPECT_EQ(summary()["messageFlows"][1]["handled"], 12);
}

TEST_F(Run, AGroupThatCannotOpenItsOutputIsSaid) {
  std::ofstream(folder_ / "in.txt") << "a\n";
  fs::create_directory(folder_ / "gone");
  const std::string file = flows(kBroker + group("one", "lines = \"in.txt\"\n", kOutput) +
                                 "[execution-group.flow.output]\nlines = \"gone/copy.txt\"\n");
  fs::create_symlink("/proc/nosuch", folder_ / "gone/copy.txt");
  EXPECT_EQ(zebhost("run " + file), 74);
  EXPECT_NE(err_.find("execution group one"), std::string::npos) << err_;
}

TEST_F(Run, TwoFlowsWithOneOutputAreRefusedByCheckAndRun) {
  const std::string output = "[execution-group.flow.output]\nlines = \"copy.txt\"\n";
  const std::string file =
      flows(kBroker + group("one", "generated = { count = 5 }\n", kOutput) + output +
            group("two", "generated = { count = 5 }\n", kOutput) + output);
  for (const char* command : {"check ", "run "}) {
    EXPECT_EQ(zebhost(command + file), 65);
    EXPECT_NE(err_.find("f.toml:28:9: /tmp/host_run/copy.txt is an output of two flows, first in "
                        "line 16; "),
              std::string::npos)
        << err_;
  }
  EXPECT_FALSE(fs::exists(folder_ / "copy.txt"));
}

TEST_F(Run, AnOutputThatIsAFolderIsFoundByCheck) {
  fs::create_directory(folder_ / "copy.txt");
  const std::string file = flows(kBroker + group("one", "generated = { count = 5 }\n", kOutput) +
                                 "[execution-group.flow.output]\nlines = \"copy.txt\"\n");
  EXPECT_EQ(zebhost("check " + file), 65);
  EXPECT_NE(err_.find("/tmp/host_run/copy.txt is a folder; expected a file"), std::string::npos)
      << err_;
}

TEST_F(Run, TellsItsVersion) {
  EXPECT_EQ(zebhost("--version"), 0);
  EXPECT_EQ(out_, std::string("zebhost ") + layout::kVersion + "\n");
  EXPECT_EQ(err_, "");
}

TEST_F(Run, AnAgentThatFailsIsNotBelievedWhateverItPrints) {
  // Its answers alone would agree: no node is there to compare, and no event.
  const std::string file = flows(kBroker + group("one", "generated = { count = 5 }\n", ""));
  EXPECT_EQ(zebhost("run " + file + " --verify --agent " + agent("exit 0")), 0) << out_ << err_;
  EXPECT_EQ(zebhost("run " + file + " --verify --agent " + agent("exit 3")), 1);
  EXPECT_NE(out_.find("Shared memory could not be read: /tmp/host_run/agent stats ended with code "
                      "3."),
            std::string::npos)
      << out_;
  EXPECT_EQ(zebhost("run " + file + " --verify --agent " + agent("kill -9 $$")), 1);
  EXPECT_NE(out_.find("agent stats was ended by signal 9."), std::string::npos) << out_;
}

TEST_F(Run, ALastSnapshotKeepsTheFigures) {
  const std::string file = flows(kBroker + group("one", "generated = { count = 5 }\n", kInput));
  const std::string snapshot = (folder_ / "last.tar").string();
  EXPECT_EQ(zebhost("run " + file + " --last-snapshot " + snapshot), 0) << err_;
  EXPECT_EQ(outputOf(ZEB_AGENT_PROGRAM " stats --from " + snapshot +
                     " --format csv --no-header --columns node,messageCount"),
            "in,5\n");
  fs::remove(snapshot);
}

TEST_F(Run, ALastSnapshotThatFailsIsSaidAndTheFlowsGoOn) {
  const std::string file = flows(kBroker + group("one", "generated = { count = 5 }\n", kInput));
  EXPECT_EQ(zebhost("run " + file + " --verify --last-snapshot x.tar --agent /nosuch"), 1);
  EXPECT_EQ(zebhost("run " + file + " --last-snapshot x.tar --agent /nosuch"), 74);
  EXPECT_NE(err_.find("no last snapshot in x.tar: can't run /nosuch: "), std::string::npos) << err_;
}

TEST_F(Run, FilesOfTheEndAreTriedBeforeTheRun) {
  const std::string run =
      "run " + flows(kBroker + group("one", "generated = { count = 5 }\n", kInput));
  for (const std::string option : {"--summary-json", "--last-snapshot"}) {
    EXPECT_EQ(zebhost(run + " " + option + " /nosuch/x"), 74);
    EXPECT_EQ(err_, "zebhost: " + option + " can't write /nosuch/x: No such file or directory\n");
    EXPECT_EQ(out_, "") << "nothing ran";
    EXPECT_EQ(zebhost(run + " " + option + " /usr"), 74);
    EXPECT_EQ(err_, "zebhost: " + option + " can't write /usr: Is a directory\n");
  }
  EXPECT_EQ(zebhost(run + " --summary-json /dev/full"), 74);
  EXPECT_EQ(err_.substr(err_.find("zebhost: ")),
            "zebhost: can't write /dev/full: No space left on device\n");
}

TEST_F(Run, AnAgentThatAnswersSomethingElseIsSaid) {
  const std::string file = flows(kBroker + group("one", "generated = { count = 5 }\n", kInput));
  const std::string said =
      " answered in a form that this host doesn't know; expected zebmon of the same version.";
  EXPECT_EQ(zebhost("run " + file + " --verify --agent /bin/true"), 1);
  EXPECT_NE(out_.find("/bin/true" + said), std::string::npos) << out_;
  EXPECT_EQ(zebhost("run " + file + " --verify --agent " + agent("exit 0", "[{\\\"label\\\":1}]")),
            1);
  EXPECT_NE(out_.find("agent" + said), std::string::npos) << out_;
  EXPECT_EQ(zebhost("run " + file + " --verify --agent /nosuch"), 1);
  EXPECT_NE(out_.find("can't run /nosuch: No such file or directory."), std::string::npos) << out_;
}

TEST_F(Run, AGroupThatCrashesWhileStoppingIsSaid) {
  const std::string file = flows(kBroker +
                                 group("one", "generated = { count = 5 }\n",
                                       "[[execution-group.flow.node]]\nmonitor = \"crash\"\n") +
                                 group("two", "generated = { count = 7 }\n", kInput));
  const fs::path json = folder_ / "s.json";
  EXPECT_EQ(
      zebhost("run " + file + " --library " ZEB_ECHO_PLUGIN " --summary-json " + json.string()), 1);
  EXPECT_NE(err_.find("zebhost: execution group one (process "), std::string::npos) << err_;
  EXPECT_NE(err_.find(") was ended by signal 6 (Aborted)"), std::string::npos) << err_;
  EXPECT_EQ(err_.find("execution group two"), std::string::npos) << err_;
  EXPECT_EQ(summary()["messageFlows"][0]["handled"], 5) << "all messages had been handled";
}

TEST_F(Run, AnOutputThatIsAnInputIsRefusedAndKept) {
  std::ofstream(folder_ / "in.txt") << "kept\n";
  const std::string file = flows(kBroker + group("one", "generated = { count = 5 }\n", kOutput) +
                                 "[execution-group.flow.output]\nlines = \"in.txt\"\n" +
                                 group("two", "lines = \"in.txt\"\n", kOutput));
  for (const char* command : {"check ", "run "}) {
    EXPECT_EQ(zebhost(command + file), 65);
    EXPECT_NE(err_.find(":16:9: /tmp/host_run/in.txt is an input of the same flow file"),
              std::string::npos)
        << err_;
  }
  EXPECT_EQ(contents("in.txt"), "kept\n");
}

TEST_F(Run, AnOutputThatIsStandardInputIsRefusedAndKept) {
  std::ofstream(folder_ / "in.txt") << "kept\n";
  const std::string file = flows(kBroker + group("one", "lines = \"-\"\n", kOutput) +
                                 "[execution-group.flow.output]\nlines = \"in.txt\"\n");
  EXPECT_EQ(zebhost("run " + file + " <" + (folder_ / "in.txt").string()), 65);
  EXPECT_EQ(contents("in.txt"), "kept\n");
}

TEST_F(Run, AnOutputIsMadeAnew) {
  std::ofstream(folder_ / "out.txt") << "older and longer than what comes\n";
  const std::string file = flows(kBroker + group("one", "lines = \"-\"\n", kOutput) +
                                 "[execution-group.flow.output]\nlines = \"out.txt\"\n");
  EXPECT_EQ(zebhost("run " + file + " <<<new"), 0) << err_;
  EXPECT_EQ(contents("out.txt"), "new\n");
}

TEST_F(Run, APipeWithoutWriterEndsWithTheDuration) {
  ASSERT_EQ(mkfifo((folder_ / "pipe").c_str(), 0600), 0);
  const std::string file = flows(kBroker + group("one", "lines = \"pipe\"\n", kInput));
  EXPECT_EQ(zebhost("run " + file + " --duration 10ms"), 0) << err_;
  EXPECT_EQ(zebhost("run " + (folder_ / "pipe").string() + " --duration 10ms"), 66);
  EXPECT_NE(err_.find("nobody wrote to this pipe within 0.01 s"), std::string::npos) << err_;
}

TEST_F(Run, AFirstSignalEndsTheWaitForAWriter) {
  ASSERT_EQ(mkfifo((folder_ / "pipe").c_str(), 0600), 0);
  const std::string file =
      flows(kBroker + group("one", "lines = \"pipe\"\n", kInput) +
            group("two", "generated = { count = 1 }\n",
                  "[[execution-group.flow.node]]\nmonitor = \"m\"\n"
                  "[[execution-group.flow.node]]\nwork = \"w\"\nfailure = { every = 1 }\n"));
  Started host({"run", file, "--quiet", "--library", ZEB_ECHO_PLUGIN});
  EXPECT_TRUE(host.says("caught")) << "messages flow in the other group";
  host.signal(SIGTERM);
  EXPECT_EQ(host.end(), 0);
}

TEST_F(Run, FlowFilesComeFromPipesAndStandardInputToo) {
  const std::string file = flows(kBroker + group("one", "generated = { count = 5 }\n", kInput));
  EXPECT_EQ(zebhost("check - <" + file), 0) << err_;
  EXPECT_EQ(out_, "-: ok, 1 execution group, 1 message flow\n");
  EXPECT_EQ(zebhost("check <(cat " + file + ")"), 0) << err_;
  EXPECT_EQ(zebhost("run <(cat " + file + ") --quiet"), 0) << err_;
}

TEST_F(Run, ASummaryOnStandardOutputIsAloneThere) {
  const std::string file = flows(kBroker + group("one", "generated = { count = 5 }\n", kInput));
  EXPECT_EQ(zebhost("run " + file + " --verify --summary-json -"), 0) << err_;
  EXPECT_EQ(Json::parse(out_)["verification"]["agrees"], true);
  EXPECT_NE(err_.find("The host and shared memory agree: 1 node, 5 measurements."),
            std::string::npos)
      << err_;
  EXPECT_FALSE(fs::exists("-"));
}

TEST_F(Run, TheLogMayGoToStandardOutput) {
  const std::string file = flows(kBroker + group("one", "generated = { count = 1 }\n", kInput));
  EXPECT_EQ(zebhost("run " + file + " --quiet --trace --log -"), 0);
  EXPECT_NE(out_.find("zebEvaluate"), std::string::npos);
  EXPECT_EQ(err_, "");
}

TEST_F(Run, AStandardOutputThatCannotBeWrittenIsSaid) {
  const std::string file = flows(kBroker + group("one", "generated = { count = 5 }\n", kInput));
  const std::string said = "zebhost: can't write to standard output: ";
  EXPECT_EQ(zebhost("check " + file, " >&-"), 74);
  EXPECT_EQ(err_, said + "Bad file descriptor\n");
  EXPECT_EQ(zebhost("check " + file, " >/dev/full"), 74);
  EXPECT_EQ(err_, said + "No space left on device\n");
  EXPECT_EQ(zebhost("check /nosuch", " >&-"), 66) << "the first trouble counts";
  EXPECT_EQ(zebhost("run " + file + " --verify --trace --log - --summary-json -", " >/dev/full"),
            74);
}

TEST_F(Run, AClosedStandardErrorChangesNothing) {
  const std::string file = flows(kBroker + group("one", "generated = { count = 5 }\n", kInput));
  EXPECT_EQ(zebhost("run " + file + " --verify --trace --summary-json - >" +
                        (folder_ / "s.json").string(),
                    " 2>&-"),
            0);
  EXPECT_EQ(summary()["verification"]["agrees"], true);
}

TEST_F(Run, ClosedStandardStreamsAreNoFilesOfTheRun) {
  std::ofstream(folder_ / "in.txt") << "line\n";
  const std::string file = flows(kBroker + group("one", "lines = \"in.txt\"\n", kOutput) +
                                 "[execution-group.flow.output]\nlines = \"out.txt\"\n");
  EXPECT_EQ(zebhost("run " + file + " --verify", " >&- <&-"), 74);
  EXPECT_EQ(contents("out.txt"), "line\n");
}

TEST_F(Run, OnlyTheFirstErrorsAreShown) {
  std::string text;
  for (int i = 0; i < 20; ++i) text += "x" + std::to_string(100 + i) + " = 1\n";
  const std::string broker = kBroker + group("one", "generated = { count = 5 }\n", kInput);
  EXPECT_EQ(zebhost("check " + flows(text + broker)), 65);
  EXPECT_EQ(std::count(err_.begin(), err_.end(), '\n'), 20);
  EXPECT_EQ(zebhost("check " + flows("x = 1\n" + text + broker)), 65);
  EXPECT_EQ(std::count(err_.begin(), err_.end(), '\n'), 21);
  EXPECT_NE(err_.find(":20:1: unknown key"), std::string::npos) << err_;
  EXPECT_EQ(err_.find(":21:1: unknown key"), std::string::npos) << err_;
  EXPECT_TRUE(err_.ends_with("zebhost: 21 errors in " + file() +
                             ", of which the first 20 are "
                             "shown\n"))
      << err_;
}

TEST_F(Run, NumbersOfTheCommandLineHaveLimitsThatAreSaid) {
  const std::string run =
      "run " + flows(kBroker + group("one", "generated = { count = 5 }\n", kInput)) + " ";
  const std::string often = "expected a whole number from 1 to 1,000,000,000,000";
  for (const char* wrong : {"--messages 0", "--messages -1", "--messages 1000000000001",
                            "--messages 5x", "--messages ''", "--messages 1e3"}) {
    EXPECT_EQ(zebhost(run + wrong), 64) << wrong;
    EXPECT_TRUE(err_.starts_with("--messages: " + often + "\n")) << wrong << err_;
  }
  EXPECT_EQ(zebhost(run + "--seed -1"), 64);
  EXPECT_TRUE(err_.starts_with("--seed: expected a whole number from 0 to 1,000,000,000,000\n"));
  EXPECT_EQ(zebhost(run + "--threads 257"), 64);
  EXPECT_TRUE(err_.starts_with("--threads: expected a whole number from 1 to 256\n")) << err_;
  EXPECT_EQ(zebhost(run + "--quiet --seed 0 --threads 256 --messages 1000000000000"), 0) << err_;
}

TEST_F(Run, OptionsGoBeforeTheFlowFile) {
  const std::string file = flows("seed = 3\n" + (kBroker + group("one",
                                                                 "generated = { size = { "
                                                                 "uniform = [0, 1000000] } }\n",
                                                                 kOutput)));
  const auto bytes = [&](const std::string& options) {
    EXPECT_EQ(zebhost("run " + file + " --summary-json - --quiet --messages 3" + options), 0);
    const Json flow = Json::parse(out_)["messageFlows"][0];
    EXPECT_EQ(flow["entered"], 3);
    return flow["nodes"][0]["bytes"].get<std::uint64_t>();
  };
  const auto own = bytes("");
  EXPECT_EQ(bytes(" --seed 3"), own);
  EXPECT_NE(bytes(" --seed 4"), own);
}

TEST_F(Run, TracingNeedsThePrivateView) {
  const std::string file = flows(kBroker + group("one", "generated = { count = 5 }\n", kInput));
  EXPECT_EQ(zebhost("run " + file + " --trace --as-installed"), 64);
  EXPECT_NE(err_.find("--trace needs the private view"), std::string::npos) << err_;
}

TEST_F(Run, AFlowFileThatMayNotBeReadHasItsExitCode) {
  const std::string file = flows("[broker]\n");
  fs::permissions(file, fs::perms::none);
  const std::string command = "setpriv --bounding-set -all --inh-caps -all " +
                              std::string(ZEB_HOST_PROGRAM) + " check " + file + " 2>/dev/null";
  const int status = bash(command);
  EXPECT_EQ(WEXITSTATUS(status), 77);
}

TEST_F(Run, WrongInputHasItsExitCode) {
  EXPECT_EQ(zebhost("check " + flows("[broker]\n")), 65);
  EXPECT_EQ(zebhost("run " + flows("[broker]\n")), 65);
  EXPECT_EQ(zebhost("check /nosuch.toml"), 66);
  EXPECT_EQ(zebhost("run"), 64);
  EXPECT_EQ(zebhost("run x --duration 5"), 64);
  const std::string file = flows(kBroker + group("one", "generated = { count = 5 }\n", kInput));
  EXPECT_EQ(zebhost("check " + file), 0);
  EXPECT_NE(out_.find("ok"), std::string::npos);
  EXPECT_EQ(zebhost("check /proc/self/mem"), 74);
  EXPECT_EQ(zebhost("run " + file + " --library /nosuch.lil"), 69);
}

}  // namespace run_test
