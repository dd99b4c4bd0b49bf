// SPDX-License-Identifier: Apache-2.0
// Processes that a host forks without starting a program again.
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <set>

#include "tests/processes/groups.h"
#include "tests/support/ipc_objects.h"
#include "tests/support/plugin.h"
#include "tests/support/scripted_clock.h"

namespace fork_test {

using namespace support;

namespace {

constexpr int kChildren = 8;

// Between the forking process and its children.
class Pipe {
 public:
  Pipe() {
    if (pipe(ends_) != 0) throw std::runtime_error("no pipe");
  }
  void tell(int times) const {
    for (int i = 0; i < times; ++i)
      if (write(ends_[1], "x", 1) != 1) throw std::runtime_error("the other process is gone");
  }
  // False when nobody is left who could say anything.
  bool hear(int times) const {
    char byte = 0;
    for (int i = 0; i < times; ++i)
      if (read(ends_[0], &byte, 1) != 1) return false;
    return true;
  }
  void onlyHear() const { close(ends_[1]); }

 private:
  int ends_[2];
};

struct Pipes {
  Pipe done;
  Pipe go;
  Pipe end;
};

// One group's process: deploys its node, sends its messages, deletes its node, step by step.
[[noreturn]] void work(int number, const Pipes& pipes) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  pipes.end.onlyHear();
  startLibrary();
  ScriptedNode where;
  where.executionGroup = u"group " + std::u16string(1, static_cast<char16_t>(u'0' + number));
  auto node = deploy({.label = nodeLabel(number)}, where);
  pipes.done.tell(1);
  pipes.go.hear(1);
  for (int i = 0; i < 100; ++i) node->send(1000 + number);
  pipes.done.tell(1);
  pipes.end.hear(1);
  node.reset();
  _exit(host().messages().empty() ? 0 : 1);
}

// Forks eight groups at a clock that stands still: only random numbers then tell records apart.
// With "used" it has itself deployed and deleted a node before. The library is loaded, since that
// alone is no use of it.
int forkGroups(Steps& parent, const std::vector<std::string>& words) {
  setClock(1767322800, 123);
  if (words[0] == "used") {
    startLibrary();
    deploy({})->send();
  } else {
    exported("getCommonValues");
  }
  const Pipes pipes;
  for (int number = 0; number < kChildren; ++number)
    if (fork() == 0) work(number, pipes);
  pipes.done.onlyHear();
  if (!pipes.done.hear(kChildren)) return 1;
  pipes.go.tell(kChildren);
  if (!pipes.done.hear(kChildren)) return 1;
  parent.tell("sent");
  parent.hear();
  pipes.end.onlyHear();
  int failures = 0;
  for (int status = 0; wait(&status) > 0;) failures += status == 0 ? 0 : 1;
  return failures;
}
const Role kForks("fork groups", forkGroups);

class Forked : public PluginBeforeStart {
 protected:
  static void expectAllApart(const std::string& before) {
    Child host("fork groups", {before});
    ASSERT_EQ(host.hear(), "sent");
    const auto records = statisticsRecords();
    EXPECT_EQ(records.size(), 1U + kChildren * 4U);
    std::set<RecordId> ids;
    for (const StoredRecord& record : records) ids.insert(record.id());
    EXPECT_EQ(ids.size(), records.size());
    EXPECT_EQ(reachableNodes(records), allLabels(kChildren));
    EXPECT_EQ(orphans(records), 0);
    std::set<std::uint32_t> processes;
    for (const StoredRecord& group : ofType(records, kGroup)) processes.insert(group.ownNumber());
    EXPECT_EQ(processes.size(), 8U);
    for (int number = 0; number < kChildren; ++number) {
      EXPECT_EQ(statisticsOf(nodeLabel(number)).count(), 100);
      EXPECT_EQ(statisticsOf(nodeLabel(number)).sumSize(), 100 * (1000 + number));
    }
    EXPECT_EQ(segmentOf("/tmp/UUID1.zebcshme")->attached, 8U);
    host.tell("end");
    EXPECT_EQ(host.wait(), 0);
    EXPECT_TRUE(keyFiles().empty());
  }
};

TEST_F(Forked, FromAProcessThatHasNotUsedTheLibraryWorkAsAnyOther) {
  expectAllApart("unused");
}

TEST_F(Forked, FromAProcessThatHasDrawnRandomNumbersDrawOthers) {
  expectAllApart("used");
}

}  // namespace

}  // namespace fork_test
